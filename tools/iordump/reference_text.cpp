#include "iordump/reference_text.h"

#include "marshal/reference/vutil.h"

#include <istream>
#include <memory>

namespace {

constexpr std::string_view prefix = "IOR:";
constexpr std::string_view hexDigits = "0123456789abcdefABCDEF";
constexpr size_t longestText = 64 << 20;

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view spaces = " \t\r\n\v\f";
    const size_t first = text.find_first_not_of(spaces);
    if (first == text.npos)
        return {};
    return text.substr(first, text.find_last_not_of(spaces) - first + 1);
}

std::string quoted(char c) {
    if (c >= ' ' && c <= '~')
        return std::string{'\'', c, '\''};
    constexpr char digits[] = "0123456789abcdef";
    const auto octet = static_cast<unsigned char>(c);
    return std::string("octet 0x") + digits[octet >> 4] + digits[octet & 15];
}

} // namespace

std::string readText(std::istream& stream) {
    std::string text;
    char part[4096];
    while (stream.read(part, sizeof part) || stream.gcount() > 0) {
        text.append(part, static_cast<size_t>(stream.gcount()));
        if (text.size() > longestText)
            throw BadReference("the text is too long for a reference");
    }
    return text;
}

IOP::IOR readReference(std::string_view text) {
    const std::string reference(trimmed(text));
    if (reference.empty())
        throw BadReference("there is no reference");
    if (!reference.starts_with(prefix))
        throw BadReference("it does not begin with \"IOR:\"");
    const size_t wrong = reference.find_first_not_of(hexDigits, prefix.size());
    if (wrong != reference.npos)
        throw BadReference(quoted(reference[wrong]) + " at character " + std::to_string(wrong + 1) +
                           " is no hexadecimal digit");
    try {
        const std::unique_ptr<IOP::IOR> ior(TRXUtil::string_to_ior(reference.c_str()));
        return std::move(*ior);
    } catch (const CORBA_INV_OBJREF&) {
        throw BadReference("its octets are cut short or damaged");
    }
}
