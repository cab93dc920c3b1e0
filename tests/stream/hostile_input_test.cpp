#include "stream/records.h"

#include <random>
#include <sstream>

namespace {

// Reads an object and holds nothing.
struct Careless : Counted {
    static const NCTypeInfo info;
    explicit Careless(NCistream& in) : Counted(in) { in.readObject(); }
    void write(NCostream&) const override {}
    const NCTypeInfo& typeInfo() const override { return info; }
};
const NCTypeInfo Careless::info("Careless", ncCreate<Careless>, {&Counted::info});

class HostileInput : public ::testing::Test {
protected:
    // What the reader makes of the octets; whatever it is, nothing of it may stay alive.
    bool accepts(const std::string& message) {
        ::testing::internal::CaptureStderr();
        ::testing::internal::CaptureStdout();
        fill(buffer, message);
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

    NCipcbuf buffer{0, 64};
    NCipcstream in{&buffer};
    std::string complaint;
};

const std::string null = "3A .. .. .. 00 00 00 04 '::' 00 .. ";
const std::string nodeTag = "3A .. .. .. 00 00 00 0C 'TestNode' 00 .. .. .. ";
const std::string nodeAgain = "23 .. .. .. 00 00 00 00 ";
const std::string pairTag = "3A .. .. .. 00 00 00 0C 'TestPair' 00 .. .. .. ";
const std::string leafTag = "3A .. .. .. 00 00 00 0C 'TestLeaf' 00 .. .. .. ";
const std::string blockTag = "3A .. .. .. 00 00 00 0C 'TestBlock' 00 .. .. ";
const std::string name = "00 00 00 01 00 00 00 04 'a' 00 .. .. ";
const std::string reference = "40 .. .. .. 00 00 00 ";
const std::string whole = nodeTag + name + nodeAgain + name + null + null + reference + "02";

std::string chain(int depth) {
    std::string listing = nodeTag + name;
    for (int i = 1; i < depth; ++i)
        listing += nodeAgain + name;
    for (int i = 0; i < depth + 1; ++i)
        listing += null;
    return listing;
}

TEST_F(HostileInput, refusesWhatNoWriterMakes) {
    const std::string unknown = "NCistream::readObject: Received Object of class '";
    const std::string notLinked = "', but this class is not linked in\n";
    const std::string badId = "NCistream::readObject. Internal Error reading class '";
    const struct {
        const char* what;
        std::string listing;
        bool good;
        std::string complaint;
    } cases[] = {
        {"an unknown class", "3A...... 00000008 'Nobody' 00 ..", false, unknown + "Nobody" + notLinked},
        {"an unknown class, not printable", "3A...... 00000004 1B '[' 9B 00", false,
         unknown + "?[?" + notLinked},
        {"a class id before any class", "23...... 00000000", false, badId + "0'\n"},
        {"a class id one beyond the table", pairTag + nodeTag + name + null + null + "23...... 00000002",
         false, badId + "2'\n"},
        {"a negative class id", "23...... FFFFFFFF", false, badId + "-1'\n"},
        {"an abstract class", "3A...... 00000010 'TestAbstract' 00 .. .. .. ", false, ""},
        {"a bad tag", "3F...... 00000000", false,
         "NCistream::readObject: Error reading Object from  stream. Make sure your 'write' function and "
         "constructor from stream are correct\n"},
        {"a reference before any object", reference + "00", false, ""},
        {"an object id one beyond the table", nodeTag + name + reference + "02 " + null, false, ""},
        {"a negative object id", nodeTag + name + "40...... FFFFFFFF " + null, false, ""},
        {"the node that is being read", nodeTag + name + reference + "00 " + null, false, ""},
        {"the name, which is a member", nodeTag + name + reference + "01 " + null, false, ""},
        {"an outer node, half read", nodeTag + name + nodeAgain + name + reference + "00 " + null + null,
         false, ""},
        {"a leaf where a node is wanted", nodeTag + name + leafTag + null, false, ""},
        {"a leaf read before where a node is wanted", pairTag + leafTag + reference + "01" + null, false, ""},
        {"a node read before", pairTag + nodeTag + name + null + null + reference + "01" + null, true, ""},
        {"a graph", whole, true, ""},
        {"an object that finds no holder", "3A...... 0000000C 'Careless' 00 .. .. .. " + leafTag, true, ""},
        {"nesting to the limit", chain(NCistream::maxDepth), true, ""},
        {"nesting beyond it", chain(NCistream::maxDepth + 1), false, ""},
        {"a block", blockTag + "00000002 'xx' .. ..", true, ""},
        {"a block that claims too much", blockTag + "00000005 'xx' .. ..", false, ""},
        {"a block that claims 4 GiB", blockTag + "FFFFFFFF 'xx' .. ..", false, ""},
        {"a name shorter than its length", nodeTag + "FFFFFFFF 00000004 'a' 00 .. .. " + null + null, true,
         ""},
        {"a name longer than its length", nodeTag + "00000000 00000004 'a' 00 .. .. " + null + null, false,
         ""},
        {"a name beyond the data", nodeTag + "00000001 00001000 'a' 00 .. .. " + null + null, false, ""},
        {"a name of negative size", nodeTag + "00000001 80000004 'a' 00 .. .. " + null + null, false, ""},
        {"a name without NUL", nodeTag + "00000004 00000004 'aaaa' " + null + null, false, ""},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(accepts(octets(each.listing)), each.good) << each.what;
        EXPECT_EQ(complaint, each.complaint) << each.what;
    }
    for (const size_t length : {255u, 256u, 5000u}) {
        std::string message = octets("3A...... 00002000") + std::string(length, 'x');
        message.resize(8 + 0x2000);
        EXPECT_FALSE(accepts(message));
        EXPECT_EQ(complaint, unknown + std::string(255, 'x') + notLinked);
    }
}

// Two nodes that refer to the one before twice stand for twice as much: without a bound, thirty of them would
// stand for more than anybody can visit.
TEST_F(HostileInput, boundsWhatReferencesRepeat) {
    const auto pyramid = [](int levels) {
        std::string top = nodeAgain + name + null + null;
        for (int id = 2 * levels; id > 0; id -= 2) {
            char twice[16];
            std::snprintf(twice, sizeof twice, "%02X ", id);
            top = (id == 2 ? nodeTag : nodeAgain) + name + top + reference + twice;
        }
        return octets(top);
    };
    EXPECT_TRUE(accepts(pyramid(12)));
    EXPECT_FALSE(accepts(pyramid(30)));
}

TEST_F(HostileInput, dropsAMessageCutAnywhereInEitherForm) {
    const std::string message = octets(whole);
    for (size_t length = 0; length < message.size(); ++length)
        EXPECT_FALSE(accepts(message.substr(0, length))) << length;

    const std::string text = ": \"TestNode\"\n1 \"a\"\n# 0 1 \"a\"\n: \"::\"\n: \"::\"\n@ 2 ";
    for (size_t length = 0; length + 2 < text.size(); ++length) {
        std::istringstream source(text.substr(0, length));
        ::testing::internal::CaptureStderr();
        EXPECT_EQ(NCistream(source).readObject(), nullptr) << length;
        ::testing::internal::GetCapturedStderr();
        EXPECT_EQ(Counted::alive, 0);
    }
}

TEST_F(HostileInput, survivesEveryFlippedBit) {
    for (size_t bit = 0; bit < 8u * octets(whole).size(); ++bit) {
        std::string message = octets(whole);
        message[bit / 8] = static_cast<char>(message[bit / 8] ^ (1 << (bit % 8)));
        accepts(message);
    }
}

} // namespace
