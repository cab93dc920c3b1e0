#pragma once

#include "marshal/any/any.h"
#include "marshal/cdr/byte_order.h"

#include <gtest/gtest.h>

#include <random>

using namespace harbolance;

// CDR in the byte order that is not the host's.
class OtherOrderBuffer : public CORBA_MarshalOutBuffer {
public:
    OtherOrderBuffer() : CORBA_MarshalOutBuffer(255) { demand_single_values(); }

    using CORBA_MarshalOutBuffer::operator<<;
    using CORBA_MarshalOutBuffer::write;
#define TURNED(T)                                                                                            \
    TRXostream& operator<<(T value) override { return CORBA_MarshalOutBuffer::operator<<(reversed(value)); } \
    TRXostream& write(const T* array, CORBA_ULong count) override { return each(array, count); }
    TURNED(short)
    TURNED(unsigned short)
    TURNED(int)
    TURNED(unsigned int)
    TURNED(float)
    TURNED(double)
    TURNED(long long)
    TURNED(unsigned long long)
#undef TURNED
    TRXostream& operator<<(wchar_t value) override { return *this << static_cast<unsigned short>(value); }
    TRXostream& write(const wchar_t* array, CORBA_ULong count) override { return each(array, count); }
    TRXostream& operator<<(const char* string) override {
        const auto length = static_cast<CORBA_ULong>(std::strlen(string) + 1);
        *this << length;
        return write_raw(string, length);
    }
    TRXostream& operator<<(const wchar_t* string) override {
        const auto length = static_cast<CORBA_ULong>(std::wcslen(string) + 1);
        *this << length;
        return each(string, length);
    }

private:
    template <class T>
    TRXostream& each(const T* array, CORBA_ULong count) {
        for (CORBA_ULong i = 0; i < count; ++i)
            *this << array[i];
        return *this;
    }
};

// Writes random values of any type; with the same seed the same values to each stream.
class RandomValue {
public:
    explicit RandomValue(unsigned seed) : random_(seed) {}

    void write(TRXostream& out, CORBA_TypeCode_var type, int depth = 0) {
        while (type->kind() == tk_alias)
            type = type->content_type();
        switch (type->kind()) {
        case tk_short: out << static_cast<CORBA_Short>(below(70000)); break;
        case tk_ushort: out << static_cast<CORBA_UShort>(below(70000)); break;
        case tk_long: out << static_cast<CORBA_Long>(random_()); break;
        case tk_ulong: out << static_cast<CORBA_ULong>(random_()); break;
        case tk_longlong: out << static_cast<CORBA_LongLong>(random_()) * -70000; break;
        case tk_ulonglong: out << static_cast<CORBA_ULongLong>(random_()) * 3'000'000'000; break;
        case tk_float: out << static_cast<CORBA_Float>(below(1000)) / 4; break;
        case tk_double: out << static_cast<CORBA_Double>(below(1000)) / -8; break;
        default: writeOther(out, type, depth);
        }
    }

private:
    unsigned below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }

    template <class Char>
    std::basic_string<Char> text(CORBA_ULong bound) {
        std::basic_string<Char> text(below(std::min(bound - 1, 11u) + 2) % (bound == 0 ? 12 : bound + 1),
                                     Char());
        for (Char& c : text)
            c = static_cast<Char>("a\"\\{}\n\t\x01?~\xe9"[below(11)]);
        return text;
    }

    void writeOther(TRXostream& out, const CORBA_TypeCode_var& type, int depth) {
        switch (type->kind()) {
        case tk_boolean: out << static_cast<CORBA_Boolean>(below(2)); break;
        case tk_char: out << static_cast<CORBA_Char>(below(256)); break;
        case tk_octet: out << static_cast<CORBA_Octet>(below(256)); break;
        case tk_wchar: out << static_cast<CORBA_WChar>(below(0x10000)); break;
        case tk_enum: out << CORBA_ULong{below(type->member_count())}; break;
        case tk_string: out << text<char>(type->length()).c_str(); break;
        case tk_wstring: out << text<CORBA_WChar>(type->length()).c_str(); break;
        case tk_objref: out << static_cast<CORBA_Object*>(nullptr); break;
        case tk_TypeCode: out << (below(2) == 0 ? _tc_long : _tc_string); break;
        case tk_Principal: writeElements(out, _tc_octet, below(4), true, depth); break;
        case tk_any: out << anyValue(); break;
        case tk_struct:
        case tk_except:
            for (CORBA_ULong i = 0; i < type->member_count(); ++i)
                write(out, type->member_type(i), depth + 1);
            break;
        case tk_union: writeUnion(out, type, depth); break;
        case tk_sequence: {
            const CORBA_ULong longest = depth > 6             ? 0
                                        : type->length() == 0 ? 3
                                                              : std::min(type->length(), 3u);
            writeElements(out, type->content_type(), below(longest + 1), true, depth);
            break;
        }
        case tk_array: writeElements(out, type->content_type(), type->length(), false, depth); break;
        default: ADD_FAILURE() << "no values of kind " << type->kind();
        }
    }

    void writeElements(TRXostream& out, const CORBA_TypeCode_var& content, CORBA_ULong count, bool counted,
                       int depth) {
        if (counted)
            out << count;
        for (CORBA_ULong i = 0; i < count; ++i)
            write(out, content, depth + 1);
    }

    // A random label of the union. The label of the default is an octet; then a value without a label is
    // written.
    void writeUnion(TRXostream& out, const CORBA_TypeCode_var& type, int depth) {
        const CORBA_ULong branch = below(type->member_count());
        if (static_cast<CORBA_Long>(branch) != type->default_index()) {
            const CORBA_Any_var label = type->member_label(branch);
            label->write_value(out);
        } else {
            CORBA_TypeCode_var switched = type->discriminator_type();
            switch (switched->kind()) {
            case tk_long: out << CORBA_Long{12345}; break;
            case tk_longlong: out << CORBA_LongLong{12345}; break;
            case tk_wchar: out << L'\x1234'; break;
            case tk_octet: out << CORBA_Octet{255}; break; // the label itself
            default: ADD_FAILURE() << "no default for a discriminator of kind " << switched->kind();
            }
        }
        write(out, type->member_type(branch), depth + 1);
    }

    CORBA_Any anyValue() {
        CORBA_Any any;
        if (below(2) == 0)
            any <<= static_cast<CORBA_Long>(random_());
        else
            any <<= "text";
        return any;
    }

    std::mt19937 random_;
};
