// SPDX-License-Identifier: BSD-2-Clause
#include "input_file.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <string_view>
#include <unistd.h>

#include "failure.h"

namespace fs = std::filesystem;

void requireInputFile(const fs::path &path) {
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (error) throw Failure("cannot read " + path.string() + ": " + error.message());
    if (fs::is_directory(status)) throw Failure("cannot read " + path.string() + ": " + strerror(EISDIR));
    if (!fs::is_regular_file(status)) throw Failure("cannot read " + path.string() + ": not a regular file");
    if (access(path.c_str(), R_OK) != 0) throw Failure("cannot read " + path.string() + ": " + strerror(errno));
}

void requireDifferentFiles(const fs::path &input, const fs::path &output) {
    std::error_code missing;
    if (fs::equivalent(input, output, missing)) throw Failure("input and output are the same file, " + input.string());
}

std::vector<uint8_t> readStream(const fs::path &path, const std::string &kind) {
    requireInputFile(path);
    std::ifstream file(path, std::ios::binary);
    std::vector<uint8_t> octets(fs::file_size(path));
    if (!file.read(reinterpret_cast<char *>(octets.data()), static_cast<std::streamsize>(octets.size())))
        throw Failure("cannot read " + path.string() + ": " + strerror(errno));
    if (octets.empty()) throw Failure(path.string() + " is empty");

    const std::string_view head(reinterpret_cast<const char *>(octets.data()), octets.size());
    if (head.size() >= 12 && head.starts_with("RIFF") && head.substr(8, 4) == "WAVE")
        throw Failure(path.string() + " is a WAV file and no " + kind);
    return octets;
}
