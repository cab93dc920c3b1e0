#include "allocations.h"
#include "marshal/cdr/buffer_pool.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace harbolance;

namespace {

class PooledOut : public CORBA_MarshalOutBuffer {
public:
    explicit PooledOut(CORBA_ULong size) : CORBA_MarshalOutBuffer(size) {}
    void recycle(CORBA_ULong) { rewind(); }
};

TEST(BufferPool, handsOutTheSameBufferAgain) {
    TRXBufferPool<PooledOut> pool;
    PooledOut* first = pool.take(255);
    EXPECT_EQ(first->_refcount(), 2);
    *first << 1;
    release_buffer(first);
    EXPECT_EQ(first->_refcount(), 1);
    PooledOut* again = pool.take(100);
    EXPECT_EQ(again, first);
    EXPECT_EQ(again->offset(), 0u);
    EXPECT_EQ(again->align(), 0u);
    release_buffer(again);
}

TEST(BufferPool, givesAFreshOneWhileTheFirstIsHeld) {
    TRXBufferPool<PooledOut> pool;
    PooledOut* outer = pool.take(255);
    PooledOut* nested = pool.take(255);
    EXPECT_NE(nested, outer);
    EXPECT_EQ(nested->_refcount(), 1);
    EXPECT_EQ(pool.cached(), outer);
    release_buffer(nested);
    release_buffer(outer);
}

TEST(BufferPool, replacesABufferThatIsTooSmallAndKeepsOutLargeOnes) {
    TRXBufferPool<PooledOut> pool;
    PooledOut* large = pool.take(5000);
    EXPECT_EQ(pool.cached(), nullptr);
    release_buffer(large);
    release_buffer(pool.take(255));
    PooledOut* full = pool.take(4096);
    EXPECT_EQ(pool.cached(), full);
    EXPECT_EQ(full->capacity(), 4096u);
    release_buffer(full);
}

TEST(BufferPool, hidesWhatAnEarlierMessageLeft) {
    TRXMarshalInBuffer::Pool pool;
    TRXMarshalInBuffer* first = TRXMarshalInBuffer::create(16, 12, pool);
    EXPECT_EQ(first->align(), 12u);
    std::memset(first->data(), 'x', 16);
    first->byte_order(0);
    release_buffer(first);
    TRXMarshalInBuffer* second = TRXMarshalInBuffer::create(4, 0, pool);
    EXPECT_EQ(second, first);
    EXPECT_EQ(second->size(), 4u);
    EXPECT_FALSE(second->has(5));
    EXPECT_EQ(second->byte_order(), hostByteOrder);
    EXPECT_EQ(second->align(), 0u);
    release_buffer(second);
}

TEST(BufferPool, costsACommonRequestNoAllocation) {
    TRXBufferPool<PooledOut> out;
    TRXMarshalInBuffer::Pool in;
    const auto call = [&] {
        PooledOut* request = out.take(255);
        *request << "operation" << 1 << 2.0 << "argument";
        TRXMarshalInBuffer* reply = TRXMarshalInBuffer::create(request->offset(), 12, in);
        std::memcpy(reply->data(), request->data(), request->offset());
        release_buffer(reply);
        release_buffer(request);
    };
    call();
    const size_t before = allocationCount();
    for (int i = 0; i < 100; ++i)
        call();
    EXPECT_EQ(allocationCount(), before);
}

} // namespace
