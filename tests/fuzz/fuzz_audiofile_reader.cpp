// The audio file reader over any bytes: libsndfile's formats, damaged
// headers, odd rates and channel counts. Besides not crashing, every sample
// handed out must be a finite number, whatever the file holds.
#include "audiofile/AudioFile.h"
#include "tests/fuzz/FuzzTarget.h"

#include <sndfile.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <unistd.h>

namespace {

// A scratch file of this process's own, rewritten for every input.
const std::string& scratchFile() {
    static const std::string name = [] {
        const char* folder = std::getenv("TMPDIR");
        return std::string(folder && *folder ? folder : "/tmp") + "/tarn-fuzz-audio-" +
               std::to_string(getpid());
    }();
    return name;
}

struct RemoveScratch {
    ~RemoveScratch() { std::remove(scratchFile().c_str()); }
} removeScratch;

std::vector<uint8_t> fileBytes(const std::string& name) {
    std::ifstream in(name, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

// A short tone in one of libsndfile's formats, as the file's bytes.
std::vector<uint8_t> tone(int format, int rate, int channels) {
    SF_INFO info{0, rate, channels, format, 0, 0};
    SNDFILE* file = sf_open(scratchFile().c_str(), SFM_WRITE, &info);
    if (!file) {
        return {};
    }
    std::vector<float> frames(static_cast<size_t>(600 * channels));
    for (size_t i = 0; i < frames.size(); ++i) {
        frames[i] = static_cast<float>(0.5 * std::sin(0.3 * static_cast<double>(i)));
    }
    sf_writef_float(file, frames.data(), 600);
    sf_close(file);
    return fileBytes(scratchFile());
}

std::vector<std::vector<uint8_t>> seeds() {
    std::vector<std::vector<uint8_t>> all = {
        tone(SF_FORMAT_WAV | SF_FORMAT_FLOAT, 8000, 1),
        tone(SF_FORMAT_WAV | SF_FORMAT_PCM_16, 11025, 2),
        tone(SF_FORMAT_WAV | SF_FORMAT_PCM_U8, 48000, 1),
        tone(SF_FORMAT_AIFF | SF_FORMAT_PCM_24, 8000, 1),
        tone(SF_FORMAT_AU | SF_FORMAT_ULAW, 8000, 1),
        tone(SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 16000, 1),
        tone(SF_FORMAT_W64 | SF_FORMAT_DOUBLE, 8000, 1),
        tone(SF_FORMAT_WAV | SF_FORMAT_IMA_ADPCM, 8000, 1),
    };
    // An MPEG audio frame header with nothing behind it.
    std::vector<uint8_t> mpeg = {0xFF, 0xFB, 0x90, 0x00};
    mpeg.resize(600, 0);
    all.push_back(mpeg);
    std::erase_if(all, [](const std::vector<uint8_t>& seed) { return seed.empty(); });
    return all;
}

void run(const uint8_t* data, size_t size) {
    {
        std::ofstream out(scratchFile(), std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    }
    // The last byte also picks the channel, so that stereo paths are reached.
    const int channel = size > 0 && (data[size - 1] & 1) ? 2 : 1;
    auto opened = audiofile::AudioFileReader::open(scratchFile(), channel);
    if (!opened) {
        return;
    }
    audiofile::AudioFileReader& reader = *opened.value();
    float block[2000];
    // At most 30 s of output: a header may promise far more than is there.
    for (int pieces = 0; pieces < 120; ++pieces) {
        auto got = reader.read(block, 2000);
        if (!got || got.value() == 0) {
            return;
        }
        for (int64_t i = 0; i < got.value(); ++i) {
            if (!std::isfinite(block[i])) {
                std::fprintf(stderr, "fuzz: the reader handed out a sample that is not finite\n");
                std::abort();
            }
        }
    }
}

} // namespace

const FuzzTarget& fuzzTarget() {
    static const FuzzTarget target{"audiofile_reader", seeds, run};
    return target;
}
