#include "console/Spotting.h"

#include "log/TarnLog.h"
#include "logbook/LogFile.h"

#include <cmath>
#include <random>

int snrDecibels(float signalLevel, float noiseLevel) {
    const double ln10 = std::log(10.0);
    const double db =
        (static_cast<double>(signalLevel) - static_cast<double>(noiseLevel)) * 10.0 / ln10;
    return static_cast<int>(std::lround(db));
}

class Spotting::Link {
public:
    // Datagrams go to `sink` when there is one, else to a UDP socket opened
    // once the lookup of `to` has found it.
    Link(const reporting::HostPort& to, std::string address,
         const reporting::ReceiverInfo& receiver, reporting::Spotter::Sink sink)
        : destination(to), address(std::move(address)), direct(bool(sink)),
          spotter(receiver, direct ? std::move(sink) : socketSink(), std::random_device{}()) {
        if (!direct)
            lookup.emplace(to);
    }

    // True once datagrams can go; until then takes the lookup's answer when
    // it comes, or starts another lookup after a failed one.
    bool ready(int64_t now) {
        if (direct || socket.isOpen())
            return true;
        if (!lookup) {
            if (now < retryAt)
                return false;
            lookup.emplace(destination);
        }
        const reporting::ResolvedAddress* answer = lookup->result();
        if (answer == nullptr)
            return false;
        std::string error;
        const bool opened = socket.open(*answer, error);
        lookup.reset();
        if (!opened) {
            if (!failureLogged)
                tarnLog("Spotting: cannot reach %s: %s; trying again every %lld s\n",
                        address.c_str(), error.c_str(),
                        static_cast<long long>(kLookupRetrySeconds));
            failureLogged = true;
            retryAt = now + kLookupRetrySeconds;
        }
        return opened;
    }
    // The first lookup has ended one way or the other.
    bool settled() const { return direct || socket.isOpen() || failureLogged; }
    reporting::Spotter& spots() { return spotter; }
    const reporting::Spotter& spots() const { return spotter; }

private:
    reporting::Spotter::Sink socketSink() {
        return [this](const std::vector<uint8_t>& datagram) {
            std::string why;
            if (!socket.send(datagram, why))
                tarnLog("Spot report not sent: %s\n", why.c_str());
        };
    }

    reporting::HostPort destination;
    std::string address; // as the settings give it, for the log
    std::optional<reporting::AddressLookup> lookup;
    int64_t retryAt = 0;
    bool failureLogged = false;
    bool direct; // datagrams go to a sink of the owner's, not a socket
    reporting::UdpSender socket;
    reporting::Spotter spotter;
};

Spotting::Spotting() = default;

Spotting::~Spotting() = default;

std::string Spotting::configure(const Setup& setup, int64_t now) {
    if (setup == current && (link || !problem.empty() || !setup.enabled))
        return problem;
    if (link && link->spots().pendingCount() > 0) {
        if (link->ready(now))
            link->spots().flush(now);
        else
            retiring.push_back(std::move(link));
    }
    link.reset();
    matcher.reset();
    current = setup;
    problem.clear();
    if (!setup.enabled)
        return problem;
    problem = reporting::spottingSetupProblem(setup.callsign, setup.locator);
    if (!problem.empty())
        return problem;
    const std::optional<reporting::HostPort> to =
        reporting::parseHostPort(setup.address, reporting::kSpotPort);
    if (!to) {
        problem = "the spotting address is not host:port: " + setup.address;
        return problem;
    }
    const reporting::ReceiverInfo receiver{setup.callsign, setup.locator,
                                           "tarn-psk31 " + std::string(logbook::programVersion())};
    reporting::Spotter::Sink sink;
    if (sinkFactory) {
        sink = sinkFactory(*to, problem);
        if (!sink) {
            problem = "cannot reach " + setup.address + ": " + problem;
            return problem;
        }
    }
    link = std::make_unique<Link>(*to, setup.address, receiver, std::move(sink));
    return problem;
}

void Spotting::received(std::string_view text, int64_t frequencyHz, int snrDb, int64_t now) {
    if (!link)
        return;
    found.clear();
    matcher.feed(text, found);
    for (const std::string& call : found)
        heard(call, frequencyHz, snrDb, now);
}

void Spotting::retuned() {
    matcher.reset();
}

void Spotting::heard(const std::string& call, int64_t frequencyHz, int snrDb, int64_t now) {
    if (!link)
        return;
    reporting::Spot spot;
    spot.call = call;
    spot.frequencyHz = frequencyHz;
    spot.snrDb = snrDb;
    spot.heardAt = now;
    link->spots().heard(std::move(spot));
}

void Spotting::poll(int64_t now) {
    if (link && link->ready(now))
        link->spots().poll(now);
    // An earlier setup's spots go at once when its collector is found; when
    // it cannot be found they are given up with the one line in the log.
    std::erase_if(retiring, [now](const std::unique_ptr<Link>& old) {
        if (old->ready(now))
            old->spots().flush(now);
        return old->settled();
    });
}

size_t Spotting::pendingCount() const {
    size_t count = link ? link->spots().pendingCount() : 0;
    for (const std::unique_ptr<Link>& old : retiring)
        count += old->spots().pendingCount();
    return count;
}
