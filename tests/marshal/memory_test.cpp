#include "allocations.h"
#include "marshal/cdr/buffer_pool.h"
#include "marshal/marshal_settings.h"
#include "marshal/support.h"

using namespace harbolance;

namespace {

class PooledOut : public CORBA_MarshalOutBuffer {
public:
    explicit PooledOut(CORBA_ULong size) : CORBA_MarshalOutBuffer(size) {}
    void recycle(CORBA_ULong) { rewind(); }
};

TEST(BufferPool, handsOutOneBufferAtATime) {
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
    PooledOut* again = pool.take(100);
    EXPECT_EQ(again, first);
    EXPECT_EQ(again->offset(), 0u);
    release_buffer(again);
    // What is too small is replaced, and a large one is not kept.
    release_buffer(pool.take(5000));
    EXPECT_EQ(pool.cached(), first);
    PooledOut* full = pool.take(4096);
    EXPECT_EQ(pool.cached(), full);
    EXPECT_EQ(full->capacity(), 4096u);
    release_buffer(full);
}

TEST(BufferPool, costsACommonRequestNoAllocation) {
    TRXBufferPool<PooledOut> out;
    const auto call = [&] {
        PooledOut* request = out.take(255);
        *request << "operation" << 1 << 2.0 << "argument";
        release_buffer(request);
    };
    call();
    const size_t before = allocationCount();
    for (int i = 0; i < 100; ++i)
        call();
    EXPECT_EQ(allocationCount(), before);
}

struct Node {
    TRXSequence<Node> below;
};
TRXistream& operator>>(TRXistream& stream, Node& node) { return stream >> node.below; }

// Reading takes at most 64 KiB and 30 times the octets, and leaves nothing behind.
template <class T>
void expectBounded(const CORBA_MarshalOutBuffer& octets, bool flat = false) {
    const Setting mode(marshalSettings.backDII, flat);
    takePeakOfMemory();
    try {
        T target;
        CORBA_MarshalInBuffer in(octets.data(), octets.offset());
        in >> target;
    } catch (const CORBA_MARSHAL&) {
    }
    EXPECT_LT(takePeakOfMemory(), 65536 + 30 * size_t{octets.offset()});
    EXPECT_EQ(takePeakOfMemory(), 0u);
}

TEST(HostileMemory, growsWithWhatHasArrived) {
    TypeCodeAccess::startUp();
    constexpr CORBA_ULong many = 6000;
    // Structs and sequences inside each other that all announce as many parts as the rest could hold.
    std::string nested(60000, '\1');
    for (int level = 0; level < 250; ++level) {
        CORBA_MarshalOutBuffer around(255);
        around << hostByteOrder << ""
               << "" << static_cast<CORBA_ULong>(nested.size() / 8) << "" << CORBA_ULong{tk_struct}
               << static_cast<CORBA_ULong>(nested.size());
        around.write_raw(nested.data(), static_cast<CORBA_ULong>(nested.size()));
        nested.assign(around.data(), around.offset());
    }
    CORBA_MarshalOutBuffer structs(255);
    structs << CORBA_ULong{tk_struct} << static_cast<CORBA_ULong>(nested.size());
    structs.write_raw(nested.data(), static_cast<CORBA_ULong>(nested.size()));
    expectBounded<Type>(structs);
    CORBA_MarshalOutBuffer sequences(255);
    for (CORBA_ULong i = 0; i < many; ++i)
        sequences << (many - i) * 3;
    expectBounded<TRXSequence<Node>>(sequences);
    // Members that take the most memory for their octets.
    CORBA_MarshalOutBuffer members(255);
    members << CORBA_ULong{tk_struct} << ""
            << "" << many;
    for (CORBA_ULong i = 0; i < many; ++i)
        members << "" << CORBA_ULong{tk_sequence} << CORBA_ULong{tk_null} << CORBA_ULong{0};
    expectBounded<Type>(members, true);
    CORBA_MarshalOutBuffer anys(255);
    anys << many;
    for (CORBA_ULong i = 0; i < many; ++i)
        anys << CORBA_ULong{tk_null};
    expectBounded<TRXSequence<CORBA_Any>>(anys);
}

} // namespace
