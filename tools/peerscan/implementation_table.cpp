#include "peerscan/implementation_table.h"

#include "agent/collections/dsordclt.h"
#include "agent/records/trxstring.h"
#include "peerscan/expression.h"
#include "peerscan/report.h"

#include <cstdlib>
#include <iostream>

namespace {

// The collection that the table has under the key; a new one when there is none.
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

void printImplementation(const char* repositoryId, const DSOrderedCltn& objects) {
    const char* label = "OBJECT";
    if (std::string_view(repositoryId) == "*") {
        std::cout << "\n\t\tSERVICE ACTIVATORS: " << std::endl;
        label = "SERVICE";
    } else {
        std::cout << "\n\t\tREPOSITORY ID: " << Printable{repositoryId} << std::endl;
    }
    for (const DSResource* object : objects) {
        const std::string_view name = textOf(object);
        if (!name.empty())
            std::cout << "\t\t\t" << label << " NAME: " << Printable{name} << std::endl;
    }
}

} // namespace

void ImplementationTable::add(const char* repositoryId, const char* objectName, const char* host) {
    auto& ids = collectionAt<DSDictionary>(hosts_, host);
    collectionAt<DSOrderedCltn>(ids, repositoryId).add(new TRXString(objectName));
}

void ImplementationTable::print(const char* expression, const char* heading, bool hostNames) const {
    if (!compileExpression(expression)) {
        std::cout << "peerscan: Invalid regular expression: " << std::endl << expression << std::endl;
        std::exit(0);
    }
    bool headingDue = true;
    for (const DSResource* element : hosts_) {
        const auto* host = static_cast<const DSAssoc*>(element);
        bool hostDue = true;
        for (const DSResource* inner : static_cast<const DSDictionary&>(*host->value())) {
            const auto* implementation = static_cast<const DSAssoc*>(inner);
            const char* repositoryId = textOf(implementation->key());
            if (!expressionMatches(repositoryId))
                continue;
            if (headingDue)
                std::cout << heading << std::endl;
            headingDue = false;
            if (hostDue)
                printHost(DSAddr(0, textOf(host->key())), hostNames);
            hostDue = false;
            printImplementation(repositoryId, static_cast<const DSOrderedCltn&>(*implementation->value()));
        }
    }
}
