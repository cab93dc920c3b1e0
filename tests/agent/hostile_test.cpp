#include "agent/messages.h"

#include "agent/collections/dsordclt.h"
#include "agent/records/trxstring.h"
#include "allocations.h"
#include "stream/complaints.h"

#include <filesystem>
#include <fstream>
#include <memory>

namespace {

// The corpus of fuzz_datagram: its replay sees that what makes no sense is refused. Here each message comes
// whole, and those that make sense cut anywhere too, with a good one behind it over the same streams.
TEST(HostileMessages, costLittleMemoryAndLeaveTheStreamsUsable) {
    harbolance::setComplaintSink([](std::ostream&, std::string_view) {});
    const std::string good = octets(":TRXString s'good'");
    Carrier carrier;
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(CORPUS "/fuzz_datagram")) {
        const std::string name = entry.path().filename();
        SCOPED_TRACE(name);
        std::ifstream file(entry.path(), std::ios::binary);
        const std::string message{std::istreambuf_iterator<char>(file), {}};
        const bool isWhole =
            !name.starts_with("refused-") && !name.starts_with("bad_") && name != "old_version";
        for (size_t length = isWhole ? 0 : message.size(); length <= message.size(); ++length) {
            takeLargestAllocation();
            const std::unique_ptr<NCTransObject> object(carrier.decode(message.substr(0, length)));
            EXPECT_TRUE(length == message.size() || (!object && carrier.in.failed())) << length;
            auto* const list = nc_cast<DSOrderedCltn>(object.get());
            EXPECT_TRUE(!list || list->add(NCRef<TRXString>(new TRXString("more")).get()));
            EXPECT_LT(takeLargestAllocation(), 4096 + 2 * message.size());
            EXPECT_TRUE(std::unique_ptr<NCTransObject>(carrier.decode(good)));
        }
        ++files;
    }
    EXPECT_GT(files, 50);
    harbolance::setComplaintSink(nullptr);
}

} // namespace
