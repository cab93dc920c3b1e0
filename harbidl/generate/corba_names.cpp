#include "generate/corba_names.h"

#include <utility>

namespace harbidl {

namespace {

// The suffixes of the further names that belong to a declaration.
std::vector<std::string> suffixesOf(const Declaration& declaration) {
    switch (declaration.kind) {
    case Declaration::Kind::interface: return {"", "_ptr", "_var"};
    case Declaration::Kind::structure:
    case Declaration::Kind::union_: return {"", "_var"};
    case Declaration::Kind::enumeration:
    case Declaration::Kind::exception: return {""};
    // For an alias they depend on the original type; see below.
    case Declaration::Kind::alias: break;
    default: return {};
    }
    switch (unaliased(*static_cast<const Alias&>(declaration).original).kind) {
    case TypeKind::object:
    case TypeKind::typeCode:
    case TypeKind::interface:
    case TypeKind::sequence: return {"", "_ptr", "_var"};
    case TypeKind::string:
    case TypeKind::wstring:
    case TypeKind::any:
    case TypeKind::principal:
    case TypeKind::structure:
    case TypeKind::union_: return {"", "_var"};
    case TypeKind::array: return {"", "_slice", "_var", "_forany"};
    default: return {""};
    }
}

class CorbaNames {
public:
    CorbaNames(const Unit& unit, Emitter& out) : unit_(unit), out_(out) {}

    void all(const std::vector<Declaration*>& declarations) {
        for (const Declaration* declaration : declarations) {
            if (declaration->file != SourceText::mainFile)
                continue;
            // Modules inside CORBA are searched as well, though only names of CORBA itself are printed.
            if (declaration->kind == Declaration::Kind::opening)
                all(static_cast<const Opening*>(declaration)->contents);
            else if (declaration->scope && declaration->scope->scopedName() == "CORBA")
                one(*declaration);
        }
    }
    void end() {
        if (!begun_)
            return;
        out_.blankLine();
        out_.print("} // namespace CORBA");
    }

private:
    void one(const Declaration& declaration) {
        const std::vector<std::string> suffixes = suffixesOf(declaration);
        // The namespace is opened before the first name, so that headers without such names have none.
        if (!suffixes.empty() && !std::exchange(begun_, true)) {
            out_.blankLine();
            out_.print("// The same by the names of the standard mapping.\nnamespace CORBA {");
            out_.blankLine();
        }
        for (const std::string& suffix : suffixes)
            out_.print(
                "using $name$$suffix$ = ::$flat$$suffix$;",
                {{"name", declaration.name}, {"suffix", suffix}, {"flat", unit_.names.local(declaration)}});
        if (!suffixes.empty())
            out_.print("using ::$code$;", {{"code", unit_.names.typeCode(declaration)}});
        // Enumerators have no flat names, so they are printed for the namespace too.
        if (declaration.kind == Declaration::Kind::enumeration)
            out_.print("using enum ::$flat$;", {{"flat", unit_.names.local(declaration)}});
        if (declaration.kind == Declaration::Kind::constant)
            out_.print("constexpr auto $name$ = ::$flat$;",
                       {{"name", declaration.name}, {"flat", unit_.names.local(declaration)}});
    }

    const Unit& unit_;
    Emitter& out_;
    bool begun_ = false;
};

} // namespace

void printCorbaNames(const Unit& unit, Emitter& out) {
    CorbaNames names(unit, out);
    names.all(unit.model.contents().contents);
    names.end();
}

} // namespace harbidl
