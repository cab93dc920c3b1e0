#include "stream/octets.h"
#include "stream/records.h"

#include "stream/ncipcstream.h"

#include <gtest/gtest.h>

namespace {

class HostileInput : public ::testing::Test {
protected:
    // What the reader makes of the octets; whatever it is, nothing of it may stay alive.
    bool accepts(const std::vector<uint8_t>& bytes) {
        ::testing::internal::CaptureStderr();
        ::testing::internal::CaptureStdout();
        fill(buffer, bytes);
        in.clearFailed();
        in.resetTypes();
        NCTransObject* object = in.readObject();
        const bool good = object != nullptr;
        EXPECT_NE(good, in.failed());
        delete object;
        ::testing::internal::GetCapturedStdout();
        complaint = ::testing::internal::GetCapturedStderr();
        EXPECT_EQ(Counted::alive, 0);
        return good;
    }
    bool accepts(const std::string& pattern) { return accepts(Octets(pattern).bytes()); }

    NCipcbuf buffer{0, 64};
    NCipcstream in{&buffer};
    std::string complaint;
};

const std::string null = "3A .. .. .. 00 00 00 04 '::' 00 .. ";
const std::string nodeTag = "3A .. .. .. 00 00 00 0C 'TestNode' 00 .. .. .. ";
const std::string nodeAgain = "23 .. .. .. 00 00 00 00 ";
const std::string pairTag = "3A .. .. .. 00 00 00 0C 'TestPair' 00 .. .. .. ";
const std::string leafTag = "3A .. .. .. 00 00 00 0C 'TestLeaf' 00 .. .. .. ";
const std::string name = "00 00 00 01 00 00 00 04 'a' 00 .. .. ";
const std::string reference = "40 .. .. .. 00 00 00 ";

TEST_F(HostileInput, refusesUnknownClasses) {
    EXPECT_FALSE(accepts("3A .. .. .. 00 00 00 08 'Nobody' 00 .."));
    EXPECT_EQ(complaint,
              "NCistream::readObject: Received Object of class 'Nobody', but this class is not linked in\n");
    EXPECT_FALSE(accepts("3A .. .. .. 00 00 00 04 1B '[2' 00"));
    EXPECT_EQ(complaint.find('\x1B'), std::string::npos);
    EXPECT_FALSE(accepts("23 .. .. .. 00 00 00 01"));
    EXPECT_EQ(complaint, "NCistream::readObject. Internal Error reading class '1'\n");
    EXPECT_FALSE(accepts("23 .. .. .. FF FF FF FF"));
}

TEST_F(HostileInput, refusesLongClassNames) {
    for (const size_t length : {255u, 256u, 300u, 5000u}) {
        Octets bytes("3A .. .. ..");
        const size_t padded = (length + 4) / 4 * 4;
        for (const size_t shift : {24u, 16u, 8u, 0u})
            bytes.bytes().push_back(static_cast<uint8_t>(padded >> shift));
        bytes.bytes().insert(bytes.bytes().end(), length, 'x');
        bytes.bytes().resize(8 + padded);
        EXPECT_FALSE(accepts(bytes.bytes()));
        EXPECT_NE(complaint.find("not linked in"), std::string::npos) << length;
    }
}

TEST_F(HostileInput, refusesAbstractClasses) {
    EXPECT_FALSE(accepts("3A .. .. .. 00 00 00 10 'TestAbstract' 00 .. .. .. "));
    EXPECT_FALSE(accepts("3A .. .. .. 00 00 00 0C 'NCObject' 00 .. .. .. "));
}

TEST_F(HostileInput, refusesBadTags) {
    EXPECT_FALSE(accepts("3F .. .. .. 00 00 00 00"));
    EXPECT_EQ(complaint,
              "NCistream::readObject: Error reading Object from  stream. Make sure your 'write' function and "
              "constructor from stream are correct\n");
    EXPECT_FALSE(accepts(nodeTag + name + "00 .. .. .. " + null));
}

TEST_F(HostileInput, refusesReferencesThatNobodyCanHold) {
    EXPECT_FALSE(accepts(reference + "00")) << "nothing read yet";
    const struct {
        const char* what;
        std::string octets;
    } cases[] = {
        {"an id beyond the objects", nodeTag + name + reference + "02" + " " + null},
        {"a negative id", nodeTag + name + "40 .. .. .. FF FF FF FF " + null},
        {"the node that is being read", nodeTag + name + reference + "00 " + null},
        {"the name, which is a member", nodeTag + name + reference + "01 " + null},
        {"an outer node, half read", nodeTag + name + nodeAgain + name + reference + "00 " + null + null},
        {"a leaf where a node is wanted", nodeTag + name + leafTag + null},
        {"a leaf read before where a node is wanted", pairTag + leafTag + reference + "01"},
    };
    for (const auto& each : cases)
        EXPECT_FALSE(accepts(each.octets)) << each.what;
    // Good ones of that kind, so that the cases above fail for the reason they name.
    EXPECT_TRUE(accepts(pairTag + nodeTag + name + null + null + reference + "01"));
    EXPECT_TRUE(accepts(nodeTag + name + nodeAgain + name + null + null + reference + "02"));
}

TEST_F(HostileInput, boundsNesting) {
    const auto chain = [](int depth) {
        std::string octets = nodeTag + name;
        for (int i = 1; i < depth; ++i)
            octets += nodeAgain + name;
        for (int i = 0; i < depth + 1; ++i)
            octets += null;
        return octets;
    };
    EXPECT_TRUE(accepts(chain(NCistream::maxDepth)));
    EXPECT_FALSE(accepts(chain(NCistream::maxDepth + 1)));
    EXPECT_FALSE(accepts(chain(5000)));
}

TEST_F(HostileInput, refusesLyingLengths) {
    const std::string block = "3A .. .. .. 00 00 00 0C 'TestBlock' 00 .. .. ";
    EXPECT_TRUE(accepts(block + "00 00 00 02 'xx' .. .."));
    EXPECT_FALSE(accepts(block + "00 00 00 05 'xx' .. .."));
    EXPECT_FALSE(accepts(block + "FF FF FF FF 'xx' .. .."));
    const struct {
        const char* what;
        const char* string;
    } names[] = {
        {"len below the text", "00 00 00 00 00 00 00 04 'a' 00 .. .. "},
        {"P beyond the data", "00 00 00 01 00 00 10 00 'a' 00 .. .. "},
        {"P above 2 GiB", "00 00 00 01 80 00 00 04 'a' 00 .. .. "},
        {"no NUL within P", "00 00 00 04 00 00 00 04 'aaaa' "},
    };
    for (const auto& each : names)
        EXPECT_FALSE(accepts(nodeTag + each.string + null + null)) << each.what;
}

TEST_F(HostileInput, dropsAMessageCutAnywhere) {
    const Octets whole(nodeTag + name + nodeAgain + name + null + null + reference + "02");
    for (uint32_t length = 0; length < whole.size(); ++length) {
        const auto begin = whole.bytes().begin();
        EXPECT_FALSE(accepts(std::vector<uint8_t>(begin, begin + length))) << length;
    }
    EXPECT_TRUE(accepts(whole.bytes()));
}

TEST_F(HostileInput, survivesEveryFlippedBit) {
    const Octets whole(nodeTag + name + nodeAgain + name + null + null + reference + "02");
    for (size_t bit = 0; bit < 8u * whole.size(); ++bit) {
        auto bytes = whole.bytes();
        bytes[bit / 8] = static_cast<uint8_t>(bytes[bit / 8] ^ (1u << (bit % 8)));
        accepts(bytes);
    }
}

} // namespace
