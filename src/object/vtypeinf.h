#pragma once

#include "object/vtinfo.h"

#include <concepts>
#include <initializer_list>

// What generated code holds for each interface, one static object for each half: making it enters that half
// in the registry, and both halves share one TRXTypeInfo. The address of the stub half's handle is passed
// around as the type. It may stand in a list of bases before it is constructed; until then it knows nothing.
class CORBA_TypeInfo {
public:
    // The skeleton half. The table is not copied.
    CORBA_TypeInfo(const char* name, CORBA_ULong methodCount, const TRXMethod* methods);

    // The stub half, with a list of bases that a null ends. A repository id that is taken and a second stub
    // half of one name raise CORBA_BAD_PARAM.
    template <std::convertible_to<const CORBA_TypeInfo*>... Bases>
    CORBA_TypeInfo(const char* name, const char* id, TRXObjectFactory stubFactory, Bases... bases) {
        registerStub(name, id, stubFactory, list({bases...}));
    }

    // The same with a wrap function and the wrapper factories for objects of each side.
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
    ~CORBA_TypeInfo(); // takes its half back

    // Both are the same interface.
    bool operator==(const CORBA_TypeInfo& other) const {
        return this == &other || (impl() && impl() == other.impl());
    }

    // The handle of the interface with this name or repository id, null when the process does not know it or
    // has only its skeleton half.
    static const CORBA_TypeInfo* lookup(const char* text);

    TRXTypeInfo* impl() const { return _impl.get(); } // null before construction
    const char* name() const { return _impl ? _impl->name() : nullptr; }
    const char* id() const { return _impl ? _impl->id() : nullptr; }
    // Whether this interface derives from `base`: directly and as from its first base with `firstOnly`, else
    // at any distance. No interface is its own base.
    bool is_a(const CORBA_TypeInfo* base, bool firstOnly) const;

    CORBA_Object* createWrappedObject(CORBA_Object* object) const;
    // A new stub with what is wrapped around it. The caller owns the result.
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
