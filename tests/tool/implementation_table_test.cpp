#include "console.h"
#include "tool/implementation_table.h"

#include <gtest/gtest.h>

namespace {

std::string printed(const ImplementationTable& table, const char* expression) {
    testing::internal::CaptureStdout();
    table.print(expression, "HEADING", false);
    return testing::internal::GetCapturedStdout();
}

class ImplementationTableTest : public testing::Test {
protected:
    // Hosts in the order of their slots.
    ImplementationTableTest() {
        table.add("IDL:Bank/Account:1.0", "Alice", "10.0.0.2");
        table.add("IDL:Bank/Account:1.0", "Alice", "10.0.0.1");
        table.add("IDL:Bank/Account:1.0", nullptr, "10.0.0.2");
        table.add("IDL:Bank/Account:1.0", "", "10.0.0.2");
        table.add("IDL:Bank/Account:1.0", "Bob", "10.0.0.2");
        table.add("IDL:Bank/Account:1.0", "Alice", "10.0.0.2");
        table.add("*", "Vault", "10.0.0.1");
        table.add("IDL:Mute:1.0", nullptr, "10.0.0.1");
    }

    ImplementationTable table;
};

TEST_F(ImplementationTableTest, printsHostsAndTheirImplementations) {
    const std::string firstAccount = "\n\t\tREPOSITORY ID: IDL:Bank/Account:1.0\n\t\t\tOBJECT NAME: Alice\n";
    const std::string secondAccount = firstAccount + "\t\t\tOBJECT NAME: Bob\n\t\t\tOBJECT NAME: Alice\n";
    EXPECT_EQ(printed(table, "Account"),
              "HEADING\n\tHOST: 10.0.0.1\n" + firstAccount + "\tHOST: 10.0.0.2\n" + secondAccount);
    EXPECT_EQ(printed(table, "^.*"), "HEADING\n\tHOST: 10.0.0.1\n\n\t\tREPOSITORY ID: IDL:Mute:1.0\n" +
                                         firstAccount +
                                         "\n\t\tSERVICE ACTIVATORS: \n\t\t\tSERVICE NAME: Vault\n"
                                         "\tHOST: 10.0.0.2\n" +
                                         secondAccount);
}

TEST_F(ImplementationTableTest, printsAnIdWithoutNamedObjects) {
    EXPECT_EQ(printed(table, "Mute"), "HEADING\n\tHOST: 10.0.0.1\n\n\t\tREPOSITORY ID: IDL:Mute:1.0\n");
}

TEST_F(ImplementationTableTest, printsServiceActivators) {
    EXPECT_EQ(printed(table, "^[*]$"),
              "HEADING\n\tHOST: 10.0.0.1\n\n\t\tSERVICE ACTIVATORS: \n\t\t\tSERVICE NAME: Vault\n");
}

TEST_F(ImplementationTableTest, printsNothingWhereNothingMatches) {
    EXPECT_EQ(printed(table, "Printer"), "");
}

TEST(ImplementationTable, keepsHostileNamesOffTheTerminal) {
    ImplementationTable table;
    table.add("IDL:\x1b[2J:1.0", "a\rb", "10.0.0.1");
    EXPECT_EQ(printed(table, "^.*"), "HEADING\n\tHOST: 10.0.0.1\n\n"
                                     "\t\tREPOSITORY ID: IDL:?[2J:1.0\n\t\t\tOBJECT NAME: a?b\n");
}

TEST_F(ImplementationTableTest, invalidExpressionEndsTheProcess) {
    EXPECT_EXIT(
        {
            joinOutputs();
            table.print("[a", "HEADING", false);
        },
        testing::ExitedWithCode(0), "^peerscan: Invalid regular expression: \n\\[a\n$");
}

} // namespace
