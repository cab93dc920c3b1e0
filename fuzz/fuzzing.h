#pragma once

// Shared by the fuzz targets. A target is one function of one input; libFuzzer calls it, or the replay driver
// (replay.cpp) in a build without clang.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

// Set by a target that refuses an input as a whole. A file of the corpus whose name begins with "refused-"
// has to be refused.
inline bool inputRefused = false;

// Switched off, because printing complaints costs more than decoding.
inline void silenceComplaints() {
    std::cout.setstate(std::ios::failbit);
    std::cerr.setstate(std::ios::failbit);
}

// Reports a finding by ending the process; the fuzzer keeps the input.
inline void require(bool holds, const char* fact) {
    if (holds)
        return;
    std::fprintf(stderr, "does not hold: %s\n", fact);
    std::abort();
}

// Members of a set are streamed in table order, and members with colliding hashes may change places each
// time.
inline bool mayChangeOrder(std::string_view encoded) {
    return encoded.find("DSSet") != std::string_view::npos ||
           encoded.find("DSDictionary") != std::string_view::npos;
}
