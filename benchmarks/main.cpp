// SPDX-License-Identifier: BSD-2-Clause
// ryxsc_benchmarks: one readable table, or whatever --benchmark_format and --benchmark_out of Google Benchmark ask for.
#include <benchmark/benchmark.h>

#include <exception>
#include <iostream>
#include <string_view>
#include <vector>

#include "machine_limits.h"
#include "table_reporter.h"

using namespace ryxsc::bench;

namespace {

bool asksForOtherFormat(const std::vector<char *> &arguments) {
    constexpr std::string_view option = "--benchmark_format=";
    std::string_view format = "console";
    for (const std::string_view argument : arguments)
        if (argument.starts_with(option)) format = argument.substr(option.size());
    return format != "console";
}

int run(std::vector<char *> arguments) {
    const bool otherFormat = asksForOtherFormat(arguments);
    auto count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 1;
    benchmark::AddCustomContext("core_clock_hz", std::to_string(perSecond(Limit::cycles)));

    TableReporter table;
    const size_t cases = otherFormat ? benchmark::RunSpecifiedBenchmarks() : benchmark::RunSpecifiedBenchmarks(&table);
    return cases > 0 ? 0 : 1;
}

} // namespace

int main(int argc, char **argv) {
    // Short runs, repeated: the fastest is the one that nobody disturbed. Options of the user come later and win.
    char repetitions[] = "--benchmark_repetitions=9";
    char time[] = "--benchmark_min_time=0.03";
    std::vector<char *> arguments = {argv[0], repetitions, time};
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    try {
        return run(std::move(arguments));
    } catch (const std::exception &failure) {
        std::cerr << "ryxsc_benchmarks: " << failure.what() << '\n';
        return 1;
    }
}
