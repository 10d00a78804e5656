// The band scanner: every PSK31 station between two band edges decoded at
// once, each on a channel of its own.
//
// Input is the receiver's audio at 8000 Hz. One shared front end turns it
// into a complex 4000 Hz stream around the band centre; every 1024 samples a
// spectrum row (the main receiver's format) goes to the detector, which
// confirms new stations; each station gets a Channel that tunes and
// decimates from the shared stream, and closes after closeAfterSeconds
// without signal. Text goes to the text sink once per row (128 ms), channel
// reports to the report sink as channels close and at finish().
//
// Threads: process, finish and the sinks run on one thread (the audio
// thread when live); snapshot() may be called from any thread. The sample
// path never waits for it: the snapshot is republished once per row only if
// no reader holds it at that moment.
#pragma once

#include "scanner/Detector.h"
#include "scanner/EngineStages.h"
#include "scanner/FrontEnd.h"
#include "scanner/ScannerTypes.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace scanner {

class Channel;

class Scanner {
public:
    using TextSink = std::function<void(const TextPiece&)>;
    using ReportSink = std::function<void(const ChannelReport&)>;

    // The configuration must pass configProblem().
    explicit Scanner(const ScannerConfig& config);
    ~Scanner();
    Scanner(const Scanner&) = delete;
    Scanner& operator=(const Scanner&) = delete;

    void setTextSink(TextSink sink) { textSink = std::move(sink); }
    void setReportSink(ReportSink sink) { reportSink = std::move(sink); }

    // Audio at 8000 Hz, any count. Does nothing while the scanner is off.
    void process(const float* samples, std::size_t count);
    // The end of the audio: the last text goes out and every channel is
    // reported and closed.
    void finish();

    // The open channels, lowest frequency first (any thread).
    std::vector<ChannelSnapshot> snapshot() const;

    double seconds() const { return static_cast<double>(samplesIn) / kSampleRate; }
    int openChannels() const { return static_cast<int>(channels.size()); }

private:
    void feedFrontEnd(const float* samples, int count);
    void spectrumRow();
    void startChannels(const std::vector<Detection>& detections);
    void emitText(Channel& channel);
    void closeChannel(std::size_t index);
    void publish();

    ScannerConfig config;
    FrontEnd frontEnd;
    Detector detector;
    std::vector<std::unique_ptr<Channel>> channels;
    int nextId = 1;
    std::array<float, 1024> block{};
    int blockFill = 0;
    std::vector<stages::Complex> stream; // front-end output of the current block
    std::array<stages::Complex, 1024> twiddles{};
    std::array<stages::Complex, 1024> fftIn{};
    std::array<stages::Complex, 1024> fftOut{};
    std::array<stages::Complex, 1024> fftScratch{};
    std::array<float, 1024> row{};
    int64_t samplesIn = 0;
    TextSink textSink;
    ReportSink reportSink;
    mutable std::mutex published;
    std::vector<ChannelSnapshot> snapshots;
};

} // namespace scanner
