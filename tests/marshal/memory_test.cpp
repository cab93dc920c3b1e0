#include "allocations.h"
#include "marshal/cdr/buffer_pool.h"
#include "marshal/marshal_settings.h"
#include "marshal/support.h"
#include "orb/vorb.h"

#include <filesystem>
#include <fstream>

using namespace harbolance;

namespace {

class PooledOut : public CORBA_MarshalOutBuffer {
public:
    explicit PooledOut(CORBA_ULong size) : CORBA_MarshalOutBuffer(size) {}
    void recycle(CORBA_ULong) { rewind(); }
};

TEST(BufferPool, handsOutOneBufferAtATimeAndAllocatesNoneForACommonRequest) {
    TRXBufferPool<PooledOut> pool;
    PooledOut* first = pool.take(255);
    EXPECT_EQ(first->_refcount(), 2);
    PooledOut* nested = pool.take(255);
    EXPECT_NE(nested, first);
    EXPECT_EQ(nested->_refcount(), 1);
    EXPECT_EQ(pool.cached(), first);
    release_buffer(nested);
    *first << 1;
    release_buffer(first);
    const size_t before = allocationCount();
    for (int i = 0; i < 100; ++i) {
        PooledOut* again = pool.take(100);
        EXPECT_EQ(again, first);
        EXPECT_EQ(again->offset(), 0u);
        *again << "operation" << 1 << 2.0 << "argument";
        release_buffer(again);
    }
    EXPECT_EQ(allocationCount(), before);
    // What is too small is replaced, and a large one is not kept.
    release_buffer(pool.take(5000));
    EXPECT_EQ(pool.cached(), first);
    PooledOut* full = pool.take(4096);
    EXPECT_EQ(pool.cached(), full);
    EXPECT_EQ(full->capacity(), 4096u);
    release_buffer(full);
}

struct Node {
    TRXSequence<Node> below;
};
TRXistream& operator>>(TRXistream& stream, Node& node) { return stream >> node.below; }

// Reading takes at most 64 KiB and 30 times the octets, and leaves nothing behind.
template <class T>
void expectBounded(const std::string& octets, CORBA_Octet order = hostByteOrder) {
    takePeakOfMemory();
    try {
        T target;
        CORBA_MarshalInBuffer in(octets.data(), static_cast<CORBA_ULong>(octets.size()), 0, order);
        in >> target;
    } catch (const CORBA_SystemException&) {
    }
    EXPECT_LT(takePeakOfMemory(), 65536 + 30 * octets.size());
    EXPECT_EQ(takePeakOfMemory(), 0u);
}

TEST(HostileMemory, growsWithWhatHasArrived) {
    CORBA_ORB_init(); // references become stubs, which need one
    for (const char* folder : {CORPUS "/fuzz_typecode", CORPUS "/fuzz_any"})
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            SCOPED_TRACE(entry.path());
            std::ifstream file(entry.path(), std::ios::binary);
            const int flags = file.get();
            const std::string octets{std::istreambuf_iterator<char>(file), {}};
            const Setting mode(marshalSettings.backDII, (flags & 2) != 0);
            expectBounded<Type>(octets, flags & 1);
            expectBounded<CORBA_Any>(octets, flags & 1);
        }
    // Sequences in each other that all announce what is left, and elements that are large in memory.
    CORBA_MarshalOutBuffer counts(255);
    CORBA_MarshalOutBuffer nulls(255);
    nulls << CORBA_ULong{6000};
    for (CORBA_ULong i = 6000; i > 0; --i) {
        counts << i * 3;
        nulls << CORBA_ULong{tk_null};
    }
    expectBounded<TRXSequence<Node>>({counts.data(), counts.offset()});
    expectBounded<TRXSequence<CORBA_Any>>({nulls.data(), nulls.offset()});
}

} // namespace
