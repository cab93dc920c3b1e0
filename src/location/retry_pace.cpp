#include "location/retry_pace.h"

#include "invoke/transport/loop_wait.h"

#include <algorithm>

namespace harbolance {

namespace {

constexpr size_t mostTried = 100; // limit of the references that are remembered

bool includes(const std::vector<IOP::IOR>& list, const IOP::IOR& wanted) {
    return std::find(list.begin(), list.end(), wanted) != list.end();
}

} // namespace

bool RetryPace::again(const CORBA_Object* object, const IOP::IOR& failed, const IOP::IOR& next,
                      CORBA_ULong seconds) {
    const auto now = Clock::now();
    auto made = std::make_unique<Binding>(Binding{object, now, {}, {}});
    Binding& binding = **_bindings.insert(std::move(made)).entry; // or the one that is there
    const auto limit = std::chrono::seconds(seconds == 0 ? longest : std::min(seconds, longest));
    if (now - binding.begin >= limit)
        return false;
    if (binding.tried.size() < mostTried) {
        if (!includes(binding.tried, failed))
            binding.tried.push_back(failed);
        if (!includes(binding.tried, next))
            return true;
    }
    LoopWait().pause(binding.backoff.next()); // the object may be bound meanwhile
    return true;
}

} // namespace harbolance
