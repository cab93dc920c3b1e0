// <regex.h> declares re_comp and re_exec only with this macro.
#define _REGEX_RE_COMP

#include "peerscan/implementation_table.h"

#include "agent/collections/dsordclt.h"
#include "agent/records/trxstring.h"

#include <arpa/inet.h>
#include <regex.h>

namespace {

constexpr size_t longestHost = 16;

bool contains(std::string_view text, std::string_view part) { return text.find(part) != text.npos; }

// The collection for the key in the table; a new one is entered when there is none.
template <class Collection>
Collection& collectionAt(DSDictionary& table, const char* key) {
    const NCRef<TRXString> held = new TRXString(key);
    if (DSResource* present = table.at(held.get()))
        return static_cast<Collection&>(*present);
    auto* collection = new Collection(16);
    table.put(held.get(), collection);
    return *collection;
}

const char* textOf(const DSResource* string) { return static_cast<const TRXString*>(string)->str(); }

} // namespace

std::optional<ListedObject> parseAgentName(std::string_view text) {
    const size_t endOfHost = text.find('_');
    if (endOfHost == text.npos || endOfHost > longestHost)
        return std::nullopt;
    ListedObject name;
    name.host = text.substr(0, endOfHost);
    if (::inet_addr(name.host.c_str()) == INADDR_NONE)
        return std::nullopt;
    text.remove_prefix(endOfHost + 1);
    const size_t endOfId = text.find('_');
    const std::string_view repositoryId = text.substr(0, endOfId);
    if (contains(repositoryId, "Activation") && contains(repositoryId, "OAD"))
        return std::nullopt;
    name.repositoryId = repositoryId;
    if (endOfId != text.npos)
        name.objectName = text.substr(endOfId + 1);
    return name;
}

void ImplementationTable::add(const ListedObject& object) {
    auto& ids = collectionAt<DSDictionary>(hosts_, object.host.c_str());
    const char* objectName = object.objectName ? object.objectName->c_str() : nullptr;
    collectionAt<DSOrderedCltn>(ids, object.repositoryId.c_str()).add(new TRXString(objectName));
}

std::optional<std::vector<ImplementationRow>> ImplementationTable::rows(const char* expression) const {
    if (::re_comp(expression))
        return std::nullopt;
    std::vector<ImplementationRow> rows;
    for (const DSResource* element : hosts_) {
        const auto* host = static_cast<const DSAssoc*>(element);
        for (const DSResource* inner : static_cast<const DSDictionary&>(*host->value())) {
            const auto* implementation = static_cast<const DSAssoc*>(inner);
            const char* repositoryId = textOf(implementation->key());
            if (::re_exec(repositoryId) != 1)
                continue;
            auto& row = rows.emplace_back(ImplementationRow{textOf(host->key()), repositoryId, {}});
            for (const DSResource* object : static_cast<const DSOrderedCltn&>(*implementation->value())) {
                if (*textOf(object))
                    row.objectNames.push_back(textOf(object));
            }
        }
    }
    return rows;
}
