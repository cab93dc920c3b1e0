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
const std::string whole = node + inner + "nil nil @2";

std::string repeated(const std::string& listing, int count) {
    std::string all;
    for (int i = 0; i < count; ++i)
        all += listing;
    return all;
}
std::string chain(int depth) { return node + repeated(inner, depth - 1) + repeated("nil ", depth + 1); }

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
        {"an unknown class, not printable", "3A...... +4 1B '[' 9B 00", false, unknown + "?[?" + notLinked},
        {"a class id before any class", "#0", false, badId + "0'\n"},
        {"a class id one beyond the table", ":TestPair :TestNode t'a' nil nil #2", false, badId + "2'\n"},
        {"a negative class id", "#-1", false, badId + "-1'\n"},
        {"an abstract class", ":TestAbstract", false, ""},
        {"a bad tag", "3F...... +0", false,
         "NCistream::readObject: Error reading Object from  stream. Make sure your 'write' function and "
         "constructor from stream are correct\n"},
        {"a reference before any object", "@0", false, ""},
        {"an object id one beyond the table", node + "@2 nil", false, ""},
        {"a negative object id", node + "@-1 nil", false, ""},
        {"the node that is being read", node + "@0 nil", false, ""},
        {"the name, which is a member", node + "@1 nil", false, ""},
        {"an outer node, half read", node + inner + "@0 nil nil", false, ""},
        {"a leaf where a node is wanted", node + ":TestLeaf nil", false, ""},
        {"a leaf read before where a node is wanted", ":TestPair :TestLeaf @1 nil", false, ""},
        {"a node read before", ":TestPair :TestNode t'a' nil nil @1 nil", true, ""},
        {"a graph", whole, true, ""},
        {"an object that finds no holder", ":Careless :TestLeaf", true, ""},
        {"nesting to the limit", chain(NCistream::maxDepth), true, ""},
        {"nesting beyond it", chain(NCistream::maxDepth + 1), false, ""},
        {"a name shorter than its length", ":TestNode -1 z'a' nil nil", true, ""},
        {"a name longer than its length", ":TestNode +0 z'a' nil nil", false, ""},
        {"a name of negative size", ":TestNode +1 80000004 'a' 00...... nil nil", false, ""},
        {"a name without NUL", ":TestNode +4 +4 'aaaa' nil nil", false, ""},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(accepts(octets(each.listing)), each.good) << each.what;
        EXPECT_EQ(told, each.complaint) << each.what;
    }
    for (const size_t length : {255u, 256u, 5000u}) {
        std::string message = octets("3A...... 00002000") + std::string(length, 'x');
        message.resize(8 + 0x2000);
        EXPECT_FALSE(accepts(message));
        EXPECT_EQ(told, unknown + std::string(255, 'x') + notLinked);
    }
}

// Two nodes that refer to the one before twice stand for twice as much: without a bound, thirty of them would
// stand for more than can be visited.
TEST_F(HostileInput, boundsWhatReferencesRepeat) {
    const auto pyramid = [](int levels) {
        std::string top = inner + "nil nil";
        for (int id = 2 * levels; id > 0; id -= 2)
            top = (id == 2 ? node : inner) + top + " @" + std::to_string(id);
        return octets(top);
    };
    EXPECT_TRUE(accepts(pyramid(12)));
    EXPECT_FALSE(accepts(pyramid(30)));
}

TEST_F(HostileInput, dropsAMessageCutAnywhereInEitherFormAndSurvivesEveryFlippedBit) {
    const std::string message = octets(whole);
    for (size_t length = 0; length < message.size(); ++length)
        EXPECT_FALSE(accepts(message.substr(0, length))) << length;

    const std::string text = ": \"TestNode\"\n1 \"a\"\n# 0 1 \"a\"\n: \"::\"\n: \"::\"\n@ 2 ";
    for (size_t length = 0; length + 2 < text.size(); ++length) {
        std::istringstream source(text.substr(0, length));
        EXPECT_EQ(NCistream(source).readObject(), nullptr) << length;
        EXPECT_EQ(Counted::alive, 0);
    }
    for (size_t bit = 0; bit < 8 * message.size(); ++bit) {
        std::string bent = message;
        bent[bit / 8] = static_cast<char>(bent[bit / 8] ^ (1 << (bit % 8)));
        accepts(bent);
    }
}

} // namespace
