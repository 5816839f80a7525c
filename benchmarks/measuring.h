// SPDX-License-Identifier: BSD-2-Clause
// What a file of benchmark cases needs. A case is a function that sets up its states and hands the call to be timed to
// measure(); a Registration at the end of the file names the cases. Names are paths, family first.
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

#include "machine_limits.h"
#include "ryxsc.h"

namespace ryxsc::bench {

// What one call works through.
struct Workload {
    int inputLength = 0;                        // elements of the input that a call takes
    double seconds = 0;                         // duration of the signal that it processes; 0: no signal
    double units = 1;                           // number of units that cycles are counted for,
    const char *unit = "call";                  // and their name
    double products = 0;                        // multiplications, for kernels that are bound by them,
    Limit limit = Limit::multiplyAddsWithLoads; // and the rate of the machine that bounds them
};

// Attaches the derived figures to a finished run: units_per_second, cycles_per_unit, times_real_time, percent_of_limit.
void report(benchmark::State &run, const Workload &work);

// Throws for an error status: a call that refuses its arguments is fast.
inline void require(ryxStatus status) {
    if (status < 0) throw std::runtime_error("a library call failed with status " + std::to_string(status));
}

// Memory of a state block, of the size that its getter reports.
template <class State> class StateBlock {
public:
    // getSize(arguments..., &size)
    template <class GetSize, class... Arguments> explicit StateBlock(GetSize getSize, Arguments... arguments) {
        int size = 0;
        require(getSize(arguments..., &size));
        bytes_.resize(static_cast<size_t>(size));
    }

    operator State *() { return reinterpret_cast<State *>(bytes_.data()); }

private:
    std::vector<std::byte> bytes_;
};

// Times call(block) while the blocks rotate over the whole input, since repeated input teaches the branch predictor.
// The call returns a status.
template <class Element, class Call>
void measure(benchmark::State &run, const Workload &work, const std::vector<Element> &input, Call call) {
    const auto length = static_cast<size_t>(work.inputLength);
    const Element *const end = input.data() + input.size() / length * length;
    const Element *block = input.data();
    ryxStatus statuses = ryxStsOk; // negative as soon as one is
    for (auto _ : run) {
        statuses |= call(block);
        benchmark::ClobberMemory();
        block += length;
        if (block == end) block = input.data();
    }
    require(statuses);
    report(run, work);
}

// Runs a function that adds cases, before main().
struct Registration {
    explicit Registration(void (*addCases)()) { addCases(); }
};

// Adds the case function(run, arguments...).
template <class Case, class... Arguments>
void addCase(const std::string &name, Case function, const Arguments &...arguments) {
    benchmark::RegisterBenchmark(name.c_str(), function, arguments...);
}

// Adds function(run, implementation) for the two implementations of an export; they share a row of the table.
template <class Case, class Implementation>
void addVariants(const std::string &name, Case function, Implementation *u8, Implementation *n8) {
    addCase(name + "/u8", function, u8);
    addCase(name + "/n8", function, n8);
}

} // namespace ryxsc::bench
