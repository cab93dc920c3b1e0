#pragma once

#include "marshal/types.h"

#include <concepts>
#include <iosfwd>

class CORBA_MarshalInBuffer;
class CORBA_MarshalOutBuffer;
class CORBA_TypeCode;
namespace harbolance {
class StreamTypeCodes;
}

// The typed operations by which every value of the ORB is written and read. These two classes implement them
// as readable text on a standard stream; the marshal buffers of vbuf.h override them with CDR. The order of
// the virtual operations is part of the interface.
//
// An array is a pointer and a count of elements. A C++ `long` counts as 4 octets everywhere. There is no
// operation for `bool`: a CORBA_Boolean is an octet.

// Text form: decimal numbers, each followed by a space. A string is written unquoted to cout and cerr; to any
// other stream as its length including the NUL, followed, if the length is 2 or more, by the quoted text. The
// standard stream is borrowed and must outlive this object.
class TRXostream {
public:
    using Cleanup = void (*)(CORBA_TypeCode*);

    explicit TRXostream(std::ostream& strm) : _strm(&strm) {}
    TRXostream(const TRXostream&) = delete;
    TRXostream& operator=(const TRXostream&) = delete;
    virtual ~TRXostream();

    // Forgets all stored TypeCodes: calls the cleanup function for each, and sets the depth to 0.
    virtual void reset_typecodes();
    // The offset of the next octet; in the text form the number of TypeCodes stored since the last reset.
    virtual CORBA_Long position() const;
    virtual CORBA_Long depth() const;
    virtual void depth(CORBA_Long depth);
    // Stores the TypeCode with the current position. One that is already stored raises CORBA_BAD_PARAM.
    virtual void store_typecode(CORBA_TypeCode* object);
    // Raises CORBA_OBJECT_NOT_EXIST for a TypeCode that was not stored.
    virtual CORBA_Long lookup_typecode(const CORBA_TypeCode* object) const;
    virtual void cleanup(Cleanup cleanup);
    virtual Cleanup cleanup() const;

    virtual TRXostream& operator<<(const char* string);
    virtual TRXostream& operator<<(char value);
    virtual TRXostream& operator<<(unsigned char value);
    virtual TRXostream& operator<<(short value);
    virtual TRXostream& operator<<(unsigned short value);
    virtual TRXostream& operator<<(int value);
    virtual TRXostream& operator<<(unsigned int value);
    virtual TRXostream& operator<<(long value);
    virtual TRXostream& operator<<(unsigned long value);
    virtual TRXostream& operator<<(float value);
    virtual TRXostream& operator<<(double value);
    virtual TRXostream& operator<<(long long value);
    virtual TRXostream& operator<<(unsigned long long value);
    virtual TRXostream& operator<<(wchar_t value);
    virtual TRXostream& operator<<(const wchar_t* string);

    virtual TRXostream& put(char octet);
    virtual TRXostream& write_raw(const char* octets, CORBA_ULong count);
    virtual TRXostream& write(const unsigned char* array, CORBA_ULong count);
    virtual TRXostream& write(const wchar_t* array, CORBA_ULong count);
    virtual TRXostream& write(const short* array, CORBA_ULong count);
    virtual TRXostream& write(const unsigned short* array, CORBA_ULong count);
    virtual TRXostream& write(const int* array, CORBA_ULong count);
    virtual TRXostream& write(const unsigned int* array, CORBA_ULong count);
    virtual TRXostream& write(const long* array, CORBA_ULong count);
    virtual TRXostream& write(const unsigned long* array, CORBA_ULong count);
    virtual TRXostream& write(const float* array, CORBA_ULong count);
    virtual TRXostream& write(const double* array, CORBA_ULong count);
    // Writes the form that getCString reads: in the text form, the quoted text without a length.
    virtual TRXostream& putCString(const char* string);
    virtual TRXostream& write(const long long* array, CORBA_ULong count);
    virtual TRXostream& write(const unsigned long long* array, CORBA_ULong count);

    template <std::same_as<bool> Bool>
    TRXostream& operator<<(Bool) = delete;

    // `std::endl` ends the line of a text stream; a marshal buffer takes it as a string of one newline.
    TRXostream& operator<<(std::ostream& (*manipulator)(std::ostream&));

    // One of these is non-null, depending on the form of the stream.
    std::ostream* stream() const { return _strm; }
    CORBA_MarshalOutBuffer* buffer() const { return _buffer; }

protected:
    explicit TRXostream(CORBA_MarshalOutBuffer* buffer) : _buffer(buffer) {}

private:
    harbolance::StreamTypeCodes& typecodes();
    template <class T>
    TRXostream& print(T value);
    template <class T>
    TRXostream& printAll(const T* array, CORBA_ULong count);

    harbolance::StreamTypeCodes* _typecodes = nullptr; // owned; made on first use
    std::ostream* _strm = nullptr;
    CORBA_MarshalOutBuffer* _buffer = nullptr;
};

// Reads the text form: each value by the standard extraction, after which one character is consumed. Bad text
// sets the standard stream to its failed state and the value to 0, null or the empty string.
class TRXistream {
public:
    using Cleanup = void (*)(CORBA_TypeCode*);

    explicit TRXistream(std::istream& strm) : _strm(&strm) {}
    TRXistream(const TRXistream&) = delete;
    TRXistream& operator=(const TRXistream&) = delete;
    virtual ~TRXistream();

    virtual void reset_typecodes();
    virtual CORBA_Long depth() const;
    virtual void depth(CORBA_Long depth);
    // Stores the TypeCode with `position`. A position or TypeCode that is already stored raises
    // CORBA_BAD_PARAM.
    virtual void store_typecode(CORBA_Long position, CORBA_TypeCode* object);
    // Raises CORBA_OBJECT_NOT_EXIST for a position without a TypeCode.
    virtual CORBA_TypeCode* lookup_typecode(CORBA_Long position) const;
    virtual void cleanup(Cleanup cleanup);
    virtual Cleanup cleanup() const;
    virtual CORBA_Long position() const;

    // The caller owns the new string, from CORBA_string_alloc; the old pointer is overwritten, not freed.
    virtual TRXistream& operator>>(char*& string);
    virtual TRXistream& operator>>(char& value);
    virtual TRXistream& operator>>(unsigned char& value);
    virtual TRXistream& operator>>(short& value);
    virtual TRXistream& operator>>(unsigned short& value);
    virtual TRXistream& operator>>(int& value);
    virtual TRXistream& operator>>(unsigned int& value);
    virtual TRXistream& operator>>(long& value);
    virtual TRXistream& operator>>(unsigned long& value);
    virtual TRXistream& operator>>(float& value);
    virtual TRXistream& operator>>(double& value);
    virtual TRXistream& operator>>(long long& value);
    virtual TRXistream& operator>>(unsigned long long& value);
    virtual TRXistream& operator>>(wchar_t& value);
    // A null pointer receives a new string from CORBA_wstring_alloc. Any other array is filled without a size
    // check, so never pass one for data from a peer.
    virtual TRXistream& operator>>(wchar_t*& string);

    virtual char get();
    virtual TRXistream& get(char& octet);
    virtual TRXistream& get(unsigned char& octet);
    virtual TRXistream& read_raw(char* octets, CORBA_ULong count);
    virtual TRXistream& read(unsigned char* array, CORBA_ULong count);
    virtual TRXistream& read(wchar_t* array, CORBA_ULong count);
    virtual TRXistream& read(short* array, CORBA_ULong count);
    virtual TRXistream& read(unsigned short* array, CORBA_ULong count);
    virtual TRXistream& read(int* array, CORBA_ULong count);
    virtual TRXistream& read(unsigned int* array, CORBA_ULong count);
    virtual TRXistream& read(long* array, CORBA_ULong count);
    virtual TRXistream& read(unsigned long* array, CORBA_ULong count);
    virtual TRXistream& read(float* array, CORBA_ULong count);
    virtual TRXistream& read(double* array, CORBA_ULong count);
    // Reads a string into the caller's buffer of `size` octets. In the text form, a string that does not fit
    // with its NUL leaves the buffer unchanged and prints a message on the error stream.
    virtual TRXistream& getCString(char* buffer, CORBA_ULong size);
    virtual TRXistream& read(long long* array, CORBA_ULong count);
    virtual TRXistream& read(unsigned long long* array, CORBA_ULong count);
    // Whether `count` more octets are left. Call before allocating memory for a count that was read. A text
    // stream cannot tell and returns true.
    virtual bool has(CORBA_ULong count) const;

    // One of these is non-null, depending on the form of the stream.
    std::istream* stream() const { return _strm; }
    CORBA_MarshalInBuffer* buffer() const { return _buffer; }

protected:
    explicit TRXistream(CORBA_MarshalInBuffer* buffer) : _buffer(buffer) {}

private:
    harbolance::StreamTypeCodes& typecodes();
    template <class T>
    TRXistream& scan(T& value);
    template <class T>
    TRXistream& scanAll(T* array, CORBA_ULong count);

    harbolance::StreamTypeCodes* _typecodes = nullptr; // owned; made on first use
    std::istream* _strm = nullptr;
    CORBA_MarshalInBuffer* _buffer = nullptr;
};
