// The cost of the typed streams, compared with loops written by hand for exactly one layout. Each pair of
// figures is from the same run; only their ratio matters.

#include "allocations.h"
#include "marshal/cdr/buffer_pool.h"
#include "marshal/cdr/members.h"
#include "marshal/cdr/vbuf.h"
#include "marshal/sequence/octet_sequence.h"
#include "marshal/sequence/sequence.h"
#include "marshal/text/vstr.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

using namespace harbolance;

namespace {

struct Record {
    CORBA_Long number = 0;
    CORBA_Double value = 0;
    CORBA_String_var text;
};

TRXostream& operator<<(TRXostream& stream, const Record& record) {
    return stream << members(record.number, record.value, record.text);
}
TRXistream& operator>>(TRXistream& stream, Record& record) {
    return stream >> members(record.number, record.value, record.text);
}

using RecordSeq = TRXSequence<Record>;
constexpr CORBA_ULong recordCount = 1000;

RecordSeq makeRecords() {
    RecordSeq records;
    records.length(recordCount);
    for (CORBA_ULong i = 0; i < recordCount; ++i) {
        records[i].number = static_cast<CORBA_Long>(i);
        records[i].value = i * 0.5;
        records[i].text = static_cast<const char*>("sixteen letters!");
    }
    return records;
}

// The code to compare with: the same octets and bounds checks, without streams.
class HandWriter {
public:
    HandWriter(char* data, size_t capacity) : data_(data), capacity_(capacity) {}

    template <class T>
    void put(T value) {
        pad(sizeof value);
        check(sizeof value);
        std::memcpy(data_ + offset_, &value, sizeof value);
        offset_ += sizeof value;
    }
    void put(const char* text) {
        const size_t size = std::strlen(text) + 1;
        put(static_cast<CORBA_ULong>(size));
        check(size);
        std::memcpy(data_ + offset_, text, size);
        offset_ += size;
    }
    size_t offset() const { return offset_; }

private:
    void pad(size_t size) {
        const size_t padding = -offset_ & (size - 1);
        check(padding);
        for (size_t i = 0; i < padding; ++i)
            data_[offset_ + i] = ' ';
        offset_ += padding;
    }
    void check(size_t size) const {
        if (size > capacity_ - offset_)
            std::abort();
    }

    char* data_;
    size_t capacity_;
    size_t offset_ = 0;
};

class HandReader {
public:
    HandReader(const char* data, size_t size) : data_(data), size_(size) {}

    template <class T>
    T get() {
        const size_t padding = -offset_ & (sizeof(T) - 1);
        check(padding);
        offset_ += padding;
        check(sizeof(T));
        T value;
        std::memcpy(&value, data_ + offset_, sizeof value);
        offset_ += sizeof value;
        return value;
    }
    char* text() {
        const auto size = get<CORBA_ULong>();
        check(size);
        char* text = new char[size_t{size} + 1];
        std::memcpy(text, data_ + offset_, size);
        text[size] = '\0';
        offset_ += size;
        return text;
    }
    void text(std::string& text) {
        const auto size = get<CORBA_ULong>();
        check(size);
        text.assign(data_ + offset_, size - 1);
        offset_ += size;
    }

private:
    void check(size_t size) const {
        if (size > size_ - offset_)
            std::abort();
    }

    const char* data_;
    size_t size_;
    size_t offset_ = 0;
};

constexpr CORBA_ULong ampleCapacity = 64 * recordCount;

void writeRecordsByHand(benchmark::State& state) {
    const RecordSeq records = makeRecords();
    const auto data = std::make_unique<char[]>(ampleCapacity);
    for (auto _ : state) {
        HandWriter out(data.get(), ampleCapacity);
        out.put(records.length());
        for (const Record& record : records) {
            out.put(record.number);
            out.put(record.value);
            out.put(record.text.in());
        }
        benchmark::DoNotOptimize(data.get());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(writeRecordsByHand);

void writeRecords(benchmark::State& state) {
    const RecordSeq records = makeRecords();
    CORBA_MarshalOutBuffer_var buffer(new CORBA_MarshalOutBuffer(ampleCapacity));
    for (auto _ : state) {
        buffer->rewind();
        *buffer << records;
        benchmark::DoNotOptimize(buffer->data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(writeRecords);

// Into newly made objects, as for a caller's result.
void readFreshRecordsByHand(benchmark::State& state) {
    CORBA_MarshalOutBuffer source(ampleCapacity);
    source << makeRecords();
    for (auto _ : state) {
        HandReader in(source.data(), source.offset());
        RecordSeq records;
        records.length(in.get<CORBA_ULong>());
        for (Record& record : records) {
            record.number = in.get<CORBA_Long>();
            record.value = in.get<CORBA_Double>();
            record.text = in.text();
        }
        benchmark::DoNotOptimize(records.buffer());
    }
}
BENCHMARK(readFreshRecordsByHand);

void readFreshRecords(benchmark::State& state) {
    CORBA_MarshalOutBuffer source(ampleCapacity);
    source << makeRecords();
    CORBA_MarshalInBuffer_var in(new CORBA_MarshalInBuffer(source.data(), source.offset()));
    for (auto _ : state) {
        in->rewind();
        RecordSeq records;
        *in >> records;
        benchmark::DoNotOptimize(records.buffer());
    }
}
BENCHMARK(readFreshRecords);

// Over the values of an earlier message, so that nothing has to be allocated.
void readRecordsByHand(benchmark::State& state) {
    struct HandRecord {
        CORBA_Long number;
        CORBA_Double value;
        std::string text;
    };
    CORBA_MarshalOutBuffer source(ampleCapacity);
    source << makeRecords();
    std::vector<HandRecord> records;
    for (auto _ : state) {
        HandReader in(source.data(), source.offset());
        records.resize(in.get<CORBA_ULong>());
        for (HandRecord& record : records) {
            record.number = in.get<CORBA_Long>();
            record.value = in.get<CORBA_Double>();
            in.text(record.text);
        }
        benchmark::ClobberMemory();
    }
}
BENCHMARK(readRecordsByHand);

void readRecords(benchmark::State& state) {
    CORBA_MarshalOutBuffer source(ampleCapacity);
    source << makeRecords();
    RecordSeq records;
    CORBA_MarshalInBuffer_var in(new CORBA_MarshalInBuffer(source.data(), source.offset()));
    for (auto _ : state) {
        in->rewind();
        *in >> records;
        benchmark::ClobberMemory();
    }
}
BENCHMARK(readRecords);

constexpr CORBA_ULong mebibyte = 1048576;

void copyOctets(benchmark::State& state) {
    std::vector<char> source(mebibyte, 'x');
    std::vector<char> target(mebibyte);
    for (auto _ : state) {
        std::memcpy(target.data(), source.data(), mebibyte);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(copyOctets);

template <class Sequence>
Sequence filled(CORBA_ULong length) {
    Sequence sequence;
    sequence.length(length);
    for (CORBA_ULong i = 0; i < length; ++i)
        sequence[i] = static_cast<typename Sequence::Stored>(i % 100);
    return sequence;
}

template <class Sequence>
void writeArray(benchmark::State& state) {
    const auto sequence = filled<Sequence>(mebibyte / sizeof(typename Sequence::Stored));
    CORBA_MarshalOutBuffer_var buffer(new CORBA_MarshalOutBuffer(mebibyte + 64));
    for (auto _ : state) {
        buffer->rewind();
        *buffer << sequence;
        benchmark::ClobberMemory();
    }
}

template <class Sequence>
void readArray(benchmark::State& state) {
    CORBA_MarshalOutBuffer source(mebibyte + 64);
    source << filled<Sequence>(mebibyte / sizeof(typename Sequence::Stored));
    CORBA_MarshalInBuffer_var in(new CORBA_MarshalInBuffer(source.data(), source.offset()));
    Sequence sequence;
    for (auto _ : state) {
        in->rewind();
        *in >> sequence;
        benchmark::ClobberMemory();
    }
}
BENCHMARK(writeArray<CORBA_OctetSequence>);
BENCHMARK(readArray<CORBA_OctetSequence>);
BENCHMARK(writeArray<TRXSequence<CORBA_Double>>);
BENCHMARK(readArray<TRXSequence<CORBA_Double>>);

constexpr CORBA_ULong doubleCount = 131072;

[[gnu::optimize("O3"), gnu::noinline]] void swapByHand(uint64_t* __restrict target,
                                                       const uint64_t* __restrict source, size_t count) {
    for (size_t i = 0; i < count; ++i)
        target[i] = __builtin_bswap64(source[i]);
}

void swapDoublesByHand(benchmark::State& state) {
    std::vector<uint64_t> source(doubleCount, 1);
    std::vector<uint64_t> target(doubleCount);
    for (auto _ : state) {
        swapByHand(target.data(), source.data(), doubleCount);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(swapDoublesByHand);

void readDoublesOfOtherOrder(benchmark::State& state) {
    std::vector<uint64_t> source(doubleCount + 1, 1);
    const CORBA_ULong count = reversed(doubleCount);
    std::memcpy(source.data(), &count, sizeof count);
    CORBA_MarshalInBuffer_var in(new CORBA_MarshalInBuffer(reinterpret_cast<const char*>(source.data()),
                                                           static_cast<CORBA_ULong>(source.size() * 8)));
    TRXSequence<CORBA_Double> doubles;
    for (auto _ : state) {
        in->rewind();
        in->byte_order(hostByteOrder == 0);
        *in >> doubles;
        benchmark::ClobberMemory();
    }
}
BENCHMARK(readDoublesOfOtherOrder);

class PooledOut : public CORBA_MarshalOutBuffer {
public:
    explicit PooledOut(CORBA_ULong size) : CORBA_MarshalOutBuffer(size) {}
    void recycle(CORBA_ULong) { rewind(); }
};

void takeFromPool(benchmark::State& state) {
    TRXBufferPool<PooledOut> pool;
    release_buffer(pool.take(255));
    const uint64_t before = allocationCount();
    for (auto _ : state) {
        PooledOut* buffer = pool.take(255);
        *buffer << 1;
        release_buffer(buffer);
    }
    state.counters["allocations"] = static_cast<double>(allocationCount() - before);
}
BENCHMARK(takeFromPool);

} // namespace
