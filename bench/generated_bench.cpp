// The cost of generated operators: a sequence of 1,000 records {long, double, text of 16}, written and read,
// compared with the same struct with operators written by hand. The two run alternately in one process; the
// result is the nanoseconds of the best iteration of each, and their ratio with its limit.

#include "readings_by_hand.h"
#include "readings_stub.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstring>

namespace {

constexpr CORBA_ULong recordCount = 1000;
constexpr double limit = 1.05;

template <class Sequence>
Sequence makeReadings() {
    Sequence readings;
    readings.length(recordCount);
    for (CORBA_ULong i = 0; i < recordCount; ++i) {
        readings[i].number = static_cast<CORBA_Long>(i);
        readings[i].value = i * 0.5;
        readings[i].name = static_cast<const char*>("sixteen letters!");
    }
    return readings;
}

template <class Action>
void keepBest(double& best, Action action) {
    const auto begin = std::chrono::steady_clock::now();
    action();
    const std::chrono::duration<double, std::nano> passed = std::chrono::steady_clock::now() - begin;
    best = std::min(best, passed.count());
}

// One sequence that is written and read again and again.
template <class Sequence>
class Subject {
public:
    void write() {
        keepBest(writing, [this] {
            out_.rewind();
            out_ << readings_;
        });
    }
    // Into a new sequence: that is how results come.
    void read() {
        keepBest(reading, [this] {
            CORBA_MarshalInBuffer in(out_.data(), out_.offset());
            Sequence result;
            in >> result;
            benchmark::DoNotOptimize(result[0].value);
        });
    }
    bool sameOctets(const auto& other) const {
        return out_.offset() == other.out_.offset() &&
               !std::memcmp(out_.data(), other.out_.data(), out_.offset());
    }

    double writing = 1e18;
    double reading = 1e18;

private:
    template <class>
    friend class Subject;
    Sequence readings_ = makeReadings<Sequence>();
    CORBA_MarshalOutBuffer out_{64 * recordCount};
};

template <class Generated, class ByHand>
void compare(benchmark::State& state) {
    Subject<Generated> generated;
    Subject<ByHand> byHand;
    for ([[maybe_unused]] auto _ : state) {
        generated.write();
        byHand.write();
        generated.read();
        byHand.read();
    }
    if (!generated.sameOctets(byHand)) {
        state.SkipWithError("the two wrote different octets");
        return;
    }
    state.counters["write_ns"] = generated.writing;
    state.counters["read_ns"] = generated.reading;
    state.counters["write/by_hand"] = generated.writing / byHand.writing;
    state.counters["read/by_hand"] = generated.reading / byHand.reading;
    state.counters["limit"] = limit;
}
BENCHMARK(compare<Readings, TRXSequence<by_hand::Reading>>)->Name("GeneratedRatio")->Iterations(5000);
BENCHMARK(compare<BoundedReadings, TRXSequence<by_hand::BoundedReading>>)
    ->Name("GeneratedBoundedRatio")
    ->Iterations(5000);

} // namespace
