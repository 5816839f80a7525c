// SPDX-License-Identifier: BSD-2-Clause
#include "report.h"

#include <algorithm>
#include <cmath>
#include <string>

namespace ryxsc::compare {

namespace {

constexpr int columnWidth = 25;

// The other libraries' columns of a codec, whatever the rate and direction.
std::vector<const Library *> columns(const Result &result) {
    std::vector<const Library *> found;
    for (const Comparison *comparison : {&result.encode, &result.decode})
        for (const Outcome &outcome : comparison->others)
            if (std::find(found.begin(), found.end(), outcome.library) == found.end()) found.push_back(outcome.library);
    return found;
}

std::string number(double value) {
    char text[32];
    std::snprintf(text, sizeof text, value < 99.95 ? "%.1f" : "%.0f", value);
    return text;
}

std::string cell(const Outcome &outcome) {
    if (!outcome.library->present()) return std::string("no ") + outcome.library->package;
    if (!outcome.available) return "refuses";
    std::string text = number(outcome.timesRealTime) + " x ";
    if (outcome.equal) return text + "equal";
    // A difference of decoded speech has a size, one of streams has not.
    return text + (outcome.ratioDb != 0 ? number(outcome.ratioDb) + " dB" : "differs");
}

void printRow(const Result &result, const Comparison &comparison, const std::vector<const Library *> &libraries) {
    const bool encode = comparison.direction == Direction::encode;
    std::printf("  %6s %s  %-6s %9s x", result.job.rate.name, result.job.dtx ? "dtx" : "   ",
                encode ? "encode" : "decode", number(comparison.own.timesRealTime).c_str());
    if (const Outcome *best = comparison.fastest(); best != nullptr)
        std::printf(" %8.2f", comparison.own.timesRealTime / best->timesRealTime);
    else
        std::printf(" %8s", "-");
    if (encode)
        std::printf(" %9s", "");
    else
        std::printf(" %9.0f", result.channels());
    for (const Library *library : libraries) {
        const auto outcome = std::find_if(comparison.others.begin(), comparison.others.end(),
                                          [=](const Outcome &other) { return other.library == library; });
        std::printf("  %-*s", columnWidth, outcome == comparison.others.end() ? "-" : cell(*outcome).c_str());
    }
    std::printf("\n");
}

const char *text(Direction direction) {
    return direction == Direction::encode ? "encode" : "decode";
}

void writeOutcome(std::FILE *file, const Outcome &outcome, bool isOwn) {
    std::fprintf(file, "{\"library\": \"%s\"", outcome.library->name);
    if (!outcome.available) {
        std::fprintf(file, ", \"available\": false}");
        return;
    }
    std::fprintf(file, ", \"available\": true, \"times_real_time\": %.3f", outcome.timesRealTime);
    if (!isOwn) {
        std::fprintf(file, ", \"equal\": %s", outcome.equal ? "true" : "false");
        if (!outcome.equal && std::isfinite(outcome.ratioDb) && outcome.ratioDb != 0)
            std::fprintf(file, ", \"signal_to_difference_db\": %.2f", outcome.ratioDb);
    }
    std::fprintf(file, "}");
}

void writeComparison(std::FILE *file, const Result &result, const Comparison &comparison) {
    std::fprintf(
        file,
        "    {\"codec\": \"%s\", \"rate\": \"%s\", \"bits_per_second\": %d, \"dtx\": %s, \"direction\": \"%s\",\n",
        result.job.codec.name, result.job.rate.name, result.job.rate.bitsPerSecond, result.job.dtx ? "true" : "false",
        text(comparison.direction));
    std::fprintf(file, "     \"own\": ");
    writeOutcome(file, comparison.own, true);
    if (const Outcome *best = comparison.fastest(); best != nullptr)
        std::fprintf(file, ", \"best_other\": \"%s\", \"ratio\": %.3f", best->library->name, comparison.ratio());
    if (result.yardstick > 0) std::fprintf(file, ", \"libgsm_gsm_fr_encode\": %.3f", result.yardstick);
    std::fprintf(file, ", \"channels_per_core\": %.1f,\n     \"others\": [", result.channels());
    for (size_t i = 0; i < comparison.others.size(); i++) {
        if (i > 0) std::fprintf(file, ", ");
        writeOutcome(file, comparison.others[i], false);
    }
    std::fprintf(file, "]}");
}

} // namespace

void printRows(const Result &result, bool firstOfCodec) {
    const std::vector<const Library *> libraries = columns(result);
    if (firstOfCodec) {
        std::printf("\n%s: %s\n  kbit/s                ryxcodec    ratio  channels", result.job.codec.name,
                    result.job.codec.title);
        for (const Library *library : libraries)
            std::printf("  %-*s", columnWidth, library->name);
        std::printf("\n");
    }
    printRow(result, result.encode, libraries);
    printRow(result, result.decode, libraries);
    if (result.yardstick > 0)
        std::printf("          to libgsm's encoder of GSM full rate in the same run, %s x: %.2f encode, %.2f decode\n",
                    number(result.yardstick).c_str(), result.encode.own.timesRealTime / result.yardstick,
                    result.decode.own.timesRealTime / result.yardstick);
    std::fflush(stdout);
}

void printLegend() {
    std::printf(
        "\nTimes real time on one core. ratio: ryxcodec to the fastest of the others. channels: calls that a core\n"
        "keeps up with, an encoder and a decoder each. equal: the stream, or the decoded samples of ryxcodec's\n"
        "stream, are those of ryxcodec; otherwise 'differs', or how far the difference lies below the speech.\n");
}

void writeJson(std::FILE *file, const std::vector<Result> &results) {
    std::fprintf(file, "{\n  \"libraries\": {");
    const char *separator = "";
    for (const Library *library : others) {
        std::fprintf(file, "%s\"%s\": %s", separator, library->name, library->present() ? "true" : "false");
        separator = ", ";
    }
    std::fprintf(file, "},\n  \"results\": [\n");
    separator = "";
    for (const Result &result : results)
        for (const Comparison *comparison : {&result.encode, &result.decode}) {
            std::fprintf(file, "%s", separator);
            writeComparison(file, result, *comparison);
            separator = ",\n";
        }
    std::fprintf(file, "\n  ]\n}\n");
}

} // namespace ryxsc::compare
