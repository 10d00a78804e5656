// tarn-psk31 run as a user runs it: through the shell, its exit status and
// everything it wrote kept for the test.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

struct CommandOutcome {
    int status = -1; // the exit status; -1 when it did not exit (a signal)
    std::string out;
    std::string err;
};

// A whole file, bytes as they are ("" when it cannot be read).
std::string slurp(const std::string& file);
// Text split at newlines, without them.
std::vector<std::string> lines(const std::string& text);

// 'text' for the shell, with any ' inside closed, escaped and reopened.
std::string shellQuoted(const std::string& text);

// Runs `program` with `arguments` (each quoted for the shell) in a subshell,
// `input` on its standard input. `prefix` is shell text put before the
// program: assignments ("NAME='value'") or commands ending in ';' (a ulimit,
// "exec <file;" for another standard input). Input and output pass through
// files in `scratch`, removed afterwards.
CommandOutcome runCommand(const std::string& program, const std::vector<std::string>& arguments,
                          const std::filesystem::path& scratch, const std::string& prefix = "",
                          const std::string& input = "");
