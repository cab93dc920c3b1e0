#include "marshal/sequence/sequence.h"
#include "marshal/sequence/string_sequence.h"
#include "marshal/support.h"

// Known by name only, and printed where holders are known.
class Unseen;
std::ostream& operator<<(std::ostream& stream, const Unseen&) { return stream; }
[[maybe_unused]] static void printUnseen(const Unseen& unseen) { std::cout << unseen; }

namespace {

using LongSeq = TRXSequence<CORBA_Long>;
using DoubleSeq = TRXSequence<CORBA_Double>;
using LongSeqSeq = TRXSequence<LongSeq>;

// A type that contains itself, as an interface may declare it.
struct Node {
    TRXSequence<Node> below;
};
TRXostream& operator<<(TRXostream& stream, const Node& node) { return stream << node.below; }
TRXistream& operator>>(TRXistream& stream, Node& node) { return stream >> node.below; }

// As generated code reads it.
enum Colour : CORBA_ULong { red, green };
TRXistream& operator>>(TRXistream& stream, Colour& colour) {
    CORBA_ULong number = 0;
    stream >> number;
    if (number > green)
        throw CORBA_BAD_PARAM();
    colour = static_cast<Colour>(number);
    return stream;
}

template <class T>
void readInto(std::string_view hexadecimal, T& value) {
    Source(hexadecimal).in() >> value;
}

template <class Sequence, class T>
Sequence filled(std::initializer_list<T> values) {
    Sequence sequence;
    sequence.length(static_cast<CORBA_ULong>(values.size()));
    for (CORBA_ULong i = 0; const T& value : values)
        sequence[i++] = value;
    return sequence;
}
const auto longs = filled<LongSeq, CORBA_Long>;
const auto strings = filled<CORBA_StringSequence, const char*>;

TEST(Sequence, keepsItsElementsThroughEveryLengthAndCopiesThemDeeply) {
    LongSeq some(3);
    EXPECT_EQ(some.length(), 0u);
    EXPECT_EQ(some.buffer()[2], 0);
    EXPECT_EQ(LongSeq(some).maximum(), 3u);
    LongSeq sequence = longs({1, 2, 3});
    const CORBA_Long* before = sequence.buffer();
    sequence.length(1);
    EXPECT_THROW(sequence[1], CORBA_BAD_PARAM);
    sequence.length(3);
    EXPECT_EQ(sequence.buffer(), before);
    sequence.length(5);
    EXPECT_EQ(sequence.maximum(), 5u);
    EXPECT_EQ(written(sequence), written(longs({1, 2, 3, 0, 0})));
    LongSeqSeq outer, copy(4);
    outer.length(1);
    outer[0] = sequence;
    copy = outer;
    outer[0][0] = 9;
    EXPECT_EQ(copy.maximum(), 1u);
    EXPECT_EQ(copy[0][0], 1);
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
    // Strings are neither freed nor overwritten.
    char text[] = "borrowed";
    char* borrowed[] = {text};
    CORBA_StringSequence guest(1, 1, borrowed, false);
    readInto("01000000 02000000 6100", guest);
    EXPECT_STREQ(borrowed[0], "borrowed");
    EXPECT_STREQ(guest[0], "a");
    EXPECT_TRUE(guest.release());
}

TEST(Sequence, ownsItsStrings) {
    CORBA_StringSequence names = strings({"first", "second"});
    names[1] = names[0];
    EXPECT_STREQ(names[1], "first");
    EXPECT_NE(names[0].in(), names[1].in());
    const CORBA_String_var holder(names[0]);
    names[0] = holder;
    EXPECT_NE(holder.in(), names[0].in());
    const CORBA_StringSequence copy = names;
    names[0] = CORBA_string_dup("other");
    EXPECT_STREQ(copy[0], "first");
    names.length(3);
    EXPECT_EQ(names[2].in(), nullptr);
    EXPECT_THROW(written(names), CORBA_BAD_PARAM);
}

TEST(Sequence, isReadIntoTheMemoryThatIsThere) {
    LongSeq sequence = longs({1, 2, 3});
    const CORBA_Long* before = sequence.buffer();
    readInto("02000000 07000000 08000000", sequence);
    EXPECT_EQ(sequence.buffer(), before);
    EXPECT_EQ(written(sequence), digits("02000000 07000000 08000000"));
    readInto("04000000 01000000 02000000 03000000 04000000", sequence);
    EXPECT_EQ(sequence.maximum(), 4u);
    CORBA_StringSequence names = strings({"older"});
    const char* const kept = names[0];
    readInto("01000000 02000000 'b' 00", names);
    EXPECT_EQ(names[0].in(), kept);
    readInto("00000000", names);
    EXPECT_EQ(names.length(), 0u);
    EXPECT_EQ(written(DoubleSeq()), "00000000"); // none, so nothing is aligned either
}

TEST(Sequence, refusesCountsThatTheStreamCannotHold) {
    LongSeq sequence = longs({1});
    CORBA_StringSequence names;
    LongSeqSeq nested;
    DoubleSeq doubles;
    for (const char* count : {"ffffffff 00000000", "00000040 00000000", "09000000 0000000000000000"}) {
        EXPECT_THROW(readInto(count, sequence), CORBA_MARSHAL) << count;
        EXPECT_THROW(readInto(count, names), CORBA_MARSHAL) << count;
        EXPECT_THROW(readInto(count, nested), CORBA_MARSHAL) << count;
        EXPECT_THROW(readInto(count, doubles), CORBA_MARSHAL) << count;
    }
    EXPECT_EQ(sequence[0], 1);
    LongSeq* made = &sequence;
    EXPECT_THROW(readInto("02000000 00000000", made), CORBA_MARSHAL);
    EXPECT_THROW(written(made), CORBA_BAD_PARAM);
}

// The count fits, and then an element does not: padding takes four of the octets, an enumerator is none.
TEST(Sequence, isZeroWhereItIsCutShort) {
    std::vector<CORBA_OctetSequence> used(64, CORBA_OctetSequence(16)); // new memory is not zero by chance
    for (CORBA_OctetSequence& block : used)
        std::memset(block.buffer(), 0xee, 16);
    used.clear();
    DoubleSeq doubles;
    EXPECT_THROW(readInto("01000000 01010101 01010101", doubles), CORBA_MARSHAL);
    TRXSequence<Colour> colours;
    EXPECT_THROW(readInto("04000000 01000000 09000000 01000000 01000000", colours), CORBA_BAD_PARAM);
    EXPECT_EQ(doubles.buffer()[0], 0);
    EXPECT_EQ(std::vector(colours.buffer(), colours.buffer() + 4), (std::vector{green, red, red, red}));
}

// Each level costs a peer 4 octets. The program itself may nest deeper.
TEST(Sequence, boundsHowDeepAValueNests) {
    const auto nested = [](int levels) {
        Node top;
        while (--levels > 0) {
            Node above;
            above.below.length(1);
            std::swap(above.below[0], top);
            std::swap(top, above);
        }
        return written(top);
    };
    Node read;
    EXPECT_NO_THROW(readInto(nested(257), read));
    EXPECT_THROW(readInto(nested(258), read), CORBA_MARSHAL);
    EXPECT_NO_THROW(nested(1001));
    EXPECT_THROW(nested(1002), CORBA_MARSHAL);
}

TEST(Sequence, growsInTextWithWhatComes) {
    LongSeq read;
    std::istringstream lie("4000000000 1 2 ");
    fromText(lie, read);
    EXPECT_LT(read.maximum(), 200u);
    EXPECT_TRUE(lie.fail());
}

TEST(SequenceVar, sharesOneObject) {
    CORBA_OctetSequence_var a(new CORBA_OctetSequence(4));
    const CORBA_OctetSequence_var shared = a;
    EXPECT_EQ(a->_refcount(), 2u);
    // What is assigned is the value: those who share the object stay with it.
    *a = CORBA_OctetSequence(8);
    EXPECT_EQ(a->_refcount(), 2u);
    a->length(1);
    a[0] = 5;
    EXPECT_EQ(written(shared), digits("01000000 05"));
    EXPECT_EQ(*a.out(), nullptr);
    EXPECT_EQ(shared->_refcount(), 1u);
    EXPECT_EQ(hex(*readFrom<CORBA_OctetSequence_var>("02000000 0607")), "0607");
}

TEST(Sequences, ofOctetsAndStringsAreComparedHashedAndPrinted) {
    using harbolance::compare;
    CORBA_OctetSequence kept = sequence("01020304");
    const CORBA_Octet* before = kept.buffer();
    const CORBA_OctetSequence source = sequence("09");
    kept = source; // keeps its buffer
    EXPECT_EQ(kept.buffer(), before);
    EXPECT_EQ(hex(kept), "09");
    kept.length(6);
    EXPECT_EQ(kept[5], 0);
    EXPECT_EQ(compare(sequence("01"), sequence("010203")), -2);
    EXPECT_EQ(compare(sequence("ff"), sequence("01")), 1);
    EXPECT_EQ(compare(sequence("0102"), sequence("0103")), -1);
    EXPECT_EQ(sequence("0106").hash(), 2u ^ 1u ^ 6u);
    const CORBA_StringSequence a = strings({"one", "two"});
    EXPECT_EQ(compare(a, strings({"one", "two"})), 0);
    EXPECT_LT(compare(a, strings({"one", "twp"})), 0);
    EXPECT_EQ(compare(a, strings({"one"})), 1);
    EXPECT_EQ(a.hash(), 2u ^ CORBA_string_hash("one") ^ CORBA_string_hash("two"));
    EXPECT_EQ(printed(sequence("07ff")) + printed(a),
              "SEQUENCE NAME: CORBA_OctetSequence\nNUM OF ELEMENTS: 2\n"
              "ELEMENT NUM: 0 = 7\nELEMENT NUM: 1 = 255\n"
              "SEQUENCE NAME: CORBA_StringSequence\nNUM OF ELEMENTS: 2\n"
              "ELEMENT NUM: 0 = one\nELEMENT NUM: 1 = two\n");
}

} // namespace
