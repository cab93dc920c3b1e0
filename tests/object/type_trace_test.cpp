#include "object/vtypeinf.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <memory>
#include <unistd.h>

namespace {

CORBA_Object* noStub() { return nullptr; }

// In this order: a base that is constructed after the type that names it.
extern const CORBA_TypeInfo lateBase;
const CORBA_TypeInfo earlyBase("Trace::Early", "IDL:Trace/Early:1.0", noStub, nullptr);
const CORBA_TypeInfo derived("Trace::Derived", "IDL:Trace/Derived:1.0", noStub, &earlyBase, &lateBase,
                             nullptr);
const CORBA_TypeInfo derivedSkeleton("Trace::Derived", 0, nullptr);
const CORBA_TypeInfo lateBase("Trace::Late", "IDL:Trace/Late:1.0", noStub, nullptr);

// What this program prints when it starts, with `assignment` in front of it on the command line.
std::string printedAtStart(const std::string& assignment) {
    char self[PATH_MAX] = {};
    if (readlink("/proc/self/exe", self, sizeof self - 1) < 0)
        return "no way to this program";
    const std::string command = assignment + " '" + self + "' --gtest_list_tests";
    const std::unique_ptr<FILE, int (*)(FILE*)> program(popen(command.c_str(), "r"), pclose);
    std::string text;
    char part[4096];
    while (const size_t count = std::fread(part, 1, sizeof part, program.get()))
        text.append(part, count);
    return text;
}

TEST(TypeTrace, baseThatIsConstructedLaterWorksOnceItIs) {
    EXPECT_TRUE(derived.is_a(&lateBase, false));
    EXPECT_TRUE(derived.impl()->hasId("IDL:Trace/Late:1.0"));
}

TEST(TypeTrace, namesTypesAndBasesAsTheyRegister) {
    const std::string text = printedAtStart("DEBUG_STATIC=");
    EXPECT_NE(text.find("Static initializating class: Trace::Early\n"
                        "Static initializating class: Trace::Derived\n"
                        "The class has the following base:\n"
                        "'Trace::Early'\n"
                        "(null)\n"
                        "\n"
                        "Static initializating class: Trace::Late\n"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("Static initializating class: CORBA::Object\n"), std::string::npos);
}

TEST(TypeTrace, isSilentByDefault) {
    EXPECT_EQ(printedAtStart("env -u DEBUG_STATIC").find("initializating"), std::string::npos);
}

} // namespace
