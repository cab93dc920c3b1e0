#include "marshal/exception/orb_exceptions.h"
#include "marshal/exception/user_exception.h"
#include "marshal/support.h"

#include <memory>

namespace {

class Refused final : public TRXUserExceptionOf<Refused> {
public:
    CORBA_ULong reason = 0;
    CORBA_String_var where;
    static constexpr const char* _scoped_name = "Gate::Refused";
    static constexpr auto _members() {
        return std::tuple{TRXExceptionMember{"reason", &Refused::reason},
                          TRXExceptionMember{"where", &Refused::where}};
    }
    static const CORBA_ExceptionDesc& _descriptor();
};
TRX_DEFINE_USER_EXCEPTION(Refused, "Gate::Refused", "IDL:Gate/Refused:1.0")

Refused refused() {
    Refused made;
    made.reason = 3;
    made.where = static_cast<const char*>("north");
    return made;
}

std::unique_ptr<CORBA_Exception> readException(TRXistream& in) {
    CORBA_Exception* read = nullptr;
    in >> read;
    return std::unique_ptr<CORBA_Exception>(read);
}

TEST(Exception, hasTheTwentyNineInTheDictionary) {
    const char* names[] = {
#define NAME(X) #X,
        TRX_SYSTEM_EXCEPTIONS(NAME)
#undef NAME
    };
    EXPECT_EQ(std::size(names), 29u);
    for (const char* name : names) {
        const auto* desc =
            CORBA_ExceptionDesc::lookup(("IDL:omg.org/CORBA/" + std::string(name) + ":1.0").c_str());
        ASSERT_NE(desc, nullptr) << name;
        EXPECT_EQ(desc->name(), "CORBA::" + std::string(name));
        const std::unique_ptr<CORBA_Exception> made(desc->factory()());
        EXPECT_EQ(made->_desc(), desc);
        EXPECT_NE(CORBA_SystemException::_narrow(made.get()), nullptr);
    }
    // The 29th registration filled more than nine tenths of the first 32 slots.
    EXPECT_EQ(CORBA_ExceptionDesc::dictionarySlots(), 128u);
    EXPECT_EQ(CORBA_ExceptionDesc::lookup("IDL:omg.org/CORBA/NOTHING:1.0"), nullptr);
    EXPECT_EQ(CORBA_ExceptionDesc::lookup(nullptr), nullptr);
    {
        const CORBA_ExceptionDesc second("Gate::Other", "IDL:Gate/Refused:1.0", nullptr, nullptr);
        const CORBA_ExceptionDesc passing("Gate::Passing", "IDL:Gate/Passing:1.0", nullptr, nullptr);
        EXPECT_EQ(CORBA_ExceptionDesc::lookup("IDL:Gate/Refused:1.0"), &Refused::_descriptor());
        EXPECT_EQ(CORBA_ExceptionDesc::lookup("IDL:Gate/Passing:1.0"), &passing);
    }
    EXPECT_EQ(CORBA_ExceptionDesc::lookup("IDL:Gate/Refused:1.0"), &Refused::_descriptor());
    EXPECT_EQ(CORBA_ExceptionDesc::lookup("IDL:Gate/Passing:1.0"), nullptr);
}

TEST(Exception, narrowsAlongTheBaseChain) {
    CORBA_BAD_PARAM system(3, COMPLETED_MAYBE);
    Refused user;
    EXPECT_EQ(CORBA_BAD_PARAM::_narrow(nullptr), nullptr);
    EXPECT_EQ(CORBA_BAD_PARAM::_narrow(&system), &system);
    EXPECT_EQ(CORBA_SystemException::_narrow(&system), &system);
    EXPECT_EQ(CORBA_Exception::_narrow(&system), &system);
    EXPECT_EQ(CORBA_MARSHAL::_narrow(&system), nullptr);
    EXPECT_EQ(CORBA_SystemException::_narrow(&user), nullptr);
    EXPECT_EQ(CORBA_UserException::_narrow(&user), &user);
}

TEST(Exception, raisesAndCopiesItsOwnClass) {
    const std::unique_ptr<CORBA_Exception> copy(CORBA_TRANSIENT(7, COMPLETED_YES)._copy());
    try {
        copy->_raise();
        FAIL();
    } catch (const CORBA_TRANSIENT& raised) {
        EXPECT_NE(&raised, copy.get());
        EXPECT_EQ(raised.minor(), 7u);
        EXPECT_EQ(raised.completed(), COMPLETED_YES);
        EXPECT_STREQ(static_cast<const std::exception&>(raised).what(), "IDL:omg.org/CORBA/TRANSIENT:1.0");
    }
    EXPECT_THROW(CORBA_SystemException(1, COMPLETED_YES)._raise(), CORBA_SystemException);
    EXPECT_NO_THROW(CORBA_UserException()._raise());
}

TEST(Exception, printsLinesOnTheConsoleAndItsMembersElsewhere) {
    CORBA_COMM_FAILURE failure(104, COMPLETED_MAYBE);
    const std::string lines = "Exception: CORBA::COMM_FAILURE\n\tMinor: 104\n\tCompletion Status: ";
    for (std::ostream* console : {&std::cout, &std::cerr, &std::clog})
        EXPECT_EQ(printed(failure, *console), lines + "MAYBE\n");
    failure.completed(static_cast<CORBA_CompletionStatus>(7));
    EXPECT_EQ(printed(failure), lines + "Invalid status\n");
    EXPECT_EQ(printed(CORBA_UserException()), "Exception: CORBA::UserException\n");
    EXPECT_EQ(printed(refused()), "EXCEPTION Gate::Refused {\n\treason:\n3 \n\twhere:\nnorth\n}\n");
    std::ostringstream text;
    text << CORBA_BAD_PARAM(5, COMPLETED_YES);
    EXPECT_EQ(text.str(), "5 0 ");
}

TEST(Exception, isItsIdAndItsMembers) {
    // Its id has 31 characters, so that the members need no padding.
    const std::string name = "'IDL:omg.org/CORBA/BAD_PARAM:1.0' ";
    EXPECT_EQ(written(CORBA_BAD_PARAM(5, COMPLETED_MAYBE)),
              digits("20000000 " + name + "00 05000000 02000000"));
    EXPECT_EQ(written(CORBA_ORB_InvalidName()),
              digits("26000000 'IDL:omg.org/CORBA/ORB/InvalidName:1.0' 00"));
    const auto bad = readException(Source("20000000 " + name + "00 05000000 07000000", 0).in());
    ASSERT_NE(CORBA_BAD_PARAM::_narrow(bad.get()), nullptr);
    EXPECT_EQ(written(*bad), digits("20000000 " + name + "00 05000000 07000000"));
    EXPECT_THROW(readException(Source("20000000 " + name + "00 05000000", 0).in()), CORBA_MARSHAL);
    std::stringstream text;
    toText(text, refused());
    TRXistream in(text);
    const auto read = readException(in);
    ASSERT_NE(Refused::_narrow(read.get()), nullptr);
    EXPECT_EQ(written(*read), written(refused()));
}

TEST(Exception, ofAnUnknownOrAbstractClassIsRead) {
    for (const char* id : {"IDL:Nobody/Knows:1.0", "IDL:omg.org/CORBA/SystemException:1.0"}) {
        CORBA_MarshalOutBuffer out(255);
        out << id << 5 << 7;
        CORBA_MarshalInBuffer in(out.data(), out.offset());
        EXPECT_EQ(written(*readException(in)), written(CORBA_UNKNOWN(0, COMPLETED_NO))) << id;
        EXPECT_TRUE(in.has(8)) << id;
    }
}

} // namespace
