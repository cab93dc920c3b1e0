#include "marshal/any/any_access.h"
#include "marshal/generated/operators.h"
#include "marshal/limits.h"
#include "marshal/reference/vior.h"
#include "marshal/sequence/octet_sequence.h"
#include "marshal/text/print_line.h"
#include "marshal/typecode/kinds.h"

#include <cstdio>
#include <string>

namespace harbolance {

namespace {

// A character as part of a quoted text that stays on its line.
void putCharacter(std::ostream& out, CORBA_WChar character, char quote) {
    const auto code = static_cast<uint32_t>(character);
    // Control characters are escaped, because a terminal would act on them.
    if (code < 0x20 || (code >= 0x7f && code < 0xa0)) {
        char escape[8];
        std::snprintf(escape, sizeof escape, "\\x%02x", code);
        out << escape;
    } else {
        if (character == static_cast<CORBA_WChar>(quote) || character == L'\\')
            out << '\\';
        // The holder's operator writes UTF-8.
        const CORBA_WChar text[] = {character, 0};
        out << CORBA_WString_var(text);
    }
}

// Names may be null where null strings are allowed. Writing a null pointer would set the standard stream to
// its failed state and suppress all later output.
const char* orEmpty(const char* name) { return name ? name : ""; }

// Prints values directed by their types. A value with parts is a block with one line for each part.
class ValuePrinter {
public:
    ValuePrinter(std::ostream& out, CORBA_MarshalInBuffer& in, std::string indent)
        : _out(out), _in(in), _indent(std::move(indent)) {}

    void value(const CORBA_TypeCode& given) {
        const OwnNesting nesting;
        const CORBA_TypeCode& type = TypeCodeAccess::unaliased(given);
        switch (type.kind()) {
        case tk_struct:
        case tk_except: return record(type);
        case tk_union: return unionValue(type);
        case tk_sequence: return elements(type, take<CORBA_ULong>());
        case tk_array: return elements(type, TypeCodeAccess::length(type));
        case tk_enum: return enumerator(type);
        case tk_string: return text(take<CORBA_String_var>());
        case tk_wstring: return wideText(take<CORBA_WString_var>());
        case tk_any: return any(take<CORBA_Any>());
        case tk_TypeCode: return typeCode(*take<CORBA_TypeCode_var>());
        case tk_Principal: return principal(take<CORBA_OctetSequence>());
        case tk_objref: return reference(take<IOP::IOR>());
        default: return number(type.kind());
        }
    }

private:
    template <class T>
    T take() {
        T value{};
        _in >> value;
        return value;
    }

    template <class Print>
    void line(Print print) {
        _out << _indent << "\t";
        // Indents what `print` prints. When that raises, the printer is not used again.
        _indent += '\t';
        print();
        _indent.pop_back();
        _out << "\n";
    }
    void part(const char* name, const CORBA_TypeCode& type) {
        line([&] {
            _out << orEmpty(name) << ": ";
            value(type);
        });
    }
    void member(const CORBA_TypeCode& type, CORBA_ULong index) {
        part(TypeCodeAccess::memberName(type, index), *TypeCodeAccess::memberType(type, index));
    }

    void record(const CORBA_TypeCode& type) {
        _out << orEmpty(TypeCodeAccess::name(type)) << " {\n";
        for (CORBA_ULong i = 0; i < TypeCodeAccess::memberCount(type); ++i)
            member(type, i);
        _out << _indent << "}";
    }

    void unionValue(const CORBA_TypeCode& type) {
        const CORBA_TypeCode& discriminator = TypeCodeAccess::unaliased(TypeCodeAccess::discriminator(type));
        // Read in advance: printing the discriminator consumes it, and the branch depends on it.
        const uint64_t selected = discriminatorAhead(discriminator.kind());
        _out << orEmpty(TypeCodeAccess::name(type)) << " {\n";
        part("_d", discriminator);
        CORBA_Long branch = TypeCodeAccess::defaultIndex(type); // -1 for a value without a branch
        // Backwards, so that of several members with one label the first is used.
        for (CORBA_ULong i = TypeCodeAccess::memberCount(type); i > 0; --i) {
            if (TypeCodeAccess::label(type, i - 1) == selected && !isDefault(type, i - 1))
                branch = static_cast<CORBA_Long>(i - 1);
        }
        if (branch >= 0)
            member(type, static_cast<CORBA_ULong>(branch));
        _out << _indent << "}";
    }

    // Whether the label is the octet that marks the default member, which is not a real label.
    static bool isDefault(const CORBA_TypeCode& type, CORBA_ULong index) {
        return static_cast<CORBA_Long>(index) == TypeCodeAccess::defaultIndex(type) &&
               TypeCodeAccess::discriminator(type).kind() != tk_octet;
    }

    // The next value, which is not consumed.
    uint64_t discriminatorAhead(CORBA_TCKind kind) {
        // Starts at the first octet, so that alignment counts as in `_in`.
        CORBA_MarshalInBuffer ahead(_in.data(), _in.size());
        ahead.seek(_in.offset());
        uint64_t octets = 0;
        forBasicKind(kind, [&]<class T>(std::type_identity<T>) {
            T value{};
            ahead >> value;
            octets = TypeCodeAccess::labelOf(value);
        });
        return octets;
    }

    void elements(const CORBA_TypeCode& type, CORBA_ULong count) {
        const CORBA_TypeCode* content = TypeCodeAccess::content(type);
        if (!content)
            throw CORBA_BAD_TYPECODE();
        // Numbers are printed on one line; elements with parts have a line each.
        const bool onOneLine = count == 0 || basicSize(TypeCodeAccess::valueKind(*content)) > 0;
        _out << (onOneLine ? "[" : "[\n");
        for (CORBA_ULong i = 0; i < count; ++i) {
            if (!onOneLine) {
                line([&] { value(*content); });
            } else {
                _out << (i > 0 ? " " : "");
                value(*content);
            }
        }
        _out << (onOneLine ? "]" : _indent + "]");
    }

    void enumerator(const CORBA_TypeCode& type) {
        const auto number = take<CORBA_ULong>();
        if (number < TypeCodeAccess::memberCount(type))
            _out << orEmpty(TypeCodeAccess::memberName(type, number));
        else
            _out << number;
    }

    void text(const CORBA_String_var& text) {
        _out << '"';
        for (const char* next = text.in() ? text.in() : ""; *next; ++next) {
            if (static_cast<unsigned char>(*next) >= 0x80)
                _out << *next; // part of a multi-octet character in an unknown encoding
            else
                putCharacter(_out, *next, '"');
        }
        _out << '"';
    }

    void wideText(const CORBA_WString_var& text) {
        _out << '"';
        for (const CORBA_WChar* next = text.in() ? text.in() : L""; *next; ++next)
            putCharacter(_out, *next, '"');
        _out << '"';
    }

    void any(const CORBA_Any& any) {
        const CORBA_TypeCode& type = *AnyAccess::type(any);
        typeCode(type);
        // These types have no value.
        if (type.kind() == tk_null || type.kind() == tk_void)
            return;
        CORBA_MarshalOutBuffer members(255);
        // Marshalled again, because its octets have their own alignment.
        any.write_members(members);
        CORBA_MarshalInBuffer in(members.data(), members.offset());
        _out << " ";
        ValuePrinter(_out, in, _indent).value(type);
    }

    void typeCode(const CORBA_TypeCode& type) {
        const char* kind = kindName(type.kind());
        _out << "(" << (kind ? kind : "unknown kind");
        if (isNamed(type.kind()))
            _out << " " << orEmpty(TypeCodeAccess::name(type));
        _out << ")";
    }

    void principal(const CORBA_OctetSequence& octets) {
        _out << "[";
        for (CORBA_ULong i = 0; i < octets.length(); ++i)
            _out << (i > 0 ? " " : "") << CORBA_ULong{octets[i]};
        _out << "]";
    }

    void reference(const IOP::IOR& ior) {
        _out << (ior.profiles.length() == 0 ? "nil" : "reference ");
        // Quoted like any text, because a peer chose the id.
        if (ior.profiles.length() > 0)
            text(ior.type_id);
    }

    void number(CORBA_TCKind kind) {
        if (kind == tk_boolean) {
            _out << (take<CORBA_Boolean>() ? "TRUE" : "FALSE");
            return;
        }
        forBasicKind(kind, [this]<class T>(std::type_identity<T>) {
            const T value = take<T>();
            if constexpr (std::same_as<T, CORBA_Char>)
                character(static_cast<unsigned char>(value));
            else if constexpr (std::same_as<T, CORBA_WChar>)
                character(value);
            else if constexpr (std::same_as<T, CORBA_Octet>)
                _out << CORBA_ULong{value};
            else
                _out << value;
        });
    }

    void character(CORBA_WChar character) {
        _out << '\'';
        putCharacter(_out, character, '\'');
        _out << '\'';
    }

    std::ostream& _out;
    CORBA_MarshalInBuffer& _in;
    std::string _indent;
};

} // namespace

bool isReadableTarget(const std::ostream& stream) { return isConsole(stream); }

void printValue(std::ostream& stream, CORBA_TypeCode* type, CORBA_MarshalInBuffer& octets) {
    ValuePrinter(stream, octets, "").value(*type);
    if (isConstructed(TypeCodeAccess::valueKind(*type)))
        stream << "\n";
}

} // namespace harbolance
