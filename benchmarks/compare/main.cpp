// SPDX-License-Identifier: BSD-2-Clause
// ryxsc_compare: the codecs of ryxcodec beside free codecs for the same job.
#include <algorithm>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>
#include <string_view>

#include "report.h"

using namespace ryxsc::compare;

namespace {

constexpr char usage[] = R"(Usage: ryxsc_compare [OPTIONS]

Measures every codec and rate of ryxcodec beside the free codecs that this program was built with.

  --codec NAME        this codec only; may be repeated
  --rate R            this rate only, as 'ryxcodec list' names it; may be repeated
  --dtx               with discontinuous transmission, codecs that have it only
  --own               ryxcodec alone
  --seconds S         so much of the speech (8)
  --repetitions N     so many runs of each (12)
  --json FILE         write the results to FILE too
)";

struct Options {
    std::vector<std::string_view> codecs, rates;
    bool dtx = false;
    Effort effort;
    const char *json = nullptr;
};

double positive(std::string_view option, const char *text) {
    char *end = nullptr;
    const double value = std::strtod(text, &end);
    if (*end != '\0' || !(value > 0) || value > 1e6)
        throw std::runtime_error(std::string(option) + " takes a positive number, not '" + text + "'");
    return value;
}

bool parse(int argc, char **argv, Options &options) {
    for (int i = 1; i < argc; i++) {
        const std::string_view option = argv[i];
        const auto value = [&] {
            if (++i == argc) throw std::runtime_error(std::string(option) + " needs a value");
            return argv[i];
        };
        if (option == "--help" || option == "-h") return false;
        if (option == "--codec")
            options.codecs.emplace_back(value());
        else if (option == "--rate")
            options.rates.emplace_back(value());
        else if (option == "--dtx")
            options.dtx = true;
        else if (option == "--own")
            options.effort.others = false;
        else if (option == "--seconds")
            options.effort.seconds = positive(option, value());
        else if (option == "--repetitions")
            options.effort.repetitions = static_cast<int>(positive(option, value()) + 0.5);
        else if (option == "--json")
            options.json = value();
        else
            throw std::runtime_error("unknown option " + std::string(option));
    }
    return true;
}

bool isWanted(const std::vector<std::string_view> &wanted, std::string_view name) {
    return wanted.empty() || std::find(wanted.begin(), wanted.end(), name) != wanted.end();
}

void run(const Options &options) {
    for (const std::string_view name : options.codecs)
        if (ryxcodecFind(std::string(name).c_str()) == nullptr)
            throw std::runtime_error("there is no codec " + std::string(name));
    std::FILE *json = options.json == nullptr ? nullptr : std::fopen(options.json, "w");
    if (options.json != nullptr && json == nullptr)
        throw std::runtime_error("cannot write " + std::string(options.json));

    std::vector<Result> results;
    for (int index = 0; const ryxCodec *codec = ryxcodecAt(index); index++) {
        if (!isWanted(options.codecs, codec->name)) continue;
        if (options.dtx && (codec->features & ryxCodecDtx) == 0) continue;
        bool first = true;
        for (int rate = 0; rate < codec->rateCount; rate++) {
            if (!isWanted(options.rates, codec->rates[rate].name)) continue;
            results.push_back(measure({*codec, codec->rates[rate], options.dtx}, options.effort));
            printRows(results.back(), first);
            first = false;
        }
    }
    if (results.empty()) throw std::runtime_error("nothing to measure: no codec has that rate or feature");
    printLegend();
    if (json != nullptr) {
        writeJson(json, results);
        if (std::fclose(json) != 0) throw std::runtime_error("cannot write " + std::string(options.json));
    }
}

} // namespace

int main(int argc, char **argv) {
    try {
        Options options;
        if (!parse(argc, argv, options)) {
            std::fputs(usage, stdout);
            return 0;
        }
        run(options);
    } catch (const std::exception &failure) {
        std::fprintf(stderr, "ryxsc_compare: %s\n", failure.what());
        return 1;
    }
    return 0;
}
