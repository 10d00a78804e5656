// Runs the built tarn-psk31 as a user does, in a scratch directory of the
// test's own, and collects its exit status and both outputs.
#pragma once

#include "tests/support/CommandRun.h"
#include "tests/support/ScratchDirectoryTest.h"

#include <algorithm>
#include <string>
#include <vector>

using Outcome = CommandOutcome;

// Newlines in `text`: a message of one whole line has exactly one.
inline size_t lineCount(const std::string& text) {
    return static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
}

class CliTest : public ScratchDirectoryTest {
protected:
    // The program with `arguments`, `input` on its standard input; `prefix`
    // is shell text run first in the same subshell (a ulimit, another stdin).
    Outcome run(const std::vector<std::string>& arguments, const std::string& input = "",
                const std::string& prefix = "") const {
        return runCommand(TARN_PSK31_PROGRAM, arguments, directory, prefix, input);
    }
};
