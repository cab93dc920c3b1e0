// The cost of TypeCodes and Anys: a struct with 20 members of 5 types. Each figure comes with the number of
// allocations per iteration.

#include "allocations.h"
#include "marshal/any/any_access.h"

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

using namespace harbolance;

namespace {

// Four times: a long, a double, a string, an enum and a sequence of that enum.
CORBA_TypeCode_var makeType() {
    TypeCodeAccess::startUp();
    static const char* const enumerators[] = {"red", "green", "blue"};
    const CORBA_TypeCode_var colour = new CORBA_TypeCode("IDL:Colour:1.0", "Colour", enumerators, false);
    const CORBA_TypeCode_var colours = new CORBA_TypeCode(tk_sequence, 0, colour, false);
    CORBA_TypeCode* const types[] = {_tc_long, _tc_double, _tc_string, colour, colours};
    std::vector<std::string> names;
    for (int i = 0; i < 20; ++i)
        names.push_back("member" + std::to_string(i));
    std::vector<TRXStructMember> members;
    for (size_t i = 0; i < 20; ++i)
        members.push_back({names[i].c_str(), types[i % 5]});
    return new CORBA_TypeCode(tk_struct, "IDL:Record:1.0", "Record", members, false);
}

CORBA_Any makeAny() {
    const CORBA_TypeCode_var type = makeType();
    CORBA_MarshalOutBuffer value(255);
    for (CORBA_ULong i = 0; i < 4; ++i)
        value << CORBA_Long{1} << CORBA_Double{2} << "sixteen letters!" << i % 3 << CORBA_ULong{2} << i % 3
              << CORBA_ULong{0};
    return CORBA_Any(type, value);
}

class Turns {
public:
    explicit Turns(benchmark::State& state) : _state(state), _before(allocationCount()) {}
    ~Turns() {
        _state.counters["allocations"] =
            static_cast<double>(allocationCount() - _before) / static_cast<double>(_state.iterations());
    }

private:
    benchmark::State& _state;
    uint64_t _before;
};

void BM_TypeCodeWrite(benchmark::State& state) {
    const CORBA_TypeCode_var type = makeType();
    CORBA_MarshalOutBuffer out(4096);
    const Turns turns(state);
    for (auto _ : state) {
        out.rewind();
        out << type.in();
        benchmark::DoNotOptimize(out.data());
    }
    state.counters["octets"] = out.offset();
}
BENCHMARK(BM_TypeCodeWrite);

void BM_TypeCodeRead(benchmark::State& state) {
    const CORBA_TypeCode_var type = makeType();
    CORBA_MarshalOutBuffer out(4096);
    out << type.in();
    CORBA_MarshalInBuffer in(out.data(), out.offset());
    const Turns turns(state);
    for (auto _ : state) {
        in.rewind();
        CORBA_TypeCode_var read;
        in >> read.inout();
        benchmark::DoNotOptimize(read.in());
    }
}
BENCHMARK(BM_TypeCodeRead);

void BM_TypeCodeCompare(benchmark::State& state) {
    const CORBA_TypeCode_var a = makeType();
    const CORBA_TypeCode_var b = makeType();
    const Turns turns(state);
    for (auto _ : state)
        benchmark::DoNotOptimize(a->equal(b));
}
BENCHMARK(BM_TypeCodeCompare);

void BM_AnyCopy(benchmark::State& state) {
    const CORBA_Any any = makeAny();
    const Turns turns(state);
    for (auto _ : state) {
        const CORBA_Any copy(any);
        benchmark::DoNotOptimize(copy.value());
    }
}
BENCHMARK(BM_AnyCopy);

void BM_AnyWrite(benchmark::State& state) {
    const CORBA_Any any = makeAny();
    CORBA_MarshalOutBuffer out(4096);
    const Turns turns(state);
    for (auto _ : state) {
        out.rewind();
        out << any;
        benchmark::DoNotOptimize(out.data());
    }
}
BENCHMARK(BM_AnyWrite);

void BM_AnyRead(benchmark::State& state) {
    const CORBA_Any any = makeAny();
    CORBA_MarshalOutBuffer out(4096);
    out << any;
    CORBA_MarshalInBuffer in(out.data(), out.offset());
    const Turns turns(state);
    for (auto _ : state) {
        in.rewind();
        CORBA_Any read;
        in >> read;
        benchmark::DoNotOptimize(read.value());
    }
}
BENCHMARK(BM_AnyRead);

// The value alone, as dynamic requests write and read it.
void BM_ValueWrite(benchmark::State& state) {
    const CORBA_Any any = makeAny();
    CORBA_MarshalOutBuffer out(4096);
    const Turns turns(state);
    for (auto _ : state) {
        out.rewind();
        any.write_value(out);
        benchmark::DoNotOptimize(out.data());
    }
    state.counters["octets"] = out.offset();
}
BENCHMARK(BM_ValueWrite);

void BM_ValueRead(benchmark::State& state) {
    const CORBA_Any any = makeAny();
    CORBA_MarshalOutBuffer out(4096);
    any.write_value(out);
    CORBA_MarshalInBuffer in(out.data(), out.offset());
    CORBA_Any read;
    const Turns turns(state);
    for (auto _ : state) {
        in.rewind();
        read.read_value(in, AnyAccess::type(any));
        benchmark::DoNotOptimize(read.value());
    }
}
BENCHMARK(BM_ValueRead);

} // namespace
