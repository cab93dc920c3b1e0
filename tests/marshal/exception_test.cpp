#include "marshal/exception/orb_exceptions.h"
#include "marshal/exception/user_exception.h"
#include "marshal/exception/vexcept.h"
#include "marshal/text/vstr.h"

#include <gtest/gtest.h>

#include <iostream>
#include <memory>
#include <sstream>
#include <string>

using namespace harbolance;

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

// `stream` is one of the standard three.
template <class Print>
std::string printedOn(std::ostream& stream, Print print) {
    std::ostringstream text;
    std::streambuf* saved = stream.rdbuf(text.rdbuf());
    print(stream);
    stream.rdbuf(saved);
    return text.str();
}

std::string printed(const CORBA_Exception& exception, std::ostream& stream = std::cout) {
    return printedOn(stream, [&](std::ostream& out) { out << exception; });
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
}

TEST(Exception, keepsTheFirstOfTwoDescriptorsWithOneId) {
    {
        const CORBA_ExceptionDesc second("Gate::Other", "IDL:Gate/Refused:1.0", nullptr, nullptr);
        EXPECT_EQ(CORBA_ExceptionDesc::lookup("IDL:Gate/Refused:1.0"), &Refused::_descriptor());
    }
    EXPECT_EQ(CORBA_ExceptionDesc::lookup("IDL:Gate/Refused:1.0"), &Refused::_descriptor());
    {
        const CORBA_ExceptionDesc passing("Gate::Passing", "IDL:Gate/Passing:1.0", nullptr, nullptr);
        EXPECT_EQ(CORBA_ExceptionDesc::lookup("IDL:Gate/Passing:1.0"), &passing);
    }
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
    EXPECT_TRUE(CORBA_is_nil(CORBA_UserException::_narrow(&system)));
}

TEST(Exception, raisesAndCopiesItsOwnClass) {
    const CORBA_TRANSIENT original(7, COMPLETED_YES);
    const std::unique_ptr<CORBA_Exception> copy(original._copy());
    try {
        copy->_raise();
        FAIL();
    } catch (const CORBA_TRANSIENT& raised) {
        EXPECT_NE(&raised, copy.get());
        EXPECT_EQ(raised.minor(), 7u);
        EXPECT_EQ(raised.completed(), COMPLETED_YES);
    }
    const CORBA_SystemException root(1, COMPLETED_YES);
    EXPECT_THROW(root._raise(), CORBA_SystemException);
    EXPECT_NO_THROW(CORBA_UserException()._raise());
}

TEST(Exception, printsLinesOnTheConsole) {
    CORBA_COMM_FAILURE failure(104, COMPLETED_MAYBE);
    const std::string lines = "Exception: CORBA::COMM_FAILURE\n\tMinor: 104\n\tCompletion Status: MAYBE\n";
    EXPECT_EQ(printed(failure), lines);
    EXPECT_EQ(printed(failure, std::cerr), lines);
    EXPECT_EQ(printed(failure, std::clog), lines);
    failure.completed(static_cast<CORBA_CompletionStatus>(7));
    EXPECT_EQ(printed(failure),
              "Exception: CORBA::COMM_FAILURE\n\tMinor: 104\n\tCompletion Status: Invalid status\n");
    EXPECT_EQ(printed(CORBA_UserException()), "Exception: CORBA::UserException\n");
    EXPECT_EQ(printed(CORBA_ORB_InvalidName()), "EXCEPTION CORBA_ORB_InvalidName {\n}\n");
    Refused refused;
    refused.reason = 3;
    refused.where = static_cast<const char*>("north");
    EXPECT_EQ(printed(refused), "EXCEPTION Gate::Refused {\n\treason:\n3 \n\twhere:\nnorth\n}\n");
}

TEST(Exception, writesItsMembersToAnyOtherStream) {
    std::ostringstream text;
    text << CORBA_BAD_PARAM(5, COMPLETED_YES);
    EXPECT_EQ(text.str(), "5 0 ");
}

TEST(Exception, isReadBackFromText) {
    std::stringstream text;
    TRXostream out(text);
    Refused refused;
    refused.reason = 3;
    refused.where = static_cast<const char*>("north");
    out << CORBA_MARSHAL(9, static_cast<CORBA_CompletionStatus>(7)) << refused << Refused();
    TRXistream in(text);
    CORBA_Exception* read = nullptr;
    in >> read;
    std::unique_ptr<CORBA_Exception> holder(read);
    ASSERT_NE(CORBA_MARSHAL::_narrow(read), nullptr);
    EXPECT_EQ(CORBA_MARSHAL::_narrow(read)->minor(), 9u);
    EXPECT_EQ(CORBA_MARSHAL::_narrow(read)->completed(), 7u);
    in >> read;
    holder.reset(read);
    ASSERT_NE(Refused::_narrow(read), nullptr);
    EXPECT_EQ(Refused::_narrow(read)->reason, 3u);
    EXPECT_STREQ(Refused::_narrow(read)->where, "north");
}

} // namespace
