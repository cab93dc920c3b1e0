#pragma once

#include <cstdint>
#include <initializer_list>
#include <vector>

class NCTransObject;
class NCistream;

// One static object per streamable class: its name on the wire, its create function, and its bases.
//
// Construction enters the class in the process's registry. The registry is built on first use, and a base may
// be given by the address of an NCTypeInfo that is not constructed yet, so the order of static initialisers
// does not matter. Of two classes with one name the first stays; no entry is ever removed.
class NCTypeInfo {
public:
    // Makes an object by reading its fields from the stream; its reference count is 0.
    using Create = NCTransObject* (*)(NCistream&);

    // `create` is null for an abstract class. `name` must live as long as the process.
    [[gnu::cold]] NCTypeInfo(const char* name, Create create,
                             std::initializer_list<const NCTypeInfo*> bases = {});
    NCTypeInfo(const NCTypeInfo&) = delete;
    NCTypeInfo& operator=(const NCTypeInfo&) = delete;
    virtual ~NCTypeInfo();

    // The registered class of that name, or null.
    static const NCTypeInfo* find(const char* name);

    const char* name() const { return name_; }
    Create creator() const { return create_; }
    int16_t baseCount() const { return static_cast<int16_t>(bases_.size()); }

    // Whether `base` is among the direct or indirect bases. A class is not its own base.
    bool hasBase(const NCTypeInfo& base) const;
    bool isSameOrDerived(const NCTypeInfo& base) const { return *this == base || hasBase(base); }

    friend bool operator==(const NCTypeInfo& a, const NCTypeInfo& b) { return a.name_ == b.name_; }

protected:
    // Is not entered in the registry.
    explicit NCTypeInfo(const char* name) : name_(name), create_(nullptr) {}

private:
    void trace() const;

    const char* name_;
    Create create_;
    std::vector<const NCTypeInfo*> bases_;
};

// Names a class of streams, which is itself never streamed.
class NCStreamKind : public NCTypeInfo {
public:
    explicit NCStreamKind(const char* name) : NCTypeInfo(name) {}
};

// The create function of a class that has a constructor from a stream.
template <class T>
NCTransObject* ncCreate(NCistream& in) {
    return new T(in);
}
