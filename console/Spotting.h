// Reports the stations the console hears to the spotting network: received
// text goes through a heard-call matcher, each call found becomes a spot
// with its RF frequency (when a rig reports the dial) and SNR, and the
// spotter sends them from one UDP socket at the times the network asks for.
// The band scanner's channels hand their calls in through heard().
//
// Switched on and off, and pointed elsewhere, by configure(), which the
// console calls with the settings of the moment; nothing is sent while it is
// off or the settings lack a call sign or locator. The collector's name is
// looked up on a thread of its own (a slow name server must not freeze the
// console): spots heard meanwhile wait in the spotter, and poll() opens the
// socket once the answer is in. A failed lookup is logged once and tried
// again every five minutes. Main thread only.
#pragma once

#include "logbook/HeardCalls.h"
#include "reporting/Spotter.h"
#include "reporting/UdpSender.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

class Spotting {
public:
    struct Setup {
        bool enabled = false;
        std::string callsign;
        std::string locator;
        std::string address; // host:port of the collector

        bool operator==(const Setup&) const = default;
    };
    static constexpr int64_t kLookupRetrySeconds = 300;
    // Where datagrams go instead of a UDP socket (a test's own collector);
    // an empty sink, with the reason in `error`, when there is none.
    using SinkFactory =
        std::function<reporting::Spotter::Sink(const reporting::HostPort&, std::string& error)>;

    Spotting();
    ~Spotting();

    // Applies the settings; a change starts afresh (pending spots of the old
    // setup are sent first, once its collector is found). Returns why
    // spotting is off although enabled, or "".
    std::string configure(const Setup& setup, int64_t now);
    bool active() const { return link != nullptr; }

    // Text received by the main receiver. `frequencyHz` is the RF frequency
    // (0 without a rig), `snrDb` the signal-to-noise ratio.
    void received(std::string_view text, int64_t frequencyHz, int snrDb, int64_t now);
    // The receiver was retuned: what follows is another station's text.
    void retuned();
    // A call heard elsewhere (a band scanner's channel).
    void heard(const std::string& call, int64_t frequencyHz, int snrDb, int64_t now);
    // Sends what is due; call on the console's timer.
    void poll(int64_t now);

    // Spots waiting, of this setup and of earlier ones still being sent.
    size_t pendingCount() const;
    // Takes effect with the next change of setup.
    void setSinkFactory(SinkFactory factory) { sinkFactory = std::move(factory); }

private:
    // One collector: its name's lookup, the socket and the spotter.
    class Link;

    Setup current;
    std::string problem;
    SinkFactory sinkFactory;
    logbook::HeardCallMatcher matcher;
    std::vector<std::string> found;
    std::unique_ptr<Link> link;
    std::vector<std::unique_ptr<Link>> retiring; // earlier setups waiting for their lookup
};

// A signal's SNR in whole dB from two of the engine's levels (natural logs
// of power): 10·log10(e^signal / e^noise) = (signal − noise)·10/ln 10.
int snrDecibels(float signalLevel, float noiseLevel);
