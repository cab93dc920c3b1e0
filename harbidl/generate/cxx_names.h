#pragma once

#include "model/model.h"

#include <set>

namespace harbidl {

// The C++ names of declarations. The module CORBA is not a namespace: its name is the first part of the names
// in it, as in CORBA_Object. Names with a meaning in C++ begin with _cxx_.
class CxxNames {
public:
    // Whether names are used in the classes and modules of the definition, or elsewhere, where they must be
    // complete.
    enum class Place { inside, outside };
    explicit CxxNames(const Model& model, Place place = Place::inside);

    // The name at the declaration: "Book", "CORBA_Repository", "_cxx_class".
    std::string local(const Declaration& declaration) const;
    // The name that is valid everywhere: "Library::Book".
    std::string global(const Declaration& declaration) const;
    // The shortest name that can be used in the scope `from`: "Book" in the module Library.
    std::string seenFrom(const Scope& from, const Declaration& declaration) const;

    // The name of the TypeCode constant, "_tc_Book", and the same as a qualified name.
    std::string typeCode(const Declaration& declaration) const { return "_tc_" + declaration.name; }
    std::string typeCodeSeenFrom(const Scope& from, const Declaration& declaration) const;
    // The TypeCode of a type of the library: "_tc_long".
    std::string libraryTypeCode(const std::string& name) const;

    // A name for a parameter of a function, or of an accessor of a union, that hides no other name.
    std::string parameter(const std::string& name) const;
    std::string parameter(const Union& owner, const std::string& name) const;
    // For an operation. A leading underscore would make it the name of a member of all interfaces.
    std::string parameter(const Parameter& parameter) const;

    // The C++ namespaces of the module, outermost first; none for CORBA.
    static std::vector<const Scope*> namespaces(const Scope& module);
    // Whether a scope is a namespace or class in C++, and not a prefix of names.
    static bool isCxxScope(const Scope& scope);

private:
    std::string prefixed(const Scope& from, const Declaration& declaration, const std::string& last) const;

    Place place_;
    std::set<std::string> declared_; // all names in the definition except those of members
};

} // namespace harbidl
