#include "object/implementation_def.h"

#include "marshal/support.h"

#include <memory>

namespace {

const CORBA_Octet octets[] = {7, 8};

TRXEXT_CreationImplDef creation() {
    CORBA_StringSequence args;
    args.length(1);
    args[0] = static_cast<const char*>("-v");
    return {"IDL:A:1.0", "one", CORBA_OctetSequence(octets), "/bin/a", args, CORBA_StringSequence(), 2};
}

TEST(ImplementationDef, isNarrowedToItsOwnClassOnly) {
    const TRXEXT_CreationImplDef created = creation();
    const std::unique_ptr<CORBA_ImplementationDef> clone(CORBA_ImplementationDef::_duplicate(&created));
    const std::unique_ptr<TRXEXT_CreationImplDef> narrow(TRXEXT_CreationImplDef::_narrow(clone.get()));
    ASSERT_TRUE(narrow);
    EXPECT_STREQ(narrow->path_name(), "/bin/a");
    EXPECT_STREQ(clone->_type_name(), "extension::CreationImplDef");
    EXPECT_EQ(TRXEXT_ActivationImplDef::_narrow(clone.get()), nullptr);
    EXPECT_EQ(TRXEXT_CreationImplDef::_narrow(nullptr), nullptr);
    EXPECT_EQ(CORBA_ImplementationDef::_duplicate(nullptr), nullptr);
}

TEST(ImplementationDef, travelsAndPrintsMemberByMember) {
    const std::string listing =
        digits("0a000000 'IDL:A:1.0' 00 2020 04000000 'one' 00 02000000 0708 2020"
               "07000000 '/bin/a' 00 20 02000000 01000000 03000000 '-v' 00 20 00000000");
    EXPECT_EQ(written(creation()), listing);
    Source source(listing);
    TRXEXT_CreationImplDef* read = nullptr;
    static_cast<TRXistream&>(source.in()) >> read;
    const std::unique_ptr<TRXEXT_CreationImplDef> owned(read);
    EXPECT_FALSE(source.in().has(1));
    EXPECT_EQ(printed(*owned),
              "Interface Name: IDL:A:1.0\nObject Name: one\n"
              "Reference Data: SEQUENCE NAME: CORBA_OctetSequence\nNUM OF ELEMENTS: 2\n"
              "ELEMENT NUM: 0 = 7\nELEMENT NUM: 1 = 8\n"
              "Path: /bin/a\nPolicy: 2\n"
              "Arguments:\nSEQUENCE NAME: CORBA_StringSequence\nNUM OF ELEMENTS: 1\nELEMENT NUM: 0 = -v\n"
              "Env: \nSEQUENCE NAME: CORBA_StringSequence\nNUM OF ELEMENTS: 0\n");
}

} // namespace
