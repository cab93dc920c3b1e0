// Measures calls: bench-echo-client REFERENCE CASE COUNT
//
// Warms up with COUNT / 10 + 1 calls, or as many as BENCH_WARM in the environment says, makes COUNT calls and
// prints one line: case= count= sec= client_cpu_us= (user and system time of one call) client_rss_kb=
// (resident memory afterwards). The exit status is 1 when an answer is wrong. Cases:
//
//     null    no arguments, no result
//     echo1k  1,024 octets there and back
//     structs 1,000 structs there and back, every field read
//     sink1m  1,048,576 octets in, no result
//     oneway  COUNT one-way calls, then one two-way call
//     pipe64  64 requests outstanding
//     first   one call without warm-up; first_ms= from the time in BENCH_T0 (seconds of the wall clock, as
//             `date +%s.%N` prints it) to its answer

#include "bench_echo_stub.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>

namespace {

void check(bool right) {
    if (!right)
        throw std::runtime_error("wrong answer");
}

BenchEcho::Octets octets(CORBA::ULong count) {
    BenchEcho::Octets result;
    result.length(count);
    for (CORBA::ULong i = 0; i < count; ++i)
        result[i] = static_cast<CORBA::Octet>(i);
    return result;
}

// Each function makes `count` calls.
class Cases {
public:
    explicit Cases(BenchEcho::Echo_ptr echo) : echo_(echo) {}

    void null(int count) {
        for (int i = 0; i < count; ++i)
            echo_->null();
    }

    void echo1k(int count) {
        const BenchEcho::Octets data = octets(1024);
        for (int i = 0; i < count; ++i) {
            const BenchEcho::Octets_var result = echo_->give(data);
            check(result->length() == data.length() && result[1023u] == data[1023]);
        }
    }

    void structs(int count) {
        BenchEcho::Items items;
        items.length(1000);
        for (CORBA::ULong i = 0; i < items.length(); ++i)
            items[i] = {static_cast<CORBA::Long>(i), i * 0.5, "sixteen letters!"};
        for (int i = 0; i < count; ++i) {
            echo_->turn(items);
            CORBA::Long number = 0;
            for (const BenchEcho::Item& item : items)
                check(item.id == number++ && item.value == item.id * 0.5 && item.name[0] == 's');
            check(number == 1000);
        }
    }

    void sink1m(int count) {
        const BenchEcho::Octets data = octets(1 << 20);
        for (int i = 0; i < count; ++i)
            echo_->take(data);
    }

    void oneway(int count) {
        const CORBA::Long before = echo_->posted();
        for (int i = 0; i < count; ++i)
            echo_->post(1);
        check(echo_->posted() - before == count);
    }

    void pipe64(int count) {
        // Binds the stub first, since the server may forward it; the measured operations would otherwise have
        // to be repeated.
        echo_->null();
        TRXStubInfo& stub = *TRXStubInfo::of(echo_);
        std::array<CORBA::MarshalOutBuffer_var, 64> window;
        for (int left = count; left > 0;) {
            const size_t outstanding = std::min<size_t>(static_cast<size_t>(left), window.size());
            left -= static_cast<int>(outstanding);
            for (size_t i = 0; i < outstanding; ++i) {
                window[i] = stub.create_request("null", 1);
                stub.send(window[i], 1);
            }
            for (size_t i = 0; i < outstanding; ++i)
                CORBA::MarshalInBuffer_var(stub.receive_reply(window[i]));
        }
    }

private:
    BenchEcho::Echo_ptr echo_;
};

using Case = void (Cases::*)(int);
constexpr std::pair<const char*, Case> cases[] = {{"null", &Cases::null},       {"echo1k", &Cases::echo1k},
                                                  {"structs", &Cases::structs}, {"sink1m", &Cases::sink1m},
                                                  {"oneway", &Cases::oneway},   {"pipe64", &Cases::pipe64},
                                                  {"first", &Cases::null}};

Case caseOf(const std::string& name) {
    const auto found =
        std::find_if(std::begin(cases), std::end(cases), [&](auto& one) { return name == one.first; });
    return found == std::end(cases) ? nullptr : found->second;
}

double cpuMicroseconds() {
    rusage used{};
    ::getrusage(RUSAGE_SELF, &used);
    const auto microseconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_usec);
    };
    return microseconds(used.ru_utime) + microseconds(used.ru_stime);
}

long residentKilobytes() {
    long pages = 0;
    if (std::FILE* file = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(file, "%*d %ld", &pages) != 1)
            pages = 0;
        std::fclose(file);
    }
    return pages * (::sysconf(_SC_PAGESIZE) / 1024);
}

void measure(Cases& all, const std::string& name, int count) {
    const Case one = caseOf(name);
    const bool first = name == "first";
    const char* const told = std::getenv("BENCH_WARM");
    const int warm = first ? 0 : told ? std::atoi(told) : count / 10 + 1;
    if (warm > 0)
        std::invoke(one, all, warm);
    using Clock = std::chrono::steady_clock;
    const double cpu = cpuMicroseconds();
    const auto begin = Clock::now();
    std::invoke(one, all, first ? 1 : count);
    const std::chrono::duration<double> taken = Clock::now() - begin;
    std::printf("case=%s count=%d sec=%.6f client_cpu_us=%.3f client_rss_kb=%ld", name.c_str(), count,
                taken.count(), (cpuMicroseconds() - cpu) / count, residentKilobytes());
    if (first) {
        const char* const start = std::getenv("BENCH_T0");
        const std::chrono::duration<double> now = std::chrono::system_clock::now().time_since_epoch();
        std::printf(" first_ms=%.3f", start ? (now.count() - std::atof(start)) * 1e3 : 0.0);
    }
    std::printf("\n");
}

} // namespace

int main(int argc, char** argv) {
    try {
        const CORBA::ORB_var orb = CORBA::ORB_init(argc, argv);
        const int count = argc == 4 ? std::atoi(argv[3]) : 0;
        if (count < 1 || !caseOf(argv[2])) {
            std::fprintf(stderr, "usage: bench-echo-client REFERENCE CASE COUNT\ncases:");
            for (const auto& one : cases)
                std::fprintf(stderr, " %s", one.first);
            std::fprintf(stderr, "\n");
            return 2;
        }
        const CORBA::Object_var object = orb->string_to_object(argv[1]);
        const BenchEcho::Echo_var echo = BenchEcho::Echo::_narrow(object);
        if (CORBA::is_nil(echo))
            throw std::runtime_error("the reference leads to no echo");
        Cases all(echo);
        measure(all, argv[2], count);
        return 0;
    } catch (const CORBA::Exception& exception) {
        std::fprintf(stderr, "bench-echo-client: %s\n", exception._name());
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "bench-echo-client: %s\n", exception.what());
    }
    return 1;
}
