// SPDX-License-Identifier: BSD-2-Clause
// ryxsc_g168: all runs of the tests of ITU-T G.168 with the echo canceller of ryxecho, and beside it that of speexdsp.
#include <algorithm>
#include <cstdio>
#include <exception>
#include <map>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "g168/tests.h"

#ifdef RYXSC_HAVE_SPEEXDSP
#include "lib/speex_canceller.h"
#endif

using namespace g168;

namespace {

constexpr char usage[] = R"(Usage: ryxsc_g168 [OPTIONS]

Runs the tests of ITU-T G.168 with every echo path, level and return loss.

  --test NAME    this test only (2A, 2B, ...)
  --own          ryxecho alone
  --runs         every run, not only the worst of each test
)";

#ifdef RYXSC_HAVE_SPEEXDSP
// Cannot be frozen: it goes on learning where the others are measured.
class Speex : public Canceller {
public:
    explicit Speex(Suppression suppression) : canceller_(rate, blockLength, 512, suppression != Suppression::off) {}
    void process(const int16_t *far, const int16_t *near, int16_t *output) override {
        canceller_.process(far, near, output);
    }
    void freeze() override {}

private:
    SpeexCanceller canceller_;
};
#endif

struct Candidate {
    const char *name;
    MakeCanceller make;
};

std::vector<Candidate> candidates(bool ownOnly) {
    std::vector<Candidate> all = {{"ours, 8 ms", ourCanceller(64)}, {"ours, 16 ms", ourCanceller(128)}};
    if (ownOnly) return all;
#ifdef RYXSC_HAVE_SPEEXDSP
    all.push_back({"speexdsp", [](Suppression suppression) { return std::make_unique<Speex>(suppression); }});
#else
    std::printf("speexdsp is not there (Debian package: libspeexdsp-dev)\n");
#endif
    return all;
}

struct Summary {
    double worst = 1e9;
    int runs = 0, failed = 0;

    void add(double margin) {
        worst = std::min(worst, margin);
        runs++;
        failed += margin < 0;
    }
};

std::string text(const Run &run) {
    char line[120];
    std::snprintf(line, sizeof line, "D.%zu, %.0f dBm0, ERL %.0f dB, delay %.0f ms, offset %.0f", run.path + 2,
                  run.level, run.returnLoss, run.delay, run.offset);
    return line;
}

// The margins of one canceller in all runs of a test, by what was measured.
std::vector<std::pair<std::string, Summary>> measure(const Tables &tables, const Test &test, const Candidate &candidate,
                                                     bool everyRun) {
    std::vector<std::pair<std::string, Summary>> summaries;
    for (const Run &run : test.runs)
        for (const Margin &margin : test.measure(tables, candidate.make, run)) {
            auto place = std::find_if(summaries.begin(), summaries.end(),
                                      [&](const auto &summary) { return summary.first == margin.test; });
            if (place == summaries.end()) place = summaries.insert(place, {margin.test, {}});
            place->second.add(margin.decibels);
            if (everyRun)
                std::printf("  %-12s %-38s %-50s %6.1f\n", candidate.name, margin.test.c_str(), text(run).c_str(),
                            margin.decibels);
        }
    return summaries;
}

int run(int argc, char **argv) {
    std::string_view only;
    bool ownOnly = false, everyRun = false;
    for (int i = 1; i < argc; i++) {
        const std::string_view option = argv[i];
        if (option == "--help" || option == "-h") return std::fputs(usage, stdout), 0;
        if (option == "--own")
            ownOnly = true;
        else if (option == "--runs")
            everyRun = true;
        else if (option == "--test" && i + 1 < argc)
            only = argv[++i];
        else
            throw std::runtime_error("unknown option, or none for it: " + std::string(option));
    }
    const Tables tables(RYXSC_G168_TABLES);
    const std::vector<Candidate> cancellers = candidates(ownOnly);
    std::printf("Smallest margin to the limit in dB (below 0: failed), failed runs of all\n%-44s", "");
    for (const Candidate &candidate : cancellers)
        std::printf("  %-16s", candidate.name);
    std::printf("\n");
    int ownFailures = 0;
    for (const Test &test : allTests(true)) {
        if (!only.empty() && test.name != only) continue;
        std::vector<std::vector<std::pair<std::string, Summary>>> columns;
        for (const Candidate &candidate : cancellers)
            columns.push_back(measure(tables, test, candidate, everyRun));
        const std::string suffix = test.name.size() > 2 ? test.name.substr(2) : "";
        for (size_t row = 0; row < columns[0].size(); row++) {
            std::printf("%-44s", (columns[0][row].first + suffix).c_str());
            for (size_t i = 0; i < columns.size(); i++) {
                const Summary &summary = columns[i][row].second;
                std::printf("  %6.1f, %2d/%-6d", summary.worst, summary.failed, summary.runs);
                if (i < 2) ownFailures += summary.failed;
            }
            std::printf("\n");
            std::fflush(stdout);
        }
    }
    if (!ownOnly && cancellers.size() > 2)
        std::printf("speexdsp cannot be frozen: in 2C, 3A, 3B, 4 and 6 it goes on learning while it is measured.\n");
    return ownFailures > 0;
}

} // namespace

int main(int argc, char **argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception &failure) {
        std::fprintf(stderr, "ryxsc_g168: %s\n", failure.what());
        return 2;
    }
}
