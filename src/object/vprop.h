#pragma once

#include "base/hash_table.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

// Options by name, as they come from a command line. Keys know no case: "ORBagentport" and "OrbAgentPort" are
// one. All arguments are non-null.
class TRXPropertyList {
public:
    TRXPropertyList() = default;
    TRXPropertyList(const TRXPropertyList&) = delete;
    TRXPropertyList& operator=(const TRXPropertyList&) = delete;
    virtual ~TRXPropertyList();

    // Takes the words that start with `prefix`, and the values that follow them, out of the `argc` words of
    // `argv` and stores them; the others keep their order. What stands behind the new `argc` is left as it
    // was. A word that lacks its value ends the process with a message and status 0.
    virtual void parse(int& argc, char** argv, const char* prefix);
    // A new string, which the caller frees with CORBA_string_free, or null when the key is absent.
    virtual char* get(const char* key) const;
    virtual void put(const char* key, const char* value);
    // Puts every property of the other list into this one.
    virtual void merge(const TRXPropertyList& other);

    // The value, empty when the key is absent; for readers inside the library.
    std::optional<std::string> property(const char* key) const;
    // As strtol base 10 reads it: the leading digits, or 0.
    std::optional<long> number(const char* key) const;
    // The low byte of that number: 256 is false.
    std::optional<bool> flag(const char* key) const;

private:
    struct Property {
        std::string key; // upper case
        std::string value;
    };

    harbolance::KeyedTable<std::unique_ptr<Property>, &Property::key> _table{16};
};

namespace harbolance {

// The word behind the first `option` of a command line; null when there is none. A last word has nothing
// behind it.
const char* wordBehind(int argc, char** argv, const char* option);

} // namespace harbolance
