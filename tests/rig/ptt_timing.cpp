// Measures a keyed transmission on a live loopback: the sequencer keys a
// rigctld by CAT, plays a one-second tone through PortAudio's default output
// and releases PTT, while PortAudio's default input (the output's monitor)
// timestamps when the tone arrives and ends. Prints, per run, PTT on to the
// first audio and the last audio to PTT off, against the settings.
//
//   ptt_timing HOST:PORT LEAD_MS TAIL_MS RUNS
//
// Its output sink is also the smallest complete PlayoutSink over PortAudio:
// the first sample is placed by the callback's outputBufferDacTime, and the
// DAC time of the last one reported the same way, both in steady_clock
// through the stream clock's offset.
#include "rig/RigConnection.h"
#include "rig/TransmitSequencer.h"

#include <portaudio.h>

#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

namespace {

using namespace tarn::rig;
using Clock = std::chrono::steady_clock;
constexpr double kRate = 8000.0;

// Stream time (seconds) to steady_clock nanoseconds, from a callback.
long long steadyNs(double streamTime, double currentStreamTime) {
    const long long now = Clock::now().time_since_epoch().count();
    return now + static_cast<long long>((streamTime - currentStreamTime) * 1e9);
}

class PortAudioPlayout : public PlayoutSink {
public:
    // A short output latency (20 ms asked for): the first sample cannot
    // leave the sound card sooner than that after it is handed over, so the
    // lead delay must not be shorter.
    PortAudioPlayout() {
        PaStreamParameters parameters{};
        parameters.device = Pa_GetDefaultOutputDevice();
        parameters.channelCount = 1;
        parameters.sampleFormat = paFloat32;
        parameters.suggestedLatency = 0.02;
        Pa_OpenStream(&stream, nullptr, &parameters, kRate, 80, paNoFlag, callback, this);
        Pa_StartStream(stream);
    }
    ~PortAudioPlayout() override {
        Pa_StopStream(stream);
        Pa_CloseStream(stream);
    }
    int startTransmission(std::unique_ptr<tarn::Transmission> transmission, bool) override {
        return startTransmissionAt(std::move(transmission), false, Clock::time_point{});
    }
    int startTransmissionAt(std::unique_ptr<tarn::Transmission> transmission, bool,
                            Clock::time_point firstSampleAt) override {
        playedOut.store(-1);
        startNs.store(firstSampleAt.time_since_epoch().count());
        current.store(transmission.get());
        held = std::move(transmission); // freed at the next start: never under the callback
        return 0;
    }
    void stopTransmission() override { current.store(nullptr); }
    std::optional<Clock::time_point> playedOutAt() const override {
        const long long ns = playedOut.load();
        if (ns < 0) {
            return std::nullopt;
        }
        return Clock::time_point(Clock::duration(ns));
    }
    long long startAtNs() const { return startNs.load(); }
    long long playedOutNs() const { return playedOut.load(); }
    double latencyMs() const { return Pa_GetStreamInfo(stream)->outputLatency * 1e3; }
    bool failed() const override { return false; }

private:
    static int callback(const void*, void* output, unsigned long frames,
                        const PaStreamCallbackTimeInfo* time, PaStreamCallbackFlags, void* user) {
        auto* self = static_cast<PortAudioPlayout*>(user);
        std::span<float> out(static_cast<float*>(output), frames);
        tarn::Transmission* transmission = self->current.load();
        if (transmission == nullptr) {
            std::fill(out.begin(), out.end(), 0.0f);
            return paContinue;
        }
        // Silence up to the frame that leaves the sound card at the start
        // time (none once the message has begun).
        const long long firstFrameNs = steadyNs(time->outputBufferDacTime, time->currentTime);
        std::size_t wait = 0;
        if (transmission->position() == 0) {
            const double ahead = (self->startNs.load() - firstFrameNs) * kRate / 1e9;
            wait = ahead <= 0.0 ? 0 : std::min<std::size_t>(frames, std::ceil(ahead));
        }
        std::fill_n(out.begin(), wait, 0.0f);
        const bool wasExhausted = transmission->exhausted();
        const std::size_t copied = transmission->render(out.subspan(wait));
        if (!wasExhausted && transmission->exhausted()) {
            self->playedOut.store(firstFrameNs +
                                  static_cast<long long>((wait + copied) * 1e9 / kRate));
        }
        return paContinue;
    }

    PaStream* stream = nullptr;
    std::atomic<tarn::Transmission*> current{nullptr};
    std::unique_ptr<tarn::Transmission> held;
    std::atomic<long long> playedOut{-1};
    std::atomic<long long> startNs{0};
};

// The monitor: when the tone's first sample arrived and its last one ended.
class Monitor {
public:
    Monitor() {
        Pa_OpenDefaultStream(&stream, 1, 0, paFloat32, kRate, 256, callback, this);
        Pa_StartStream(stream);
    }
    ~Monitor() {
        Pa_StopStream(stream);
        Pa_CloseStream(stream);
    }
    void reset() {
        first.store(-1);
        last.store(-1);
    }
    long long firstNs() const { return first.load(); }
    long long endNs() const { return last.load(); }

private:
    static int callback(const void* input, void*, unsigned long frames,
                        const PaStreamCallbackTimeInfo* time, PaStreamCallbackFlags, void* user) {
        auto* self = static_cast<Monitor*>(user);
        const auto* in = static_cast<const float*>(input);
        for (unsigned long i = 0; i < frames; ++i) {
            if (std::fabs(in[i]) > 0.05f) {
                const long long at =
                    steadyNs(time->inputBufferAdcTime + i / kRate, time->currentTime);
                if (self->first.load() < 0) {
                    self->first.store(at);
                }
                self->last.store(at + static_cast<long long>(1e9 / kRate));
            }
        }
        return paContinue;
    }

    PaStream* stream = nullptr;
    std::atomic<long long> first{-1}, last{-1};
};

// Times the line's changes: on once the rig has confirmed it, off as the
// request leaves.
class TimedPtt : public PttSwitch {
public:
    explicit TimedPtt(PttSwitch& inner) : inner(inner) {}
    std::string setPtt(bool on) override {
        const long long before = Clock::now().time_since_epoch().count();
        std::string result = inner.setPtt(on);
        const long long after = Clock::now().time_since_epoch().count();
        (on ? onNs : offNs).store(on ? after : before);
        (on ? onRoundTrip : offRoundTrip).store(after - before);
        return result;
    }
    PttSwitch& inner;
    std::atomic<long long> onNs{-1}, offNs{-1}, onRoundTrip{0}, offRoundTrip{0};
};

} // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::fputs("usage: ptt_timing HOST:PORT LEAD_MS TAIL_MS RUNS\n", stderr);
        return 2;
    }
    RigConfig config;
    config.model = 2;
    config.port = argv[1];
    config.ptt = PttMethod::Cat;
    const std::chrono::milliseconds lead(std::atoi(argv[2])), tail(std::atoi(argv[3]));
    const int runs = std::atoi(argv[4]);
    if (Pa_Initialize() != paNoError) {
        return 1;
    }
    {
        RigConnection rig(config);
        TimedPtt ptt(rig);
        PortAudioPlayout output;
        Monitor monitor;
        TransmitSequencer sequencer(ptt, output,
                                    SequenceTiming{lead, tail, std::chrono::minutes(1)});
        std::printf("output latency %.1f ms\n", output.latencyMs());
        std::printf("run  ptt-on-to-audio  audio-to-ptt-off  (settings %lld / %lld ms)  "
                    "CAT round trip on/off\n",
                    static_cast<long long>(lead.count()), static_cast<long long>(tail.count()));
        for (int run = 0; run < runs; ++run) {
            std::vector<float> tone(8000);
            for (std::size_t n = 0; n < tone.size(); ++n) {
                tone[n] = static_cast<float>(0.5 * std::cos(2.0 * M_PI * 1000.0 * n / kRate));
            }
            monitor.reset();
            auto sending = std::make_shared<std::atomic<bool>>(true);
            if (sequencer.startTransmission(
                    std::make_unique<tarn::Transmission>(std::move(tone), sending), false) != 0) {
                std::printf("refused: %s\n", sequencer.lastError().c_str());
                return 1;
            }
            while (sequencer.sending()) {
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(500));
            std::printf("%3d  %10.1f ms  %15.1f ms  %30s %.2f / %.2f ms\n", run + 1,
                        (monitor.firstNs() - ptt.onNs.load()) / 1e6,
                        (ptt.offNs.load() - monitor.endNs()) / 1e6, "",
                        ptt.onRoundTrip.load() / 1e6, ptt.offRoundTrip.load() / 1e6);
            if (std::getenv("PTT_TIMING_DETAIL")) {
                std::printf("     heard %.1f ms after the planned start, ended %.1f ms after the "
                            "reported end\n",
                            (monitor.firstNs() - output.startAtNs()) / 1e6,
                            (monitor.endNs() - output.playedOutNs()) / 1e6);
            }
        }
    }
    Pa_Terminate();
    return 0;
}
