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

// Typed writer of object graphs. This class writes the text form to a standard output stream: values
// separated by spaces, strings quoted. On the standard output and standard error streams it writes the print
// form, with strings unquoted. NCipcstream overrides the scalars for the binary form.
//
// `writeObject` gives each object an id and writes each class name once. An object that was already written
// within the same outermost object is written as its id.
class NCostream {
public:
    explicit NCostream(std::ostream& out);
    NCostream(const NCostream&) = delete;
    NCostream& operator=(const NCostream&) = delete;

    // Calls `printOn` of the object when writing to the standard output, else its `write`.
    virtual void writeFields(const NCTransObject* object);
    // Forgets which class names have been written.
    virtual void resetTypes();
    virtual void resetObjects();
    virtual ~NCostream();
    virtual const NCTypeInfo& typeInfo() const;
    virtual bool isA(const NCTypeInfo& type) const;
    // Writes an object with its class tag; null is allowed.
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
    // Writes a member held by value: without a tag, but with an object id of its own.
    virtual NCostream& writeEmbedded(const NCTransObject& member);
    virtual NCostream& put(char value);
    // Blocks and arrays are written without a count, which the reader must know.
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

    // Writes the field of an NCString: the text's length (unsigned int), then the text as a C string. The
    // text must not contain NUL.
    virtual NCostream& writeText(const std::string& text);

    // Writes a record that a field holds by reference, or null. Like `writeObject`, but without a look-up
    // when the caller has the only reference, because then the record cannot have been written before. The
    // caller must hold the record.
    template <class T>
    NCostream& writeRecord(const T* record) {
        return writeTagged(record, record && record->refCount() == 1);
    }

protected:
    NCostream(); // the binary form has no standard stream

    // The mark of a null object, and the tag with the id of a known class or object.
    virtual void writeNull();
    virtual void writeTag(char tag, int id);
    // The tag of a new object: the name of its class, or the id of a class name written before.
    virtual void writeType(const NCTypeInfo& type);

private:
    NCostream& writeTagged(const NCTransObject* object, bool soleHolder);

    template <class T>
    NCostream& writeValue(T value);
    template <class T>
    NCostream& writeValues(const T* values, size_t count);

    std::ostream* out_;
    bool onStandardOutput_; // asked once: `writeFields` runs for each object
    std::unique_ptr<NCOutTable> table_;
};

// Typed reader for what NCostream writes. Reads never throw. A read that fails leaves its destination
// unchanged and marks the stream as failed; from then on no object is made, and the current message counts as
// malformed.
//
// Objects are returned with reference count 0, for the caller to hold. Within one outermost object the stream
// records what it made: counted objects without a holder are destroyed at the end. When the message is
// malformed the whole graph is destroyed and `readObject` gives null.
class NCistream {
public:
    // The deepest nesting of objects that is accepted. The protocol's records nest only a few levels deep.
    static constexpr int maxDepth = 64;

    explicit NCistream(std::istream& in);
    NCistream(const NCistream&) = delete;
    NCistream& operator=(const NCistream&) = delete;

    virtual NCTransObject* createObject(const NCTypeInfo& type);
    virtual void resetTypes();
    virtual void resetObjects();
    virtual ~NCistream();
    // Reads an object. Null when a null was written, and on failure.
    virtual NCTransObject* readObject();
    // Called by the constructor of each object built from the stream. Returns the object's id, -1 when it is
    // registered already.
    virtual int registerObject(NCTransObject* object);
    virtual const NCTypeInfo& typeInfo() const;
    virtual bool isA(const NCTypeInfo& type) const;
    // A new string, to be freed with delete[], or null. On the standard input it reads one word, into the
    // caller's buffer if there is one: the stream's width (`std::cin.width`), when set, is the size of that
    // buffer; otherwise the buffer must be large enough for any word.
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
    // Writes at most `max` octets to the buffer; -1 means no limit.
    virtual NCistream& getCString(char* buffer, int max);

    // Upper bound of the octets left to read; an element count read must not exceed it.
    virtual size_t remaining() const;
    // Reads a C string of any length. On failure `text` is unchanged.
    virtual NCistream& getText(std::string& text);

    // Reads an object of class T or derived from it, for a field that holds a record by reference. An object
    // of another class is refused before it is made, and so is a reference to an object that cannot be held:
    // a member held by value, or an object still being read.
    template <class T>
    T* readRecord() {
        return static_cast<T*>(readRestricted(&T::info));
    }
    // Tells the stream the reference count of the object registered last; called by the constructor of
    // counted classes.
    void registerCounted(NCResource* object);

    // For the constructor of an object that stops reading before all its fields. Octets after the outermost
    // object are ignored; in an inner object they would be read as the next field of the outer one, so there
    // the message counts as malformed.
    void stopEarly();

    bool failed() const { return failed_; }
    void setFailed() { failed_ = true; }
    // Called before each message: forgets the failure of the previous one.
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
