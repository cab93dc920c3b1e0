#include "marshal/cdr/vbuf.h"
#include "marshal/exception/orb_exceptions.h"
#include "marshal/exception/vexcept.h"
#include "marshal/marshal_settings.h"
#include "marshal/text/vstr.h"
#include "octets.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

using namespace harbolance;

namespace {

// Octets to be read. Hexadecimal digits, in the byte order given.
class Source {
public:
    Source(std::string_view hexadecimal, CORBA_Octet order)
        : octets_(octets(hexadecimal)),
          in_(octets_.data(), static_cast<CORBA_ULong>(octets_.size()), 0, order) {}
    CORBA_MarshalInBuffer& in() { return in_; }

private:
    std::string octets_;
    CORBA_MarshalInBuffer in_;
};

class NullStrings {
public:
    NullStrings() { marshalSettings.nullString = true; }
    ~NullStrings() { marshalSettings.nullString = false; }
};

constexpr CORBA_Octet bigEndian = 0;
constexpr CORBA_Octet littleEndian = 1;

template <class Write>
std::string written(Write write) {
    CORBA_MarshalOutBuffer out(255);
    write(out);
    return hex(out);
}

// The octets by hand are little-endian: buffers are written in the host's order.
static_assert(hostByteOrder == littleEndian);

TEST(CdrOutput, writesEachPrimitiveInItsSize) {
    EXPECT_EQ(written([](TRXostream& out) { out << 'a' << CORBA_Octet{0xfe}; }), "61fe");
    EXPECT_EQ(written([](TRXostream& out) { out << CORBA_Short{-2} << CORBA_UShort{0x1234}; }), "feff3412");
    EXPECT_EQ(written([](TRXostream& out) { out << 0x01020304 << 0xf1f2f3f4u; }), "04030201f4f3f2f1");
    EXPECT_EQ(written([](TRXostream& out) { out << -2L << 0x1ffffffffUL; }), "feffffffffffffff");
    EXPECT_EQ(written([](TRXostream& out) { out << 0x0102030405060708LL << ~0ULL; }),
              digits("0807060504030201 ffffffffffffffff"));
    EXPECT_EQ(written([](TRXostream& out) { out << 1.0f; }), "0000803f");
    EXPECT_EQ(written([](TRXostream& out) { out << -2.5; }), "00000000000004c0");
    EXPECT_EQ(written([](TRXostream& out) { out << L'\x20ac' << L'\x1f600'; }), "ac2000f6");
}

TEST(CdrOutput, padsWithBlanksToEachSize) {
    // One octet in front, then a value of 1, 2, 4 and 8 octets.
    EXPECT_EQ(written([](TRXostream& out) { out << 'x' << 'y'; }), digits("78 79"));
    EXPECT_EQ(written([](TRXostream& out) { out << 'x' << CORBA_Short{1}; }), digits("78 20 0100"));
    EXPECT_EQ(written([](TRXostream& out) { out << 'x' << 1; }), digits("78 202020 01000000"));
    EXPECT_EQ(written([](TRXostream& out) { out << 'x' << 1LL; }),
              digits("78 20202020202020 0100000000000000"));
    EXPECT_EQ(written([](TRXostream& out) { out << 1 << 'x' << 1; }), digits("01000000 78 202020 01000000"));
    const double none[1] = {};
    EXPECT_EQ(written([&](TRXostream& out) { (out << 'x').write(none, 0) << 'y'; }),
              digits("78 20202020202020 79"));
}

TEST(CdrOutput, writesArraysWithOneAlignment) {
    const CORBA_UShort shorts[] = {1, 2};
    const long longs[] = {-1, 2};
    const unsigned char raw[] = {7, 8};
    const wchar_t wide[] = {L'a', L'b'};
    EXPECT_EQ(written([&](TRXostream& out) { (out << 'x').write(shorts, 2); }), digits("78 20 0100 0200"));
    EXPECT_EQ(written([&](TRXostream& out) { out.write(longs, 2); }), digits("ffffffff 02000000"));
    EXPECT_EQ(written([&](TRXostream& out) { (out << 'x').write(raw, 2).write_raw("yz", 2).put('!'); }),
              digits("78 0708 797a 21"));
    EXPECT_EQ(written([&](TRXostream& out) { (out << 'x').write(wide, 2); }), digits("78 20 6100 6200"));
    EXPECT_EQ(written([&](TRXostream& out) { (out << 'x').write(wide, 0); }), digits("78"));
}

TEST(CdrOutput, countsTheNulOfAString) {
    EXPECT_EQ(written([](TRXostream& out) { out << ""; }), digits("01000000 00"));
    EXPECT_EQ(written([](TRXostream& out) { out << 'x' << "abc"; }), digits("78 202020 04000000 61626300"));
    EXPECT_EQ(written([](TRXostream& out) { out << L"ab"; }), digits("03000000 6100 6200 0000"));
    const auto noText = [](TRXostream& out) { out << CORBA_WString_var(); };
    EXPECT_EQ(written(noText), digits("01000000 0000"));
    EXPECT_EQ(written([](TRXostream& out) { out << static_cast<const wchar_t*>(nullptr); }),
              digits("01000000 0000"));
    EXPECT_EQ(written([](TRXostream& out) { out << std::endl; }), digits("02000000 0a00"));
}

TEST(CdrOutput, writesNullOnlyWhereNullStringsAreOn) {
    const auto null = [](TRXostream& out) { out << static_cast<const char*>(nullptr); };
    EXPECT_THROW(written(null), CORBA_BAD_PARAM);
    const NullStrings on;
    EXPECT_EQ(written(null), "00000000");
}

TEST(CdrOutput, growsToTwiceOrToWhatIsNeeded) {
    CORBA_MarshalOutBuffer out(255);
    const std::string octetsToWrite(2000, '.');
    out.write_raw(octetsToWrite.data(), 1000);
    EXPECT_EQ(out.capacity(), 1000u);
    out.seek(0);
    out.write_raw(octetsToWrite.data(), 2000);
    EXPECT_EQ(out.capacity(), 2000u);
    out << 'x';
    EXPECT_EQ(out.capacity(), 4000u);
    EXPECT_EQ(std::string(out.data(), out.offset()), octetsToWrite + 'x');
    EXPECT_THROW(out.seek(4001), CORBA_BAD_PARAM);
}

TEST(CdrOutput, outgrowsTheCallersMemory) {
    char memory[4] = {};
    CORBA_MarshalOutBuffer out(memory, sizeof memory, 0);
    out << 1;
    EXPECT_EQ(out.data(), memory);
    out << 2 << 3 << 4; // twice over, so that a lost block would show
    EXPECT_EQ(hex(out), digits("01000000 02000000 03000000 04000000"));
    EXPECT_TRUE(out.own());
}

// As the size of a message is filled in when its end is known.
TEST(CdrOutput, goesBackWithoutMovingInTheStream) {
    CORBA_MarshalOutBuffer out(255);
    out << CORBA_Octet{1} << CORBA_Octet{2};
    out.seek(0);
    out << CORBA_Short{-1};
    EXPECT_EQ(hex(out), "ffff");
    EXPECT_EQ(out.align(), 4u);
    out.rewind_offset();
    EXPECT_EQ(out.align(), 4u);
    out << 'x';
    out.reset_align(); // an encapsulation that is written in place
    out << 5;
    EXPECT_EQ(hex(out), digits("78 05000000"));
}

TEST(CdrOutput, givesBackMemoryThatItWasGiven) {
    CORBA_MarshalOutBuffer out(CORBA_string_alloc(2), 2, 1);
    out << 1 << 2;
    EXPECT_EQ(hex(out), digits("01000000 02000000"));
}

TEST(CdrInput, readsBothByteOrdersOfEachPrimitive) {
    const auto check = [](CORBA_Octet order, std::string_view hexadecimal) {
        Source source(hexadecimal, order);
        CORBA_MarshalInBuffer& in = source.in();
        char c = 0;
        CORBA_Octet octet = 0;
        short s = 0;
        CORBA_UShort us = 0;
        int i = 0;
        unsigned int ui = 0;
        long l = 0;
        unsigned long ul = 0;
        long long ll = 0;
        unsigned long long ull = 0;
        float f = 0;
        double d = 0;
        wchar_t w = 0;
        in >> c >> octet >> s >> us >> i >> ui >> l >> ul >> w >> ll >> ull >> f >> d;
        EXPECT_EQ(c, 'a');
        EXPECT_EQ(octet, 0xfe);
        EXPECT_EQ(s, -2);
        EXPECT_EQ(us, 0x1234);
        EXPECT_EQ(i, 0x01020304);
        EXPECT_EQ(ui, 0xf1f2f3f4u);
        EXPECT_EQ(l, -2L);
        EXPECT_EQ(ul, 0xfffffffeUL);
        EXPECT_EQ(w, L'\x20ac');
        EXPECT_EQ(ll, 0x0102030405060708LL);
        EXPECT_EQ(ull, 0xf102030405060708ULL);
        EXPECT_EQ(f, 1.0f);
        EXPECT_EQ(d, -2.5);
        EXPECT_FALSE(in.has(1));
    };
    check(littleEndian, "61 fe feff 3412 2020 04030201 f4f3f2f1 feffffff feffffff ac20 000000000000"
                        "0807060504030201 08070605040302f1 0000803f 20202020 00000000000004c0");
    check(bigEndian, "61 fe fffe 1234 0000 01020304 f1f2f3f4 fffffffe fffffffe 20ac 202020202020"
                     "0102030405060708 f102030405060708 3f800000 20202020 c004000000000000");
}

TEST(CdrInput, readsArraysInBothByteOrders) {
    const auto check = [](CORBA_Octet order, std::string_view hexadecimal) {
        Source source(hexadecimal, order);
        CORBA_UShort shorts[3] = {};
        int ints[2] = {};
        double doubles[2] = {};
        unsigned char raw[2] = {};
        unsigned long longs[1] = {};
        wchar_t wide[2] = {};
        source.in().read(shorts, 3).read(ints, 2).read(doubles, 2).read(raw, 2).read(longs, 1).read(wide, 2);
        EXPECT_EQ(shorts[0], 1);
        EXPECT_EQ(shorts[2], 0x0203);
        EXPECT_EQ(ints[0], -2);
        EXPECT_EQ(ints[1], 7);
        EXPECT_EQ(doubles[0], -2.5);
        EXPECT_EQ(doubles[1], 1.0);
        EXPECT_EQ(raw[0], 1);
        EXPECT_EQ(raw[1], 2);
        EXPECT_EQ(longs[0], 9u);
        EXPECT_EQ(wide[0], L'a');
        EXPECT_EQ(wide[1], L'\x20ac');
    };
    check(littleEndian, "0100 0000 0302 2020 feffffff 07000000 00000000000004c0 000000000000f03f 01 02 2020"
                        "09000000 6100 ac20");
    check(bigEndian, "0001 0000 0203 2020 fffffffe 00000007 c004000000000000 3ff0000000000000 01 02 2020"
                     "00000009 0061 20ac");
}

TEST(CdrInput, alignsByTheStreamAndNotByTheBuffer) {
    // A message body behind a header of 12 octets: an 8-octet value at its offset 4 needs no padding.
    Source source("01000000 0200000000000000", littleEndian);
    source.in().align(12);
    int first = 0;
    long long second = 0;
    source.in() >> first >> second;
    EXPECT_EQ(second, 2);
    EXPECT_EQ(source.in().align(), 24u);
    EXPECT_EQ(source.in().seek(4), 12u);
    EXPECT_EQ(source.in().align(), 4u);
    EXPECT_THROW(source.in().seek(13), CORBA_BAD_PARAM);
    source.in().rewind_offset();
    EXPECT_EQ(source.in().align(), 0u);
    source.in().get();
    source.in().reset_align();
    EXPECT_EQ(source.in().align(), 0u);
    EXPECT_EQ(source.in().offset(), 1u);
    source.in().rewind();
    EXPECT_EQ(source.in().position(), 0);
}

TEST(CdrInput, raisesWhereThereIsNothingLeft) {
    int value = 5;
    EXPECT_THROW(Source("010000", littleEndian).in() >> value, CORBA_MARSHAL);
    EXPECT_EQ(value, 0);
    Source padding("01 2020", littleEndian);
    char c = 0;
    padding.in() >> c;
    EXPECT_THROW(padding.in() >> value, CORBA_MARSHAL);
    double doubles[2] = {1, 2};
    EXPECT_THROW(Source("0000000000000000 00", littleEndian).in().read(doubles, 2), CORBA_MARSHAL);
    EXPECT_EQ(doubles[0], 0);
    EXPECT_EQ(doubles[1], 0);
    char octet[2] = {'a', 'b'};
    EXPECT_THROW(Source("01", littleEndian).in().read_raw(octet, 2), CORBA_MARSHAL);
    EXPECT_EQ(octet[0], 0);
}

TEST(CdrInput, readsStrings) {
    Source source("01000000 00 2020 20 04000000 61626300 02000000 6162 2020 03000000 6100 6200 0000",
                  littleEndian);
    CORBA_String_var empty;
    CORBA_String_var text;
    CORBA_String_var open;
    CORBA_WString_var wide;
    source.in() >> empty >> text >> open >> wide;
    EXPECT_STREQ(empty, "");
    EXPECT_STREQ(text, "abc");
    EXPECT_STREQ(open, "ab"); // the peer sent no NUL
    EXPECT_STREQ(wide, L"ab");
}

TEST(CdrInput, refusesStringsThatCannotBe) {
    const char* lengths[] = {"00000000", "ffffffff 61", "05000000 61626300", "000000"};
    for (const char* length : lengths) {
        CORBA_String_var text("before");
        EXPECT_THROW(Source(length, littleEndian).in() >> text, CORBA_MARSHAL) << length;
        EXPECT_STREQ(text, "before") << length;
    }
    const char* counts[] = {"ffffffff 6100", "03000000 6100 6200", "ffffff7f 6100"};
    for (const char* count : counts) {
        CORBA_WString_var text(L"before");
        EXPECT_THROW(Source(count, littleEndian).in() >> text, CORBA_MARSHAL) << count;
        wchar_t* plain = nullptr;
        EXPECT_THROW(Source(count, littleEndian).in() >> plain, CORBA_MARSHAL) << count;
        CORBA_wstring_free(plain);
    }
    const NullStrings on;
    CORBA_String_var text("before");
    Source("00000000", littleEndian).in() >> text;
    EXPECT_EQ(text.in(), nullptr);
}

TEST(CdrInput, boundsAStringByTheCallersBuffer) {
    Source source("05000000 6162636400 202020 02000000 6100", littleEndian);
    char buffer[4] = {};
    source.in().getCString(buffer, 3);
    EXPECT_EQ(std::string(buffer, 4), std::string("abc\0", 4));
    source.in().getCString(buffer, 3);
    EXPECT_STREQ(buffer, "a");
    EXPECT_FALSE(source.in().has(1));
    EXPECT_THROW(Source("09000000 6100", littleEndian).in().getCString(buffer, 3), CORBA_MARSHAL);
}

TEST(CdrInput, leavesRunsInPlace) {
    Source source("03000000 070809 20 02000000 01000000 02000000 00000000 03000000 616200", littleEndian);
    CORBA_ULong count = 0;
    const unsigned char* run = source.in().octets_in_place(count);
    EXPECT_EQ(count, 3u);
    EXPECT_EQ(reinterpret_cast<const char*>(run), source.in().data() + 4);
    const CORBA_ULong* words = source.in().words_in_place(count);
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(words[1], 2u);
    EXPECT_EQ(source.in().words_in_place(count), nullptr);
    EXPECT_STREQ(source.in().string_in_place(), "ab");

    EXPECT_THROW(Source("04000000 616263", littleEndian).in().octets_in_place(count), CORBA_MARSHAL);
    EXPECT_THROW(Source("ffffffff 61626364", littleEndian).in().words_in_place(count), CORBA_MARSHAL);
    EXPECT_THROW(Source("00000040 61626364", littleEndian).in().words_in_place(count), CORBA_MARSHAL);
    EXPECT_THROW(Source("03000000 616263", littleEndian).in().string_in_place(), CORBA_MARSHAL);
}

TEST(CdrException, isItsIdAndItsMembers) {
    // "IDL:omg.org/CORBA/BAD_PARAM:1.0" has 31 characters, so its body needs no padding.
    const std::string system =
        digits("20000000") + hex("IDL:omg.org/CORBA/BAD_PARAM:1.0") + "00" + digits("05000000 02000000");
    EXPECT_EQ(written([](TRXostream& out) { out << CORBA_BAD_PARAM(5, COMPLETED_MAYBE); }), system);
    const std::string user = digits("26000000") + hex("IDL:omg.org/CORBA/ORB/InvalidName:1.0") + "00";
    EXPECT_EQ(written([](TRXostream& out) { out << CORBA_ORB_InvalidName(); }), user);
}

std::unique_ptr<CORBA_Exception> readException(CORBA_MarshalInBuffer& in) {
    CORBA_Exception* read = nullptr;
    in >> read;
    return std::unique_ptr<CORBA_Exception>(read);
}

TEST(CdrException, isFoundByItsId) {
    Source known("00000020" + hex("IDL:omg.org/CORBA/BAD_PARAM:1.0") + "00 00000005 00000007", bigEndian);
    const auto bad = readException(known.in());
    ASSERT_NE(CORBA_BAD_PARAM::_narrow(bad.get()), nullptr);
    EXPECT_EQ(CORBA_BAD_PARAM::_narrow(bad.get())->minor(), 5u);
    EXPECT_EQ(CORBA_BAD_PARAM::_narrow(bad.get())->completed(), 7u);

    for (const char* id : {"IDL:Nobody/Knows:1.0", "IDL:omg.org/CORBA/SystemException:1.0"}) {
        CORBA_MarshalOutBuffer out(255);
        out << id << 5 << 7;
        CORBA_MarshalInBuffer in(out.data(), out.offset());
        const auto unknown = readException(in);
        ASSERT_NE(CORBA_UNKNOWN::_narrow(unknown.get()), nullptr) << id;
        EXPECT_EQ(CORBA_UNKNOWN::_narrow(unknown.get())->minor(), 0u);
        EXPECT_EQ(CORBA_UNKNOWN::_narrow(unknown.get())->completed(), COMPLETED_NO);
        EXPECT_TRUE(in.has(8)) << id;
    }
    Source cut("00000020" + hex("IDL:omg.org/CORBA/BAD_PARAM:1.0") + "00 00000005", bigEndian);
    EXPECT_THROW(readException(cut.in()), CORBA_MARSHAL);
}

} // namespace
