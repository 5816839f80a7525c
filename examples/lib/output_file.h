// SPDX-License-Identifier: BSD-2-Clause
// Output that is never half-written.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

/**
 * @brief A file that appears under its name only when it is complete.
 *
 * The octets go to a temporary file in the same folder, which commit() renames. Without commit() it is removed, also
 * when a signal ends the program, whichever it is but SIGKILL. All members throw Failure.
 */
class OutputFile {
public:
    /** Creates the temporary file, so an unwritable place is found before the work begins. */
    explicit OutputFile(const std::filesystem::path &target);
    ~OutputFile();
    OutputFile(const OutputFile &) = delete;
    OutputFile &operator=(const OutputFile &) = delete;

    void write(std::span<const uint8_t> octets);

    /** Gives the complete file its name. An earlier file of this name is replaced in one step. */
    void commit();

    /** For libraries that write through a descriptor; it stays owned by this object. */
    int descriptor() const { return descriptor_; }
    const std::filesystem::path &target() const { return target_; }

private:
    [[noreturn]] void fail(int error) const;

    std::filesystem::path target_;
    std::filesystem::path place_;
    std::string temporary_;
    int descriptor_ = -1;
};

/** Whether two names, of files that are there or not, lead to the same place, be it through links. */
bool wouldBeTheSameFile(const std::filesystem::path &first, const std::filesystem::path &second);

/** Writes a whole file in one go. */
void writeOctets(const std::filesystem::path &target, std::span<const uint8_t> octets);
