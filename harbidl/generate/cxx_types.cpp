#include "generate/cxx_types.h"

namespace harbidl {

namespace {

bool isNamed(const Type& type) { return type.declaration != nullptr; }

// The number of levels (structs or unions) between a sequence in `owner` and the enclosing type that is its
// element; 0 if it is not an enclosing type.
int levelsOut(const Declaration& owner, const Type& element) {
    int levels = 1;
    // Interfaces are left out: a sequence of references to the enclosing interface is not recursive.
    for (const Declaration* around = &owner; around; around = around->scope, ++levels) {
        if (element.declaration == around && around->kind != Declaration::Kind::interface)
            return levels;
    }
    return 0;
}

std::string argumentList(const std::string& first, uint32_t bound) {
    return first + (bound == 0 ? "" : ", " + std::to_string(bound)) + ")";
}

const char* basicName(TypeKind kind) {
    switch (kind) {
    case TypeKind::short_: return "CORBA_Short";
    case TypeKind::long_: return "CORBA_Long";
    case TypeKind::longLong: return "CORBA_LongLong";
    case TypeKind::unsignedShort: return "CORBA_UShort";
    case TypeKind::unsignedLong: return "CORBA_ULong";
    case TypeKind::unsignedLongLong: return "CORBA_ULongLong";
    case TypeKind::float_: return "CORBA_Float";
    case TypeKind::double_: return "CORBA_Double";
    case TypeKind::boolean: return "CORBA_Boolean";
    case TypeKind::char_: return "CORBA_Char";
    case TypeKind::wchar: return "CORBA_WChar";
    case TypeKind::octet: return "CORBA_Octet";
    case TypeKind::any: return "CORBA_Any";
    case TypeKind::object: return "CORBA_Object";
    case TypeKind::typeCode: return "CORBA_TypeCode";
    // A principal is a sequence of octets and has no class of its own.
    case TypeKind::principal: return "CORBA_OctetSequence";
    default: return "void";
    }
}

// The name of the library's TypeCode constant without "_tc_".
const char* basicTypeCode(TypeKind kind) {
    switch (kind) {
    case TypeKind::short_: return "short";
    case TypeKind::long_: return "long";
    case TypeKind::longLong: return "longlong";
    case TypeKind::unsignedShort: return "ushort";
    case TypeKind::unsignedLong: return "ulong";
    case TypeKind::unsignedLongLong: return "ulonglong";
    case TypeKind::float_: return "float";
    case TypeKind::double_: return "double";
    case TypeKind::boolean: return "boolean";
    case TypeKind::char_: return "char";
    case TypeKind::wchar: return "wchar";
    case TypeKind::octet: return "octet";
    case TypeKind::any: return "any";
    case TypeKind::object: return "Object";
    case TypeKind::typeCode: return "TypeCode";
    case TypeKind::principal: return "Principal";
    case TypeKind::string: return "string";
    case TypeKind::wstring: return "wstring";
    default: return "void";
    }
}

} // namespace

Handling handlingOf(const Type& type) {
    switch (unaliased(type).kind) {
    case TypeKind::any:
    case TypeKind::principal:
    case TypeKind::sequence:
    case TypeKind::structure:
    case TypeKind::union_:
    case TypeKind::native: return Handling::value;
    case TypeKind::object:
    case TypeKind::typeCode:
    case TypeKind::interface: return Handling::reference;
    case TypeKind::string: return Handling::string;
    case TypeKind::wstring: return Handling::wstring;
    case TypeKind::array: return Handling::array;
    default: return Handling::number;
    }
}

bool isGivenByPointer(const Type& type) {
    const Handling handling = handlingOf(type);
    // A value of fixed size is stored in the caller's memory; the size of a native type is unknown, so it
    // counts as variable.
    return handling != Handling::number &&
           (handling != Handling::value || unaliased(type).variable || type.native);
}

bool isAmbiguousArgument(const Type& type) {
    const Type& real = unaliased(type);
    const bool text = real.kind == TypeKind::string || real.kind == TypeKind::wstring;
    // An array decays to a pointer to its first slice, and a bounded string is a char* like any other.
    return real.kind == TypeKind::array || (text && real.bound > 0);
}

bool isAnonymousSequence(const Type& type) {
    const Type* inner = &type;
    while (inner->kind == TypeKind::array)
        inner = inner->element;
    return inner->kind == TypeKind::sequence;
}

std::string CxxTypes::plain(const Scope& from, const Type& type) const {
    if (isNamed(type))
        // An alias of a reference has its own _ptr, so the suffix depends on the original type.
        return names_.seenFrom(from, *type.declaration) +
               (handlingOf(type) == Handling::reference ? "_ptr" : "");
    switch (type.kind) {
    case TypeKind::string: return "char*";
    case TypeKind::wstring: return "CORBA_WChar*";
    case TypeKind::object:
    case TypeKind::typeCode: return std::string(basicName(type.kind)) + "_ptr";
    case TypeKind::sequence: return sequence(from, type);
    default: return basicName(type.kind);
    }
}

std::string CxxTypes::holder(const Scope& from, const Type& type) const {
    // The header of a native type is written by hand and may have no _var.
    if (unaliased(type).kind == TypeKind::native)
        return "harbolance::VariableVar<" + plain(from, type) + ">";
    if (isNamed(type))
        return names_.seenFrom(from, *type.declaration) + "_var";
    if (type.bound == 0)
        return type.kind == TypeKind::string    ? "CORBA_String_var"
               : type.kind == TypeKind::wstring ? "CORBA_WString_var"
                                                : std::string(basicName(type.kind)) + "_var";
    return std::string(type.kind == TypeKind::string ? "harbolance::BoundedString<"
                                                     : "harbolance::BoundedWString<") +
           std::to_string(type.bound) + ">";
}

std::string CxxTypes::member(const Scope& from, const Type& type) const {
    const Type* inner = &type;
    while (inner->kind == TypeKind::array)
        inner = inner->element;
    switch (handlingOf(*inner)) {
    case Handling::string:
    case Handling::wstring:
    // Only these are plain pointers in C++, which do not own; the other types own their values.
    case Handling::reference: return holder(from, *inner);
    default: return plain(from, *inner);
    }
}

std::string CxxTypes::dimensions(const Type& type) {
    std::string result;
    for (const Type* inner = &type; inner->kind == TypeKind::array; inner = inner->element)
        result += "[" + std::to_string(inner->bound) + "]";
    return result;
}

std::string CxxTypes::whole(const Scope& from, const Type& type) const {
    return member(from, type) + dimensions(type);
}

std::string CxxTypes::argument(const Scope& from, const Type& type) const {
    switch (handlingOf(type)) {
    case Handling::string: return "const char*";
    case Handling::wstring: return "const CORBA_WChar*";
    case Handling::value: return "const " + plain(from, type) + "&";
    default: return plain(from, type);
    }
}

std::string CxxTypes::parameter(const Scope& from, const Type& type, const std::string& name) const {
    if (handlingOf(type) != Handling::array)
        return argument(from, type) + " " + name;
    const std::string element = "const " + member(from, type);
    // A reference to the array, so that its length is checked; C++ would treat `T name[2]` as a pointer.
    return type.declaration ? element + "& " + name : element + " (&" + name + ")" + dimensions(type);
}

std::string CxxTypes::returned(const Scope& from, const Type& type) const {
    switch (handlingOf(type)) {
    case Handling::array: return plain(from, type) + "_slice*";
    case Handling::value: return plain(from, type) + (isGivenByPointer(type) ? "*" : "");
    default: return plain(from, type);
    }
}

std::string CxxTypes::parameter(const Scope& from, const Parameter& parameter,
                                const std::string& name) const {
    const Type& type = *parameter.type;
    const Handling handling = handlingOf(type);
    if (parameter.direction == Parameter::Direction::in)
        return (handling == Handling::array ? "const " + plain(from, type) : argument(from, type)) + " " +
               name;
    const bool out = parameter.direction == Parameter::Direction::out;
    // A value that the callee allocates is returned through a pointer; an array of fixed size is stored in
    // the caller's memory.
    if (handling == Handling::array)
        return plain(from, type) + (out && type.variable ? "_slice*& " : "_slice* ") + name;
    return (out ? returned(from, type) : plain(from, type)) + "& " + name;
}

std::string CxxTypes::elementArguments(const Scope& from, const Type& element) const {
    const Type& real = unaliased(element);
    const std::string bound = std::to_string(real.bound);
    switch (real.kind) {
    case TypeKind::string:
        return real.bound == 0 ? "char*, TRXStringElement"
                               : "char*, harbolance::BoundedStringElement<" + bound + ">";
    case TypeKind::wstring:
        return "CORBA_WChar*, harbolance::WStringElement<" + (real.bound == 0 ? "" : bound) + ">";
    case TypeKind::typeCode: return "CORBA_TypeCode*, harbolance::TypeCodeElement";
    case TypeKind::object: return "CORBA_Object*, TRXObjectElement<CORBA_Object>";
    // The name as it is used: an alias names the same class.
    case TypeKind::interface: {
        const std::string name = names_.seenFrom(from, *element.declaration);
        return name + "*, TRXObjectElement<" + name + ">";
    }
    // The grammar lets only a named array be an element, so there is a declaration.
    case TypeKind::array: {
        const std::string name = names_.seenFrom(from, *element.declaration);
        return name + ", harbolance::ArrayElement<" + name + ">";
    }
    default: return plain(from, element);
    }
}

std::string CxxTypes::sequence(const Scope& from, const Type& type) const {
    const std::string arguments = elementArguments(from, *type.element) + ">";
    if (type.bound == 0)
        return "TRXSequence<" + arguments;
    return "harbolance::BoundedSequence<" + std::to_string(type.bound) + ", " + arguments;
}

std::string CxxTypes::typeCode(const Scope& from, const Declaration& owner, const Type& type) const {
    if (isNamed(type))
        return names_.typeCodeSeenFrom(from, *type.declaration);
    const std::string library = "harbolance::";
    switch (type.kind) {
    case TypeKind::sequence:
        // The enclosing type has no TypeCode while it is being made, so it is given by its number of levels.
        if (const int levels = levelsOut(owner, *type.element))
            return library + "recursiveSequenceType(" + argumentList(std::to_string(levels), type.bound);
        return library + "sequenceType(" + argumentList(typeCode(from, owner, *type.element), type.bound);
    case TypeKind::array:
        return library + "arrayType(" + argumentList(typeCode(from, owner, *type.element), type.bound);
    case TypeKind::string:
    case TypeKind::wstring:
        if (type.bound > 0)
            return library + (type.kind == TypeKind::string ? "stringType(" : "wideStringType(") +
                   std::to_string(type.bound) + ")";
        // Unbounded strings all have the same constant.
        [[fallthrough]];
    default: return names_.libraryTypeCode(basicTypeCode(type.kind));
    }
}

namespace {

void addTargets(const Declaration& owner, const Type& type, std::set<const Declaration*>& targets) {
    if (type.kind == TypeKind::sequence && levelsOut(owner, *type.element) > 0)
        targets.insert(type.element->declaration);
    else if (type.kind == TypeKind::sequence || type.kind == TypeKind::array)
        addTargets(owner, *type.element, targets);
    else if (type.declaration && type.declaration->scope == &owner) {
        std::set<const Declaration*> inside = recursionTargets(*type.declaration);
        inside.erase(type.declaration);
        targets.merge(inside);
    }
}

} // namespace

std::set<const Declaration*> recursionTargets(const Declaration& declaration) {
    std::set<const Declaration*> targets;
    if (declaration.kind == Declaration::Kind::union_) {
        const auto& owner = static_cast<const Union&>(declaration);
        for (const Branch* branch : owner.branches)
            addTargets(owner, *branch->type, targets);
    } else if (declaration.kind == Declaration::Kind::structure) {
        const auto& owner = static_cast<const Struct&>(declaration);
        for (const Member* member : owner.members)
            addTargets(owner, *member->type, targets);
    }
    return targets;
}

} // namespace harbidl
