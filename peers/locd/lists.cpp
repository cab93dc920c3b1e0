#include "locd/lists.h"

#include "locd/wire.h"
#include "stream/nctcpstr.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

using namespace harbolance;

namespace locd {

namespace {

constexpr uint32_t streamArea = 1024;
constexpr int queueLength = 1;
constexpr int requestsAtOnce = 16;
constexpr int64_t requestMilliseconds = 30'000; // until a request must be complete
constexpr int64_t answerMilliseconds = 120'000; // until an answer must have been read by the peer
constexpr double sweepSeconds = 1;

} // namespace

// A connection of a peer that requests lists.
class Lists::Connection : public dpIOHandler {
public:
    Connection(Lists& lists, Descriptor fd)
        : lists_(lists), requests_(streamArea, queueLength), lastActivity_(++lists.activities_) {
        // Non-blocking, because a request may arrive in pieces and must not block the agent.
        requests_.setBlocking(false);
        // No request is longer; a larger length word ends the connection before memory is allocated.
        requests_.setMessageLimit(longestDatagram);
        requests_.attach(fd.release());
        await(dpDispatcher::readMask, requestMilliseconds);
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection() override { dpDispatcher::instance()->unlink(requests_.fd()); }

    int64_t due() const { return due_; }
    // Grows with every activity: the connection last sent a request, or read a part of an answer, before
    // those with a higher number.
    uint64_t lastActivity() const { return lastActivity_; }
    const EncodedList* list() const { return list_.get(); }

    int inputReady(int) override {
        // A limited number, so that a peer that sends requests without a pause does not block the others.
        for (int i = 0; i < requestsAtOnce; ++i) {
            int status = 0;
            const NCRef<DSRequest> request = receive(status);
            if (status == NCtcpstream::noData || status == NCtcpstream::partlyRead)
                return 0;
            if (!request || !request->isCurrentVersion()) {
                lists_.close(this); // which destroys this object
                return 0;
            }
            lastActivity_ = ++lists_.activities_;
            prepare(*request);
            await(dpDispatcher::writeMask, answerMilliseconds);
            // Either the connection waits for its peer, or it was closed and this object destroyed: return
            // without using it.
            if (!writeSome())
                return 0;
        }
        return 0;
    }

    int outputReady(int) override {
        writeSome();
        return 0;
    }

private:
    void await(int mask, int64_t milliseconds) {
        // Linked for one direction at a time: while an answer is written, further requests stay in the
        // system's buffers.
        dpDispatcher::instance()->unlink(requests_.fd());
        dpDispatcher::instance()->link(requests_.fd(), mask, this);
        due_ = nowMilliseconds() + milliseconds;
    }

    NCRef<DSRequest> receive(int& status) {
        NCTransObject* object = requests_.receive();
        status = requests_.status();
        auto* record = nc_cast<DSResource>(object);
        // An object without a reference count, which the stream can make but which is no request.
        if (!record)
            delete object;
        const NCRef<DSResource> held(record);
        return nc_cast<DSRequest>(held.get());
    }

    void prepare(const DSRequest& request) {
        list_ = lists_.list(request, spelled_, *this);
        if (list_) {
            head_ = lists_.encoder_.head(request, spelled_, *list_);
            spelled_ = list_->after;
        } else {
            head_ = lists_.encoder_.reply(request, badRequest, spelled_);
        }
        written_ = 0;
    }

    // True when the answer is complete; then the next request is read. Otherwise the rest is written later,
    // or the connection has been closed.
    bool writeSome() {
        const size_t total = head_.size() + (list_ ? list_->size() : 0);
        while (written_ < total) {
            // One position for both parts, as if they were one buffer.
            const bool inHead = written_ < head_.size();
            const uint8_t* from =
                inHead ? head_.data() + written_ : list_->data() + (written_ - head_.size());
            const size_t count = inHead ? head_.size() - written_ : total - written_;
            const int more = inHead && list_ ? MSG_MORE : 0; // short answers are sent in one packet
            const ssize_t sent =
                uninterrupted([&] { return ::send(requests_.fd(), from, count, MSG_NOSIGNAL | more); });
            if (sent < 0) {
                if (errno != EAGAIN)
                    lists_.close(this);
                return false;
            }
            written_ += static_cast<size_t>(sent);
            lastActivity_ = ++lists_.activities_;
        }
        // Releases the list; its memory is freed if this connection was the last that needed it.
        list_.reset();
        await(dpDispatcher::readMask, requestMilliseconds);
        return true;
    }

    Lists& lists_;
    NCtcpstream requests_; // only reads; answers are written directly
    SpelledClasses spelled_;
    std::vector<uint8_t> head_;
    std::shared_ptr<const EncodedList> list_; // behind the head; null when there is none
    size_t written_ = 0;                      // of both
    int64_t due_ = 0;
    uint64_t lastActivity_;
};

Lists::Lists(Log& log, const Registry& registry)
    : log_(log), registry_(registry), ticker_([this] { sweep(); }) {}

Lists::~Lists() { listen(false); }

bool Lists::open(in_addr_t address, int port) {
    if (!listener_.open(address, port))
        return false;
    listen(true);
    return true;
}

void Lists::listen(bool on) {
    // Unlinked and linked again, so that the result does not depend on the present state.
    if (listening_)
        dpDispatcher::instance()->unlink(listener_.fd());
    if (on)
        dpDispatcher::instance()->link(listener_.fd(), dpDispatcher::readMask, this);
    listening_ = on;
}

// Accepts one connection. Without free descriptors the system reports that error even if no connection waits.
int Lists::inputReady(int) {
    Descriptor fd = listener_.accept();
    const bool none =
        !fd.isOpen() && (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM);
    // Closing a connection frees a descriptor for the new one.
    if (none && closeMostSilent(nullptr))
        fd = listener_.accept();
    else if (none)
        pause();
    // The dispatcher cannot watch such a descriptor; its owner closes it on return.
    if (!fd.isOpen() || fd.get() >= dpDispatcher::maxDescriptors)
        return 0;
    if (connections_.size() >= mostConnections)
        closeMostSilent(nullptr);
    connections_.push_back(std::make_unique<Connection>(*this, std::move(fd)));
    if (!ticker_.running())
        ticker_.start(sweepSeconds);
    return 0;
}

// Called when nothing can be accepted: stops watching the listener, which would stay readable. The next sweep
// resumes.
void Lists::pause() {
    log_(LogLevel::warning, "no descriptor is left for a list connection: %s", std::strerror(errno));
    listen(false);
    if (!ticker_.running())
        ticker_.start(sweepSeconds);
}

// False when there is no connection to close.
bool Lists::closeMostSilent(const Connection* except) {
    const Connection* silent = nullptr;
    for (const auto& connection : connections_) {
        // With `except` memory is needed: only closing a connection that waits for a list frees memory.
        const bool candidate = connection.get() != except && (!except || connection->list());
        if (candidate && (!silent || connection->lastActivity() < silent->lastActivity()))
            silent = connection.get();
    }
    if (silent)
        close(silent);
    return silent != nullptr;
}

void Lists::close(const Connection* connection) {
    std::erase_if(connections_, [connection](const auto& open) { return open.get() == connection; });
    if (!listening_)
        listen(true);
}

void Lists::sweep() {
    const int64_t now = nowMilliseconds();
    // Backwards, because closing removes an element.
    for (size_t i = connections_.size(); i-- > 0;) {
        if (connections_[i]->due() <= now)
            close(connections_[i].get());
    }
    if (!listening_)
        listen(true);
    if (connections_.empty())
        ticker_.stop();
}

std::shared_ptr<const EncodedList> Lists::list(const DSRequest& request, const SpelledClasses& before,
                                               const Connection& receiver) {
    const int type = request.requestType();
    const auto* name = nc_cast<DSName>(request.request());
    const bool ofProviders = type == DSRequestListProviders && name;
    if (type != DSRequestListNames && !ofProviders) {
        log_(LogLevel::debug, "list request %d is refused", type);
        return nullptr;
    }
    // A list exists as long as a connection waits for it. Later changes of the registry need a new list.
    std::erase_if(shared_, [](const Shared& one) { return one.list.expired(); });
    for (const Shared& one : shared_) {
        // The class numbers must be the same too, because the list refers to classes by them.
        const bool same = one.requestType == type && one.version == registry_.version() &&
                          one.before == before && (!ofProviders || one.name->compare(name) == 0);
        if (same)
            return one.list.lock();
    }
    const NCRef<DSSet> set = ofProviders ? providers(*name) : names();
    log_(LogLevel::debug, "list request %d is answered with %u records", type, set->size());
    makeSpace(receiver);
    auto encoded = encoder_.list(request, *set, before);
    if (encoded)
        shared_.push_back(
            {type, ofProviders ? new DSName(*name) : nullptr, registry_.version(), before, encoded});
    return encoded;
}

// Makes space for another list by closing connections that wait for other lists.
void Lists::makeSpace(const Connection& receiver) {
    const size_t more =
        2 * registry_.registrationOctets(); // a buffer that doubles may be twice as long as needed
    for (;;) {
        size_t octets = more;
        for (const Shared& one : shared_) {
            if (const auto list = one.list.lock())
                octets += list->buffer->wsize();
        }
        // A list is freed when no connection waits for it any more, so this may need several rounds. It ends
        // when no connection is left to close.
        if (octets <= mostOctets || !closeMostSilent(&receiver))
            return;
    }
}

NCRef<DSSet> Lists::names() const {
    // Sized for all names, because the set would otherwise be rebuilt several times.
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
