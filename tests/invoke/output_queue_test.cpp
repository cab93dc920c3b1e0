#include "invoke/giop/output_queue.h"

#include "marshal/exception/vexcept.h"
#include "stub_connection.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>
#include <vector>

using harbolance::OutputQueue;

namespace {

// One end of a socket pair; the test reads the other one.
class PairedConnection final : public StubConnection {
public:
    PairedConnection() : StubConnection(78) {
        int ends[2] = {-1, -1};
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
        _fd = ends[0];
        _peer = ends[1];
    }
    ~PairedConnection() override { ::close(_peer); }

    // The octets that have arrived.
    std::string arrived() const {
        std::string all;
        std::vector<char> octets(1 << 20);
        ssize_t count = 0;
        while ((count = ::recv(_peer, octets.data(), octets.size(), MSG_DONTWAIT)) > 0)
            all.append(octets.data(), static_cast<size_t>(count));
        return all;
    }
    bool hasEnded() const {
        char octet = 0;
        return ::recv(_peer, &octet, 1, MSG_DONTWAIT) == 0;
    }

private:
    int _peer = -1;
};

CORBA_MarshalOutBuffer_var borrowing(const unsigned char* octets, CORBA_ULong count) {
    CORBA_MarshalOutBuffer_var message(new CORBA_MarshalOutBuffer(64));
    message->allow_borrowing();
    *message << CORBA_Octet{'<'};
    message->write_borrowed(octets, count);
    *message << CORBA_ULong{0x3e3e3e3e}; // aligned behind the octets
    return message;
}

} // namespace

TEST(OutputQueue, WhatTheSocketDoesNotTakeOfBorrowedOctetsIsCopied) {
    for (const CORBA_ULong count : {40002U, (4U << 20) + 2}) {
        PairedConnection connection;
        OutputQueue queue;
        std::vector<unsigned char> octets(count);
        for (size_t i = 0; i < count; ++i)
            octets[i] = static_cast<unsigned char>(i * 7 + i / 251);
        const std::string expected =
            "<" + std::string(octets.begin(), octets.end()) + " >>>>"; // 0x20 is the padding
        const CORBA_MarshalOutBuffer_var message = borrowing(octets.data(), count);
        ASSERT_EQ(message->offset(), 1U + 1 + 4) << "copied";
        EXPECT_EQ(message->whole_size(), expected.size());
        const auto ticket = queue.send(connection, message.in());
        EXPECT_EQ(queue.hasLeft(ticket), count == 40002);
        std::fill(octets.begin(), octets.end(), 0);
        std::string got = connection.arrived();
        while (!queue.empty()) {
            queue.advance(connection);
            got += connection.arrived();
        }
        EXPECT_TRUE(got == expected);
        EXPECT_EQ(queue.size(), 0U);
    }
}

TEST(OutputQueue, AMessageWhoseRestCannotBeKeptEndsTheStream) {
    // A buffer cannot contain so many octets together with others.
    const CORBA_ULong count = UINT32_MAX;
    void* const octets =
        ::mmap(nullptr, count, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    ASSERT_NE(octets, MAP_FAILED);
    PairedConnection connection;
    OutputQueue queue;
    const CORBA_MarshalOutBuffer_var message = borrowing(static_cast<unsigned char*>(octets), count);
    EXPECT_THROW(queue.send(connection, message.in()), CORBA_Exception);
    EXPECT_TRUE(queue.empty());
    EXPECT_EQ(connection.arrived()[0], '<');
    EXPECT_TRUE(connection.hasEnded());
    EXPECT_THROW(queue.send(connection, message.in()), CORBA_COMM_FAILURE);
    ::munmap(octets, count);
}
