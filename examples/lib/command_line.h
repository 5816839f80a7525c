// SPDX-License-Identifier: BSD-2-Clause
// Command lines of the form "program COMMAND FILE FILE --option value"; not every program has commands.
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

/** Numbers that an option takes, with decimals or without. */
struct Range {
    int least, most;
};

/** An option that takes one value of a list, a number or any text. The first value is the default. */
struct ChoiceOption {
    std::string name;
    std::vector<std::string> values;
    std::vector<std::string> commands = {}; /**< where the option means something; elsewhere it is refused */
    std::optional<Range> numbers = {};      /**< when given, all of these are accepted, and not the values alone */
    std::string alone = {};                 /**< the value when none follows; then only values of the list may */
    bool anyText = false;                   /**< takes whatever follows */
};

struct ProgramDescription {
    std::string name;
    std::string help;
    std::vector<std::string> commands; /**< none: the files follow at once */
    std::vector<ChoiceOption> options;
    std::vector<std::string> files = {"an input", "an output file"}; /**< with article, for the sentences */
};

struct CommandLine {
    std::string command;
    std::vector<std::filesystem::path> files;  /**< as many as the program has */
    std::map<std::string, std::string> values; /**< every option of the program, given or default */

    double number(const std::string &option) const { return std::stod(values.at(option)); }
};

/** Parses the command line, or answers --help and --version and returns nothing. Throws Failure when it is wrong. */
std::optional<CommandLine> parseCommandLine(const ProgramDescription &program, int argc, char **argv);

/** The answer to --version, on standard output. */
void printVersion();
