#pragma once

#include "agent/records/dsresrc.h"
#include "stream/ncstring.h"

#include <concepts>
#include <iterator>
#include <memory>
#include <netinet/in.h>
#include <tuple>

// Declares a record class by a list of its fields. They are streamed in the order of `fields` and printed
// with the texts given there; `key` lists the fields that identify the record, in order of comparison.
//
//     class DSName : public harbolance::KeyedRecord<DSName> {  // keyed_record.h
//     public:
//         static const NCTypeInfo info;
//         explicit DSName(NCistream& in) : KeyedRecord(in) { readFields(in); }
//
//         static constexpr const char* title = "\nClassName: DSName\n";
//         static constexpr auto fields() {
//             return std::tuple{harbolance::printed(&DSName::name_, "Name:"), ...};
//         }
//         auto key() const { return std::tie(name_, argType_, serviceType_); }
//
// A class without a title prints only its fields; a class with another print form overrides `printOn`. A
// class derived from another record adds its fields, and its key if it has one, after those of its base.
//
// A field is an integer, an IPv4 address, an NCString or a record held by value, a record held by NCRef, or
// of a class with `readField`, `writeField` and the other functions below that it needs.
namespace harbolance {

template <class Owner, class Value>
struct HiddenField {
    Value Owner::*value;
};
template <class Owner, class Value>
struct PrintedField {
    Value Owner::*value;
    const char* before;
    const char* behind;
    bool optional; // true: null prints nothing; false: "(nil)" after `before`
};

template <class Owner, class Value>
constexpr HiddenField<Owner, Value> unprinted(Value Owner::*value) {
    return {value};
}
template <class Owner, class Value>
constexpr PrintedField<Owner, Value> printed(Value Owner::*value, const char* before,
                                             const char* behind = "") {
    return {value, before, behind, false};
}
template <class Owner, class Value>
constexpr PrintedField<Owner, Value> printedLine(Value Owner::*value, const char* before) {
    return {value, before, "\n", false};
}
template <class Owner, class Value>
constexpr PrintedField<Owner, Value> printedIfAny(Value Owner::*value, const char* before) {
    return {value, before, "", true};
}

template <class T>
concept Embedded = std::derived_from<T, NCTransObject>;

// Reads a field. False: the following fields must not be read.
inline bool readField(NCistream& in, std::integral auto& value) {
    in.read(value);
    return true;
}
// An address is read as the four octets of a sockaddr_in.
inline bool readField(NCistream& in, in_addr& address) {
    in.read(reinterpret_cast<unsigned char*>(&address), sizeof address);
    return true;
}
// A member held by value is constructed from the stream in its place, because the stream identifies objects
// by their addresses. It has only been default-constructed and owns nothing, so it need not be destroyed
// first. noexcept, because this layer has no exceptions: without memory for a text the process ends.
bool readField(NCistream& in, Embedded auto& member) noexcept {
    std::construct_at(&member, in);
    return true;
}
template <class T>
bool readField(NCistream& in, NCRef<T>& record) {
    record = in.readRecord<T>();
    return true;
}

inline void writeField(NCostream& out, std::integral auto value) { out.write(value); }
inline void writeField(NCostream& out, const in_addr& address) {
    out.write(reinterpret_cast<const unsigned char*>(&address), sizeof address);
}
void writeField(NCostream& out, const Embedded auto& member) { out.writeEmbedded(member); }
template <class T>
void writeField(NCostream& out, const NCRef<T>& record) {
    out.writeRecord(record.get());
}

inline void writeFields(NCostream&) {}
template <class... Others>
void writeFields(NCostream& out, const int& first, const int& second, const Others&... others);
template <class First, class... Others>
void writeFields(NCostream& out, const First& first, const Others&... others) {
    writeField(out, first);
    writeFields(out, others...);
}
// Two numbers in one call of the stream: an array is written as its elements are.
template <class... Others>
void writeFields(NCostream& out, const int& first, const int& second, const Others&... others) {
    const int values[] = {first, second};
    out.write(values, std::size(values));
    writeFields(out, others...);
}

inline void printField(NCostream& out, std::integral auto value) { out.write(value); }
inline void printField(NCostream& out, const NCString& text) { out.write(text.str()); }
inline void printField(NCostream& out, const DSResource& member) { member.printOn(out); }
template <class T>
void printField(NCostream& out, const NCRef<T>& record) {
    printRecord(out, record.get());
}
constexpr bool isNull(const auto&) { return false; }
template <class T>
bool isNull(const NCRef<T>& record) {
    return !record;
}

// A class with fields. `Base` has fields of its own, or is a class without any.
template <class Self, class Base = DSResource>
class Record : public Base {
public:
    using Base::Base;

    const NCTypeInfo& typeInfo() const override { return Self::info; }

    void write(NCostream& out) const override {
        if constexpr (requires { Base::fields(); })
            Base::write(out);
        std::apply([&](const auto&... field) { writeFields(out, self().*field.value...); }, Self::fields());
    }

    void printOn(NCostream& out) const override {
        if constexpr (requires { Base::fields(); })
            Base::printOn(out);
        if constexpr (requires { Self::title; })
            out.write(Self::title);
        std::apply([&](const auto&... field) { (print(out, field), ...); }, Self::fields());
    }

protected:
    // Reads the fields of this class, after those of the base; called by the constructor from a stream.
    void readFields(NCistream& in) {
        std::apply(
            [&](const auto&... field) {
                // `&&` keeps the order of the fields and stops at the first that gives false.
                static_cast<void>((readField(in, static_cast<Self&>(*this).*field.value) && ...));
            },
            Self::fields());
    }

    const Self& self() const { return static_cast<const Self&>(*this); }

private:
    template <class Value>
    void print(NCostream&, const HiddenField<Self, Value>&) const {}
    template <class Value>
    void print(NCostream& out, const PrintedField<Self, Value>& field) const {
        const Value& value = self().*field.value;
        if (field.optional && isNull(value))
            return;
        if (*field.before)
            out.write(field.before);
        printField(out, value);
        if (*field.behind)
            out.write(field.behind);
    }
};

} // namespace harbolance
