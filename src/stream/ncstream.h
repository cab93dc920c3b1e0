#pragma once

#include "stream/ncobject.h"

#include <cstddef>
#include <iosfwd>
#include <limits>
#include <memory>
#include <string>

class NCOutTable;
class NCResource;
struct NCInTable;

// Typed writer of object graphs. This class writes the text form on a standard output stream: values
// separated by spaces, strings quoted. On the standard output and standard error streams it becomes the print
// form, in which a string is its bare text. NCipcstream overrides the scalars with the binary form.
//
// `writeObject` gives each object an id and spells each class name once; what was written before within the
// same outermost object is referred to by its id.
class NCostream {
public:
    explicit NCostream(std::ostream& out);
    NCostream(const NCostream&) = delete;
    NCostream& operator=(const NCostream&) = delete;

    // `printOn` on the standard output, else `write` of the object.
    virtual void writeFields(const NCTransObject* object);
    // Forgets which class names have been spelled.
    virtual void resetTypes();
    virtual void resetObjects();
    virtual ~NCostream();
    virtual const NCTypeInfo& typeInfo() const;
    virtual bool isA(const NCTypeInfo& type) const;
    // A tagged object; null is allowed.
    virtual NCostream& writeObject(const NCTransObject* object);
    virtual NCostream& write(const char* text);
    virtual NCostream& write(char value);
    virtual NCostream& write(unsigned char value);
    virtual NCostream& write(short value);
    virtual NCostream& write(unsigned short value);
    virtual NCostream& write(int value);
    virtual NCostream& write(unsigned int value);
    virtual NCostream& write(long value);
    virtual NCostream& write(unsigned long value);
    virtual NCostream& write(float value);
    virtual NCostream& write(double value);
    virtual NCostream& write(const NCTransObject* object);
    // A member held by value: no tag, but an object id of its own.
    virtual NCostream& writeEmbedded(const NCTransObject& member);
    virtual NCostream& put(char value);
    // Blocks and arrays: no count is written, the reader knows it.
    virtual NCostream& write(const char* bytes, size_t count);
    virtual NCostream& write(const unsigned char* bytes, size_t count);
    virtual NCostream& write(const short* values, size_t count);
    virtual NCostream& write(const unsigned short* values, size_t count);
    virtual NCostream& write(const int* values, size_t count);
    virtual NCostream& write(const unsigned int* values, size_t count);
    virtual NCostream& write(const long* values, size_t count);
    virtual NCostream& write(const unsigned long* values, size_t count);
    virtual NCostream& write(const float* values, size_t count);
    virtual NCostream& write(const double* values, size_t count);
    virtual NCostream& writeCString(const char* text);

    // The field of an NCString: the text's length (unsigned int), then the text as a C string. It holds no
    // NUL.
    virtual NCostream& writeText(const std::string& text);

    // A field that a record holds by reference, null included: like `writeObject`, but without a look-up when
    // the caller has the only reference, since the record then cannot have been written before. Only for what
    // the caller does hold.
    template <class T>
    NCostream& writeRecord(const T* record) {
        return writeTagged(record, record && record->refCount() == 1);
    }

protected:
    NCostream(); // the binary form has no standard stream

    // The mark of a null object, and the tag with the id of a class or an object that was written before.
    virtual void writeNull();
    virtual void writeTag(char tag, int id);
    // The tag of a new object: the name of its class, or the id of a name that was spelled before.
    virtual void writeType(const NCTypeInfo& type);

private:
    NCostream& writeTagged(const NCTransObject* object, bool soleHolder);

    template <class T>
    NCostream& writeValue(T value);
    template <class T>
    NCostream& writeValues(const T* values, size_t count);

    std::ostream* out_;
    std::unique_ptr<NCOutTable> table_;
};

// Typed reader of what an NCostream wrote. Reads never throw. One that fails leaves its destination as it is
// and marks the stream as failed; once that has happened no object is created any more and the message that
// was being read counts as malformed.
//
// Objects come out with reference count 0 for the caller to hold. Within one outermost object the stream
// keeps account of what it made: counted objects without a holder are destroyed at the end, and so is the
// whole graph when the message turns out to be malformed, in which case `readObject` gives null.
class NCistream {
public:
    // The deepest nesting of objects that is read. The records of the protocol nest a few levels deep.
    static constexpr int maxDepth = 64;

    explicit NCistream(std::istream& in);
    NCistream(const NCistream&) = delete;
    NCistream& operator=(const NCistream&) = delete;

    virtual NCTransObject* createObject(const NCTypeInfo& type);
    virtual void resetTypes();
    virtual void resetObjects();
    virtual ~NCistream();
    // An object, or null: for a null that was written, and for a failure.
    virtual NCTransObject* readObject();
    // Called by the constructor of each object that is built from the stream. The object's id, -1 for a
    // repeat.
    virtual int registerObject(NCTransObject* object);
    virtual const NCTypeInfo& typeInfo() const;
    virtual bool isA(const NCTypeInfo& type) const;
    // A new string, which the caller gives back with delete[], or null. On the standard input one word, into
    // the caller's buffer when there is one: the stream's width (`std::cin.width`), when set, is the size of
    // that buffer; otherwise it must be as large as whatever word comes.
    virtual NCistream& read(char*& text);
    virtual NCistream& read(char& value);
    virtual NCistream& read(unsigned char& value);
    virtual NCistream& read(short& value);
    virtual NCistream& read(unsigned short& value);
    virtual NCistream& read(int& value);
    virtual NCistream& read(unsigned int& value);
    virtual NCistream& read(long& value);
    virtual NCistream& read(unsigned long& value);
    virtual NCistream& read(float& value);
    virtual NCistream& read(double& value);
    virtual int get();
    virtual NCistream& get(char& value);
    virtual NCistream& get(unsigned char& value);
    virtual NCistream& read(char* bytes, size_t count);
    virtual NCistream& read(unsigned char* bytes, size_t count);
    virtual NCistream& read(short* values, size_t count);
    virtual NCistream& read(unsigned short* values, size_t count);
    virtual NCistream& read(int* values, size_t count);
    virtual NCistream& read(unsigned int* values, size_t count);
    virtual NCistream& read(long* values, size_t count);
    virtual NCistream& read(unsigned long* values, size_t count);
    virtual NCistream& read(float* values, size_t count);
    virtual NCistream& read(double* values, size_t count);
    // At most `max` bytes go to the buffer, -1 for no limit.
    virtual NCistream& getCString(char* buffer, int max);

    // Upper bound of the octets left to read; an element count read must not exceed it.
    virtual size_t remaining() const;
    // A C string of whatever length is there. On failure `text` stays as it is.
    virtual NCistream& getText(std::string& text);

    // An object of class T or derived from it, for a field that a record holds by reference. An object of any
    // other class is refused before it is built, and so is a reference to what cannot be held: a member held
    // by value, or an object that is still being read.
    template <class T>
    T* readRecord() {
        return static_cast<T*>(readRestricted(&T::info));
    }
    // Tells the stream how the object that registered last is counted; from the constructor of counted
    // classes.
    void registerCounted(NCResource* object);

    // For the constructor of an object that reads no further although its writer wrote more. Octets behind
    // the outermost object are ignored; within another object they would be taken for its next field, so
    // there the message is malformed.
    void stopEarly();

    bool failed() const { return failed_; }
    void setFailed() { failed_ = true; }
    // Before each message: forgets a failure of the one before.
    void clearFailed() { failed_ = false; }

protected:
    NCistream(); // the binary form has no standard stream

private:
    NCTransObject* readRestricted(const NCTypeInfo* required);
    NCTransObject* readReference(const NCTypeInfo* required);
    NCTransObject* readNew(const NCTypeInfo* type, const NCTypeInfo* required);
    const NCTypeInfo* readKnownType();
    const NCTypeInfo* readNamedType(bool& isNull);
    NCTransObject* refuse();

    template <class T>
    NCistream& readValue(T& value);
    template <class T>
    NCistream& readValues(T* values, size_t count);
    void readWord(char*& text);
    bool readQuoted(std::string& text, size_t max);

    std::istream* in_;
    std::unique_ptr<NCInTable> table_;
    bool failed_ = false;
};
