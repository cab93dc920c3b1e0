#include "stream/carrier.h"

namespace {

int send(NCudpstream& stream, const NCTransObject* object) { return stream.send(object); }
int send(NCtcpstream& stream, const NCTransObject* object) { return stream.send(object, 10); }

std::string told;

// What holds for messages on UDP and TCP alike.
template <class Connection>
class Carrier : public testing::Test, public Connection {
protected:
    Carrier() {
        told.clear();
        harbolance::setComplaintSink([](std::ostream&, std::string_view text) { told += text; });
    }
    ~Carrier() override {
        EXPECT_NE(harbolance::setComplaintSink(nullptr), nullptr);
        EXPECT_EQ(Counted::alive, 0);
    }
};

using Carriers = testing::Types<UdpConnection, TcpConnection>;
TYPED_TEST_SUITE(Carrier, Carriers);

TYPED_TEST(Carrier, putsALengthBeforeTheObject) {
    const TestLeaf leaf;
    EXPECT_EQ(send(this->stream, nullptr), 0);
    EXPECT_EQ(OctetListing("00 00 00 10 3A .. .. .. 00 00 00 04 '::' 00 ..").differenceFrom(this->atPeer()),
              "");
    EXPECT_EQ(send(this->stream, &leaf), 0);
    EXPECT_EQ(OctetListing(leafMessage).differenceFrom(this->atPeer()), "");
}

TYPED_TEST(Carrier, dropsBadMessagesAndStaysUsable) {
    using Stream = decltype(TypeParam::stream);
    EXPECT_EQ(this->stream.setBlocking(false), 0);
    EXPECT_FALSE(this->receive());
    EXPECT_EQ(this->stream.status(), Stream::noData);
    const std::pair<const char*, std::string> cases[] = {
        {"no object", "00 00 00 04"},
        {"a null object", "00 00 00 10 3A .. .. .. 00 00 00 04 '::' 00 .."},
        {"garbage behind the tag", "00 00 00 18 3A .. .. .. FF FF FF FF 'TestLeaf' 00 .. .. .. "},
        {"an unknown class", "00 00 00 18 3A .. .. .. 00 00 00 0C 'Nobody' 00 .. .. .. .. .. "},
    };
    for (const auto& [what, listing] : cases) {
        this->sendFromPeer(listing);
        EXPECT_FALSE(this->receive()) << what;
        EXPECT_EQ(this->stream.status(), Stream::badObject) << what;
        this->sendFromPeer(leafMessage);
        EXPECT_TRUE(this->receive()) << "after " << what;
    }
    EXPECT_EQ(told,
              "NCipcbuf::underflow: Underflow occured\n"
              "NCistream::readObject: Received Object of class 'Nobody', but this class is not linked in\n")
        << "complaints go where the program wants them";
    this->sendFromPeer("00 00 00 1C 3A .. .. .. 00 00 00 0C 'TestLeaf' 00 .. .. .. 00 00 00 05");
    EXPECT_TRUE(this->receive()) << "octets behind the object are those of a later version";
}

TYPED_TEST(Carrier, answersWhenClosedAndTellsItWhenDebugging) {
    using Stream = decltype(TypeParam::stream);
    EXPECT_EQ(this->stream.close(), 0);
    EXPECT_FALSE(this->stream.isOpen());
    EXPECT_EQ(this->stream.close(), Stream::notOpen);
    EXPECT_EQ(told, "");
    this->stream.setDebug(true);
    EXPECT_EQ(send(this->stream, nullptr), Stream::notOpen);
    EXPECT_NE(told.find("::send: File not open\n"), std::string::npos) << told;
    int status = 0;
    EXPECT_EQ(this->stream.receive(status), nullptr);
    EXPECT_EQ(status, Stream::notOpen);
}

TYPED_TEST(Carrier, waitsInBlockingModeThroughSignals) {
    EXPECT_EQ(this->stream.setBlocking(true), 0);
    const Interruptions interruptions;
    const PeerProcess late([&] {
        usleep(100'000);
        this->sendFromPeer(leafMessage);
        return true;
    });
    EXPECT_TRUE(this->receive());
    EXPECT_GT(Interruptions::count, 0);
}

} // namespace
