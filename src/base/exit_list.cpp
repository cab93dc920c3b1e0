#include "base/exit_list.h"

#include <cstdlib>
#include <vector>

namespace harbolance {

namespace {

std::vector<void (*)()>& functions() {
    // Never destroyed, because static destructors may still register functions after the list has run.
    static auto* list = new std::vector<void (*)()>;
    return *list;
}

} // namespace

void registerExitFunction(void (*function)()) {
    // One atexit entry for all functions, so that they run together and in this list's order.
    static const int installed = std::atexit(runExitFunctions);
    static_cast<void>(installed);
    functions().push_back(function);
}

void runExitFunctions() {
    while (!functions().empty()) {
        const auto function = functions().back();
        // Removed before the call: the function may register others or call runExitFunctions, and must run
        // only once.
        functions().pop_back();
        function();
    }
}

} // namespace harbolance
