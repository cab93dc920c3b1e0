#pragma once

#include "marshal/any/any_access.h"
#include "marshal/limits.h"

#include <optional>

namespace harbolance {

// Moves values from one stream to another, directed by their TypeCodes, without making objects. Values from a
// buffer of the other byte order are byte-swapped.
//
// The type comes from the peer together with the value. So the number of types visited is limited in
// proportion to the octets consumed: types whose values take no octets soon raise CORBA_MARSHAL.
class ValueWalk {
public:
    enum class Purpose {
        copy,  // from any stream
        write, // from the octets of an Any, which are in the host's order
        print, // the same, as readable lines
    };

    ValueWalk(TRXistream& in, TRXostream& out, Purpose purpose);

    // Moves one value. Raises CORBA_BAD_PARAM for a discriminator that selects no member and for an array
    // that exceeds an Any's octets, CORBA_INTERNAL for a discriminator of an invalid kind.
    void walk(const CORBA_TypeCode* type);

private:
    class Level;

    template <class T>
    void move();
    void moveText();
    void moveWideText();
    void movePrincipal();
    void moveTypeCode();
    void moveAny();
    void moveReference();

    void walkMembers(const CORBA_TypeCode& type);
    void walkUnion(const CORBA_TypeCode& type);
    uint64_t moveDiscriminator(const CORBA_TypeCode& type);
    void walkSequence(const CORBA_TypeCode& type);
    void walkElements(const CORBA_TypeCode& content, CORBA_ULong count);
    bool moveElements(CORBA_TCKind kind, CORBA_ULong count);
    template <class T>
    bool moveArray(CORBA_ULong count);
    void expectArray(CORBA_ULong octetsEach, CORBA_ULong count) const;
    template <class T>
    void moveInPlace(CORBA_ULong count);
    template <class T>
    void moveInPieces(CORBA_ULong count);

    void beginVisit();
    // Counts `values` of basic kinds as consumed; each allows one more visit on every level.
    void countPassed(uint64_t values) {
        _passed += values;
        _visitsLeft += values + static_cast<uint64_t>(_depth);
    }

    TRXistream& _in;
    TRXostream& _out;
    CORBA_MarshalInBuffer* _buffer; // `_in` as a buffer; null for a text stream
    Purpose _purpose;
    std::optional<ReadingOwnOctets> _own; // for `write` and `print`
    int _depth = 0;
    uint64_t _passed = 0;
    uint64_t _visitsLeft = 1024; // types that may still be visited without consuming octets
};

} // namespace harbolance
