#include "stream/carrier.h"

namespace {

int send(NCudpstream& stream, const NCTransObject* object) { return stream.send(object); }
int send(NCtcpstream& stream, const NCTransObject* object) { return stream.send(object, 10); }

// What holds for messages on UDP and TCP alike.
template <class Connection>
class Carrier : public Connection {};

using Carriers = testing::Types<UdpStream, TcpStream>;
TYPED_TEST_SUITE(Carrier, Carriers);

TYPED_TEST(Carrier, putsALengthBeforeTheObject) {
    const TestLeaf leaf;
    EXPECT_EQ(send(this->stream, nullptr), 0);
    EXPECT_EQ(this->differenceAtPeer("+16 nil"), "");
    EXPECT_EQ(send(this->stream, &leaf), 0);
    EXPECT_EQ(this->differenceAtPeer(leafMessage), "");
}

TYPED_TEST(Carrier, dropsBadMessagesAndStaysUsable) {
    EXPECT_EQ(this->stream.setBlocking(false), 0);
    EXPECT_FALSE(this->receive());
    EXPECT_EQ(this->stream.status(), TestFixture::Stream::noData);
    for (const char* bad :
         {"+4", "+16 nil", "+24 3A...... -1 'TestLeaf' 00......", "+24 3A...... +12 'Nobody' 00.........."}) {
        this->sendFromPeer(bad);
        EXPECT_FALSE(this->receive()) << bad;
        EXPECT_EQ(this->stream.status(), TestFixture::Stream::badObject) << bad;
        this->sendFromPeer(leafMessage);
        EXPECT_TRUE(this->receive()) << "after " << bad;
    }
    EXPECT_EQ(this->told,
              "NCipcbuf::underflow: Underflow occured\n"
              "NCistream::readObject: Received Object of class 'Nobody', but this class is not linked in\n")
        << "complaints go where the program wants them";
    this->sendFromPeer("+28 :TestLeaf +5");
    EXPECT_TRUE(this->receive()) << "octets behind the object are those of a later version";
}

TYPED_TEST(Carrier, answersWhenClosedAndTellsItWhenDebugging) {
    EXPECT_EQ(this->stream.close(), 0);
    EXPECT_FALSE(this->stream.isOpen());
    EXPECT_EQ(this->stream.close(), TestFixture::Stream::notOpen);
    EXPECT_EQ(this->told, "");
    this->stream.setDebug(true);
    EXPECT_EQ(send(this->stream, nullptr), TestFixture::Stream::notOpen);
    EXPECT_NE(this->told.find("::send: File not open\n"), std::string::npos) << this->told;
    int status = 0;
    EXPECT_EQ(this->stream.receive(status), nullptr);
    EXPECT_EQ(status, TestFixture::Stream::notOpen);
}

TYPED_TEST(Carrier, waitsInBlockingModeThroughSignals) {
    EXPECT_EQ(this->stream.setBlocking(true), 0);
    const Interruptions interruptions;
    const PeerProcess late([&] {
        Interruptions::await(10);
        this->sendFromPeer(leafMessage);
        return true;
    });
    EXPECT_TRUE(this->receive());
    EXPECT_GT(Interruptions::count, 0);
}

} // namespace
