#include "object/vtypeinf.h"
#include "stream/ncobject.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>

namespace {

CORBA_Object* noStub() { return nullptr; }

// Constructed in this order: a base after the type that names it.
extern const CORBA_TypeInfo lateBase;
const CORBA_TypeInfo earlyBase("Trace::Early", "IDL:Trace/Early:1.0", noStub, nullptr);
const CORBA_TypeInfo derived("Trace::Derived", "IDL:Trace/Derived:1.0", noStub, &earlyBase, &lateBase,
                             nullptr);
const CORBA_TypeInfo derivedSkeleton("Trace::Derived", 0, nullptr);
const CORBA_TypeInfo lateBase("Trace::Late", "IDL:Trace/Late:1.0", noStub, nullptr);

extern const NCTypeInfo lateRecord;
const NCTypeInfo nameless(nullptr, nullptr);
const NCTypeInfo derivedRecord("TraceDerived", nullptr, {&lateRecord, &nameless, &NCObject::info});
const NCTypeInfo lateRecord("TraceLate", nullptr);

// What this program prints when it starts with `assignment` in its environment.
std::string printedAtStart(const std::string& assignment) {
    const std::string self = std::filesystem::read_symlink("/proc/self/exe");
    FILE* program = popen((assignment + " '" + self + "' --gtest_list_tests").c_str(), "r");
    std::string text(1 << 17, '\0');
    text.resize(std::fread(text.data(), 1, text.size(), program));
    pclose(program);
    return text;
}

TEST(RegistryTrace, namesTypesAndBasesAsTheyRegister) {
    const std::string text = printedAtStart("DEBUG_STATIC=");
    for (const char* lines :
         {"ating class: Trace::Early\nStatic initializating class: Trace::Derived\nThe class has the "
          "following "
          "base:\n'Trace::Early'\n(null)\n\nStatic initializating class: Trace::Late\n",
          "ating class: CORBA::Object\n", "ating class: CORBA::Current\n",
          "Static initializing class: (null)\n",
          "ating class: NCObject\nThe class is directly derived from NCTransObject\n\n",
          "ating class: TraceDerived\nThe class has the following base:\n(null)\n(null)\n'NCObject'\n\n"})
        EXPECT_NE(text.find(lines), std::string::npos) << lines << text;
    EXPECT_EQ(printedAtStart("env -u DEBUG_STATIC").find("initializating"), std::string::npos);
    EXPECT_TRUE(derived.is_a(&lateBase, false)); // once that is constructed
    EXPECT_EQ(CORBA_TypeInfo::lookup("IDL:omg.org/CORBA/Object:1.0"), &CORBA_Object_type);
}

} // namespace
