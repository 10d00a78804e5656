// One fuzzing target: the inputs it starts from and what it does with one
// input. Each fuzz_*.cpp file defines fuzzTarget() and is linked with the
// mutation driver (FuzzDriver.cpp) into its own program; see CMakeLists.txt.
//
// run() must return normally for every input, however malformed; a crash,
// a sanitizer report, an abort on a broken promise or a hang (the driver's
// per-input time limit) is a finding.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

struct FuzzTarget {
    const char* name;
    // Valid or nearly valid inputs that mutations start from.
    std::vector<std::vector<uint8_t>> (*seeds)();
    void (*run)(const uint8_t* data, size_t size);
    // Tokens of the input's language that mutations splice in; may be empty.
    std::span<const char* const> dictionary = {};
};

const FuzzTarget& fuzzTarget();
