// A seeded mutation loop over one fuzzing target (FuzzTarget.h): each run
// takes a seed input, applies a few random mutations and hands the result to
// the target. The same --seed always makes the same inputs, so a finding
// replays exactly.
//
//   fuzz_NAME [--runs N] [--seed S] [--timeout MS] [--save DIR] [FILE...]
// With FILEs, runs each file once as it is (to replay a finding). With
// --save, the input about to run is written to DIR/current (and its run
// number to DIR/current.run) first, so that a crash leaves it behind.
// Ends with one line: "NAME: runs=N seed=S peak_rss_kb=K"; exit status 0.
// A run that exceeds the time limit ends the program with status 3.
#include "tests/fuzz/FuzzTarget.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <sys/resource.h>
#include <unistd.h>

namespace {

using Bytes = std::vector<uint8_t>;

extern "C" void onTimeout(int) {
    static const char message[] = "fuzz: an input took longer than the time limit\n";
    [[maybe_unused]] const ssize_t ignored = write(STDERR_FILENO, message, sizeof message - 1);
    _exit(3);
}

// Values that often sit on a parser's edge: sizes, counts, rates, signs.
constexpr uint32_t kInteresting[] = {0,          1,          2,      0x7F, 0x80,  0xFF,
                                     0x7FFF,     0x8000,     0xFFFF, 8000, 44100, 0x7FFFFFFF,
                                     0x80000000, 0xFFFFFFFF, 16,     24,   32,    1024};

Bytes mutate(const Bytes& seed, const std::vector<Bytes>& seeds,
             std::span<const char* const> dictionary, std::mt19937_64& random) {
    Bytes data = seed;
    const auto below = [&](size_t n) { return n == 0 ? size_t{0} : size_t(random() % n); };
    const int steps = 1 + static_cast<int>(below(8));
    for (int step = 0; step < steps; ++step) {
        const size_t at = below(data.size() + 1);
        // The dictionary step is drawn only where there is one, so a target
        // without one keeps the inputs its seeds always made.
        switch (below(dictionary.empty() ? 8 : 9)) {
        case 0: // flip a bit
            if (!data.empty()) {
                data[below(data.size())] ^= static_cast<uint8_t>(1u << below(8));
            }
            break;
        case 1: // a random byte
            if (!data.empty()) {
                data[below(data.size())] = static_cast<uint8_t>(random());
            }
            break;
        case 2: { // an interesting 1, 2 or 4-byte value, little-endian
            const uint32_t value = kInteresting[below(std::size(kInteresting))];
            const size_t width = size_t{1} << below(3);
            for (size_t i = 0; i < width && at + i < data.size(); ++i) {
                data[at + i] = static_cast<uint8_t>(value >> (8 * i));
            }
            break;
        }
        case 3: // insert random bytes
            for (size_t n = 1 + below(16); n > 0; --n) {
                data.insert(data.begin() + static_cast<ptrdiff_t>(at),
                            static_cast<uint8_t>(random()));
            }
            break;
        case 4: // delete a range
            data.erase(data.begin() + static_cast<ptrdiff_t>(at),
                       data.begin() +
                           static_cast<ptrdiff_t>(std::min(data.size(), at + 1 + below(64))));
            break;
        case 5: { // repeat a range
            const size_t length = std::min(data.size() - at, 1 + below(64));
            const Bytes part(data.begin() + static_cast<ptrdiff_t>(at),
                             data.begin() + static_cast<ptrdiff_t>(at + length));
            data.insert(data.begin() + static_cast<ptrdiff_t>(at), part.begin(), part.end());
            break;
        }
        case 6: // cut the end off
            data.resize(at);
            break;
        case 7: { // the tail of another seed
            const Bytes& other = seeds[below(seeds.size())];
            const size_t from = below(other.size());
            data.resize(at);
            data.insert(data.end(), other.begin() + static_cast<ptrdiff_t>(from), other.end());
            break;
        }
        default: { // a token
            const std::string_view token = dictionary[below(dictionary.size())];
            data.insert(data.begin() + static_cast<ptrdiff_t>(at), token.begin(), token.end());
        }
        }
    }
    return data;
}

void save(const std::string& folder, const Bytes& data, long run) {
    std::ofstream(folder + "/current", std::ios::binary)
        .write(reinterpret_cast<const char*>(data.data()),
               static_cast<std::streamsize>(data.size()));
    std::ofstream(folder + "/current.run") << run << '\n';
}

long peakKilobytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

} // namespace

int main(int argc, char** argv) {
    const FuzzTarget& target = fuzzTarget();
    long runs = 1000;
    unsigned long long seed = 1;
    unsigned timeoutMs = 2000;
    std::string saveFolder;
    std::vector<std::string> files;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        const bool hasValue = i + 1 < argc;
        if (argument == "--runs" && hasValue) {
            runs = std::atol(argv[++i]);
        } else if (argument == "--seed" && hasValue) {
            seed = std::strtoull(argv[++i], nullptr, 10);
        } else if (argument == "--timeout" && hasValue) {
            timeoutMs = static_cast<unsigned>(std::atol(argv[++i]));
        } else if (argument == "--save" && hasValue) {
            saveFolder = argv[++i];
        } else if (!argument.empty() && argument[0] != '-') {
            files.push_back(argument);
        } else {
            std::fprintf(stderr,
                         "usage: %s [--runs N] [--seed S] [--timeout MS] [--save DIR] "
                         "[FILE...]\n",
                         argv[0]);
            return 2;
        }
    }
    std::signal(SIGALRM, onTimeout);
    const auto runOne = [&](const Bytes& data) {
        // Whole seconds, rounded up: alarm's resolution.
        alarm((timeoutMs + 999) / 1000);
        target.run(data.data(), data.size());
        alarm(0);
    };
    if (!files.empty()) {
        for (const std::string& file : files) {
            std::ifstream in(file, std::ios::binary);
            runOne(Bytes(std::istreambuf_iterator<char>(in), {}));
        }
        std::printf("%s: replayed %zu inputs\n", target.name, files.size());
        return 0;
    }
    const std::vector<Bytes> seeds = target.seeds();
    std::mt19937_64 random(seed);
    long done = 0;
    for (; done < runs; ++done) {
        // Every seed runs unchanged first.
        const Bytes data =
            done < static_cast<long>(seeds.size())
                ? seeds[static_cast<size_t>(done)]
                : mutate(seeds[random() % seeds.size()], seeds, target.dictionary, random);
        if (!saveFolder.empty()) {
            save(saveFolder, data, done);
        }
        runOne(data);
    }
    std::printf("%s: runs=%ld seed=%llu peak_rss_kb=%ld\n", target.name, done, seed,
                peakKilobytes());
    return 0;
}
