// SPDX-License-Identifier: BSD-2-Clause
// Whatever is wrong, the programs say so in one line, leave with 1 and leave no file behind.
#include <algorithm>
#include <csignal>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "lib/output_file.h"
#include "program_test.h"

namespace {

struct BadCommand {
    std::string command;
    std::string reason; /**< has to occur in the sentence */
};

class BadInput : public ProgramTest {
protected:
    BadInput() {
        std::filesystem::copy_file(speech, file("speech.wav"));
        const std::vector<uint8_t> wav = octets("speech.wav");
        std::filesystem::create_symlink("speech.wav", file("link.wav"));
        std::filesystem::create_directory(file("folder"));
        mkfifo(file("pipe").c_str(), 0600); // stands for devices, which a test must not risk to replace
        write("empty", {});
        write("header_only.wav", {wav.begin(), wav.begin() + 20});
        write("no_samples.wav", withoutSamples(wav));
        write("truncated.wav", {wav.begin(), wav.end() - 1000});
        write("one_hertz.wav", atOneHertz(wav));
        write("stream", stream);
        before = names();
    }

    // The header of 44 octets alone, with the sizes of RIFF and data set to those of a file without samples.
    static std::vector<uint8_t> withoutSamples(std::vector<uint8_t> wav) {
        wav.resize(44);
        for (const size_t i : {4U, 5U, 6U, 7U, 40U, 41U, 42U, 43U})
            wav[i] = i == 4 ? 36 : 0;
        return wav;
    }

    static std::vector<uint8_t> atOneHertz(std::vector<uint8_t> wav) {
        for (const size_t i : {24U, 25U, 26U, 27U})
            wav[i] = i == 24;
        return wav;
    }

    void expectRefused(const BadCommand &bad) {
        SCOPED_TRACE(bad.command);
        const Outcome outcome = run(bad.command);
        EXPECT_EQ(outcome.exitCode, 1);
        EXPECT_EQ(outcome.output, "");
        EXPECT_EQ(std::count(outcome.errors.begin(), outcome.errors.end(), '\n'), 1) << outcome.errors;
        EXPECT_NE(outcome.errors.find(bad.reason), std::string::npos) << outcome.errors;
        EXPECT_EQ(names(), before);
        EXPECT_EQ(octets("stream"), stream);
        EXPECT_TRUE(std::filesystem::is_fifo(file("pipe")));
    }

    const std::vector<uint8_t> stream = std::vector<uint8_t>(16000, 0x5A);
    std::vector<std::string> before;
};

const BadCommand badForBoth[] = {
    {"", "a command is missing"},
    {"transcode speech.wav out", "unknown command transcode"},
    {"encode", "needs an input and an output"},
    {"encode speech.wav", "needs an input and an output"},
    {"encode speech.wav out more", "one argument too many, more"},
    {"encode speech.wav out --quality 3", "unknown option --quality"},
    {"encode speech.wav out -x", "unknown option -x"},
    {"encode missing.wav out", "missing.wav: No such file"},
    {"encode folder out", "folder: Is a directory"},
    {"encode /dev/null out", "not a regular file"},
    {"encode empty out", "empty is empty"},
    {"encode header_only.wav out", "cannot be read as an audio file"},
    {"encode no_samples.wav out", "holds no samples"},
    {"encode truncated.wav out", "truncated.wav is truncated"},
    {"encode one_hertz.wav out", "a sampling rate of 1 Hz"},
    {"encode stream out", "cannot be read as an audio file"},
    {"encode speech.wav missing/out", "missing/out: No such file"},
    {"encode speech.wav folder", "folder: Is a directory"},
    {"encode speech.wav stream/out", "Not a directory"},
    {"encode speech.wav /proc/out", "cannot write /proc/out"},
    {"encode speech.wav pipe", "not a regular file"},
    {"encode speech.wav speech.wav", "same file"},
    {"encode speech.wav link.wav", "same file"},
    {"roundtrip speech.wav ./folder/../speech.wav", "same file"},
    {"roundtrip truncated.wav stream", "truncated.wav is truncated"},
    {"roundtrip speech.wav missing/out", "missing/out: No such file"},
    {"decode missing out", "missing: No such file"},
    {"decode folder out", "folder: Is a directory"},
    {"decode empty out", "empty is empty"},
    {"decode speech.wav out", "is a WAV file"},
    {"decode stream missing/out", "missing/out: No such file"},
    {"decode stream folder", "folder: Is a directory"},
    {"decode stream stream", "same file"},
};

TEST_F(BadInput, IsRefusedInOneLine) {
    for (const char *codec : {" --codec g722", " --codec g726"})
        for (const BadCommand &bad : badForBoth)
            expectRefused({"ryxcodec " + bad.command + codec, bad.reason});
}

TEST_F(BadInput, IncludesOptionsThatMeanNothing) {
    const BadCommand table[] = {
        {"ryxcodec encode speech.wav out --codec g722 --rate", "--rate needs a value"},
        {"ryxcodec encode speech.wav out --codec g722 --rate 32", "--rate takes 48, 56 or 64"},
        {"ryxcodec encode speech.wav out --codec g726 --rate 64", "--rate takes 16, 24, 32 or 40"},
        {"ryxcodec encode speech.wav out --codec g7", "there is no codec g7; --codec takes"},
        {"ryxcodec encode speech.wav out", "does not tell the format"},
        {"ryxcodec encode speech.wav out --codec g726 --format gsm", "the format gsm is not for g726"},
        {"ryxcodec encode speech.wav out --codec g726 --format g7", "there is no format g7"},
        {"ryxcodec encode speech.wav out --codec g726 --dtx", "no discontinuous transmission"},
        {"ryxcodec encode speech.wav out --codec g723 --dtx downlink", "means nothing to g723"},
        {"ryxcodec encode speech.wav out --codec g726 --rates stream", "g726 has no rate"},
        {"ryxcodec encode speech.wav out --codec g726 --packing le", "--packing takes rfc3551 or aal2, not le"},
        {"ryxcodec decode stream out --codec g726 --law ulaw", "--law takes linear, alaw or mulaw, not ulaw"},
        {"ryxcodec encode speech.wav out --codec g726 --law alaw", "--law means nothing to encode"},
        {"ryxcodec encode speech.wav out --codec gsm-fr --packing aal2", "--packing means nothing to gsm-fr"},
        {"ryxcodec encode speech.wav out --codec g722 --sample-rate 32000", "--sample-rate means nothing to g722"},
        {"ryxcodec encode speech.wav out --codec g729 --no-highpass", "--no-highpass means nothing to g729"},
        {"ryxcodec decode stream out --codec g722 --no-postfilter", "--no-postfilter means nothing to g722"},
        {"ryxcodec decode stream out --codec g723 --receive stream", "--receive means nothing to g723"},
        {"ryxcodec decode stream out --codec g726 --loss-frame 20", "--loss-frame means nothing to g726"},
        {"ryxcodec decode stream out --codec g726 --lost stream", "has to consist of 0 and 1"},
        {"ryxcodec decode stream out --codec g722 --format packets", "a frame of 90 octets is none of g722"},
        {"head -c 90 stream >x; ryxcodec decode x out --codec g722 --format packets; s=$?; rm x; (exit $s)",
         "ends within the frame"},
    };
    for (const BadCommand &bad : table)
        expectRefused(bad);
}

TEST_F(BadInput, IsRefusedByProgramsWithoutCommandsToo) {
    const BadCommand table[] = {
        {"tone_detect", "tone_detect needs a recording"},
        {"tone_detect speech.wav more", "one argument too many, more"},
        {"tone_detect missing.wav", "missing.wav: No such file"},
        {"tone_detect truncated.wav", "truncated.wav is truncated"},
        {"tone_detect stream", "cannot be read as an audio file"},
        {"tone_detect speech.wav --rate 11025", "--rate takes 8000 or 16000, not 11025"},
        {"echo_canceller --simulate speech.wav out --mic ./folder/../out", "--mic and the output name the same file"},
        {"ulimit -f 8; echo_canceller --simulate speech.wav out --rate 16000 --mic microphone", "File too large"},
        {"level_control speech.wav", "level_control needs an input and an output file"},
        {"level_control speech.wav speech.wav", "same file"},
        {"level_control truncated.wav out", "truncated.wav is truncated"},
        {"level_control speech.wav missing/out", "missing/out: No such file"},
        {"level_control speech.wav out --gain -1", "--gain takes a number from 0 to 60, not -1"},
        {"level_control speech.wav out --target 60.1", "--target takes a number from 0 to 60, not 60.1"},
        {"level_control speech.wav out --ceiling 3dB", "--ceiling takes a number from 0 to 60, not 3dB"},
        {"level_control speech.wav out --ceiling nan", "--ceiling takes a number from 0 to 60, not nan"},
    };
    for (const BadCommand &bad : table)
        expectRefused(bad);
}

TEST_F(BadInput, IncludesADiskThatFillsUp) {
    const BadCommand table[] = {
        {"ulimit -f 8; ryxcodec encode --codec g722 speech.wav out", "cannot write out: File too large"},
        {"ulimit -f 8; ryxcodec decode --codec g722 stream out", "cannot write out: File too large"},
        {"ulimit -f 8; ryxcodec decode --codec g726 stream out --law alaw", "cannot write out: File too large"},
        {"ryxcodec --help >/dev/full", "cannot write to standard output: No space left"},
        {"ryxcodec --version >/dev/full", "cannot write to standard output: No space left"},
    };
    for (const BadCommand &bad : table)
        expectRefused(bad);
}

TEST_F(BadInput, LeavesAnEarlierOutputAlone) {
    expectRefused({"ryxcodec roundtrip --codec g722 truncated.wav stream", "is truncated"});
    expectRefused({"ulimit -f 8; ryxcodec encode --codec g722 speech.wav stream", "File too large"});
}

using UnfinishedOutput = ProgramTest;

TEST_F(UnfinishedOutput, IsRemovedWhenASignalEndsTheProgram) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE, SIGXCPU, SIGUSR1, SIGALRM, SIGRTMIN}) {
        const auto die = [&] {
            OutputFile output(file("out"));
            if (names().empty()) exit(2); // nothing there that could be left behind
            raise(signal);
        };
        EXPECT_EXIT(die(), testing::KilledBySignal(signal), "");
        EXPECT_TRUE(names().empty());
    }
}

TEST_F(UnfinishedOutput, IsMadeBehindALinkThatLeadsNowhereYet) {
    std::filesystem::create_symlink("real", file("link"));
    writeOctets(file("link"), std::vector<uint8_t>{1, 2, 3});
    EXPECT_EQ(names(), (std::vector<std::string>{"link", "real"}));
    EXPECT_TRUE(std::filesystem::is_symlink(file("link")));
    EXPECT_EQ(octets("real"), (std::vector<uint8_t>{1, 2, 3}));
}

// What is said about the resampling must not become part of the stream.
TEST_F(UnfinishedOutput, TakesNoSentenceMeantForClosedDescriptors) {
    runWell("ryxcodec encode --codec g726 " + speech + " a");
    runWell("ryxcodec encode --codec g726 " + speech + " b <&- >&- 2>&-");
    EXPECT_TRUE(octets("a") == octets("b"));
    EXPECT_EQ(run("ryxcodec list >&-").exitCode, 1);
}

} // namespace
