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

// Whether operations return the type, and give it in out arguments, as a pointer to what the caller frees.
bool isGivenByPointer(const Type& type);
// A string with a bound or an array: its C++ type as an argument is that of others too.
bool isAmbiguousArgument(const Type& type);

// A sequence without a name: nothing names its class but the member that has it.
bool isAnonymousSequence(const Type& type);

// What types are in C++, for what stands in the scope `from`.
class CxxTypes {
public:
    explicit CxxTypes(const CxxNames& names) : names_(names) {}

    // The type of a member, which owns what it holds. Of an array without a name that of its elements, for
    // which the dimensions stand behind the member's name.
    std::string member(const Scope& from, const Type& type) const;
    static std::string dimensions(const Type& type);
    // The same in one: "CORBA_Long[2][3]".
    std::string whole(const Scope& from, const Type& type) const;

    // What a caller hands in: "CORBA_Long", "const char*", "Desk_ptr", "const Book&".
    std::string argument(const Scope& from, const Type& type) const;
    // The same with the name of a parameter, which has the dimensions of an array behind it.
    std::string parameter(const Scope& from, const Type& type, const std::string& name) const;
    // A parameter of an operation, with its name: "const Book& book", "Book*& book", "Row_slice* row".
    std::string parameter(const Scope& from, const Parameter& parameter, const std::string& name) const;
    // What an operation returns: "CORBA_Long", "char*", "Desk_ptr", "Book*", "Row_slice*".
    std::string returned(const Scope& from, const Type& type) const;
    // What owns a result that is returned as a pointer: "CORBA_String_var", "Desk_var", "Row_var".
    std::string holder(const Scope& from, const Type& type) const;

    // What such an argument is before anything is decided about it: "char*", "Desk_ptr", "Book".
    std::string plain(const Scope& from, const Type& type) const;

    // The class that a sequence is: "TRXSequence<CORBA_Long>".
    std::string sequence(const Scope& from, const Type& type) const;

    // The TypeCode of what `owner` has or stands for: "_tc_long", "harbolance::sequenceType(_tc_string)".
    std::string typeCode(const Scope& from, const Declaration& owner, const Type& type) const;

private:
    std::string elementArguments(const Scope& from, const Type& element) const;
    const CxxNames& names_;
};

// The structs and unions around a declaration that recursive sequences in it are of, itself included.
std::set<const Declaration*> recursionTargets(const Declaration& declaration);

} // namespace harbidl
