// SPDX-License-Identifier: BSD-2-Clause
// Input files that are no audio files: the packed streams of the codecs.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

/** Throws Failure when `path` is missing, a folder or a device; the later steps can then say what is wrong inside. */
void requireInputFile(const std::filesystem::path &path);

/** Throws Failure when both names lead to the same existing file, be it through links. */
void requireDifferentFiles(const std::filesystem::path &input, const std::filesystem::path &output);

/**
 * @brief Reads a codec stream.
 * @param kind what it should be, for the sentences: "G.722 stream"
 * @return at least one octet; throws Failure when the file is missing, empty or a WAV file
 */
std::vector<uint8_t> readStream(const std::filesystem::path &path, const std::string &kind);
