// The audio host's watch over one stream: is it still delivering?
//
// The stream's callback counts its calls (any thread, lock-free); the host's
// thread looks once per watch (every 500 ms) and learns whether the stream
// runs, has ended (PortAudio's own thread for it has stopped), or has been
// silent for kSilentWatches watches in a row (5 s).
//
// What counts as lost, and why. A listener once reported "Audio device
// lost" and reopened everything while another program started playing into
// the same sink, with the server healthy. Two things in a rule of "inactive,
// or no callback for 5 s of clock time" can say "lost" of a live device:
// - On ALSA, Pa_IsStreamActive turns 0 as soon as PortAudio's callback
//   thread leaves its loop, and it leaves on any error of the PCM that it
//   cannot handle in place (a failed poll, a failed restart after an xrun,
//   which for the pulse PCM means building a new stream on the server),
//   whether or not the server is still there. Such a stream is dead, but a
//   new one on the same device runs: the host reopens an ended stream at
//   once in the same session, and only a device that refuses is lost.
// - Silence measured in clock time also counts time in which the host's own
//   thread did not run; after a stopped or starved process the first watch
//   can come before the first callback. Here silence is counted in watches,
//   and a late watch counts once.
// Healthy stalls are short next to ten watches: capture pauses of up to
// 170 ms while clients come and go, and after the whole process or the
// server was stopped for seconds, callbacks resume at once. A server that
// has gone (stopped, killed) ends the stream or silences it for good, and
// the reopen fails: that is still reported, within about 5 s.
#pragma once

#include <atomic>
#include <cstdint>

namespace tarnaudio {

class StreamWatch {
public:
    enum class Health { Running, Ended, Silent };

    // Watches in a row without a callback after which a stream is silent: 5 s
    // at one watch per 500 ms (a freshly started sound server can take two
    // seconds to deliver its first input).
    static constexpr int kSilentWatches = 10;

    // The stream's callback, once per call.
    void calledBack() { callbacks.fetch_add(1, std::memory_order_relaxed); }

    // The host's thread, once per watch; `active` is Pa_IsStreamActive() == 1.
    Health watch(bool active);

private:
    std::atomic<uint64_t> callbacks{0};
    uint64_t lastSeen = 0;
    int silentWatches = 0;
};

} // namespace tarnaudio
