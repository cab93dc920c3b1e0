#pragma once

#include "marshal/text/vstream.h"
#include "marshal/types.h"

#include <memory>

class CORBA_Object;
class CORBA_TypeInfo;
namespace IOP {
struct IOR;
}

namespace harbolance {

// The operations on objects that this layer needs. Anys and streams hold and transfer object references, but
// CORBA_Object belongs to the layer above, which derives from this class and installs one instance before
// `main`. Objects passed in are never null: nil references need no installed instance.
class ObjectOperations {
public:
    virtual void duplicate(CORBA_Object* object) const = 0; // one more reference
    virtual void release(CORBA_Object* object) const = 0;   // one less
    // The reference that is written for the object; it lives as long as the object. Raises CORBA_INV_OBJREF
    // when the object has no reference that a peer could use.
    virtual const IOP::IOR& reference(CORBA_Object* object) const = 0;
    // Whether two objects are known to be the same; decided without a call.
    virtual bool areEquivalent(CORBA_Object* a, CORBA_Object* b) const = 0;
    virtual const char* interfaceName(CORBA_Object* object) const = 0; // the repository id; may be empty
    virtual const char* typeName(CORBA_Object* object) const = 0;      // scoped, as "A::B"
    virtual void print(TRXostream& stream, CORBA_Object* object) const = 0;
    // The object for a reference that has profiles; see TRXUtil::convert.
    virtual CORBA_Object* convert(const IOP::IOR& ior, const CORBA_TypeInfo* info, CORBA_Boolean connect,
                                  CORBA_Boolean localFlag, CORBA_Boolean skipLocal) const = 0;

    static void install(const ObjectOperations& operations); // never destroyed
    static const ObjectOperations& installed();              // raises CORBA_INITIALIZE without one

protected:
    ~ObjectOperations() = default;
};

// These accept null, which prints as "(nil)".
CORBA_Object* duplicateObject(CORBA_Object* object);
void releaseObject(CORBA_Object* object);
void printObject(TRXostream& stream, CORBA_Object* object);

struct ObjectRelease {
    void operator()(CORBA_Object* object) const { releaseObject(object); }
};
using HeldObject = std::unique_ptr<CORBA_Object, ObjectRelease>; // owns one reference

} // namespace harbolance

// The wire form of a reference. Null is written as the nil reference.
TRXostream& operator<<(TRXostream& stream, CORBA_Object* object);
// The caller owns the new reference, null for the nil reference; the old pointer is overwritten, not
// released. It is null when the stream raises.
TRXistream& operator>>(TRXistream& stream, CORBA_Object*& object);
// The same for a reference that is expected to be of type `info`.
TRXistream& read_reference(TRXistream& stream, CORBA_Object*& object, const CORBA_TypeInfo* info);
