#include "marshal/exception/orb_exceptions.h"
#include "marshal/support.h"

#include <memory>

namespace {

std::unique_ptr<CORBA_Exception> readException(TRXistream& in) {
    CORBA_Exception* read = nullptr;
    in >> read;
    return std::unique_ptr<CORBA_Exception>(read);
}

TEST(Exception, isFoundByItsIdWhileItsClassIsRegistered) {
    int count = 0;
    const auto expectSystem = [&](const std::string& name) {
        const auto* desc = CORBA_ExceptionDesc::lookup(("IDL:omg.org/CORBA/" + name + ":1.0").c_str());
        ASSERT_NE(desc, nullptr) << name;
        EXPECT_EQ(desc->name(), "CORBA::" + name);
        const std::unique_ptr<CORBA_Exception> made(desc->factory()());
        EXPECT_EQ(made->_desc(), desc);
        ++count;
    };
#define EXPECT_SYSTEM(X) expectSystem(#X);
    TRX_SYSTEM_EXCEPTIONS(EXPECT_SYSTEM)
#undef EXPECT_SYSTEM
    EXPECT_EQ(count, 29);
    EXPECT_EQ(CORBA_ExceptionDesc::dictionarySlots(), 128u); // the 29th filled more than nine tenths of 32
    const auto passing = [] { return CORBA_ExceptionDesc::lookup("IDL:Gate/Passing:1.0"); };
    {
        const CORBA_ExceptionDesc second("Gate::Other", "IDL:omg.org/CORBA/MARSHAL:1.0", nullptr, nullptr);
        const CORBA_ExceptionDesc shortLived("Gate::Passing", "IDL:Gate/Passing:1.0", nullptr, nullptr);
        expectSystem("MARSHAL"); // the first of an id stays
        EXPECT_EQ(passing(), &shortLived);
    }
    expectSystem("MARSHAL");
    EXPECT_EQ(passing(), nullptr);
    EXPECT_EQ(CORBA_ExceptionDesc::lookup(nullptr), nullptr);
}

TEST(Exception, isCopiedNarrowedAndRaisedAsItsOwnClass) {
    const std::unique_ptr<CORBA_Exception> copy(CORBA_TRANSIENT(7, COMPLETED_YES)._copy());
    EXPECT_EQ(CORBA_SystemException::_narrow(copy.get()), copy.get());
    EXPECT_EQ(CORBA_MARSHAL::_narrow(copy.get()), nullptr);
    EXPECT_EQ(CORBA_UserException::_narrow(copy.get()), nullptr);
    EXPECT_EQ(CORBA_TRANSIENT::_narrow(nullptr), nullptr);
    CORBA_ORB_InvalidName user;
    EXPECT_EQ(CORBA_UserException::_narrow(&user), &user);
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
    std::ostringstream text;
    text << CORBA_BAD_PARAM(5, COMPLETED_YES);
    EXPECT_EQ(text.str(), "5 0 ");
}

TEST(Exception, isItsIdAndItsMembers) {
    EXPECT_EQ(written(CORBA_ORB_InvalidName()),
              digits("26000000 'IDL:omg.org/CORBA/ORB/InvalidName:1.0' 00"));
    // What is read of an unknown or an abstract class is UNKNOWN, and its members are left.
    const std::string bad = "20000000 'IDL:omg.org/CORBA/BAD_PARAM:1.0' 00 05000000 07000000",
                      unknown = "1e000000 'IDL:omg.org/CORBA/UNKNOWN:1.0' 00 2020 00000000 01000000";
    for (const auto& [octets, same] :
         {std::pair{bad, bad},
          {"15000000 'IDL:Nobody/Knows:1.0' 00 202020 05000000 07000000", unknown},
          {"26000000 'IDL:omg.org/CORBA/SystemException:1.0' 00 2020 05000000 07000000", unknown}}) {
        Source source(octets, 0);
        EXPECT_EQ(written(*readException(source.in())), digits(same));
        EXPECT_EQ(source.in().has(8), same == unknown);
    }
    EXPECT_THROW(readException(Source(bad.substr(0, bad.size() - 9), 0).in()), CORBA_MARSHAL);
    const CORBA_COMM_FAILURE failure(104, COMPLETED_MAYBE);
    std::stringstream text;
    TRXostream out(text);
    out << failure;
    TRXistream in(text);
    EXPECT_EQ(written(*readException(in)), written(failure));
}

} // namespace
