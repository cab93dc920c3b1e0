#include "base/exit_list.h"

#include <cstdlib>
#include <vector>

namespace harbolance {

namespace {

std::vector<void (*)()>& functions() {
    // Never destroyed: static destructors, which may run after these functions, may still register.
    static auto* list = new std::vector<void (*)()>;
    return *list;
}

} // namespace

void registerExitFunction(void (*function)()) {
    // One entry at the C library for all functions: they run together, in this list's order.
    static const int installed = std::atexit(runExitFunctions);
    static_cast<void>(installed);
    functions().push_back(function);
}

void runExitFunctions() {
    while (!functions().empty()) {
        const auto function = functions().back();
        // Taken out before the call: the function may register others or start this loop again, and runs
        // once.
        functions().pop_back();
        function();
    }
}

} // namespace harbolance
