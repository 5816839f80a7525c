// SPDX-License-Identifier: BSD-2-Clause
// Octets from a file or standard input, and to a file or standard output, a part at a time.
#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "output_file.h"

/** "-" stands for standard input or output. */
bool isStandardStream(const std::filesystem::path &path);

/** Reads ahead as far as asked and no further. Throws Failure when the file is missing, empty or cannot be read. */
class OctetReader {
public:
    explicit OctetReader(const std::filesystem::path &path);

    /** The next octets without taking them, at most `count`; fewer only at the end. Valid until the next call. */
    std::span<const uint8_t> peek(size_t count);
    /** Takes octets that peek() has shown. */
    void skip(size_t count);

    size_t position() const { return position_; } /**< octets taken */
    size_t size() const { return size_; }         /**< of the file; 0 when unknown */

private:
    std::filesystem::path path_;
    std::unique_ptr<std::FILE, int (*)(std::FILE *)> file_;
    std::vector<uint8_t> buffer_;
    size_t start_ = 0, position_ = 0, size_ = 0;
};

/** A file that appears when it is complete, or standard output. */
class OctetWriter {
public:
    explicit OctetWriter(const std::filesystem::path &path);

    void write(std::span<const uint8_t> octets);
    void commit();

    /** The file, null for standard output. */
    OutputFile *file() { return file_ ? &*file_ : nullptr; }

private:
    void flush();

    std::optional<OutputFile> file_;
    std::vector<uint8_t> buffer_;
};
