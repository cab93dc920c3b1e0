#include "model/model.h"

#include <cstdio>

namespace harbidl {

namespace {

std::string quoted(const std::string& text) {
    std::string result = "\"";
    for (const char c : text) {
        const auto octet = static_cast<unsigned char>(c);
        char escape[8];
        std::snprintf(escape, sizeof escape, "\\x%02x", octet);
        if (c == '"' || c == '\\')
            result.append("\\").append(1, c);
        // Tests compare this text, so it must be the same in any locale and encoding.
        else if (octet < ' ' || octet > '~')
            result += escape;
        else
            result += c;
    }
    return result + "\"";
}

std::string quoted(const std::u16string& text) {
    std::string result = "L\"";
    for (const char16_t c : text) {
        char escape[8];
        std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(c));
        result +=
            c >= ' ' && c <= '~' && c != '"' && c != '\\' ? std::string(1, static_cast<char>(c)) : escape;
    }
    return result + "\"";
}

struct ValueText {
    std::string operator()(Integer value) const { return decimal(value); }
    std::string operator()(double value) const {
        char text[32];
        // 17 digits tell any two doubles apart.
        std::snprintf(text, sizeof text, "%.17g", value);
        return text;
    }
    std::string operator()(bool value) const { return value ? "TRUE" : "FALSE"; }
    std::string operator()(unsigned char value) const {
        // The text form of a string, with other quotes around it.
        return "'" + inner(quoted(std::string(1, static_cast<char>(value))), 1) + "'";
    }
    std::string operator()(char16_t value) const {
        return "L'" + inner(quoted(std::u16string(1, value)), 2) + "'";
    }
    std::string operator()(const std::string& value) const { return quoted(value); }
    std::string operator()(const std::u16string& value) const { return quoted(value); }
    std::string operator()(const Enumerator* value) const { return value->scopedName(); }

    static std::string inner(const std::string& text, size_t prefix) {
        return text.substr(prefix, text.size() - prefix - 1);
    }
};

std::string text(const Value& value) { return std::visit(ValueText(), value); }

class Dump {
public:
    std::string take() { return std::move(text_); }

    void all(const std::vector<Declaration*>& declarations) {
        for (const Declaration* declaration : declarations) {
            // A module that is opened in another file may hold what is opened in this one.
            if (declaration->file == SourceText::mainFile)
                one(*declaration);
        }
    }

private:
    void one(const Declaration& declaration) {
        comment(declaration);
        switch (declaration.kind) {
        case Declaration::Kind::opening: return module(static_cast<const Opening&>(declaration));
        case Declaration::Kind::forward: return line("interface " + declaration.name + ";");
        case Declaration::Kind::interface: return interface(static_cast<const Interface&>(declaration));
        case Declaration::Kind::structure: return record("struct", static_cast<const Struct&>(declaration));
        case Declaration::Kind::exception:
            return record("exception", static_cast<const Struct&>(declaration));
        case Declaration::Kind::union_: return unionType(static_cast<const Union&>(declaration));
        case Declaration::Kind::enumeration: return enumeration(static_cast<const Enum&>(declaration));
        case Declaration::Kind::alias: return alias(static_cast<const Alias&>(declaration));
        case Declaration::Kind::native: return line(head("native", declaration));
        case Declaration::Kind::constant: return constant(static_cast<const Constant&>(declaration));
        case Declaration::Kind::operation: return operation(static_cast<const Operation&>(declaration));
        case Declaration::Kind::attribute: return attribute(static_cast<const Attribute&>(declaration));
        // Modules are shown by their pieces; members and enumerators along with what they belong to.
        default: return;
        }
    }

    void module(const Opening& piece) {
        // The repository id is that of the module; a piece has none.
        line(head("module", *piece.module));
        nested([&] { all(piece.contents); });
    }

    void interface(const Interface& interface) {
        std::string bases;
        for (const Interface* base : interface.bases)
            bases += (bases.empty() ? " : " : ", ") + base->scopedName();
        line(head("interface", interface) + bases);
        nested([&] { all(interface.contents); });
    }

    void record(const char* word, const Struct& record) {
        line(head(word, record) + facts(record.type));
        nested([&] {
            all(record.contents);
            for (const Member* member : record.members) {
                comment(*member);
                line(member->name + ": " + typeName(*member->type));
            }
        });
    }

    void unionType(const Union& owner) {
        line(head("union", owner) + " switch " + typeName(*owner.discriminator) + facts(owner.type));
        nested([&] {
            all(owner.contents);
            for (const Branch* branch : owner.branches) {
                comment(*branch);
                std::string labels;
                for (const std::optional<Value>& label : branch->labels)
                    labels += (labels.empty() ? "" : ", ") + (label ? text(*label) : "default");
                line(labels + " -> " + branch->name + ": " + typeName(*branch->type));
            }
            if (owner.unlabelled)
                line("no label: " + text(*owner.unlabelled));
        });
    }

    void enumeration(const Enum& enumeration) {
        line(head("enum", enumeration));
        nested([&] {
            for (const Enumerator* enumerator : enumeration.enumerators) {
                comment(*enumerator);
                line(std::to_string(enumerator->value) + " = " + enumerator->name);
            }
        });
    }

    void alias(const Alias& alias) {
        line(head("typedef", alias) + " = " + typeName(*alias.original) + facts(alias.type));
    }

    void constant(const Constant& constant) {
        line(head("const", constant) + " = " + typeName(*constant.type) + " " + text(constant.value));
    }

    void operation(const Operation& operation) {
        // In the order of Parameter::Direction, which is the index.
        constexpr const char* directions[] = {"in ", "out ", "inout "};
        std::string parameters;
        for (const Parameter& parameter : operation.parameters)
            parameters += (parameters.empty() ? "" : ", ") +
                          (directions[static_cast<int>(parameter.direction)] + typeName(*parameter.type)) +
                          " " + parameter.name;
        std::string rest = operation.oneway ? " oneway" : "";
        for (const Struct* exception : operation.raises)
            rest += " raises " + exception->scopedName();
        for (const std::string& context : operation.contexts)
            rest += " context " + quoted(context);
        line(head("operation", operation) + " (" + parameters + ") -> " + typeName(*operation.result) + rest);
    }

    void attribute(const Attribute& attribute) {
        line(head(attribute.readonly ? "readonly attribute" : "attribute", attribute) + ": " +
             typeName(*attribute.type));
    }

    static std::string head(const std::string& word, const Declaration& declaration) {
        return word + " " + declaration.name + " " + quoted(declaration.id);
    }
    static std::string facts(const Type& type) {
        return " [" +
               std::string(type.native     ? "native"
                           : type.variable ? "variable"
                                           : "fixed") +
               ", from " + std::to_string(type.minimumOctets) + "]";
    }

    void comment(const Declaration& declaration) {
        size_t begin = 0;
        while (begin < declaration.comment.size()) {
            const size_t end = std::min(declaration.comment.find('\n', begin), declaration.comment.size());
            line("// " + declaration.comment.substr(begin, end - begin));
            begin = end + 1;
        }
    }

    template <class Print>
    void nested(Print print) {
        ++depth_;
        print();
        --depth_;
    }
    void line(const std::string& text) {
        text_ += std::string(static_cast<size_t>(depth_) * 2, ' ') + text + "\n";
    }

    std::string text_;
    int depth_ = 0;
};

} // namespace

std::string dumped(const Model& model) {
    Dump dump;
    dump.all(model.contents().contents);
    return dump.take();
}

} // namespace harbidl
