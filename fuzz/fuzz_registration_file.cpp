// The input is an activation daemon's file of registrations.

#include "fuzzing.h"

#include "oadd/registration_file.h"

#include <string_view>

using namespace harbolance;

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    silenceComplaints();
    const auto parsed = oadd::parseRegistry({reinterpret_cast<const char*>(data), size});
    const auto* registry = std::get_if<oadd::Registry>(&parsed);
    inputRefused = !registry;
    if (!registry)
        return 0;
    for (const auto& [object, entry] : registry->entries)
        require(oadd::faultOf(*entry).empty(), "what is read could be registered");
    const std::string text = oadd::formatRegistry(*registry);
    const auto again = oadd::parseRegistry(text);
    require(std::holds_alternative<oadd::Registry>(again), "what is written can be read");
    require(oadd::formatRegistry(std::get<oadd::Registry>(again)) == text, "a file survives");
    return 0;
}
