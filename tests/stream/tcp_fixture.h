#pragma once

#include "stream/nctcpstr.h"

#include "net/sockets.h"
#include "stream/octets.h"
#include "stream/records.h"

#include <gtest/gtest.h>

#include <chrono>

// A connected stream, and the other end of the connection as a plain socket.
class TcpStream : public ::testing::Test {
protected:
    void SetUp() override {
        auto in = std::make_unique<NCipcstream>();
        streamInput = in.get();
        stream.setStreams(std::move(in), std::make_unique<NCipcstream>());
        ASSERT_EQ(listener.listen(0, "127.0.0.1"), 0);
        reconnect();
    }
    void TearDown() override { EXPECT_EQ(Counted::alive, 0); }

    void reconnect() {
        ASSERT_EQ(stream.connect("127.0.0.1", listener.port()), 0);
        peer.reset(listener.accept());
        ASSERT_GE(peer.get(), 0);
    }
    void sendFromPeer(const std::vector<uint8_t>& bytes) const {
        ASSERT_EQ(::send(peer.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(bytes.size()));
    }
    void sendFromPeer(const std::string& pattern) const { sendFromPeer(Octets(pattern).bytes()); }
    std::vector<uint8_t> receiveAtPeer() const {
        std::vector<uint8_t> bytes(65536);
        const ssize_t count = recv(peer.get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
        bytes.resize(count < 0 ? 0 : static_cast<size_t>(count));
        return bytes;
    }
    NCRef<Counted> receive() {
        NCTransObject* object = stream.receive();
        EXPECT_EQ(object != nullptr, stream.status() == 0);
        return nc_cast<Counted>(object);
    }
    NCtcpstream listener{64, 4};
    NCtcpstream stream{1024, 3};
    NCipcstream* streamInput = nullptr;
    harbolance::Descriptor peer;
};

class Stopwatch {
public:
    double seconds() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    }

private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

inline const std::string leafMessage = "00 00 00 18 3A .. .. .. 00 00 00 0C 'TestLeaf' 00 .. .. .. ";
inline const std::string leafAgain = "00 00 00 0C 23 .. .. .. 00 00 00 00 ";
