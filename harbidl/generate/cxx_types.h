#pragma once

#include "generate/cxx_names.h"

namespace harbidl {

// How C++ handles values of a type.
enum class Handling {
    number,    // numbers, characters, booleans and enums: copied
    string,    // char* and a holder
    wstring,   // CORBA_WChar* and a holder
    reference, // objects and TypeCodes: counted, with _ptr and _var
    value,     // structs, unions, sequences, Anys, natives: classes that copy themselves
    array,     // plain arrays
};
Handling handlingOf(const Type& type);

// Whether operations return the type, also in out arguments, as a pointer to memory that the caller frees.
bool isGivenByPointer(const Type& type);
// A string with a bound, or an array: as an argument its C++ type does not identify the IDL type.
bool isAmbiguousArgument(const Type& type);

// A sequence without a name, which only the member that has it can name.
bool isAnonymousSequence(const Type& type);

// The C++ types of IDL types, as used in the scope `from`.
class CxxTypes {
public:
    explicit CxxTypes(const CxxNames& names) : names_(names) {}

    // The type of a member, which owns its value. For an array without a name it is the type of the elements;
    // the dimensions follow the member's name.
    std::string member(const Scope& from, const Type& type) const;
    static std::string dimensions(const Type& type);
    // The same as one type: "CORBA_Long[2][3]".
    std::string whole(const Scope& from, const Type& type) const;

    // The type of an in argument: "CORBA_Long", "const char*", "Desk_ptr", "const Book&".
    std::string argument(const Scope& from, const Type& type) const;
    // The same with a parameter's name, which the dimensions of an array follow.
    std::string parameter(const Scope& from, const Type& type, const std::string& name) const;
    // A parameter of an operation, with its name: "const Book& book", "Book*& book", "Row_slice* row".
    std::string parameter(const Scope& from, const Parameter& parameter, const std::string& name) const;
    // What an operation returns: "CORBA_Long", "char*", "Desk_ptr", "Book*", "Row_slice*".
    std::string returned(const Scope& from, const Type& type) const;
    // The holder of a result that is returned as a pointer: "CORBA_String_var", "Desk_var", "Row_var".
    std::string holder(const Scope& from, const Type& type) const;

    // The argument's type without const and reference: "char*", "Desk_ptr", "Book".
    std::string plain(const Scope& from, const Type& type) const;

    // The class of a sequence: "TRXSequence<CORBA_Long>".
    std::string sequence(const Scope& from, const Type& type) const;

    // The expression for the TypeCode of a type used in `owner`: "_tc_long",
    // "harbolance::sequenceType(_tc_string)".
    std::string typeCode(const Scope& from, const Declaration& owner, const Type& type) const;

private:
    std::string elementArguments(const Scope& from, const Type& element) const;
    const CxxNames& names_;
};

// The enclosing structs and unions, including the declaration itself, that are elements of recursive
// sequences in it.
std::set<const Declaration*> recursionTargets(const Declaration& declaration);

} // namespace harbidl
