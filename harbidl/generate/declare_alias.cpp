#include "generate/declarations_code.h"

namespace harbidl {

void DeclarationsCode::alias(const Alias& alias) {
    const Type& original = *alias.original;
    if (original.kind == TypeKind::sequence) {
        sequenceAlias(alias);
    } else if (original.kind == TypeKind::array) {
        arrayAlias(alias);
    } else {
        // plain() gives an interface as a pointer, such as "Desk_ptr"; the alias is for the class.
        const std::string type = unit_.types.plain(*alias.scope, original);
        const bool reference = handlingOf(original) == Handling::reference;
        out_.print("using $name$ = $type$;",
                   {{"name", local(alias)}, {"type", reference ? type.substr(0, type.rfind("_ptr")) : type}});
        // The further names of the original type get aliases too.
        switch (unaliased(original).kind) {
        case TypeKind::string:
        case TypeKind::wstring:
            out_.print("using $name$_var = $holder$;",
                       {{"name", local(alias)}, {"holder", unit_.types.member(*alias.scope, original)}});
            break;
        case TypeKind::object:
        case TypeKind::typeCode:
        case TypeKind::interface:
        case TypeKind::sequence: sameNames(alias, {"_ptr", "_var"}); break;
        case TypeKind::any:
        case TypeKind::principal:
        case TypeKind::structure:
        case TypeKind::union_: sameNames(alias, {"_var"}); break;
        case TypeKind::array:
            sameNames(alias, {"_slice", "_var", "_forany"});
            arrayFunctions(alias);
            break;
        default: break;
        }
    }
    typeCode(alias, alias.type.native);
}

// Prints aliases for the further names of the original type.
void DeclarationsCode::sameNames(const Alias& alias, const std::vector<std::string>& suffixes) {
    std::string type = unit_.types.plain(*alias.scope, *alias.original);
    if (handlingOf(*alias.original) == Handling::reference)
        type.erase(type.rfind("_ptr"));
    for (const std::string& suffix : suffixes)
        out_.print("using $name$$suffix$ = $type$$suffix$;",
                   {{"name", local(alias)}, {"suffix", suffix}, {"type", type}});
}

// A class of its own, so that functions overloaded for it are not overloaded for all sequences of the same
// elements.
void DeclarationsCode::sequenceAlias(const Alias& alias) {
    const std::string base = unit_.types.sequence(*alias.scope, *alias.original);
    // In the class its base is named without template arguments; the using declaration inherits the
    // constructors.
    const std::string withoutArguments = base.substr(0, base.find('<'));
    out_.print(R"(
        class $name$ : public $base$ {
        public:
            using $injected$::$injected$;
        };
        using $name$_ptr = $name$*;
        using $name$_var = TRXVar<$name$>;
    )",
               {{"name", local(alias)},
                {"base", base},
                {"injected", withoutArguments.substr(withoutArguments.rfind(':') + 1)}});
}

void DeclarationsCode::arrayAlias(const Alias& alias) {
    const Scope& from = *alias.scope;
    const std::string element = unit_.types.member(from, *alias.original);
    // A slice is the array without its first dimension: the type that a pointer to an array's element points
    // to.
    const std::string dimensions = CxxTypes::dimensions(*alias.original);
    out_.print(R"(
        using $name$ = $element$$dimensions$;
        using $name$_slice = $element$$inner$;
        using $name$_var = harbolance::ArrayVar<$name$>;
    )",
               {{"name", local(alias)},
                {"element", element},
                {"dimensions", dimensions},
                {"inner", dimensions.substr(dimensions.find(']') + 1)}});
    arrayFunctions(alias);
    out_.print(R"(
        class $name$_forany : public harbolance::ArrayRef<$name$> {
        public:
            using ArrayRef::ArrayRef;
        };
    )",
               {{"name", local(alias)}});
}

void DeclarationsCode::arrayFunctions(const Alias& alias) {
    out_.print(R"(
        $inline$ $name$_slice* $name$_alloc() { return harbolance::allocateArray<$name$>(); }
        $inline$ $name$_slice* $name$_dup(const $name$_slice* $from$) {
            return harbolance::duplicateArray<$name$>($from$);
        }
        $inline$ void $name$_copy($name$_slice* $to$, const $name$_slice* $from$) {
            harbolance::copyArray<$name$>($to$, $from$);
        }
        $inline$ void $name$_free($name$_slice* $array$) { harbolance::freeArray<$name$>($array$); }
    )",
               {{"inline", inClass() ? "static" : "inline"},
                {"name", local(alias)},
                {"from", unit_.names.parameter("from")},
                {"to", unit_.names.parameter("to")},
                {"array", unit_.names.parameter("array")}});
}

} // namespace harbidl
