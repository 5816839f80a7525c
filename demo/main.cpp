// SPDX-License-Identifier: BSD-2-Clause
// Runs recorded speech through complete codecs and writes a report with pictures and recordings.
#include <array>
#include <cstdio>
#include <getopt.h>
#include <optional>
#include <string>

#include "benchmarks/processor_name.h"
#include "gnuplot.h"
#include "lib/failure.h"
#include "report.h"
#include "speech.h"

#define SECTION(name) void name##Section(const Speech &speech, Report &report);
#include "sections.def"
#undef SECTION

namespace {

constexpr auto sections = std::to_array<void (*)(const Speech &, Report &)>({
#define SECTION(name) name##Section,
#include "sections.def"
#undef SECTION
});

constexpr char help[] = "Usage: ryxsc_demo OUTPUT [--speech FOLDER]\n"
                        "\n"
                        "Runs recorded speech through complete codecs, prints how good and how fast they are, and\n"
                        "writes OUTPUT/report.html with pictures and recordings. The folder OUTPUT is created when\n"
                        "it is missing.\n"
                        "\n"
                        "  --speech FOLDER  WAV files of speech (default: the recordings of the Debian package\n"
                        "                   pocketsphinx-testdata)\n"
                        "  --help           this text\n";

struct Arguments {
    std::filesystem::path output;
    std::filesystem::path speech = "/usr/share/pocketsphinx/test/data/librivox";
};

// Nothing when the help was asked for.
std::optional<Arguments> parseArguments(int argc, char **argv) {
    const option options[] = {
        {"speech", required_argument, nullptr, 's'}, {"help", no_argument, nullptr, 'h'}, {nullptr, 0, nullptr, 0}};
    const std::string hint = " (see ryxsc_demo --help)";
    Arguments arguments;
    opterr = 0;
    for (int answer; (answer = getopt_long(argc, argv, ":h", options, nullptr)) != -1;) {
        if (answer == 'h') return std::fputs(help, stdout), std::nullopt;
        if (answer == ':') throw Failure("--speech needs a folder" + hint);
        if (answer == '?') throw Failure("unknown option " + std::string(argv[optind - 1]) + hint);
        arguments.speech = optarg;
    }
    if (optind == argc) throw Failure("the output folder is missing" + hint);
    if (optind + 1 < argc) throw Failure("one argument too many, " + std::string(argv[optind + 1]) + hint);
    arguments.output = argv[optind];
    return arguments;
}

std::vector<std::string> describe(const Speech &speech) {
    return {
        "Speech: " + std::to_string(speech.at16k.list.size()) + " recordings, " + decimal(speech.at16k.seconds(), 1) +
            " s together.",
        "Segmental SNR: mean over 20 ms segments of the ratio of speech to coding error, the codec's delay taken "
        "out. Each ratio is limited to -10..35 dB; segments below -50 dB of full scale are pauses and do not count. "
        "GSM-AMR, AMR-WB and G.729 remove the lowest frequencies, of which these recordings have plenty; that counts "
        "as error.",
        "Times real time: 1000 means that a second of speech takes a millisecond. Measured over all recordings on "
        "one core, the best of several runs, from 16-bit speech to frames and back; channels per core is encoder and "
        "decoder together. 3 % and 10 % lost: so many frames, at random, were replaced by what the decoder makes of "
        "it. "
        "Processor: " +
            ryxsc::bench::processorName() + "."};
}

int run(int argc, char **argv) {
    const std::optional<Arguments> arguments = parseArguments(argc, argv);
    if (!arguments) return 0;
    requireGnuplot();
    Report report(arguments->output);
    const Speech speech = readSpeech(arguments->speech);
    for (const auto section : sections)
        section(speech, report);
    const std::filesystem::path page = report.write(describe(speech));
    std::printf("%s\n", plainText(report.results()).c_str());
    std::printf("%s\n", plainText(report.stageResults()).c_str());
    for (const Table &table : report.tables())
        std::printf("%s\n", plainText(table).c_str());
    std::printf("Report: %s\n", page.c_str());
    return 0;
}

} // namespace

int main(int argc, char **argv) {
    return runProgram("ryxsc_demo", argc, argv, run);
}
