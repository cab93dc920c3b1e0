#include "base/exit_list.h"

#include <cstdlib>
#include <vector>

namespace harbolance {

namespace {

std::vector<void (*)()>& functions() {
    static auto* list = new std::vector<void (*)()>;
    return *list;
}

} // namespace

void registerExitFunction(void (*function)()) {
    static const int installed = std::atexit(runExitFunctions);
    static_cast<void>(installed);
    functions().push_back(function);
}

void runExitFunctions() {
    while (!functions().empty()) {
        const auto function = functions().back();
        functions().pop_back();
        function();
    }
}

} // namespace harbolance
