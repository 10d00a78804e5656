// Runs the built tarn-psk31 as a user does, in a scratch directory of the
// test's own, and collects its exit status and both outputs.
#pragma once

#include "tests/support/ScratchDirectoryTest.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <vector>

struct Outcome {
    int status;
    std::string out;
    std::string err;
};

inline std::string slurp(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

inline size_t countOf(const std::string& text, const std::string& part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

// `text` in the shell's single quotes.
inline std::string shellWord(const std::string& text) {
    // Appended piece by piece: GCC 12 wrongly warns (-Wrestrict) about
    // "'" + std::string + "'" (and " " + word below) once inlined.
    std::string word = "'";
    word += std::regex_replace(text, std::regex("'"), "'\\''");
    word += '\'';
    return word;
}

class CliTest : public ScratchDirectoryTest {
protected:
    // Runs the program with `arguments` (each passed exactly, through the
    // shell's single quotes), `input` on its standard input. `prefix` is
    // shell text run first in the same subshell (a ulimit, another stdin).
    Outcome run(const std::vector<std::string>& arguments, const std::string& input = "",
                const std::string& prefix = "") const {
        std::ofstream(path(".in"), std::ios::binary) << input;
        std::string line = "(" + prefix + " exec '" TARN_PSK31_PROGRAM "'";
        for (const std::string& argument : arguments) {
            line += ' ';
            line += shellWord(argument);
        }
        line += " >" + path(".out") + " 2>" + path(".err") + ") <" + path(".in");
        const int status = std::system(line.c_str());
        Outcome result{WIFEXITED(status) ? WEXITSTATUS(status) : -1, slurp(path(".out")),
                       slurp(path(".err"))};
        for (const char* name : {".in", ".out", ".err"}) {
            std::filesystem::remove(path(name));
        }
        return result;
    }
};
