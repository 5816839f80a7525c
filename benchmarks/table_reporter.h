// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <benchmark/benchmark.h>

#include <optional>
#include <string>
#include <vector>

namespace ryxsc::bench {

// Prints one table: a row per case, the times of both processor variants side by side, the fastest repetition of each.
class TableReporter : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context &context) override;
    void ReportRuns(const std::vector<Run> &runs) override;
    void Finalize() override { printWaiting(); }

private:
    // A case without variants has the suffix "".
    struct Result {
        std::string name, suffix;
        Run run;
    };

    void printWaiting();
    void printRow(const Result &result, const std::string &n8Time);

    size_t nameWidth_ = 0;
    std::string reported_;          // name of the latest run
    std::optional<Result> waiting_; // result of a u8 implementation whose n8 counterpart may follow
};

} // namespace ryxsc::bench
