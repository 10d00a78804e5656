#include "tests/support/CommandRun.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <sys/wait.h>

std::string shellQuoted(const std::string& text) {
    std::string out = "'";
    for (const char c : text) {
        out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return out + "'";
}

std::string slurp(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        out.push_back(line);
    }
    return out;
}

CommandOutcome runCommand(const std::string& program, const std::vector<std::string>& arguments,
                          const std::filesystem::path& scratch, const std::string& prefix,
                          const std::string& input) {
    const std::string in = (scratch / ".in").string();
    const std::string out = (scratch / ".out").string();
    const std::string err = (scratch / ".err").string();
    std::ofstream(in, std::ios::binary) << input;
    std::vector<std::string> words = {program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::string line = "(" + prefix;
    for (const std::string& word : words) {
        line.append(1, ' ').append(shellQuoted(word));
    }
    line.append(" >").append(shellQuoted(out)).append(" 2>").append(shellQuoted(err));
    line.append(") <").append(shellQuoted(in));
    const int status = std::system(line.c_str());
    CommandOutcome outcome{WIFEXITED(status) ? WEXITSTATUS(status) : -1, slurp(out), slurp(err)};
    for (const std::string& file : {in, out, err}) {
        std::filesystem::remove(file);
    }
    return outcome;
}
