// Measures a keyed transmission through the audio host on a live loopback:
// the sequencer keys rigctld by CAT and plays a one-second tone through the
// host's output (the system default), while a capture stream on the default
// input (the output's monitor) timestamps when the tone arrives and ends.
// Prints, per run, PTT on to the first audio and the last audio to PTT off
// as the monitor hears them, and then on the output's own clock: the
// monitor's timestamps come from the capture side's latency estimate, which
// wanders by several milliseconds against the output's (the sound server's
// null sink has no real clock), so its offset at the last sample, known on
// both sides, is taken out of both figures.
//
//   ptt_host_timing HOST:PORT LEAD_MS TAIL_MS RUNS
#include "audio/AudioHost.h"
#include "rig/RigConnection.h"
#include "rig/TransmitSequencer.h"

#include <portaudio.h>

#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <thread>
#include <vector>

namespace {

using namespace tarn::rig;
using Clock = std::chrono::steady_clock;
constexpr double kRate = 8000.0;

long long steadyNs(double streamTime, double currentStreamTime) {
    return Clock::now().time_since_epoch().count() +
           static_cast<long long>((streamTime - currentStreamTime) * 1e9);
}

// When the tone's first sample arrived on the monitor and its last one ended.
class Monitor {
public:
    Monitor() {
        Pa_OpenDefaultStream(&stream, 1, 0, paFloat32, kRate, 80, callback, this);
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
    std::atomic<long long> first{-1}, last{-1};

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
};

// On once the rig has confirmed it, off as the request leaves.
class TimedPtt : public PttSwitch {
public:
    explicit TimedPtt(PttSwitch& inner) : inner(inner) {}
    std::string setPtt(bool on) override {
        const long long before = Clock::now().time_since_epoch().count();
        std::string result = inner.setPtt(on);
        (on ? onNs : offNs).store(on ? Clock::now().time_since_epoch().count() : before);
        return result;
    }
    PttSwitch& inner;
    std::atomic<long long> onNs{-1}, offNs{-1};
};

} // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::fputs("usage: ptt_host_timing HOST:PORT LEAD_MS TAIL_MS RUNS\n", stderr);
        return 2;
    }
    RigConfig config;
    config.model = 2;
    config.port = argv[1];
    config.ptt = PttMethod::Cat;
    const std::chrono::milliseconds lead(std::atoi(argv[2])), tail(std::atoi(argv[3]));
    const int runs = std::atoi(argv[4]);
    tarnaudio::AudioHostOptions options;
    options.input = false;
    tarnaudio::AudioHost host(options, {});
    if (Pa_Initialize() != paNoError || !host.outputRunning()) {
        return 1;
    }
    {
        RigConnection rig(config);
        TimedPtt ptt(rig);
        Monitor monitor;
        TransmitSequencer sequencer(ptt, host, SequenceTiming{lead, tail, std::chrono::minutes(1)});
        std::this_thread::sleep_for(std::chrono::seconds(1));
        std::printf("output latency %.1f ms; settings lead %lld ms, tail %lld ms\n",
                    host.outputLatency() * 1e3, static_cast<long long>(lead.count()),
                    static_cast<long long>(tail.count()));
        // Run 0 is not reported: the first transmission after the streams
        // open has come out with its monitor timestamps before PTT on in
        // every trial, the capture side's estimate not yet settled.
        for (int run = 0; run <= runs; ++run) {
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
            // The output's DAC time of the last sample, read while the tail
            // runs (the next transmission clears it).
            std::optional<Clock::time_point> lastAtDac;
            while (sequencer.sending()) {
                if (!lastAtDac) {
                    lastAtDac = host.playedOutAt();
                }
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(500));
            if (run == 0) {
                continue;
            }
            const double first = (monitor.first.load() - ptt.onNs.load()) / 1e6;
            const double last = (ptt.offNs.load() - monitor.last.load()) / 1e6;
            std::printf("run %d: PTT on to first audio %.1f ms, last audio to PTT off %.1f ms", run,
                        first, last);
            if (lastAtDac) {
                // The end of the last sample on the output's clock.
                const long long endNs =
                    lastAtDac->time_since_epoch().count() + static_cast<long long>(1e9 / kRate);
                const double skew = (monitor.last.load() - endNs) / 1e6;
                std::printf("; on the output's clock %.1f ms and %.1f ms", first - skew,
                            last + skew);
            }
            std::printf("\n");
        }
    }
    Pa_Terminate();
    return 0;
}
