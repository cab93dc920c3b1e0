// The program that call_ratios.py compares with: the minimum that a broker must do for a call. The octets are
// not encoded, buffers are static, each message takes a `select`, 12 octets of header and the body.
//
//     plain_echo server                                      prints its port and serves until it is ended
//     plain_echo client PORT CASE COUNT REQUEST REPLY        as bench-echo-client, with messages of so many
//     octets
//
// A header: 4 octets of no meaning, the octets of the reply's body, the octets of the body that follows. A
// message without a reply says noReply.

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

struct Header {
    uint32_t mark;
    uint32_t reply;
    uint32_t size;
};
static_assert(sizeof(Header) == 12);

constexpr uint32_t noReply = UINT32_MAX;
char outgoing[(1 << 21)];
char incoming[(1 << 21)];

[[noreturn]] void fail(const char* what) {
    std::perror(what);
    std::exit(1);
}

void writeAll(int fd, const char* octets, size_t count) {
    while (count > 0) {
        const ssize_t written = ::write(fd, octets, count);
        if (written <= 0)
            fail("write");
        octets += written;
        count -= static_cast<size_t>(written);
    }
}

bool readAll(int fd, char* octets, size_t count) {
    while (count > 0) {
        const ssize_t taken = ::read(fd, octets, count);
        if (taken <= 0)
            return false;
        octets += taken;
        count -= static_cast<size_t>(taken);
    }
    return true;
}

void await(int fd) {
    fd_set watched;
    FD_ZERO(&watched);
    FD_SET(fd, &watched);
    if (::select(fd + 1, &watched, nullptr, nullptr, nullptr) != 1)
        fail("select");
}

bool receive(int fd, Header& header) {
    await(fd);
    return readAll(fd, reinterpret_cast<char*>(&header), sizeof header) && readAll(fd, incoming, header.size);
}

void send(int fd, uint32_t size, uint32_t reply) {
    const Header header{0, reply, size};
    std::memcpy(outgoing, &header, sizeof header);
    writeAll(fd, outgoing, sizeof header + size);
}

void noDelay(int fd) {
    const int on = 1;
    ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

sockaddr_in loopback(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

int serve() {
    const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = loopback(0);
    socklen_t size = sizeof address;
    if (::bind(listener, reinterpret_cast<sockaddr*>(&address), size) != 0 || ::listen(listener, 5) != 0 ||
        ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size) != 0)
        fail("listen");
    std::printf("%d\n", ntohs(address.sin_port));
    std::fflush(stdout);
    for (;;) {
        const int fd = ::accept(listener, nullptr, nullptr);
        noDelay(fd);
        for (Header header{}; receive(fd, header);) {
            if (header.reply != noReply)
                send(fd, header.reply, 0);
        }
        ::close(fd);
    }
}

class Client {
public:
    Client(int port, uint32_t request, uint32_t reply)
        : fd_(::socket(AF_INET, SOCK_STREAM, 0)), request_(request), reply_(reply) {
        const sockaddr_in address = loopback(port);
        if (::connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
            fail("connect");
        noDelay(fd_);
    }

    void run(const std::string& name, int count) {
        if (name == "oneway") {
            for (int i = 0; i < count; ++i)
                send(fd_, request_, noReply);
            call(1);
        } else if (name == "pipe64") {
            for (int left = count; left > 0; left -= 64) {
                for (int i = std::min(left, 64); i > 0; --i)
                    send(fd_, request_, reply_);
                for (int i = std::min(left, 64); i > 0; --i)
                    answer();
            }
        } else {
            call(count);
        }
    }

private:
    void call(int count) {
        for (int i = 0; i < count; ++i) {
            send(fd_, request_, reply_);
            answer();
        }
    }
    void answer() {
        Header header{};
        if (!receive(fd_, header))
            fail("read");
    }

    int fd_;
    uint32_t request_;
    uint32_t reply_;
};

long residentKilobytes() {
    long pages = 0;
    if (std::FILE* file = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(file, "%*d %ld", &pages) != 1)
            pages = 0;
        std::fclose(file);
    }
    return pages * (::sysconf(_SC_PAGESIZE) / 1024);
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 2)
        return serve();
    if (argc != 7)
        return 2;
    constexpr uint32_t header = sizeof(Header);
    const std::string name = argv[3];
    const bool first = name == "first";
    // Otherwise all pages would be the same zero page, which costs less.
    std::memset(outgoing, 1, std::min<size_t>(static_cast<size_t>(std::atoi(argv[5])), sizeof outgoing));
    const int count = first ? 1 : std::atoi(argv[4]);
    Client client(std::atoi(argv[2]), static_cast<uint32_t>(std::atoi(argv[5])) - header,
                  static_cast<uint32_t>(std::atoi(argv[6])) - header);
    if (!first)
        client.run(name, count / 10 + 1);
    const auto begin = std::chrono::steady_clock::now();
    client.run(name, count);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
    const std::chrono::duration<double> now = std::chrono::system_clock::now().time_since_epoch();
    const char* const start = std::getenv("BENCH_T0");
    std::printf("case=%s count=%d sec=%.6f client_rss_kb=%ld first_ms=%.3f\n", name.c_str(), count,
                taken.count(), residentKilobytes(), start ? (now.count() - std::atof(start)) * 1e3 : 0.0);
}
