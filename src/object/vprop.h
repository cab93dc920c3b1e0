#pragma once

#include "base/hash_table.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

// Options by name, as given on a command line. Keys are not case-sensitive: "ORBagentport" and "OrbAgentPort"
// are the same. No argument may be null.
class TRXPropertyList {
public:
    TRXPropertyList() = default;
    TRXPropertyList(const TRXPropertyList&) = delete;
    TRXPropertyList& operator=(const TRXPropertyList&) = delete;
    virtual ~TRXPropertyList();

    // Removes the words that start with `prefix`, and the values that follow them, from the `argc` words of
    // `argv` and stores them. The other words keep their order; the array behind the new `argc` is not
    // changed. An option without its value ends the process with a message and status 0.
    virtual void parse(int& argc, char** argv, const char* prefix);
    // A new string, which the caller frees with CORBA_string_free, or null when the key is absent.
    virtual char* get(const char* key) const;
    virtual void put(const char* key, const char* value);
    // Puts every property of the other list into this one.
    virtual void merge(const TRXPropertyList& other);

    // The value, empty when the key is absent; for readers inside the library.
    std::optional<std::string> property(const char* key) const;
    // The value as a number, read like strtol with base 10: its leading digits, or 0. Nothing when the key is
    // absent.
    std::optional<long> number(const char* key) const;
    // The low octet of that number, so 256 gives false.
    std::optional<bool> flag(const char* key) const;

private:
    struct Property {
        std::string key; // upper case
        std::string value;
    };

    harbolance::KeyedTable<std::unique_ptr<Property>, &Property::key> _table{16};
};

namespace harbolance {

// The word after the first `option` in a command line; null when the option is absent or the last word.
const char* wordBehind(int argc, char** argv, const char* option);

} // namespace harbolance
