#pragma once

// Self-describing object streams and their UDP and TCP carriers.
//
// A message is a graph of objects derived from NCTransObject (this file). NCostream and NCistream
// (ncstream.h) write and rebuild such a graph by a class registry (nctypeinfo.h); they use the text form, on
// a standard stream. NCipcstream (ncipcstream.h) is the binary form, in the memory of an NCipcbuf
// (ncipcbuf.h). NCudpstream and NCtcpstream (ncudpstr.h, nctcpstr.h) each connect two such buffers to a
// socket and send one object per message; both use the same frame (ncframe.h) and report bad messages in one
// place (complaints.h). Messages that wait to be written are queued by priority (ncpriqueue.h).

#include "stream/nctypeinfo.h"

#include <cstdint>
#include <iosfwd>

class NCistream;
class NCostream;

// Root of everything that can be streamed. An object writes its fields in `write` and reads them, in the same
// order, in a constructor that takes an NCistream. That constructor must first initialise all fields, because
// a read that fails leaves its destination unchanged.
class NCTransObject {
public:
    NCTransObject() = default;
    // Registers the object with the stream before any field is read, so that object ids are equal on both
    // sides.
    explicit NCTransObject(NCistream& in);
    NCTransObject(const NCTransObject&) = default;
    NCTransObject& operator=(const NCTransObject&) = default;

    // Writes the fields only, without a class tag.
    virtual void write(NCostream& out) const = 0;
    virtual const NCTypeInfo& typeInfo() const = 0;
    // Prints the human-readable form on the standard output, the text form of the fields on any other stream.
    virtual void print(std::ostream& out) const;
    virtual void printOn(NCostream& out) const;
    virtual void read(NCistream& in);
    virtual ~NCTransObject();
};

std::ostream& operator<<(std::ostream& out, const NCTransObject& object);

// A streamable object that can be a member of a collection.
class NCObject : public NCTransObject {
public:
    static const NCTypeInfo info;

    NCObject() = default;
    explicit NCObject(NCistream& in) : NCTransObject(in) {}
    NCObject(const NCObject&) = default;
    NCObject& operator=(const NCObject&) = default;

    virtual uint32_t hash() const = 0;
    // 0 when equal. An object of another class is never equal.
    virtual int compare(const NCObject* other) const = 0;
    // Same class and `compare` gives 0.
    virtual bool isEqual(const NCObject* other) const;
    virtual bool isSame(const NCObject* other) const;
    virtual bool operator==(const NCObject& other) const;
    virtual bool operator!=(const NCObject& other) const;
};

// The checked downcast: the object as a T, or null when it is null or of another class.
template <class T>
T* nc_cast(NCTransObject* object) {
    return object && object->typeInfo().isSameOrDerived(T::info) ? static_cast<T*>(object) : nullptr;
}
template <class T>
const T* nc_cast(const NCTransObject* object) {
    return object && object->typeInfo().isSameOrDerived(T::info) ? static_cast<const T*>(object) : nullptr;
}
