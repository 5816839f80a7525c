// Command lines of the form "program COMMAND INPUT OUTPUT --option value".
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

/** An option that takes one value of a list. The first value is the default. */
struct ChoiceOption {
    std::string name;
    std::vector<std::string> values;
    std::vector<std::string> commands; /**< where the option means something; elsewhere it is refused */
};

struct ProgramDescription {
    std::string name;
    std::string help;
    std::vector<std::string> commands;
    std::vector<ChoiceOption> options;
};

struct CommandLine {
    std::string command;
    std::filesystem::path input;
    std::filesystem::path output;
    std::map<std::string, std::string> values; /**< every option of the program, given or default */
};

/** Parses the command line, or answers --help and --version and returns nothing. Throws Failure when it is wrong. */
std::optional<CommandLine> parseCommandLine(const ProgramDescription &program, int argc, char **argv);
