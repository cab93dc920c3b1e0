#pragma once

#include "base/hash_table.h"
#include "base/list.h"
#include "base/refcount.h"
#include "marshal/text/vstr.h"

#include <concepts>
#include <initializer_list>
#include <optional>
#include <span>
#include <vector>

// The registry of interfaces: what the process knows about each IDL interface, found by name or repository
// id. Generated code has a CORBA_TypeInfo (a handle) for each of the two halves of an interface. Its
// construction, before `main`, registers the half. The halves come in either order and share one TRXTypeInfo,
// the entry. The stub half has the repository id, the stub factory and the bases, the skeleton half the table
// of operations. A client has stub halves only.

class CORBA_MarshalInBuffer;
class CORBA_Object;
class CORBA_OctetSequence;
class CORBA_TypeInfo;

// Reads the arguments, calls the servant and writes the results. `object` points to the servant as the class
// that declares the operation; `pdata` is to be passed to the object's `_prepare_reply`.
using TRXSkeleton = void (*)(void* object, CORBA_MarshalInBuffer& arguments, CORBA_OctetSequence* principal,
                             const char* operation, void* pdata);

// One operation in a skeleton's table. The table is static data of the skeleton.
struct TRXMethod {
    const char* operation;
    TRXSkeleton skeleton;
};

using TRXObjectFactory = CORBA_Object* (*)(); // the caller owns the object
using TRXObjectFactoryList = TRXList<TRXObjectFactory>;
// Puts wrappers, made by the factories, around `object` and returns the outermost, or `object` itself.
using TRXWrapFunction = CORBA_Object* (*)(TRXObjectFactoryList& factories, CORBA_Object* object);

// The entry of one interface. It lives until its last handle is destroyed.
class TRXTypeInfo final : public TRXResource {
public:
    ~TRXTypeInfo() override;

    // The entry with this name, or else with this repository id; empty without one.
    static TRXRef<TRXTypeInfo> find(const char* text);
    // The entry with this name; it is made if there is none.
    static TRXRef<TRXTypeInfo> findOrMake(const char* name);
    // Adds the stub half. A repository id in use, and a second stub half, raise CORBA_BAD_PARAM and change
    // nothing.
    void registerStub(const CORBA_TypeInfo* owner, const char* id, TRXObjectFactory factory,
                      std::vector<const CORBA_TypeInfo*> bases);
    // Removes the half that `handle` registered, for example when its library is unloaded. Types derived from
    // this one must be removed first.
    void withdraw(const CORBA_TypeInfo* handle);

    const char* name() const { return _name.in(); }
    const char* id() const { return _registered ? _id.in() : nullptr; } // null without a stub half
    const CORBA_TypeInfo* owner() const { return _owner; } // the handle of the stub half, or null
    std::span<const CORBA_TypeInfo* const> bases() const { return _bases; } // as declared
    void setBases(std::vector<const CORBA_TypeInfo*> bases) { _bases = std::move(bases); }
    // Adds the skeleton half of `handle`. The table is borrowed. A merged table that `findMethod` has already
    // built is not changed.
    void setMethods(CORBA_ULong count, const TRXMethod* methods, const CORBA_TypeInfo* handle = nullptr) {
        _methods = {methods, count};
        _skeleton_owner = handle;
    }

    // Whether this type or one of its bases has that repository id. False for a type without an id of its
    // own.
    bool hasId(const char* id) const;

    // Finds the skeleton of an operation of this type or its bases, and stores in `out` the type that
    // declares it. Operations of a type hide those of its bases, and those of an earlier base hide those of a
    // later one. When the operation is not found, the first entry of the type's own table is used if its name
    // is "__dynamic". Otherwise returns null and leaves `out` unchanged.
    TRXSkeleton findMethod(const char* operation, const CORBA_TypeInfo*& out);

    bool hasFactory() const { return _factory || _user_factory; }
    // A new stub with one reference, made by the user's factory if there is one. Without any factory the
    // process ends, so test `hasFactory` first.
    CORBA_Object* createStub() const;
    void setUserFactory(TRXObjectFactory factory) { _user_factory = factory; } // null clears it

    // Puts the wrappers of the object's side around it: the client's for a stub, the server's for a servant.
    // Without a wrap function returns the object itself.
    CORBA_Object* createWrappedObject(CORBA_Object* object);
    void setWrapper(TRXWrapFunction wrap) { _wrap = wrap; }
    void addFactory(TRXObjectFactory factory, bool client) { factories(client).append(factory); }
    // Removes the first equal factory; the others keep their order.
    void removeFactory(TRXObjectFactory factory, bool client) { factories(client).remove(factory); }

private:
    struct Method {
        const char* operation = nullptr;
        TRXSkeleton skeleton = nullptr;
        const TRXTypeInfo* type = nullptr; // the type whose table declares the operation
        explicit operator bool() const { return type != nullptr; }
    };
    using MethodTable = harbolance::KeyedTable<Method, &Method::operation>;

    explicit TRXTypeInfo(const char* name) : _name(name) {}

    void mergeMethodsInto(MethodTable& table) const;
    TRXObjectFactoryList& factories(bool client) { return client ? _client_factories : _server_factories; }

    std::optional<MethodTable> _methods_by_name; // built by the first look-up: most processes serve few types
    CORBA_String_var _name;
    CORBA_String_var _id;
    bool _registered = false; // in the dictionary by id
    std::vector<const CORBA_TypeInfo*> _bases;
    const CORBA_TypeInfo* _owner = nullptr;
    const CORBA_TypeInfo* _skeleton_owner = nullptr;
    std::span<const TRXMethod> _methods;
    TRXObjectFactory _factory = nullptr;
    TRXObjectFactory _user_factory = nullptr;
    TRXWrapFunction _wrap = nullptr;
    TRXObjectFactoryList _client_factories;
    TRXObjectFactoryList _server_factories;
};

// The handle that generated code has as a static object for each half of an interface. The address of the
// stub half's handle is passed around as the type. A list of bases may refer to a handle that is not yet
// constructed, since bases are only read by later queries; until it is constructed, a handle behaves like a
// type without a name.
class CORBA_TypeInfo {
public:
    // Registers a skeleton half. The table is borrowed.
    CORBA_TypeInfo(const char* name, CORBA_ULong methodCount, const TRXMethod* methods);

    // Registers a stub half; the list of bases ends with a null. A repository id in use, and a second stub
    // half with that name, raise CORBA_BAD_PARAM.
    template <std::convertible_to<const CORBA_TypeInfo*>... Bases>
    [[gnu::always_inline]] CORBA_TypeInfo(const char* name, const char* id, TRXObjectFactory stubFactory,
                                          Bases... bases) {
        registerStub(name, id, stubFactory, list({bases...}));
    }

    // The same with a wrap function and wrapper factories for each side.
    template <std::convertible_to<const CORBA_TypeInfo*>... Bases>
    CORBA_TypeInfo(const char* name, const char* id, TRXWrapFunction wrap, TRXObjectFactory stubFactory,
                   const TRXObjectFactory* clientList, CORBA_ULong clientCount,
                   const TRXObjectFactory* serverList, CORBA_ULong serverCount, Bases... bases) {
        const BaseList all = list({bases...});
        _init(name, id, wrap, stubFactory, clientCount, clientList, serverCount, serverList,
              static_cast<CORBA_ULong>(all.size()), all.data());
    }
    template <std::convertible_to<const CORBA_TypeInfo*>... Bases>
    CORBA_TypeInfo(const char* name, const char* id, TRXWrapFunction wrap, TRXObjectFactory stubFactory,
                   CORBA_ULong clientCount, const TRXObjectFactory* clientList, Bases... bases)
        : CORBA_TypeInfo(name, id, wrap, stubFactory, clientList, clientCount, nullptr, 0, bases...) {}

    CORBA_TypeInfo(const CORBA_TypeInfo&) = delete;
    CORBA_TypeInfo& operator=(const CORBA_TypeInfo&) = delete;
    ~CORBA_TypeInfo(); // removes its half from the registry

    // Whether both are handles of the same interface.
    bool operator==(const CORBA_TypeInfo& other) const {
        return this == &other || (impl() && impl() == other.impl());
    }

    // The handle of the interface with this name or repository id; null when the process does not know it or
    // has only its skeleton half.
    static const CORBA_TypeInfo* lookup(const char* text);

    TRXTypeInfo* impl() const { return _impl.get(); } // null before construction
    const char* name() const { return _impl ? _impl->name() : nullptr; }
    const char* id() const { return _impl ? _impl->id() : nullptr; }
    // Whether this interface derives from `base`, at any distance. With `firstOnly`: whether `base` is the
    // first of its direct bases. No interface is its own base.
    bool is_a(const CORBA_TypeInfo* base, bool firstOnly) const;

    CORBA_Object* createWrappedObject(CORBA_Object* object) const;
    // A new stub inside its wrappers. The caller owns the object.
    CORBA_Object* createWrappedStub() const;

private:
    using BaseList = std::vector<const CORBA_TypeInfo*>;

    static BaseList list(std::initializer_list<const CORBA_TypeInfo*> bases);
    void registerStub(const char* name, const char* id, TRXObjectFactory stubFactory, BaseList bases);
    void _init(const char* name, const char* id, TRXWrapFunction wrap, TRXObjectFactory stubFactory,
               CORBA_ULong clientCount, const TRXObjectFactory* clientList, CORBA_ULong serverCount,
               const TRXObjectFactory* serverList, CORBA_ULong baseCount, const CORBA_TypeInfo* const* bases);

    TRXRef<TRXTypeInfo> _impl;
};

// The types of the CORBA module itself, known to every process: the root of all references, and the root of
// interfaces without references of their own. An object whose interface is not known here is a stub of the
// first type.
extern const CORBA_TypeInfo CORBA_Object_type;
extern const CORBA_TypeInfo CORBA_Current_type;
