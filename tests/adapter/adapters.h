#pragma once

#include "adapter/skel_info.h"
#include "adapter/voa.h"
#include "command_line.h"
#include "marshal/reference/vutil.h"
#include "object/global_table.h"
#include "orb/vorb.h"

#include <algorithm>
#include <vector>

// An adapter without sockets, and servants for it.

class PlainAdapter : public TRXAdapter {
public:
    explicit PlainAdapter(const char* host = "1.2.3.4", bool agent = false)
        : TRXAdapter("Plain", agent), host_(host) {}

    void connection_closed(TRXGIOPServer*) override {}
    IOP::TaggedProfile* profile(const CORBA_OctetSequence& key) override {
        IIOP::ProfileBody body;
        body.host = host_;
        body.object_key = key;
        auto* profile = new IOP::TaggedProfile;
        profile->profile_data = IIOP::encoded(body);
        return profile;
    }
    void options(CommandLine words) { parse(words.argc, words.argv(), "-OA"); }

private:
    const char* host_;
};

inline const CORBA_TypeInfo baseType("Zoo::Animal", "IDL:Zoo/Animal:1.0", nullptr, &CORBA_Object_type);
inline const CORBA_TypeInfo derivedType("Zoo::Bird", "IDL:Zoo/Bird:1.0", nullptr, &baseType);

class Animal : public CORBA_Object {
public:
    explicit Animal(const char* name, const CORBA_TypeInfo& type = baseType) : type_(&type) {
        _object_name(name);
        ++alive;
    }
    ~Animal() override { --alive; }
    const CORBA_TypeInfo* _type_info() const override { return type_; }

    TRXSkelInfo& skel() { return *TRXSkelInfo::of(this); }

    static inline int alive = 0;

private:
    const CORBA_TypeInfo* type_;
};

inline CORBA_OctetSequence octets(std::string_view text) {
    CORBA_OctetSequence result;
    result.assign({reinterpret_cast<const CORBA_Octet*>(text.data()), text.size()});
    return result;
}

inline CORBA_OctetSequence keyOf(TRXObjectId* id) {
    const TRXRef<TRXObjectId> held(id);
    const CORBA_OctetSequence_var key(TRXUtil::key_from_id(*id));
    return *key;
}
inline CORBA_OctetSequence keyOf(const TRXObjectId& id) {
    return keyOf(TRXRef<TRXObjectId>::duplicate(const_cast<TRXObjectId*>(&id)).detach());
}
inline CORBA_OctetSequence named(const char* repId, const char* name) {
    return keyOf(new TRXPersistentId(repId, name));
}
inline CORBA_OctetSequence serviced(const char* service, const char* id) {
    return keyOf(new TRXServiceId(service, octets(id)));
}

// The result of a search: the object's name, "nil", or the name of the exception.
inline std::string found(TRXAdapter& adapter, const CORBA_OctetSequence& key) {
    try {
        const CORBA_Object_var object(adapter.find(key));
        return !object.in() ? "nil" : object->_object_name() ? object->_object_name() : "unnamed";
    } catch (const CORBA_Exception& exception) {
        return exception._name();
    }
}

// The minor code, completion and name of the exception raised, or "nothing".
template <class Step>
std::string raised(Step step) {
    try {
        step();
        return "nothing";
    } catch (const CORBA_SystemException& exception) {
        return std::string(exception._name()) + " " + std::to_string(exception.minor()) + " " +
               std::to_string(exception.completed());
    }
}

constexpr const char* badParam = "CORBA::BAD_PARAM 0 1";
constexpr const char* notThere = "CORBA::OBJECT_NOT_EXIST";
