#include "object/vprop.h"

#include "base/standard_streams.h"
#include "marshal/text/vstr.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <iterator>

namespace {

struct OptionRow {
    std::string_view word;
    const char* key;
    const char* fixed; // the value when the option takes none; null when the next word is the value
};

// Options that are stored under another key than their own, or that take no value. Code that reads the
// options relies on these values exactly as they are, even where a name seems to say the opposite.
constexpr OptionRow optionRows[] = {
    {"-OAipaddr", "OAIPADDR", nullptr},
    {"-OAport", "OAPORT", nullptr},
    {"-OAsendbufsize", "OASENDBUFSIZE", nullptr},
    {"-OArcvbufsize", "OARCVBUFSIZE", nullptr},
    {"-OAnoshm", "OALOCALIPC", "0"},
    {"-OAshm", "OALOCALIPC", "1"},
    {"-OAnonarrowcheck", "OANARROWCHECK", "0"},
    {"-OAnarrowcheck", "OANARROWCHECK", "1"},
    {"-OAtcpnodelay", "OATCPNODELAY", "0"},
    {"-OAtcpdelay", "OATCPNODELAY", "1"},
    {"-OAnosynch", "OANOSYNCH", "1"},
    {"-OAsynch", "OASYNCH", nullptr},
    {"-ORBshmsize", "ORBSHMSIZE", nullptr},
    {"-ORBsendbufsize", "ORBSENDBUFSIZE", nullptr},
    {"-ORBrcvbufsize", "ORBRCVBUFSIZE", nullptr},
    {"-ORBkeepalive", "ORBKEEPALIVE", nullptr},
    {"-ORBagentaddr", "ORBAGENTADDR", nullptr},
    {"-ORBagentport", "ORBAGENTPORT", nullptr},
    {"-ORBcallback", "ORBCALLBACK", "1"},
    {"-ORBnocallback", "ORBCALLBACK", "0"},
    {"-ORBrecursion", "ORBRECURSION", "1"},
    {"-ORBnorecursion", "ORBNORECURSION", "0"},
    {"-ORBtcpnodelay", "ORBTCPNODELAY", "0"},
    {"-ORBtcpdelay", "ORBTCPNODELAY", "1"},
    {"-ORBcallbindunbind", "ORBBINDUNBIND", "1"},
    {"-ORBnobindunbind", "ORBNOBINDUNBIND", "0"},
};
static_assert(std::size(optionRows) == 26);

const OptionRow* rowOf(std::string_view word) {
    const auto* row = std::ranges::find(optionRows, word, &OptionRow::word);
    return row == std::end(optionRows) ? nullptr : row;
}

std::string upperCase(std::string_view key) {
    std::string upper(key);
    for (char& c : upper)
        // The cast avoids negative arguments, for which toupper() is undefined.
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return upper;
}

[[noreturn]] void endForMissingValue(const char* word) {
    harbolance::standardOutput() << "Harbolance:: " << word << " not "
                                 << "followed by value" << std::endl;
    std::exit(0);
}

} // namespace

TRXPropertyList::~TRXPropertyList() = default;

void TRXPropertyList::parse(int& argc, char** argv, const char* prefix) {
    int kept = 0;
    for (int i = 0; i < argc; ++i) {
        char* const word = argv[i];
        // `kept` is at most `i`, so no word is overwritten before it is read.
        if (!std::string_view(word).starts_with(prefix)) {
            argv[kept++] = word;
            continue;
        }
        const OptionRow* row = rowOf(word);
        if (row && row->fixed) {
            put(row->key, row->fixed);
            continue;
        }
        if (i == argc - 1)
            endForMissingValue(word);
        // Without a table row the key is the option without its '-'.
        put(row ? row->key : word + 1, argv[++i]);
    }
    argc = kept;
}

char* TRXPropertyList::get(const char* key) const {
    const auto value = property(key);
    return value ? CORBA_string_dup(value->c_str()) : nullptr;
}

void TRXPropertyList::put(const char* key, const char* value) {
    const auto stored = _table.insert(std::make_unique<Property>(Property{upperCase(key), value}));
    // insert keeps the existing entry; its value is replaced by the later one.
    if (!stored.added)
        (*stored.entry)->value = value;
}

void TRXPropertyList::merge(const TRXPropertyList& other) {
    // The order of the slots does not matter, because the keys of one list are different.
    const auto& table = other._table;
    for (uint32_t i = table.next(0); i < table.capacity(); i = table.next(i + 1))
        put(table.slot(i)->key.c_str(), table.slot(i)->value.c_str());
}

std::optional<std::string> TRXPropertyList::property(const char* key) const {
    const auto* found = _table.find(std::string_view(upperCase(key)));
    if (!found)
        return std::nullopt;
    return (*found)->value;
}

std::optional<long> TRXPropertyList::number(const char* key) const {
    const auto value = property(key);
    if (!value)
        return std::nullopt;
    return std::strtol(value->c_str(), nullptr, 10);
}

std::optional<bool> TRXPropertyList::flag(const char* key) const {
    const auto value = number(key);
    if (!value)
        return std::nullopt;
    return static_cast<unsigned char>(*value) != 0;
}

const char* harbolance::wordBehind(int argc, char** argv, const char* option) {
    for (int i = 0; i < argc - 1; ++i) {
        if (std::string_view(argv[i]) == option)
            return argv[i + 1];
    }
    return nullptr;
}
