#include "marshal/cdr/members.h"
#include "marshal/marshal_settings.h"
#include "marshal/support.h"

#include <tuple>

using namespace harbolance;

namespace {

template <class T>
constexpr bool hasArrays = requires(TRXostream& out, T* values) {
    out.write(values, 0u);
};

// Values in all their forms, one by one and as an array: as octets behind one octet 0x78, in both orders, and
// as text.
template <class T>
void expectForms(const std::vector<T>& values, const std::string& octets, const std::string& text) {
    SCOPED_TRACE(octets + " " + text);
    const auto count = static_cast<CORBA_ULong>(values.size());
    for (const bool atOnce : {false, hasArrays<T>}) {
        const auto put = [&](TRXostream& out, const std::vector<T>& some) {
            if constexpr (hasArrays<T>)
                if (atOnce)
                    return static_cast<void>(out.write(some.data(), count));
            for (const T& value : some)
                out << value;
        };
        const auto get = [&](TRXistream& in) {
            std::vector<T> some(values.size());
            if constexpr (hasArrays<T>)
                if (atOnce)
                    return in.read(some.data(), count), some;
            for (T& value : some)
                in >> value;
            return some;
        };
        const auto expectOctets = [&](const std::vector<T>& some) {
            CORBA_MarshalOutBuffer out(255);
            put(out << 'x', some);
            EXPECT_EQ(hex(out), digits("78 " + octets));
        };
        expectOctets(values);
        std::stringstream stream;
        for (CORBA_Octet order : {hostByteOrder, CORBA_Octet{0}}) {
            Source source("78 " + octets, order);
            source.in().get();
            stream.str("");
            TRXostream textOut(stream);
            put(textOut, get(source.in()));
            EXPECT_EQ(stream.str(), text);
            EXPECT_FALSE(source.in().has(1));
        }
        TRXistream textIn(stream);
        expectOctets(get(textIn));
        EXPECT_TRUE(stream.good());
        EXPECT_EQ(stream.peek(), EOF);
    }
}

TEST(Stream, carriesEachTypeInEveryForm) {
    expectForms<char>({'a', '\xe9'}, "61 e9", "97 -23 ");
    expectForms<CORBA_Octet>({7, 0xfe}, "07 fe", "7 254 ");
    expectForms<short>({1, -2}, "20 0100 feff", "1 -2 ");
    expectForms<unsigned short>({1, 2, 0x8304}, "20 0100 0200 0483", "1 2 33540 ");
    expectForms<int>({0x01020304, -2}, "202020 04030201 feffffff", "16909060 -2 ");
    expectForms<unsigned int>({0xf1f2f3f4u}, "202020 f4f3f2f1", "4059231220 ");
    expectForms<long>({-1, 2}, "202020 ffffffff 02000000", "-1 2 ");
    expectForms<unsigned long>({0xfffffffeu, 1}, "202020 feffffff 01000000", "4294967294 1 ");
    expectForms<long long>({-2}, "20202020202020 feffffffffffffff", "-2 ");
    expectForms<unsigned long long>({1ULL << 63, 3}, "20202020202020 0000000000000080 0300000000000000",
                                    "9223372036854775808 3 ");
    expectForms<float>({1.5f}, "202020 0000c03f", "1.5 ");
    expectForms<double>({1, -2.5}, "20202020202020 000000000000f03f 00000000000004c0", "1 -2.5 ");
    expectForms<wchar_t>({L'a', L'\x20ac'}, "20 6100 ac20", "97 8364 ");
    expectForms<CORBA_String_var>({"", "abc"}, "202020 01000000 00 202020 04000000 'abc' 00", "1 4\"abc\"\n");
    expectForms<CORBA_WString_var>({L"ab"}, "202020 03000000 6100 6200 0000", "3 97 98 0 ");
}

// An array is aligned even if it is empty, and wide characters are one by one.
TEST(Stream, alignsArraysOfNone) {
    CORBA_MarshalOutBuffer out(255);
    out.put('x').write(static_cast<const wchar_t*>(nullptr), 0);
    EXPECT_EQ(out.offset(), 1u);
    out.write(static_cast<const double*>(nullptr), 0);
    EXPECT_EQ(hex(out), digits("78 20202020202020"));
    CORBA_MarshalInBuffer in(out.data(), out.offset());
    in.seek(1);
    in.read(static_cast<wchar_t*>(nullptr), 0);
    EXPECT_EQ(in.offset(), 1u);
    in.read(static_cast<double*>(nullptr), 0);
    EXPECT_EQ(in.offset(), 8u);
}

TEST(CdrOutput, ofNullLinesAndWideNumbers) {
    CORBA_MarshalOutBuffer out(255);
    out << 0x1ffffffffUL << L'\x1f600' << CORBA_WString_var() << std::endl;
    out.write_raw("yz", 2).put('!');
    EXPECT_EQ(hex(out), digits("ffffffff 00f6 2020 01000000 0000 2020 02000000 0a00 797a 21"));
    EXPECT_THROW(out << static_cast<const char*>(nullptr), CORBA_BAD_PARAM);
    const Setting on(marshalSettings.nullString, true);
    out.rewind();
    out << static_cast<const char*>(nullptr);
    EXPECT_EQ(hex(out), "00000000");
    EXPECT_EQ(readFrom<CORBA_String_var>("00000000").in(), nullptr);
}

TEST(CdrOutput, growsToTwiceOrToWhatIsNeeded) {
    CORBA_MarshalOutBuffer out(255);
    const std::string octetsToWrite(2000, '.');
    out.write_raw(octetsToWrite.data(), 2000);
    EXPECT_EQ(out.capacity(), 2000u);
    out << 'x';
    EXPECT_EQ(out.capacity(), 4000u);
    EXPECT_EQ(std::string(out.data(), out.offset()), octetsToWrite + 'x');
    EXPECT_THROW(out.seek(4001), CORBA_BAD_PARAM);
    // Out of the caller's memory, twice over so that a lost block would show, and out of memory it was given.
    char memory[4] = {};
    CORBA_MarshalOutBuffer borrowing(memory, sizeof memory, 0);
    borrowing << 1;
    EXPECT_EQ(borrowing.data(), memory);
    borrowing << 2 << 3 << 4;
    EXPECT_EQ(hex(borrowing), digits("01000000 02000000 03000000 04000000"));
    EXPECT_TRUE(borrowing.own());
    CORBA_MarshalOutBuffer owning(CORBA_string_alloc(2), 2, 1);
    owning << 1 << 2;
    EXPECT_EQ(hex(owning), digits("01000000 02000000"));
}

// As the size of a message is filled in when its end is known, and an encapsulation is written in place.
TEST(CdrOutput, keepsOffsetAndAlignmentApart) {
    CORBA_MarshalOutBuffer out(255);
    out << CORBA_Octet{1} << CORBA_Octet{2};
    out.seek(0);
    out << CORBA_Short{-1};
    EXPECT_EQ(hex(out), "ffff");
    EXPECT_EQ(out.align(), 4u);
    out.rewind_offset();
    EXPECT_EQ(out.align(), 4u);
    out << 'x';
    out.reset_align();
    out << 5 << 'y' << "ab";
    EXPECT_EQ(hex(out), digits("78 05000000 79 202020 03000000 616200"));
    out.align(6);
    out << "c" << 'z';
    out.reset_align();
    out << "d";
    EXPECT_EQ(hex(out).substr(2 * 16), digits("2020 02000000 6300 7a 02000000 6400"));
}

TEST(CdrInput, alignsByTheStreamAndNotByTheBuffer) {
    // A message body behind a header of 12 octets: an 8-octet value at its offset 4 needs no padding.
    Source source("01000000 0200000000000000");
    CORBA_MarshalInBuffer& in = source.in();
    in.align(12);
    int first = 0;
    long long second = 0;
    in >> first >> second;
    EXPECT_EQ(second, 2);
    EXPECT_EQ(in.align(), 24u);
    EXPECT_EQ(in.seek(4), 12u);
    EXPECT_EQ(in.align(), 4u);
    EXPECT_THROW(in.seek(13), CORBA_BAD_PARAM);
    in.rewind();
    EXPECT_EQ(in.position(), 0);
    Source odd("00 02000000 'a' 00");
    odd.in().get();
    odd.in().reset_align();
    EXPECT_EQ(odd.in().align(), 0u);
    CORBA_String_var text;
    odd.in() >> text;
    EXPECT_STREQ(text, "a");
}

TEST(CdrInput, fillsWithZerosWhatIsNotThere) {
    int value = 5;
    EXPECT_THROW(Source("010000").in() >> value, CORBA_MARSHAL);
    EXPECT_EQ(value, 0);
    double doubles[2] = {1, 2};
    EXPECT_THROW(Source("0000000000000000 00").in().read(doubles, 2), CORBA_MARSHAL);
    EXPECT_EQ(doubles[1], 0);
    wchar_t wide[2] = {1, 2};
    EXPECT_THROW(Source("0100").in().read(wide, 2), CORBA_MARSHAL);
    EXPECT_EQ(wide[1], 0);
}

TEST(CdrInput, readsAStringOverAnotherAlsoAsAMember) {
    for (const bool asMember : {false, true}) {
        CORBA_String_var text("longer"), none; // the constant empty string of that one is not written to
        const char* const before = text.in();
        const auto readFrom = [asMember](CORBA_MarshalInBuffer& in, CORBA_String_var& target) {
            asMember ? in >> members(target) : in >> target;
        };
        Source source("04000000 'abc' 00 03000000 'de' 00 20 03000000 'fg' 00 20 05000000 'abcd' 00");
        for (const char* expected : {"abc", "de", "fg"}) {
            readFrom(source.in(), text);
            EXPECT_STREQ(text, expected);
            EXPECT_EQ(text.in(), before) << expected; // in the memory of the longer one
        }
        readFrom(source.in(), text);
        EXPECT_STREQ(text, "abcd");
        // What is no string leaves the old one.
        for (const char* length : {"", "00000000", "ffffffff 61", "05000000 'abc' 00", "000000"}) {
            EXPECT_THROW(readFrom(Source(length).in(), text), CORBA_MARSHAL) << length;
            EXPECT_STREQ(text, "abcd") << length;
        }
        readFrom(Source("01000000 00").in(), none);
        EXPECT_STREQ(none, "");
        readFrom(Source("02000000 'ab'").in(), text); // the peer sent no NUL
        EXPECT_STREQ(text, "ab");
    }
    for (const char* count : {"ffffffff 6100", "03000000 6100 6200", "ffffff7f 6100"})
        EXPECT_THROW(readFrom<CORBA_WString_var>(count), CORBA_MARSHAL) << count;
}

TEST(CdrInput, boundsAStringByTheCallersBuffer) {
    Source source("05000000 'abcd' 00 202020 02000000 'a' 00");
    char buffer[4] = {};
    source.in().getCString(buffer, 3);
    EXPECT_EQ(std::string(buffer, 4), std::string("abc\0", 4));
    source.in().getCString(buffer, 3);
    EXPECT_STREQ(buffer, "a");
    EXPECT_FALSE(source.in().has(1));
    EXPECT_THROW(Source("09000000 'a' 00").in().getCString(buffer, 3), CORBA_MARSHAL);
}

TEST(CdrInput, leavesRunsInPlace) {
    Source source("03000000 070809 20 02000000 01000000 02000000 00000000 03000000 'ab' 00");
    CORBA_ULong count = 0;
    const unsigned char* run = source.in().octets_in_place(count);
    EXPECT_EQ(count, 3u);
    EXPECT_EQ(reinterpret_cast<const char*>(run), source.in().data() + 4);
    const CORBA_ULong* words = source.in().words_in_place(count);
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(words[1], 2u);
    EXPECT_EQ(source.in().words_in_place(count), nullptr);
    EXPECT_STREQ(source.in().string_in_place(), "ab");
    EXPECT_THROW(Source("04000000 'abc'").in().octets_in_place(count), CORBA_MARSHAL);
    for (const char* list : {"ffffffff 'abcd'", "00000040 'abcd'"})
        EXPECT_THROW(Source(list).in().words_in_place(count), CORBA_MARSHAL);
    EXPECT_THROW(Source("03000000 'abc'").in().string_in_place(), CORBA_MARSHAL);
}

// Members of a struct: as they are one by one.
struct Entry {
    CORBA_Octet octet = 7;
    CORBA_String_var text{"sixteen letters!"};
    CORBA_Double real = -2.5;
    CORBA_Short number = -3;
    CORBA_String_var empty{""}, shorter{"ten octets"}, longer{"a text that is longer than thirty-two octets"};
    CORBA_LongLong last = 1ll << 40;

    auto parts() { return std::tie(octet, text, real, number, empty, shorter, longer, last); }
};
void writeMembers(TRXostream& out, Entry entry, bool together) {
    std::apply([&](auto&... part) { together ? out << members(part...) : (out << ... << part); },
               entry.parts());
}
std::string textOf(const Entry& entry, bool together) {
    std::ostringstream form;
    TRXostream stream(form);
    writeMembers(stream, entry, together);
    return form.str();
}

TEST(Members, areWrittenLikeSingleValues) {
    for (CORBA_ULong align = 0; align < 8; ++align) {
        CORBA_MarshalOutBuffer singly(255), together(255);
        singly.align(align);
        together.align(align);
        writeMembers(singly, {}, false);
        writeMembers(together, {}, true);
        EXPECT_EQ(hex(together), hex(singly)) << align;
        std::vector<char> memory(singly.offset());
        CORBA_MarshalOutBuffer exact(memory.data(), singly.offset(), 0);
        exact.align(align);
        writeMembers(exact, {}, true);
        EXPECT_EQ(hex(exact), hex(singly)) << align;
        EXPECT_EQ(exact.data(), memory.data()) << align;
    }
    EXPECT_EQ(textOf({}, true), textOf({}, false));
    CORBA_MarshalOutBuffer out(255);
    CORBA_String_var null(static_cast<char*>(nullptr));
    EXPECT_THROW(out << members(null), CORBA_BAD_PARAM);
}

TEST(Members, areReadLikeSingleValues) {
    CORBA_MarshalOutBuffer out(255);
    writeMembers(out, {}, false);
    // What is read, where the reader stands, and whether it was complete.
    const auto outcome = [&out](CORBA_ULong size, CORBA_Octet order, bool together) {
        Entry entry{1, "short", 2, 3, "old", "", "other", 4};
        CORBA_MarshalInBuffer in(out.data(), size, 0, order);
        const auto read = [&](auto&... part) { together ? in >> members(part...) : (in >> ... >> part); };
        try {
            std::apply(read, entry.parts());
        } catch (const CORBA_MARSHAL&) {
            return textOf(entry, false) + std::to_string(in.offset()) + " refused";
        }
        return textOf(entry, false) + std::to_string(in.offset());
    };
    for (CORBA_ULong size = 0; size <= out.offset(); ++size)
        for (const CORBA_Octet order :
             {CORBA_Octet{0}, CORBA_Octet{1}}) // the other one announces too long a string
            EXPECT_EQ(outcome(size, order, true), outcome(size, order, false)) << size;
}

} // namespace
