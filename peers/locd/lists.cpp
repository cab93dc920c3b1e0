#include "locd/lists.h"

#include "agent/collections/dsset.h"
#include "locd/network.h"
#include "locd/statuses.h"
#include "locd/wire.h"

#include <algorithm>
#include <unistd.h>

namespace locd {

namespace {

constexpr uint32_t streamArea = 1024;
constexpr int queueLength = 1;
constexpr uint8_t priority = 10;
constexpr int requestsAtOnce = 16;
constexpr int64_t requestMilliseconds = 30'000; // until a request is complete
constexpr int64_t answerMilliseconds = 120'000; // until an answer is taken
constexpr double sweepSeconds = 1;

} // namespace

// One peer that asks for lists.
class Lists::Connection : public dpIOHandler {
public:
    Connection(Lists& lists, int fd) : lists_(lists), stream_(streamArea, queueLength) {
        stream_.setBlocking(false);
        stream_.setMessageLimit(longestDatagram);
        stream_.attach(fd);
        await(dpDispatcher::readMask, requestMilliseconds);
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection() override { dpDispatcher::instance()->unlink(stream_.fd()); }

    int64_t due() const { return due_; }

    int inputReady(int) override {
        for (int i = 0; i < requestsAtOnce; ++i) {
            int status = 0;
            const NCRef<DSRequest> request = receive(status);
            if (status == NCtcpstream::noData || status == NCtcpstream::partlyRead)
                return 0;
            if (!request || !request->isCurrentVersion()) {
                lists_.close(this);
                return 0;
            }
            status = stream_.send(lists_.answer(*request).get(), priority);
            if (status == NCtcpstream::partlyWritten) {
                await(dpDispatcher::writeMask, answerMilliseconds);
                return 0;
            }
            if (status != 0) {
                lists_.close(this);
                return 0;
            }
            due_ = nowMilliseconds() + requestMilliseconds;
        }
        return 0;
    }

    int outputReady(int) override {
        const int status = stream_.flush();
        if (status == 0)
            await(dpDispatcher::readMask, requestMilliseconds);
        else if (status != NCtcpstream::partlyWritten)
            lists_.close(this);
        return 0;
    }

private:
    void await(int mask, int64_t milliseconds) {
        dpDispatcher::instance()->unlink(stream_.fd());
        dpDispatcher::instance()->link(stream_.fd(), mask, this);
        due_ = nowMilliseconds() + milliseconds;
    }

    NCRef<DSRequest> receive(int& status) {
        NCTransObject* object = stream_.receive();
        status = stream_.status();
        auto* record = nc_cast<DSResource>(object);
        if (!record)
            delete object;
        const NCRef<DSResource> held(record);
        return nc_cast<DSRequest>(held.get());
    }

    Lists& lists_;
    NCtcpstream stream_;
    int64_t due_ = 0;
};

Lists::Lists(const Log& log, const Registry& registry)
    : log_(log), registry_(registry), listener_(streamArea, queueLength),
      ticker_([this] { closeOverdue(); }) {}

Lists::~Lists() {
    if (listener_.isOpen())
        listen(false);
}

bool Lists::open(in_addr_t address) {
    listener_.setBlocking(false);
    if (listener_.listen(0, textOf(address).c_str()) != 0)
        return false;
    listen(true);
    return true;
}

void Lists::listen(bool on) {
    dpDispatcher::instance()->unlink(listener_.fd());
    if (on)
        dpDispatcher::instance()->link(listener_.fd(), dpDispatcher::readMask, this);
}

int Lists::inputReady(int) {
    const int fd = listener_.accept();
    if (fd < 0)
        return 0;
    if (fd >= dpDispatcher::maxDescriptors) {
        ::close(fd);
        return 0;
    }
    connections_.push_back(std::make_unique<Connection>(*this, fd));
    if (connections_.size() >= mostConnections)
        listen(false);
    if (!ticker_.running())
        ticker_.start(sweepSeconds);
    return 0;
}

void Lists::close(const Connection* connection) {
    const bool full = connections_.size() >= mostConnections;
    std::erase_if(connections_, [connection](const auto& open) { return open.get() == connection; });
    if (full)
        listen(true);
    if (connections_.empty())
        ticker_.stop();
}

void Lists::closeOverdue() {
    const int64_t now = nowMilliseconds();
    for (size_t i = connections_.size(); i-- > 0;) {
        if (connections_[i]->due() <= now)
            close(connections_[i].get());
    }
}

NCRef<DSReply> Lists::answer(const DSRequest& request) const {
    NCRef<DSSet> set;
    const auto* name = nc_cast<DSName>(request.request());
    if (request.requestType() == DSRequestListNames)
        set = names();
    else if (request.requestType() == DSRequestListProviders && name)
        set = providers(*name);
    const int status = set ? static_cast<int>(DSStatusDone) : badRequest;
    log_("list request %d, answered with %u records", request.requestType(), set ? set->size() : 0);
    return new DSReply(DSReplyPlain, request, status, set.get());
}

NCRef<DSSet> Lists::names() const {
    NCRef<DSSet> set(new DSSet(registry_.names()));
    registry_.forEachService([&set](const ServiceName& service) {
        if (!service.registrations.empty())
            set->add(service.name.get());
    });
    return set;
}

NCRef<DSSet> Lists::providers(const DSName& name) const {
    NCRef<DSSet> set(new DSSet);
    if (const ServiceName* service = registry_.service(name)) {
        for (const Registration* entry = service->registrations.front(); entry;
             entry = decltype(service->registrations)::after(entry))
            set->add(entry->provider.get());
    }
    return set;
}

} // namespace locd
