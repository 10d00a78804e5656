#include "scanner/Scanner.h"

#include "scanner/Channel.h"

#include <algorithm>
#include <cmath>

namespace scanner {

namespace {

constexpr int kRowSamples = 1024;
constexpr int kSnrHalfWidth = 3;    // bins each side of the carrier for the SNR (±23 Hz)
constexpr double kDuplicateHz = 12; // two channels this close follow one station
// A new channel that has pulled in this close to an open one has found that
// station's side lobe (stations closer than a signal's width cannot both be
// copied anyway; 40 Hz apart they can).
constexpr double kNewChannelHz = 32;
constexpr double kGhostHz = 32; // a PSK31 signal's width

} // namespace

std::optional<std::string> configProblem(const ScannerConfig& c) {
    if (!(c.lowHz >= 100.0 && c.highHz <= 3900.0 && c.lowHz < c.highHz)) {
        return "band edges must satisfy 100 <= low < high <= 3900 Hz";
    }
    if (c.highHz - c.lowHz > 2600.0) {
        return "the band may be at most 2600 Hz wide";
    }
    if (c.maxChannels < 1 || c.maxChannels > 200) {
        return "the channel limit must be 1 .. 200";
    }
    if (!(c.closeAfterSeconds > 0.0 && c.closeAfterSeconds <= 3600.0)) {
        return "the close time must be above 0 and at most 3600 s";
    }
    if (!(c.squelchSnrDb >= -30.0 && c.squelchSnrDb <= 30.0)) {
        return "the squelch SNR must be -30 .. 30 dB";
    }
    return std::nullopt;
}

Scanner::Scanner(const ScannerConfig& c)
    : config(c), frontEnd(0.5 * (c.lowHz + c.highHz)), detector(c.lowHz, c.highHz) {
    stages::makeTwiddles(twiddles.data(), kRowSamples);
    stream.reserve(kRowSamples / 2);
}

Scanner::~Scanner() = default;

void Scanner::process(const float* samples, std::size_t count) {
    if (!config.enabled) {
        return;
    }
    std::size_t done = 0;
    while (done < count) {
        const int take =
            static_cast<int>(std::min<std::size_t>(count - done, kRowSamples - blockFill));
        std::copy(samples + done, samples + done + take, block.begin() + blockFill);
        feedFrontEnd(samples + done, take);
        blockFill += take;
        done += static_cast<std::size_t>(take);
        samplesIn += take;
        if (blockFill == kRowSamples) {
            spectrumRow();
            blockFill = 0;
        }
    }
}

void Scanner::feedFrontEnd(const float* samples, int count) {
    stream.clear();
    stages::Complex out;
    for (int n = 0; n < count; ++n) {
        if (frontEnd.push(samples[n], out)) {
            stream.push_back(out);
        }
    }
    for (auto& channel : channels) {
        channel->pushBlock(stream.data(), static_cast<int>(stream.size()));
    }
}

void Scanner::spectrumRow() {
    // The main receiver's row: unwindowed 1024-point transform, ln(power + 1e-12).
    for (int n = 0; n < kRowSamples; ++n) {
        fftIn[static_cast<size_t>(n)] = stages::Complex{block[static_cast<size_t>(n)], 0.0f};
    }
    stages::fft(fftIn.data(), fftOut.data(), twiddles.data(), kRowSamples, fftScratch.data());
    for (int k = 0; k < kRowSamples; ++k) {
        const stages::Complex& x = fftOut[static_cast<size_t>(k)];
        row[static_cast<size_t>(k)] =
            static_cast<float>(std::log(static_cast<double>(x.re * x.re + x.im * x.im) + 1e-12));
    }

    std::vector<double> claimed;
    for (const auto& channel : channels) {
        claimed.push_back(channel->frequency());
    }
    const std::vector<Detection> detections = detector.addRow(row.data(), claimed);

    for (auto& channel : channels) {
        const double floor = detector.noiseFloor(channel->frequency());
        const int centre = static_cast<int>(std::lround(channel->frequency() / Detector::kBinHz));
        double excess = 0.0;
        for (int k = centre - kSnrHalfWidth; k <= centre + kSnrHalfWidth; ++k) {
            if (k >= 0 && k <= Detector::kBins / 2) {
                excess += detector.binPower(k) - floor;
            }
        }
        channel->updateLevels(floor, excess > 0.0 ? excess : 0.0);
    }
    startChannels(detections);

    for (auto& channel : channels) {
        emitText(*channel);
    }
    for (std::size_t i = 0; i < channels.size();) {
        if (channels[i]->quietSeconds() >= config.closeAfterSeconds) {
            closeChannel(i);
        } else {
            ++i;
        }
    }
    publish();
}

void Scanner::startChannels(const std::vector<Detection>& detections) {
    for (const Detection& detection : detections) {
        if (static_cast<int>(channels.size()) >= config.maxChannels) {
            return;
        }
        if (detection.frequency < config.lowHz || detection.frequency > config.highHz) {
            continue;
        }
        if (betweenTwo(detection.frequency)) {
            continue;
        }
        auto channel = std::make_unique<Channel>(nextId, detection.frequency, frontEnd.centre(),
                                                 config.squelchSnrDb, seconds());
        channel->start(frontEnd.history(), detector.noiseFloor(detection.frequency));
        const bool duplicate =
            std::any_of(channels.begin(), channels.end(), [&](const auto& other) {
                return std::fabs(other->frequency() - channel->frequency()) < kNewChannelHz;
            });
        if (duplicate) {
            continue;
        }
        ++nextId;
        channels.push_back(std::move(channel));
    }
    // A channel with others on both sides closer than a signal's width sits
    // in the gap between two stations (in their idle, the two inner tones
    // look like one station's): it goes.
    for (std::size_t i = 0; i < channels.size(); ++i) {
        if (betweenTwo(channels[i]->frequency())) {
            emitText(*channels[i]);
            closeChannel(i);
            --i;
        }
    }
    // Two channels that have come to follow one station: the younger goes.
    for (std::size_t i = 0; i < channels.size(); ++i) {
        for (std::size_t j = i + 1; j < channels.size(); ++j) {
            if (std::fabs(channels[i]->frequency() - channels[j]->frequency()) < kDuplicateHz) {
                emitText(*channels[j]);
                closeChannel(j);
                --j;
            }
        }
    }
}

bool Scanner::betweenTwo(double frequency) const {
    bool below = false;
    bool above = false;
    for (const auto& other : channels) {
        const double d = other->frequency() - frequency;
        below = below || (d < 0.0 && d > -kGhostHz);
        above = above || (d > 0.0 && d < kGhostHz);
    }
    return below && above;
}

void Scanner::emitText(Channel& channel) {
    std::string text = channel.takeNewText();
    if (text.empty() || !textSink) {
        return;
    }
    textSink(TextPiece{seconds(), channel.id(), channel.frequency(), channel.snrDb(),
                       channel.imdDb(), std::move(text)});
}

void Scanner::closeChannel(std::size_t index) {
    Channel& channel = *channels[index];
    if (reportSink) {
        reportSink(ChannelReport{channel.id(), channel.frequency(), channel.snrDb(),
                                 channel.imdDb(), channel.text(), channel.openedAt(), seconds()});
    }
    channels.erase(channels.begin() + static_cast<long>(index));
}

void Scanner::finish() {
    for (auto& channel : channels) {
        emitText(*channel);
    }
    while (!channels.empty()) {
        closeChannel(0);
    }
    publish();
}

void Scanner::publish() {
    std::unique_lock<std::mutex> lock(published, std::try_to_lock);
    if (!lock.owns_lock()) {
        return; // a reader is copying; the next row publishes again
    }
    snapshots.clear();
    for (const auto& channel : channels) {
        const std::string& text = channel->text();
        const std::size_t from =
            text.size() > kLatestTextBytes ? text.size() - kLatestTextBytes : 0;
        snapshots.push_back(ChannelSnapshot{
            channel->id(), channel->frequency(), channel->snrDb(), channel->imdDb(),
            text.substr(from), channel->callingCq(), channel->receiving(), channel->openedAt()});
    }
    std::sort(snapshots.begin(), snapshots.end(),
              [](const ChannelSnapshot& a, const ChannelSnapshot& b) {
                  return a.frequency < b.frequency;
              });
}

std::vector<ChannelSnapshot> Scanner::snapshot() const {
    std::lock_guard<std::mutex> lock(published);
    return snapshots;
}

} // namespace scanner
