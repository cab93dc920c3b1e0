#include "object/implementation_def.h"

#include "marshal/cdr/vbuf.h"

#include <gtest/gtest.h>

#include <iostream>
#include <memory>
#include <sstream>

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
    const CORBA_ImplementationDef plain("IDL:A:1.0", "one", CORBA_OctetSequence());
    EXPECT_EQ(TRXEXT_CreationImplDef::_narrow(&plain), nullptr);
    EXPECT_EQ(TRXEXT_CreationImplDef::_narrow(nullptr), nullptr);
    EXPECT_EQ(CORBA_ImplementationDef::_duplicate(nullptr), nullptr);

    auto* const activator = reinterpret_cast<Activator*>(0x10);
    const TRXEXT_ActivationImplDef activation("IDL:A:1.0", "one", CORBA_OctetSequence(), activator);
    const std::unique_ptr<TRXEXT_ActivationImplDef> same(activation._clone());
    EXPECT_EQ(same->activator(), activator);
}

TEST(ImplementationDef, travelsAndPrintsMemberByMember) {
    CORBA_MarshalOutBuffer out(255), plain(255);
    out << creation();
    plain << "IDL:A:1.0"
          << "one" << CORBA_OctetSequence(octets) << "/bin/a" << CORBA_ULong{2} << CORBA_ULong{1} << "-v"
          << CORBA_ULong{0};
    EXPECT_EQ(std::string(out.data(), out.offset()), std::string(plain.data(), plain.offset()));
    CORBA_MarshalInBuffer in(out.data(), out.offset());
    TRXEXT_CreationImplDef* read = nullptr;
    static_cast<TRXistream&>(in) >> read;
    const std::unique_ptr<TRXEXT_CreationImplDef> owned(read);
    EXPECT_EQ(in.offset(), out.offset());

    std::ostringstream text;
    std::streambuf* const console = std::cout.rdbuf(text.rdbuf());
    std::cout << *owned;
    std::cout.rdbuf(console);
    EXPECT_EQ(text.str(),
              "Interface Name: IDL:A:1.0\nObject Name: one\n"
              "Reference Data: SEQUENCE NAME: CORBA_OctetSequence\nNUM OF ELEMENTS: 2\n"
              "ELEMENT NUM: 0 = 7\nELEMENT NUM: 1 = 8\n"
              "Path: /bin/a\nPolicy: 2\n"
              "Arguments:\nSEQUENCE NAME: CORBA_StringSequence\nNUM OF ELEMENTS: 1\nELEMENT NUM: 0 = -v\n"
              "Env: \nSEQUENCE NAME: CORBA_StringSequence\nNUM OF ELEMENTS: 0\n");
}

} // namespace
