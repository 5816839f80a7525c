// SPDX-License-Identifier: BSD-2-Clause
#include "octet_file.h"

#include <cerrno>
#include <cstring>

#include "failure.h"
#include "input_file.h"

namespace fs = std::filesystem;

namespace {

constexpr size_t blockSize = 1 << 16;

std::FILE *openForReading(const fs::path &path) {
    if (isStandardStream(path)) return stdin;
    requireInputFile(path);
    std::FILE *file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) throw Failure("cannot read " + path.string() + ": " + strerror(errno));
    return file;
}

} // namespace

bool isStandardStream(const fs::path &path) {
    return path == "-";
}

OctetReader::OctetReader(const fs::path &path)
    : path_(isStandardStream(path) ? "standard input" : path), file_(openForReading(path), std::fclose) {
    if (!isStandardStream(path)) size_ = fs::file_size(path);
    if (peek(1).empty()) throw Failure(path_.string() + " is empty");
}

std::span<const uint8_t> OctetReader::peek(size_t count) {
    if (buffer_.size() - start_ < count) {
        buffer_.erase(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(start_));
        start_ = 0;
        const size_t present = buffer_.size();
        buffer_.resize(std::max(count, blockSize));
        const size_t read = std::fread(&buffer_[present], 1, buffer_.size() - present, file_.get());
        if (std::ferror(file_.get())) throw Failure("cannot read " + path_.string() + ": " + strerror(errno));
        buffer_.resize(present + read);
    }
    return std::span(buffer_).subspan(start_, std::min(count, buffer_.size() - start_));
}

void OctetReader::skip(size_t count) {
    start_ += count;
    position_ += count;
}

OctetWriter::OctetWriter(const fs::path &path) {
    if (!isStandardStream(path)) file_.emplace(path);
}

void OctetWriter::write(std::span<const uint8_t> octets) {
    buffer_.insert(buffer_.end(), octets.begin(), octets.end());
    if (buffer_.size() >= blockSize) flush();
}

void OctetWriter::flush() {
    if (file_)
        file_->write(buffer_);
    else if (std::fwrite(buffer_.data(), 1, buffer_.size(), stdout) != buffer_.size())
        throw Failure(std::string("cannot write to standard output: ") + strerror(errno));
    buffer_.clear();
}

void OctetWriter::commit() {
    flush();
    if (file_) file_->commit();
}
