// The cost of parsing definitions and making their model, for 10,000 and 100,000 lines, compared with the
// preprocessor alone on the same lines. Both are in milliseconds of processor time and run alternately, so
// that they see the same machine; each figure is the best of its rounds.

#include "model/reader.h"
#include "syntax/preprocessor.h"

#include <benchmark/benchmark.h>

#include <malloc.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

constexpr int linesOfModule = 25;
constexpr int smallLines = 10'000;
constexpr int largeLines = 100'000;
constexpr double preprocessorLimit = 3;
constexpr double growthLimit = 12; // for ten times the lines
constexpr int rounds = 7;

// A typical definition: modules with several kinds of declarations, each used by the next module.
std::string module(int number) {
    const std::string name = "Unit" + std::to_string(number);
    const std::string before = number == 0 ? "Unit0" : "Unit" + std::to_string(number - 1);
    return "// Accounts, part " + std::to_string(number) +
           ".\n"
           "module " +
           name +
           " {\n"
           "    enum Kind { savings, current, business };\n"
           "    const unsigned long limit = (1 << 8) + " +
           std::to_string(number) +
           ";\n"
           "    // One account and what moved on it.\n"
           "    struct Account {\n"
           "        string<16> number;\n"
           "        double balance, reserved;\n"
           "        Kind type;\n"
           "    };\n"
           "    typedef sequence<Account> Accounts;\n"
           "    typedef long Months[12];\n"
           "    union Change switch (Kind) {\n"
           "        case savings: double interest;\n"
           "        case current: case business: " +
           before +
           "::Account other;\n"
           "    };\n"
           "    exception Refused { string reason; unsigned long code; };\n"
           "    interface Bank {\n"
           "        readonly attribute Accounts all;\n"
           "        attribute string owner;\n"
           "        Account open(in Kind type, in string<16> number) raises (Refused);\n"
           "        void move(in " +
           name +
           "::Account from, inout Account to, out Months spread);\n"
           "        oneway void forget(in unsigned long long number);\n"
           "    };\n"
           "};\n";
}

// A file with so many lines, which is removed with this object.
class DefinitionFile {
public:
    explicit DefinitionFile(int lines) {
        char name[] = "/tmp/definitions_bench_XXXXXX";
        folder_ = mkdtemp(name);
        path_ = folder_ + "/large.idl";
        std::ofstream file(path_);
        for (int i = 0; i < lines / linesOfModule; ++i)
            file << module(i);
    }
    ~DefinitionFile() {
        std::error_code ignored; // a folder that remains does not affect the measurement
        std::filesystem::remove_all(folder_, ignored);
    }
    DefinitionFile(const DefinitionFile&) = delete;
    DefinitionFile& operator=(const DefinitionFile&) = delete;
    const std::string& path() const { return path_; }

private:
    std::string folder_;
    std::string path_;
};

double processorMilliseconds(int who) {
    rusage usage{};
    getrusage(who, &usage);
    const auto milliseconds = [](const timeval& time) {
        return 1e3 * static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e3;
    };
    return milliseconds(usage.ru_utime) + milliseconds(usage.ru_stime);
}

struct Figures {
    double preprocessor = 1e9;
    double reading = 1e9;
    bool understood = true;

    explicit Figures(int lines) {
        const DefinitionFile file(lines);
        for (int round = 0; round < rounds && understood; ++round) {
            const double children = processorMilliseconds(RUSAGE_CHILDREN);
            std::optional<std::string> text = harbidl::preprocessed(file.path(), {}, {});
            preprocessor = std::min(preprocessor, processorMilliseconds(RUSAGE_CHILDREN) - children);
            if (!text) {
                understood = false;
                return;
            }
            malloc_trim(0); // the compiler also starts without free memory
            const double own = processorMilliseconds(RUSAGE_SELF);
            const auto result = harbidl::Reading::of(std::move(*text), file.path());
            reading = std::min(reading, processorMilliseconds(RUSAGE_SELF) - own);
            understood = !result->diagnostics.failed();
        }
    }
};

void definitions(benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state) {
        const Figures small(smallLines);
        const Figures large(largeLines);
        if (!small.understood || !large.understood) {
            state.SkipWithError("the definitions were not understood");
            return;
        }
        state.counters["preprocessor_ms"] = small.preprocessor;
        state.counters["reading_ms"] = small.reading;
        state.counters["reading/preprocessor"] = small.reading / small.preprocessor;
        state.counters["preprocessor_limit"] = preprocessorLimit;
        state.counters["ten_times/once"] = large.reading / small.reading;
        state.counters["growth_limit"] = growthLimit;
    }
}
BENCHMARK(definitions)->Name("DefinitionsRatio")->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace
