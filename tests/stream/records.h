#pragma once

#include "base/refcount.h"
#include "stream/ncstream.h"
#include "stream/ncstring.h"

#include <string>

// Records to send through streams. Counted ones say how many of them live, so that a test sees leaks without
// a sanitizer too.

class Counted : public NCResource, public NCObject {
public:
    static const NCTypeInfo info; // "TestAbstract"
    static inline int alive = 0;

    Counted() { ++alive; }
    explicit Counted(NCistream& in) : NCObject(in) {
        ++alive;
        in.registerCounted(this);
    }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;
    ~Counted() override { --alive; }
    uint32_t hash() const override { return 0; }
    int compare(const NCObject*) const override { return -1; }
};

// A name held by value and two neighbours held by reference.
class TestNode : public Counted {
public:
    static const NCTypeInfo info;

    explicit TestNode(const char* text) : name(text) {}
    explicit TestNode(NCistream& in) : Counted(in), name(in) {
        left = in.readRecord<TestNode>();
        right = in.readRecord<TestNode>();
    }
    void write(NCostream& out) const override {
        out.writeEmbedded(name);
        out.writeObject(left.get()).writeObject(right.get());
    }
    const NCTypeInfo& typeInfo() const override { return info; }

    NCString name;
    NCRef<TestNode> left;
    NCRef<TestNode> right;
};

// Another class of the same shape, to stand where a TestNode is wanted; it is none.
class TestLeaf : public Counted {
public:
    static const NCTypeInfo info;

    TestLeaf() = default;
    explicit TestLeaf(NCistream& in) : Counted(in) {}
    void write(NCostream&) const override {}
    const NCTypeInfo& typeInfo() const override { return info; }
};

// Anything, and then a node.
class TestPair : public Counted {
public:
    static const NCTypeInfo info;

    explicit TestPair(NCistream& in)
        : Counted(in), any(in.readRecord<Counted>()), node(in.readRecord<TestNode>()) {}
    void write(NCostream& out) const override { out.writeObject(any.get()).writeObject(node.get()); }
    const NCTypeInfo& typeInfo() const override { return info; }

    NCRef<Counted> any;
    NCRef<TestNode> node;
};

// A block of any size, to fill a message with.
class TestBlock : public Counted {
public:
    static const NCTypeInfo info;

    explicit TestBlock(std::string text) : data(std::move(text)) {}
    explicit TestBlock(NCistream& in) : Counted(in) {
        unsigned int size = 0;
        in.read(size);
        if (size > in.remaining()) {
            in.setFailed();
            return;
        }
        data.resize(size);
        in.read(data.data(), size);
    }
    void write(NCostream& out) const override {
        out.write(static_cast<unsigned int>(data.size())).write(data.data(), data.size());
    }
    const NCTypeInfo& typeInfo() const override { return info; }

    std::string data;
};
