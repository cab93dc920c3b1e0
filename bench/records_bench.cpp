// The cost of encoding and decoding a set of 10,000 providers, each with its own value, compared with
// constructing the same objects in memory and adding them to a set.
//
// `RecordsRatio` does the three in turns, so that they see the same machine, and reports the milliseconds of
// processor time of each and the two quotients beside the limits that they are held to. Destroying what was
// made is not counted. The other three can be profiled by themselves.

#include "agent/collections/dsset.h"
#include "agent/records/dsprovid.h"
#include "stream/ncframe.h"

#include <benchmark/benchmark.h>

#include <ctime>
#include <string>
#include <vector>

namespace {

constexpr int providerCount = 10000;
constexpr double encodeLimit = 0.5;
constexpr double decodeLimit = 1.5;

using Set = NCRef<DSSet>;

class Subject {
public:
    Subject() {
        for (int i = 0; i < providerCount; ++i) {
            names_.push_back("IDL:Bench/Account" + std::to_string(i) + ":1.0");
            values_.push_back("account number " + std::to_string(i));
        }
        out_.setBuffer(&written_);
    }

    Set build() const {
        Set set = new DSSet;
        for (int i = 0; i < providerCount; ++i) {
            const auto index = static_cast<size_t>(i);
            auto* value = new DSName(values_[index].c_str(), dsArgType, DSServiceManual);
            const DSName name(names_[index].c_str(), dsArgType, DSServiceManual, value);
            set->add(new DSProvider(name, DSAddr(10000 + i, in_addr_t{0x0700000a})));
        }
        return set;
    }

    bool encode(const Set& set) {
        out_.resetTypes();
        return ncEncodeMessage(out_, set.get());
    }

    // Decodes what was encoded last; the streams and buffers are those of a connection, used again and again.
    Set decode() {
        received_.setAreas(nullptr, 0, written_.wbuf(), written_.bytesWritten(), false);
        received_.advanceEnd(written_.bytesWritten());
        in_.setBuffer(&received_);
        in_.clearFailed();
        in_.resetTypes();
        return ncEnterDatagram(in_) ? nc_cast<DSSet>(in_.readObject()) : nullptr;
    }

private:
    std::vector<std::string> names_;
    std::vector<std::string> values_;
    NCipcbuf written_{1024, 0};
    NCipcbuf received_{0, 0};
    NCipcstream in_;
    NCipcstream out_;
};

template <class Action>
double secondsFor(Action action) {
    const std::clock_t start = std::clock();
    action();
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

bool complete(const Set& set) { return set && set->size() == providerCount; }

void buildSet(benchmark::State& state) {
    const Subject subject;
    for ([[maybe_unused]] auto _ : state) {
        const Set set = subject.build();
        benchmark::DoNotOptimize(set.get());
    }
}
BENCHMARK(buildSet)->Name("BuildAndDestroy")->Unit(benchmark::kMillisecond);

void encodeSet(benchmark::State& state) {
    Subject subject;
    const Set set = subject.build();
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(subject.encode(set));
}
BENCHMARK(encodeSet)->Name("Encode")->Unit(benchmark::kMillisecond);

void decodeSet(benchmark::State& state) {
    Subject subject;
    subject.encode(subject.build());
    for ([[maybe_unused]] auto _ : state) {
        const Set set = subject.decode();
        benchmark::DoNotOptimize(set.get());
    }
}
BENCHMARK(decodeSet)->Name("DecodeAndDestroy")->Unit(benchmark::kMillisecond);

void recordsRatio(benchmark::State& state) {
    Subject subject;
    double built = 0;
    double encoded = 0;
    double decoded = 0;
    for ([[maybe_unused]] auto _ : state) {
        Set original;
        Set copy;
        bool fits = false;
        built += secondsFor([&] { original = subject.build(); });
        encoded += secondsFor([&] { fits = subject.encode(original); });
        original = nullptr;
        decoded += secondsFor([&] { copy = subject.decode(); });
        if (!fits || !complete(copy)) {
            state.SkipWithError("the set did not survive");
            return;
        }
    }
    const auto rounds = static_cast<double>(state.iterations());
    state.counters["build_ms"] = 1e3 * built / rounds;
    state.counters["encode_ms"] = 1e3 * encoded / rounds;
    state.counters["decode_ms"] = 1e3 * decoded / rounds;
    state.counters["encode/build"] = encoded / built;
    state.counters["encode_limit"] = encodeLimit;
    state.counters["decode/build"] = decoded / built;
    state.counters["decode_limit"] = decodeLimit;
}
BENCHMARK(recordsRatio)->Name("RecordsRatio")->Unit(benchmark::kMillisecond);

} // namespace
