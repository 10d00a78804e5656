// Reports the stations the console hears to the spotting network: received
// text goes through a heard-call matcher, each call found becomes a spot
// with its RF frequency (when a rig reports the dial) and SNR, and the
// spotter sends them from one UDP socket at the times the network asks for.
//
// Switched on and off, and pointed elsewhere, by configure(), which the
// console calls with the settings of the moment; nothing is sent while it is
// off or the settings lack a call sign or locator. Main thread only.
#pragma once

#include "logbook/HeardCalls.h"
#include "reporting/Spotter.h"
#include "reporting/UdpSender.h"

#include <cstdint>
#include <functional>
#include <memory>
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
    // Where datagrams go; the default opens a UDP socket to the address.
    using SinkFactory =
        std::function<reporting::Spotter::Sink(const reporting::HostPort&, std::string& error)>;

    Spotting();
    ~Spotting();

    // Applies the settings; a change starts afresh (pending spots of the old
    // setup are sent first). Returns why spotting is off although enabled,
    // or "".
    std::string configure(const Setup& setup, int64_t now);
    bool active() const { return spotter != nullptr; }

    // Text received by the main receiver. `frequencyHz` is the RF frequency
    // (0 without a rig), `snrDb` the signal-to-noise ratio.
    void received(std::string_view text, int64_t frequencyHz, int snrDb, int64_t now);
    // The receiver was retuned: what follows is another station's text.
    void retuned();
    // A call heard elsewhere (a band scanner's channel).
    void heard(const std::string& call, int64_t frequencyHz, int snrDb, int64_t now);
    // Sends what is due; call on the console's timer.
    void poll(int64_t now);

    size_t pendingCount() const { return spotter ? spotter->pendingCount() : 0; }
    void setSinkFactory(SinkFactory factory) { sinkFactory = std::move(factory); }

private:
    Setup current;
    std::string problem;
    SinkFactory sinkFactory;
    logbook::HeardCallMatcher matcher;
    std::vector<std::string> found;
    std::unique_ptr<reporting::UdpSender> socket;
    std::unique_ptr<reporting::Spotter> spotter;
};

// A signal's SNR in whole dB from two of the engine's levels (natural logs
// of power): 10·log10(e^signal / e^noise) = (signal − noise)·10/ln 10.
int snrDecibels(float signalLevel, float noiseLevel);
