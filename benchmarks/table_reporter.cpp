// SPDX-License-Identifier: BSD-2-Clause
#include "table_reporter.h"

#include <algorithm>
#include <cstdio>
#include <ostream>

#include "machine_limits.h"
#include "processor_name.h"

namespace ryxsc::bench {

namespace {

using Run = benchmark::BenchmarkReporter::Run;

std::string number(double value, int decimals) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

std::string giga(Limit limit) {
    return number(perSecond(limit) * 1e-9, 1);
}

double nanoseconds(const Run &run) {
    return run.GetAdjustedCPUTime() * 1e9 / benchmark::GetTimeUnitMultiplier(run.time_unit);
}

// Where only aggregates are reported, the median is the best that is left.
const Run *fastest(const std::vector<Run> &runs) {
    const Run *best = nullptr;
    for (const Run &run : runs) {
        if (run.run_type == Run::RT_Aggregate && run.aggregate_name != "median") continue;
        if (!best || nanoseconds(run) < nanoseconds(*best)) best = &run;
    }
    return best;
}

std::string counter(const Run &run, const char *name, int decimals) {
    const auto found = run.counters.find(name);
    return found == run.counters.end() ? "-" : number(found->second.value, decimals);
}

std::string alignRight(const std::string &text, size_t width) {
    return std::string(width - std::min(width, text.size()), ' ') + text;
}

std::string alignLeft(const std::string &text, size_t width) {
    return text + std::string(width - std::min(width, text.size()), ' ');
}

// The cells of a row or of the heading.
std::string row(size_t nameWidth, const std::string &name, const std::string &u8, const std::string &n8,
                const std::string &realTime, const std::string &cycles, const std::string &unit,
                const std::string &percent) {
    return alignLeft(name, nameWidth) + alignRight(u8, 12) + alignRight(n8, 12) + alignRight(realTime, 14) +
           alignRight(cycles, 13) + "  " + alignLeft(unit, 8) + alignRight(percent, 11) + '\n';
}

} // namespace

bool TableReporter::ReportContext(const Context &context) {
    nameWidth_ = context.name_field_width;
    std::ostream &out = GetOutputStream();
#ifndef __OPTIMIZE__
    out << "Built without optimisation: the times mean nothing.\n";
#endif
    out << processorName() << ", about " << number(perSecond(Limit::cycles) * 1e-9, 2) << " GHz\n"
        << "One core per second: " << giga(Limit::multiplyAddsWithLoads) << " G multiply-adds of 16 bits ("
        << giga(Limit::multiplyAdds) << " without loads), " << giga(Limit::roundedProducts) << " G rounded products, "
        << giga(Limit::floatMultiplyAdds) << " G float multiply-adds\n"
        << "Times of the fastest repetition; \"=\": both variants run the same code\n\n"
        << row(nameWidth_, "case", "u8 ns/call", "n8 ns/call", "x real time", "cycles/unit", "unit", "% of limit")
        << std::flush;
    return true;
}

void TableReporter::ReportRuns(const std::vector<Run> &runs) {
    const Run *run = fastest(runs);
    if (!run || run->run_name.str() == reported_) return; // aggregates follow their repetitions
    reported_ = run->run_name.str();
    Result result{run->run_name.str(), "", *run};
    const size_t slash = result.name.rfind('/');
    if (const std::string last = result.name.substr(slash + 1); last == "u8" || last == "n8") {
        result.name.resize(slash);
        result.suffix = last;
    }

    if (result.suffix == "n8" && waiting_ && waiting_->name == result.name) {
        printRow(*waiting_, number(nanoseconds(*run), 1));
        waiting_.reset();
        return;
    }
    printWaiting();
    if (result.suffix == "u8")
        waiting_ = result;
    else
        printRow(result, result.suffix == "n8" ? number(nanoseconds(*run), 1) : "=");
}

// A u8 result without its counterpart: a filter left that out.
void TableReporter::printWaiting() {
    if (waiting_) printRow(*waiting_, "-");
    waiting_.reset();
}

void TableReporter::printRow(const Result &result, const std::string &n8Time) {
    const Run &run = result.run;
    const std::string u8Time = result.suffix == "n8" ? "-" : number(nanoseconds(run), 1);
    GetOutputStream() << row(nameWidth_, result.name, u8Time, n8Time, counter(run, "times_real_time", 0),
                             counter(run, "cycles_per_unit", 3), run.report_label, counter(run, "percent_of_limit", 0))
                      << std::flush;
}

} // namespace ryxsc::bench
