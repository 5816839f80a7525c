// SPDX-License-Identifier: BSD-2-Clause
// Running the programs in a folder of their own.
#pragma once

#include <cstdint>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "lib/audio_file.h"

struct Outcome {
    int exitCode = -1;
    std::string output;
    std::string errors;
};

/** A test with an empty folder for its files, removed afterwards. */
class ProgramTest : public testing::Test {
protected:
    ProgramTest();
    ~ProgramTest() override;

    /** Runs a shell command inside the folder; the example programs are those of this build. */
    Outcome run(const std::string &command) const;
    /** The same for a command that must succeed. */
    void runWell(const std::string &command) const;

    std::filesystem::path file(const std::string &name) const { return folder / name; }
    std::vector<uint8_t> octets(const std::string &name) const;
    std::vector<int16_t> samples(const std::string &name, int sampleRate) const;
    void write(const std::string &name, const std::vector<uint8_t> &content) const;
    /** The names in the folder, sorted. */
    std::vector<std::string> names() const;

    const std::string speech = RYXSC_TEST_DATA "/speech_16k.wav";
    std::filesystem::path folder;
    std::filesystem::path logs;
};
