#include "locd/inquiries.h"

namespace locd {

namespace {

constexpr double tickSeconds = 0.1;
// In milliseconds. Clients repeat a request after two seconds at the earliest.
constexpr int64_t repeatAfter = 400;
constexpr int64_t giveUpAfter = 1200;

} // namespace

Inquiries::Inquiries(Endpoint& endpoint, const Clients& clients, const Peers& peers, Done done)
    : endpoint_(endpoint), clients_(clients), peers_(peers), done_(std::move(done)), inquiries_(16),
      ticker_([this] { tick(); }) {}

bool Inquiries::ask(const Client& client, const DSRequest& request, DSName& name) {
    // The client is then answered at once, as if no agent had the service.
    if (peers_.all().empty() || inquiries_.size() >= most)
        return false;
    auto inquiry = std::make_unique<Inquiry>();
    inquiry->client = client.id;
    inquiry->request = const_cast<DSRequest*>(&request); // const_cast: held, not changed
    inquiry->question = new DSRequest(DSRequestLocate, &name, peers_.id());
    for (const Peer& peer : peers_.all())
        inquiry->unanswered.push_back(peer.address);
    inquiry->since = nowMilliseconds();
    inquiry->repeated = false;
    send(*inquiry);
    // Entered after sending: answers are read in the event loop, so none can come before this.
    inquiries_.insertAt(inquiries_.indexOf(inquiry->question->msgNum()), std::move(inquiry));
    if (!ticker_.running())
        ticker_.start(tickSeconds);
    return true;
}

void Inquiries::send(const Inquiry& inquiry) {
    for (const sockaddr_in& agent : inquiry.unanswered)
        endpoint_.send(*inquiry.question, agent);
}

bool Inquiries::take(const DSReply& reply, const sockaddr_in& from) {
    const auto* found = inquiries_.find(reply.requestNum());
    if (!found)
        return false;
    Inquiry& inquiry = **found;
    auto* provider = reply.replyOk() ? nc_cast<DSProvider>(reply.reply()) : nullptr;
    // Removed by sender, so that a duplicated answer does not count for another agent.
    std::erase_if(inquiry.unanswered, [&](const sockaddr_in& agent) { return keyOf(agent) == keyOf(from); });
    // The first answer with a provider decides; later answers find no inquiry and are ignored.
    if (provider || inquiry.unanswered.empty())
        finish(reply.requestNum(), provider);
    return true;
}

void Inquiries::finish(uint32_t number, DSProvider* found) {
    // Removed before the hook is called, which may start another inquiry and change the table.
    const auto inquiry = inquiries_.take(number);
    if (inquiries_.size() == 0)
        ticker_.stop();
    // Found by its number, because another process may have its address now.
    Client* client = clients_.findById(inquiry->client);
    if (client)
        done_(*client, *inquiry->request, found);
}

void Inquiries::tick() {
    const int64_t now = nowMilliseconds();
    std::vector<uint32_t> over; // collected, because finishing one changes the table
    for (uint32_t i = inquiries_.next(0); i < inquiries_.capacity(); i = inquiries_.next(i + 1)) {
        Inquiry& inquiry = *inquiries_.slot(i);
        const int64_t age = now - inquiry.since;
        if (age >= giveUpAfter) {
            over.push_back(inquiry.question->msgNum());
        } else if (age >= repeatAfter && !inquiry.repeated) {
            inquiry.repeated = true;
            send(inquiry);
        }
    }
    for (const uint32_t number : over)
        finish(number, nullptr);
}

} // namespace locd
