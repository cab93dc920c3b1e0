#include "stream/records.h"

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

class HostileInput : public StreamTest {
protected:
    // What the reader makes of the octets; whatever it is, nothing of it may stay alive.
    bool accepts(const std::string& message) {
        told.clear();
        fill(buffer, message);
        in.clearFailed();
        in.resetTypes();
        NCTransObject* object = in.readObject();
        const bool good = object != nullptr;
        EXPECT_NE(good, in.failed());
        delete object;
        EXPECT_EQ(Counted::alive, 0);
        return good;
    }

    NCipcbuf buffer{0, 64};
    NCipcstream in{&buffer};
};

const std::string node = ":TestNode t'a' ";
const std::string inner = "#0 t'a' "; // a node in another one

std::string repeated(const std::string& listing, int count) {
    std::string all;
    for (int i = 0; i < count; ++i)
        all += listing;
    return all;
}
std::string chain(int depth) { return node + repeated(inner, depth - 1) + repeated("nil ", depth + 1); }

// The corpus of fuzz_datagram has more of what no writer makes. These show that what was read up to there is
// freed, and what is said of it.
TEST_F(HostileInput, isRefusedAndNothingOfItLives) {
    const std::string unknown = "NCistream::readObject: Received Object of class '";
    const std::string notLinked = "', but this class is not linked in\n";
    const struct {
        std::string listing;
        bool good;
        std::string complaint;
    } cases[] = {
        {"3A...... +4 1B '[' 9B 00", false, unknown + "?[?" + notLinked},
        {":TestPair :TestNode t'a' nil nil #2", false,
         "NCistream::readObject. Internal Error reading class '2'\n"}, // one beyond the table
        {"3F...... +0", false,
         "NCistream::readObject: Error reading Object from  stream. Make sure your 'write' function and "
         "constructor from stream are correct\n"},
        {":TestAbstract", false, ""},
        {node + "@2 nil", false, ""},             // an object id one beyond the table
        {node + "@1 nil", false, ""},             // the name, which is a member
        {node + inner + "@0 nil nil", false, ""}, // the outer node, half read
        {node + ":TestLeaf nil", false, ""},
        {":TestPair :TestLeaf @1 nil", false, ""}, // a leaf where a node is wanted
        {":TestPair :TestNode t'a' nil nil @1 nil", true, ""},
        {":Careless :TestLeaf", true, ""},
        {chain(NCistream::maxDepth), true, ""},
        {chain(NCistream::maxDepth + 1), false, ""},
        {":TestNode -1 z'a' nil nil", true, ""},  // a name shorter than its length
        {":TestNode +0 z'a' nil nil", false, ""}, // and longer
    };
    for (const auto& each : cases) {
        EXPECT_EQ(accepts(octets(each.listing)), each.good) << each.listing;
        EXPECT_EQ(told, each.complaint) << each.listing;
    }
    for (const size_t length : {255u, 256u, 5000u}) {
        std::string message = octets("3A...... 00002000") + std::string(length, 'x');
        message.resize(8 + 0x2000);
        EXPECT_FALSE(accepts(message));
        EXPECT_EQ(told, unknown + std::string(255, 'x') + notLinked);
    }
}

TEST_F(HostileInput, isDroppedWhereverItsTextIsCut) {
    const std::string text = ": \"TestNode\"\n1 \"a\"\n# 0 1 \"a\"\n: \"::\"\n: \"::\"\n@ 2 ";
    for (size_t length = 0; length + 2 < text.size(); ++length) {
        std::istringstream source(text.substr(0, length));
        EXPECT_EQ(NCistream(source).readObject(), nullptr) << length;
        EXPECT_EQ(Counted::alive, 0);
    }
}

} // namespace
