#pragma once

#include "model/model.h"

#include <set>

namespace harbidl {

// What declarations are called in C++. The module CORBA is no namespace: its name is the first part of the
// names in it, as in CORBA_Object. Names that C++ has a meaning for begin with _cxx_.
class CxxNames {
public:
    // What `seenFrom` is for: code in the classes and modules that a definition becomes, or code in other
    // ones, which uses whole names.
    enum class Place { inside, outside };
    explicit CxxNames(const Model& model, Place place = Place::inside);

    // Where it is declared: "Book", "CORBA_Repository", "_cxx_class".
    std::string local(const Declaration& declaration) const;
    // From everywhere: "Library::Book".
    std::string global(const Declaration& declaration) const;
    // As short as can be for what stands in `from`: "Book" in the module Library.
    std::string seenFrom(const Scope& from, const Declaration& declaration) const;

    // The constant with its TypeCode: "_tc_Book", and the same with what leads to it.
    std::string typeCode(const Declaration& declaration) const { return "_tc_" + declaration.name; }
    std::string typeCodeSeenFrom(const Scope& from, const Declaration& declaration) const;
    // That of a type that the library names: "_tc_long".
    std::string libraryTypeCode(const std::string& name) const;

    // A name for a parameter of a function, or of an accessor of the union, that hides nothing.
    std::string parameter(const std::string& name) const;
    std::string parameter(const Union& owner, const std::string& name) const;
    // Of an operation. An underscore in front would make it the name of a member that all interfaces have.
    std::string parameter(const Parameter& parameter) const;

    // The namespaces that the module is in C++, from the outermost: none for CORBA.
    static std::vector<const Scope*> namespaces(const Scope& module);
    // Whether a scope is a namespace or class of C++, and not a part of names.
    static bool isCxxScope(const Scope& scope);

private:
    std::string prefixed(const Scope& from, const Declaration& declaration, const std::string& last) const;

    Place place_;
    std::set<std::string> declared_; // every name in the definition but those of members
};

} // namespace harbidl
