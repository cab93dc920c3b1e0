#pragma once

#include "base/refcount.h"
#include "stream/complaints.h"
#include "stream/listings.h"
#include "stream/ncstring.h"

// Records to send through streams. They count how many of them live, so that a test sees leaks without a
// sanitizer too.
class Counted : public NCResource, public NCObject {
public:
    static inline const NCTypeInfo info{"TestAbstract", nullptr, {&NCObject::info}};
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
        out.writeRecord(left.get()).writeRecord(right.get());
    }
    const NCTypeInfo& typeInfo() const override { return info; }

    NCString name;
    NCRef<TestNode> left;
    NCRef<TestNode> right;
};
inline const NCTypeInfo TestNode::info("TestNode", ncCreate<TestNode>, {&Counted::info});

// Another class, to stand where a TestNode is wanted; it is none.
class TestLeaf : public Counted {
public:
    static const NCTypeInfo info;
    TestLeaf() = default;
    explicit TestLeaf(NCistream& in) : Counted(in) {}
    void write(NCostream&) const override {}
    const NCTypeInfo& typeInfo() const override { return info; }
};
inline const NCTypeInfo TestLeaf::info("TestLeaf", ncCreate<TestLeaf>, {&Counted::info});

// Anything, a node, and something that is passed by pointer.
class TestPair : public Counted {
public:
    static const NCTypeInfo info;
    TestPair(const NCRef<Counted>& first, const NCRef<TestNode>& second, Counted* anything)
        : any(first), node(second), borrowed(anything) {}
    explicit TestPair(NCistream& in)
        : Counted(in), any(in.readRecord<Counted>()), node(in.readRecord<TestNode>()),
          last(in.readRecord<Counted>()), borrowed(last.get()) {}
    void write(NCostream& out) const override {
        out.writeRecord(any.get()).writeRecord(node.get()).writeObject(borrowed);
    }
    const NCTypeInfo& typeInfo() const override { return info; }

    NCRef<Counted> any;
    NCRef<TestNode> node;
    NCRef<Counted> last;
    Counted* borrowed;
};
inline const NCTypeInfo TestPair::info("TestPair", ncCreate<TestPair>, {&Counted::info});

// Complaints are collected, and nothing that was read may stay alive.
class StreamTest : public testing::Test {
protected:
    StreamTest() {
        told.clear();
        harbolance::setComplaintSink([](std::ostream&, std::string_view text) { told += text; });
    }
    ~StreamTest() override {
        EXPECT_NE(harbolance::setComplaintSink(nullptr), nullptr);
        EXPECT_EQ(Counted::alive, 0);
    }
    static inline std::string told;
};
