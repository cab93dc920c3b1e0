#include "everything_stub.h"
#include "random_value.h"

#include <gtest/gtest.h>

#include <sstream>

// Each generated type against its own TypeCode: values that the TypeCode describes are read, written, copied,
// and sent through every kind of stream and an Any.

namespace {

std::string octetsIn(const CORBA_MarshalOutBuffer& buffer) { return {buffer.data(), buffer.offset()}; }

template <class T>
std::string marshalled(const T& value) {
    CORBA_MarshalOutBuffer out(255);
    out << value;
    return octetsIn(out);
}

template <class T>
void read(const std::string& octets, T& value, CORBA_Octet order = hostByteOrder) {
    CORBA_MarshalInBuffer in(octets.data(), static_cast<CORBA_ULong>(octets.size()), 0, order);
    in >> value;
    ASSERT_EQ(in.offset(), octets.size());
}

template <class T>
void expectThroughText(const T& value, const std::string& octets) {
    std::stringstream text;
    text << value;
    T again;
    text >> again;
    EXPECT_TRUE(text) << text.str();
    EXPECT_EQ(marshalled(again), octets) << text.str();
}

template <class T>
void expectThroughAny(const T& value, CORBA_TypeCode* type, const std::string& octets) {
    CORBA_Any any;
    any <<= value;
    CORBA_Any received;
    read(marshalled(any), received);
    const CORBA_TypeCode_var held = received.type();
    EXPECT_TRUE(type->equal(held));
    T again;
    ASSERT_TRUE(received >>= again);
    EXPECT_EQ(marshalled(again), octets);
    received <<= "of another type";
    EXPECT_FALSE(received >>= again);
}

template <class T>
void expectCutShortIsRefused(const std::string& octets) {
    for (size_t length = 0; length < octets.size(); length += 1 + octets.size() / 50) {
        CORBA_MarshalInBuffer in(octets.data(), static_cast<CORBA_ULong>(length));
        T value;
        EXPECT_THROW(in >> value, CORBA_SystemException) << length << " of " << octets.size();
    }
}

template <class T>
void expectRoundTrips(CORBA_TypeCode* type) {
    for (unsigned seed = 0; seed < 20; ++seed) {
        SCOPED_TRACE(std::string(type->name()) + ", seed " + std::to_string(seed));
        CORBA_MarshalOutBuffer out(255);
        RandomValue(seed).write(out, CORBA_TypeCode::_duplicate(type));
        const std::string octets = octetsIn(out);
        OtherOrderBuffer turned;
        RandomValue(seed).write(turned, CORBA_TypeCode::_duplicate(type));

        T value;
        read(octets, value);
        ASSERT_EQ(marshalled(value), octets);
        T other;
        read(octetsIn(turned), other, !hostByteOrder);
        EXPECT_EQ(marshalled(other), octets);
        other = value;
        const T moved = std::move(value);
        EXPECT_EQ(marshalled(T(other)), marshalled(moved));
        expectThroughText(other, octets);
        expectThroughAny(other, type, octets);
        expectCutShortIsRefused<T>(octets);
    }
}

// Exceptions travel with their id, in a stream and in an Any.
template <class E>
void expectExceptionRoundTrips(CORBA_TypeCode* type) {
    for (unsigned seed = 0; seed < 20; ++seed) {
        SCOPED_TRACE(std::string(type->name()) + ", seed " + std::to_string(seed));
        CORBA_MarshalOutBuffer members(255);
        RandomValue(seed).write(members, CORBA_TypeCode::_duplicate(type));
        CORBA_MarshalInBuffer in(members.data(), members.offset());
        E thrown;
        thrown._read(in);
        CORBA_MarshalOutBuffer again(255);
        thrown._write(again);
        ASSERT_EQ(octetsIn(again), octetsIn(members));
        E caught;
        read(marshalled(thrown), caught);
        EXPECT_EQ(marshalled(caught), marshalled(thrown));
        CORBA_Any any;
        any <<= thrown;
        CORBA_Any received;
        read(marshalled(any), received);
        E taken;
        ASSERT_TRUE(received >>= taken);
        EXPECT_EQ(marshalled(taken), marshalled(thrown));
    }
}

template <class ForAny, class Array>
void expectArrayRoundTrips(CORBA_TypeCode* type) {
    for (unsigned seed = 0; seed < 5; ++seed) {
        SCOPED_TRACE(std::string(type->name()) + ", seed " + std::to_string(seed));
        CORBA_MarshalOutBuffer out(255);
        RandomValue(seed).write(out, CORBA_TypeCode::_duplicate(type));
        const std::string octets = octetsIn(out);
        Array array{}, throughAny{}, throughText{};
        ForAny value(array), fromAny(throughAny), fromText(throughText);
        read(octets, value);
        ASSERT_EQ(marshalled(value), octets);
        CORBA_Any any;
        any <<= value;
        ASSERT_TRUE(any >>= fromAny);
        EXPECT_EQ(marshalled(fromAny), octets);
        std::stringstream text;
        text << value;
        text >> fromText;
        EXPECT_EQ(marshalled(fromText), octets);
    }
}

TEST(Generated, ValuesOfEveryTypeSurviveEveryStream) {
    using namespace Everything;
    expectRoundTrips<Hand>(_tc_Hand);
    expectRoundTrips<Figures>(_tc_Figures);
    expectRoundTrips<Texts>(_tc_Texts);
    expectRoundTrips<Mixed>(_tc_Mixed);
    expectRoundTrips<Mixed::Inner>(Mixed::_tc_Inner);
    expectRoundTrips<Tree>(_tc_Tree);
    expectRoundTrips<Base::Held>(Base::_tc_Held);
    expectRoundTrips<_cxx_class>(_tc_class);
    expectRoundTrips<stream>(_tc_stream);
    expectRoundTrips<_cxx_std>(_tc_std);
    expectRoundTrips<Again::Uses>(Again::_tc_Uses);
}

TEST(Generated, SequencesOfEveryElement) {
    using namespace Everything;
    expectRoundTrips<Longs>(_tc_Longs);
    expectRoundTrips<FourOctets>(_tc_FourOctets);
    expectRoundTrips<TextsSeq>(_tc_TextsSeq);
    expectRoundTrips<Strings>(_tc_Strings);
    expectRoundTrips<TwoShort>(_tc_TwoShort);
    expectRoundTrips<WStrings>(_tc_WStrings);
    expectRoundTrips<ShortWStrings>(_tc_ShortWStrings);
    expectRoundTrips<Anys>(_tc_Anys);
    expectRoundTrips<Types>(_tc_Types);
    expectRoundTrips<Objects>(_tc_Objects);
    expectRoundTrips<Laters>(_tc_Laters);
    expectRoundTrips<Deep>(_tc_Deep);
    expectRoundTrips<Rows>(_tc_Rows);
    expectRoundTrips<Chars>(_tc_Chars);
    expectRoundTrips<WChars>(_tc_WChars);
    expectRoundTrips<Booleans>(_tc_Booleans);
    expectRoundTrips<Principals>(_tc_Principals);
    expectRoundTrips<Unions>(_tc_Unions);
    expectRoundTrips<_cxx_goto>(_tc_goto);
}

TEST(Generated, UnionsOfEveryDiscriminator) {
    using namespace Everything;
    expectRoundTrips<ByLong>(_tc_ByLong);
    expectRoundTrips<ByEnum>(_tc_ByEnum);
    expectRoundTrips<ByBoolean>(_tc_ByBoolean);
    expectRoundTrips<ByChar>(_tc_ByChar);
    expectRoundTrips<ByWide>(_tc_ByWide);
    expectRoundTrips<ByOctet>(_tc_ByOctet);
    expectRoundTrips<ByShort>(_tc_ByShort);
    expectRoundTrips<ByUShort>(_tc_ByUShort);
    expectRoundTrips<ByULong>(_tc_ByULong);
    expectRoundTrips<ByHuge>(_tc_ByHuge);
    expectRoundTrips<ByUHuge>(_tc_ByUHuge);
    expectRoundTrips<Own>(_tc_Own);
    expectRoundTrips<_cxx_typename>(_tc_typename);
}

TEST(Generated, ArraysAndExceptions) {
    using namespace Everything;
    expectArrayRoundTrips<Table_forany, Table>(_tc_Table);
    expectArrayRoundTrips<Names_forany, Names>(_tc_Names);
    expectArrayRoundTrips<Letters_forany, Letters>(_tc_Letters);
    expectArrayRoundTrips<_cxx_auto_forany, _cxx_auto>(_tc_auto);
    expectExceptionRoundTrips<Empty>(_tc_Empty);
    expectExceptionRoundTrips<Full>(_tc_Full);
    expectExceptionRoundTrips<Base::Refused>(Base::_tc_Refused);
    expectExceptionRoundTrips<_cxx_catch>(_tc_catch);
}

} // namespace
