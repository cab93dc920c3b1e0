#pragma once

#include "marshal/exception/orb_exceptions.h"
#include "marshal/sequence/string_sequence.h"
#include "marshal/var.h"
#include "object/bind_options.h"

class CORBA_BOA;
class CORBA_Environment;
class CORBA_Object;

// The ORB as programs see it: one object per id, which CORBA_ORB_init (orb/vorb.h) returns. It is not
// reference-counted; duplicating and releasing it has no effect, and it lives until the process ends.
class CORBA_ORB {
public:
    using InvalidName = CORBA_ORB_InvalidName;

    static CORBA_ORB* _duplicate(CORBA_ORB* orb) { return orb; }
    static CORBA_ORB* _nil() { return nullptr; }

    CORBA_ORB() = default;
    CORBA_ORB(const CORBA_ORB&) = delete;
    CORBA_ORB& operator=(const CORBA_ORB&) = delete;

    // The object adapter with the id `boa_id`, or else the id given by -OAid, or else "TSingle"; null for an
    // unknown id. Removes the -OA words from `argv`. The first call opens the adapter's listener and may
    // raise what that raises; later calls return the same adapter. The library owns it.
    virtual CORBA_BOA* BOA_init(int& argc, char** argv, const char* boa_id = nullptr) = 0;
    // The names that `resolve_initial_references` accepts. The caller owns the sequence.
    virtual CORBA_StringSequence* list_initial_services() = 0;
    // The object, or nil; the caller owns the reference. Raises CORBA_ORB_InvalidName for an unknown name,
    // CORBA_OBJECT_NOT_EXIST when the process has no initial references at all, and what the resolver raises.
    virtual CORBA_Object* resolve_initial_references(const char* name) = 0;
    // The stringified reference: "IOR:" and hexadecimal digits. The caller frees it with CORBA_string_free.
    virtual char* object_to_string(CORBA_Object* object) = 0;
    // The object that a stringified reference stands for. The caller owns the reference. A text of another
    // form raises CORBA_INV_OBJREF. No connection is made.
    virtual CORBA_Object* string_to_object(const char* text) = 0;
    // The object of that interface and name, on that host: one of this process when there is one, else a
    // stub, which is bound at once unless the options defer that. The caller owns the reference. Raises
    // CORBA_NO_IMPLEMENT when no such object is found.
    virtual CORBA_Object* bind(const char* rep_id, const char* object_name = nullptr,
                               const char* host_name = nullptr,
                               const CORBA_BindOptions* options = nullptr) = 0;
    // Makes a new, empty environment, which the caller owns.
    virtual void create_environment(CORBA_Environment*& environment) = 0;

    // Client connections of this process: the highest number allowed (0 for no limit), the present number, in
    // use and idle, and the number of seconds after which an idle one may be closed.
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

// The ORB made by CORBA_ORB_init, null before.
CORBA_ORB* currentORB();
void setCurrentORB(CORBA_ORB* orb);

} // namespace harbolance
