#pragma once

#include "marshal/exception/orb_exceptions.h"
#include "marshal/sequence/string_sequence.h"
#include "marshal/var.h"
#include "object/bind_options.h"

class CORBA_BOA;
class CORBA_Environment;
class CORBA_Object;

// The ORB as programs see it. There is one for each id; CORBA_ORB_init (orb/vorb.h) gives it. It is not
// counted: the references that programs duplicate and release are all to the one ORB, which lives until the
// process ends.
class CORBA_ORB {
public:
    using InvalidName = CORBA_ORB_InvalidName;

    static CORBA_ORB* _duplicate(CORBA_ORB* orb) { return orb; }
    static CORBA_ORB* _nil() { return nullptr; }

    CORBA_ORB() = default;
    CORBA_ORB(const CORBA_ORB&) = delete;
    CORBA_ORB& operator=(const CORBA_ORB&) = delete;

    // The object adapter with the id `boa_id`, or else the word behind -OAid, or else "TSingle"; null for an
    // unknown id. Takes the -OA words out of `argv`. The first call opens the adapter's listener and raises
    // what that raises; later ones give the same adapter. It stays the library's.
    virtual CORBA_BOA* BOA_init(int& argc, char** argv, const char* boa_id = nullptr) = 0;
    // The names that `resolve_initial_references` knows; the caller owns the sequence.
    virtual CORBA_StringSequence* list_initial_services() = 0;
    // The object, or nil; the caller owns the reference. Raises CORBA_ORB_InvalidName for an unknown name,
    // CORBA_OBJECT_NOT_EXIST when the process has no initial references at all, and what the resolver raises.
    virtual CORBA_Object* resolve_initial_references(const char* name) = 0;
    // The reference as text, "IOR:" and hexadecimal digits; the caller frees it with CORBA_string_free.
    virtual char* object_to_string(CORBA_Object* object) = 0;
    // The object that such a text stands for; the caller owns the reference. What is no such text raises
    // CORBA_INV_OBJREF. No connection is made.
    virtual CORBA_Object* string_to_object(const char* text) = 0;
    // The object of that interface and name, on that host: one of this process when there is one, else a
    // stub, which is bound at once unless the options defer that. The caller owns the reference. Raises
    // CORBA_NO_IMPLEMENT when no such object is found.
    virtual CORBA_Object* bind(const char* rep_id, const char* object_name = nullptr,
                               const char* host_name = nullptr,
                               const CORBA_BindOptions* options = nullptr) = 0;
    // A new, empty one, which is the caller's.
    virtual void create_environment(CORBA_Environment*& environment) = 0;

    // Connections of this process as a client: at most how many (0 for no limit), how many there are, in use
    // and idle, and after how many seconds an idle one may be closed.
    virtual void connection_max(CORBA_ULong count) = 0;
    virtual CORBA_ULong connection_max() = 0;
    virtual CORBA_ULong connection_count() = 0;
    virtual void connection_max_idle(CORBA_ULong seconds) = 0;

    virtual ~CORBA_ORB() = default;
};

inline void CORBA_release(CORBA_ORB*) {}
inline bool CORBA_is_nil(const CORBA_ORB* orb) { return orb == nullptr; }

using CORBA_ORB_ptr = CORBA_ORB*;
using CORBA_ORB_var = TRXVar<CORBA_ORB>;

namespace harbolance {

// The ORB that CORBA_ORB_init made; null before.
CORBA_ORB* currentORB();
void setCurrentORB(CORBA_ORB* orb);

} // namespace harbolance
