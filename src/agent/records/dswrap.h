#pragma once

#include "agent/records/dsresrc.h"

class DSTriggerHandler;

// Wraps a word, usually a pointer, for a collection within this process. Only its lower four octets are
// streamed, in host order.
class DSWrapper : public DSResource {
public:
    static const NCTypeInfo info;

    explicit DSWrapper(uintptr_t word) : word_(word) {}
    explicit DSWrapper(const void* pointer) : word_(reinterpret_cast<uintptr_t>(pointer)) {}
    explicit DSWrapper(NCistream& in);

    uintptr_t word() const { return word_; }
    template <class T>
    T* pointer() const {
        return reinterpret_cast<T*>(word_);
    }

    void write(NCostream& out) const override;
    const NCTypeInfo& typeInfo() const override { return info; }
    void printOn(NCostream& out) const override;
    uint32_t hash() const override { return harbolance::pointerHash(pointer<const void>()); }
    int compare(const NCObject* other) const override;
    uint64_t fingerprint() const override { return word_; }

private:
    uintptr_t word_ = 0;
};

// Wraps a trigger handler for a collection within this process. Nothing of it is streamed.
class DSTrigWrapper : public DSResource {
public:
    static const NCTypeInfo info;

    // The handler is not owned.
    explicit DSTrigWrapper(DSTriggerHandler* handler) : handler_(handler) {}
    explicit DSTrigWrapper(NCistream& in) : DSResource(in) {}

    DSTriggerHandler* handler() const { return handler_; }

    void write(NCostream&) const override {}
    const NCTypeInfo& typeInfo() const override { return info; }
    uint32_t hash() const override { return harbolance::pointerHash(handler_); }
    int compare(const NCObject* other) const override;
    uint64_t fingerprint() const override { return reinterpret_cast<uintptr_t>(handler_); }

private:
    DSTriggerHandler* handler_ = nullptr;
};
