#include "marshal/cdr/vbuf.h"
#include "marshal/sequence/octet_sequence.h"
#include "marshal/sequence/sequence.h"
#include "marshal/sequence/string_sequence.h"
#include "octets.h"

#include <gtest/gtest.h>

#include <iostream>
#include <sstream>
#include <string>

// Known by name only, and printed where holders are known.
using namespace harbolance;

class Unseen;
std::ostream& operator<<(std::ostream& stream, const Unseen&) { return stream; }
[[maybe_unused]] static void printUnseen(const Unseen& unseen) { std::cout << unseen; }

namespace {

using LongSeq = TRXSequence<CORBA_Long>;
using DoubleSeq = TRXSequence<CORBA_Double>;
using LongSeqSeq = TRXSequence<LongSeq>;

// A type that contains itself, as an interface may declare it.
struct Node {
    CORBA_Long value = 0;
    TRXSequence<Node> below;
};

TRXostream& operator<<(TRXostream& stream, const Node& node) { return stream << node.value << node.below; }
TRXistream& operator>>(TRXistream& stream, Node& node) { return stream >> node.value >> node.below; }

template <class T>
std::string written(const T& value) {
    CORBA_MarshalOutBuffer out(255);
    out << value;
    return hex(out);
}

// Reads hexadecimal digits, little-endian.
template <class T>
void readFrom(std::string_view hexadecimal, T& value) {
    const std::string text = octets(hexadecimal);
    CORBA_MarshalInBuffer in(text.data(), static_cast<CORBA_ULong>(text.size()), 0, 1);
    in >> value;
}

LongSeq longs(std::initializer_list<CORBA_Long> values) {
    LongSeq sequence;
    sequence.length(static_cast<CORBA_ULong>(values.size()));
    std::copy(values.begin(), values.end(), sequence.begin());
    return sequence;
}

TEST(Sequence, startsEmptyAndZeroFilled) {
    const LongSeq none;
    EXPECT_EQ(none.buffer(), nullptr);
    EXPECT_TRUE(none.release());
    LongSeq some(3);
    EXPECT_EQ(some.length(), 0u);
    EXPECT_EQ(some.maximum(), 3u);
    EXPECT_EQ(some.buffer()[2], 0);
    EXPECT_THROW(some[0], CORBA_BAD_PARAM);
}

TEST(Sequence, keepsItsElementsThroughEveryLength) {
    LongSeq sequence = longs({1, 2, 3});
    CORBA_Long* before = sequence.buffer();
    sequence.length(1);
    EXPECT_THROW(sequence[1], CORBA_BAD_PARAM);
    sequence.length(3);
    EXPECT_EQ(sequence.buffer(), before);
    EXPECT_EQ(sequence[2], 3);
    sequence.length(5);
    EXPECT_EQ(sequence.maximum(), 5u);
    EXPECT_EQ(sequence[2], 3);
    EXPECT_EQ(sequence[4], 0);
    sequence.length(2);
    sequence.length(6);
    EXPECT_EQ(sequence[2], 3);
}

TEST(Sequence, leavesABorrowedBufferToItsOwner) {
    CORBA_Long values[] = {1, 2};
    LongSeq sequence(2, 2, values, false);
    sequence[0] = 7;
    EXPECT_EQ(values[0], 7);
    const LongSeq copy = sequence;
    EXPECT_TRUE(copy.release());
    sequence.length(3);
    EXPECT_TRUE(sequence.release());
    EXPECT_EQ(sequence[0], 7);
    sequence[1] = 9;
    EXPECT_EQ(values[1], 2);
    EXPECT_EQ(copy[1], 2);
}

TEST(Sequence, copiesDeeplyWithItsMaximum) {
    LongSeqSeq outer;
    outer.length(1);
    outer[0] = longs({1, 2});
    LongSeqSeq copy(4);
    copy = outer;
    outer[0][0] = 9;
    EXPECT_EQ(copy.maximum(), 1u);
    EXPECT_EQ(copy[0][0], 1);
    LongSeq spare(8);
    spare.length(2);
    EXPECT_EQ(LongSeq(spare).maximum(), 8u);
}

TEST(Sequence, ownsItsStrings) {
    CORBA_StringSequence names;
    names.length(2);
    names[0] = static_cast<const char*>("first");
    names[1] = CORBA_string_dup("second");
    names[1] = names[0];
    EXPECT_STREQ(names[1], "first");
    EXPECT_NE(static_cast<char*>(names[0]), static_cast<char*>(names[1]));
    const CORBA_String_var holder(names[0]);
    names[0] = holder;
    EXPECT_NE(holder.in(), names[0].in());
    std::ostringstream printed;
    printed << names[0];
    EXPECT_EQ(printed.str(), "first");
    CORBA_StringSequence copy = names;
    names[0] = static_cast<const char*>("other");
    EXPECT_STREQ(copy[0], "first");
    names.length(3);
    EXPECT_EQ(static_cast<char*>(names[2]), nullptr);
    CORBA_MarshalOutBuffer out(255);
    EXPECT_THROW(out << names, CORBA_BAD_PARAM);

    // Strings of a buffer that is not its own are neither freed nor overwritten.
    char text[] = "borrowed";
    char* borrowed[] = {text};
    CORBA_StringSequence guest(1, 1, borrowed, false);
    readFrom("01000000 02000000 6100", guest);
    EXPECT_EQ(borrowed[0], text);
    EXPECT_STREQ(guest[0], "a");
    EXPECT_TRUE(guest.release());
}

TEST(Sequence, isItsLengthAndItsElements) {
    EXPECT_EQ(written(LongSeq()), "00000000");
    EXPECT_EQ(written(longs({1, -1})), digits("02000000 01000000 ffffffff"));
    DoubleSeq doubles;
    EXPECT_EQ(written(doubles), "00000000"); // none, so nothing is aligned either
    doubles.length(1);
    doubles[0] = 1.0;
    EXPECT_EQ(written(doubles), digits("01000000 20202020 000000000000f03f"));
    LongSeqSeq nested;
    nested.length(2);
    nested[1] = longs({5});
    EXPECT_EQ(written(nested), digits("02000000 00000000 01000000 05000000"));
    CORBA_StringSequence names;
    names.length(2);
    names[0] = static_cast<const char*>("a");
    names[1] = static_cast<const char*>("");
    EXPECT_EQ(written(names), digits("02000000 02000000 6100 2020 01000000 00"));
}

TEST(Sequence, readsOverWhatItHolds) {
    LongSeq sequence = longs({1, 2, 3});
    CORBA_Long* before = sequence.buffer();
    readFrom("02000000 07000000 08000000", sequence);
    EXPECT_EQ(sequence.buffer(), before);
    EXPECT_EQ(sequence.length(), 2u);
    EXPECT_EQ(sequence[1], 8);
    readFrom("04000000 01000000 02000000 03000000 04000000", sequence);
    EXPECT_EQ(sequence.maximum(), 4u);
    EXPECT_EQ(sequence[3], 4);

    CORBA_StringSequence names;
    names.length(1);
    names[0] = static_cast<const char*>("old");
    readFrom("01000000 02000000 6200", names);
    EXPECT_STREQ(names[0], "b");
    LongSeqSeq nested;
    readFrom("02000000 00000000 01000000 05000000", nested);
    EXPECT_EQ(nested[1][0], 5);
}

TEST(Sequence, refusesCountsThatTheStreamCannotHold) {
    LongSeq sequence = longs({1});
    CORBA_StringSequence names;
    LongSeqSeq nested;
    DoubleSeq doubles;
    for (const char* count : {"ffffffff 00000000", "00000040 00000000", "09000000 0000000000000000"}) {
        EXPECT_THROW(readFrom(count, sequence), CORBA_MARSHAL) << count;
        EXPECT_THROW(readFrom(count, names), CORBA_MARSHAL) << count;
        EXPECT_THROW(readFrom(count, nested), CORBA_MARSHAL) << count;
        EXPECT_THROW(readFrom(count, doubles), CORBA_MARSHAL) << count;
    }
    EXPECT_EQ(sequence[0], 1);
    LongSeq* made = &sequence;
    EXPECT_THROW(readFrom("02000000 00000000", made), CORBA_MARSHAL);
    EXPECT_EQ(made, nullptr);
    EXPECT_THROW(written(made), CORBA_BAD_PARAM);
}

// Each level costs a peer 8 octets; the stack must not be what ends it.
TEST(Sequence, boundsHowDeepAValueNests) {
    std::string deep;
    for (int i = 0; i < 100000; ++i)
        deep += std::string("\0\0\0\0\1\0\0\0", 8);
    deep += std::string(8, '\0');
    CORBA_MarshalInBuffer in(deep.data(), static_cast<CORBA_ULong>(deep.size()), 0, 1);
    Node node;
    EXPECT_THROW(in >> node, CORBA_MARSHAL);
    Node shallow;
    readFrom("01000000 01000000 02000000 01000000 03000000 00000000", shallow);
    EXPECT_EQ(shallow.below[0].below[0].value, 3);
}

TEST(Sequence, growsInTextWithWhatComes) {
    std::stringstream text;
    TRXostream out(text);
    LongSeq many;
    many.length(100);
    many[99] = 7;
    out << many;
    TRXistream in(text);
    LongSeq read;
    in >> read;
    EXPECT_EQ(read.length(), 100u);
    EXPECT_EQ(read[99], 7);
    std::istringstream lie("4000000000 1 2 ");
    TRXistream liar(lie);
    liar >> read;
    EXPECT_LT(read.maximum(), 200u);
    EXPECT_TRUE(lie.fail());
    // Into a buffer that is there goes what comes, as from octets.
    CORBA_Long values[] = {1, 2, 3};
    LongSeq borrowed(3, 3, values, false);
    std::istringstream one("1 9 ");
    TRXistream small(one);
    small >> borrowed;
    EXPECT_EQ(values[0], 9);
    EXPECT_EQ(values[1], 2);
}

TEST(SequenceVar, sharesOneObject) {
    CORBA_OctetSequence_var a(new CORBA_OctetSequence(4));
    {
        CORBA_OctetSequence_var b = a;
        EXPECT_EQ(b.in(), a.in());
        EXPECT_EQ(a->_refcount(), 2u);
    }
    EXPECT_EQ(a->_refcount(), 1u);
    CORBA_OctetSequence** place = a.out();
    EXPECT_EQ(*place, nullptr);
    *place = new CORBA_OctetSequence;
    EXPECT_EQ(a->length(), 0u);
    // What is assigned is the value: those who share the object stay with it.
    const CORBA_OctetSequence_var shared = a;
    *a = CORBA_OctetSequence(8);
    EXPECT_EQ(a->_refcount(), 2u);
    a->length(1);
    a[0] = 5;
    EXPECT_EQ(shared[0], 5);
}

CORBA_OctetSequence octetSequence(std::string_view hexadecimal) {
    const std::string text = octets(hexadecimal);
    const auto* data = reinterpret_cast<const CORBA_Octet*>(text.data());
    return CORBA_OctetSequence({data, text.size()});
}

TEST(OctetSequence, keepsItsBufferWhereTheSourceFits) {
    CORBA_OctetSequence target = octetSequence("01020304");
    const CORBA_Octet* before = target.buffer();
    target = octetSequence("0506");
    target = CORBA_OctetSequence(octetSequence("0506"));
    const CORBA_OctetSequence source = octetSequence("09");
    CORBA_OctetSequence kept = octetSequence("01020304");
    before = kept.buffer();
    kept = source;
    EXPECT_EQ(kept.buffer(), before);
    EXPECT_EQ(written(kept), digits("01000000 09"));
    kept.length(6);
    EXPECT_EQ(kept[0], 9);
    EXPECT_EQ(kept[5], 0);
}

TEST(OctetSequence, comparesByLengthThenUnsigned) {
    EXPECT_EQ(compare(octetSequence("01"), octetSequence("010203")), -2);
    EXPECT_EQ(compare(octetSequence("ff"), octetSequence("01")), 1);
    EXPECT_EQ(compare(octetSequence("0102"), octetSequence("0103")), -1);
    EXPECT_EQ(octetSequence("0102"), octetSequence("0102"));
    EXPECT_EQ(octetSequence("0106").hash(), 2u ^ 1u ^ 6u);
    EXPECT_EQ(CORBA_OctetSequence().hash(), 0u);
}

TEST(OctetSequence, printsOneElementToALine) {
    std::ostringstream text;
    std::streambuf* saved = std::cout.rdbuf(text.rdbuf());
    std::cout << octetSequence("07ff");
    std::cout.rdbuf(saved);
    EXPECT_EQ(text.str(), "SEQUENCE NAME: CORBA_OctetSequence\nNUM OF ELEMENTS: 2\n"
                          "ELEMENT NUM: 0 = 7\nELEMENT NUM: 1 = 255\n");
    std::ostringstream file;
    file << octetSequence("07ff");
    EXPECT_EQ(file.str(), "2 7 255 ");
}

TEST(StringSequence, comparesAndHashesByItsElements) {
    CORBA_StringSequence a;
    a.length(2);
    a[0] = static_cast<const char*>("one");
    a[1] = static_cast<const char*>("two");
    CORBA_StringSequence b = a;
    EXPECT_EQ(compare(a, b), 0);
    EXPECT_EQ(a.hash(), 2u ^ CORBA_string_hash("one") ^ CORBA_string_hash("two"));
    b[1] = static_cast<const char*>("twp");
    EXPECT_LT(compare(a, b), 0);
    b.length(1);
    EXPECT_EQ(compare(a, b), 1);
}

} // namespace
