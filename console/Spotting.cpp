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

Spotting::Spotting()
    : sinkFactory([this](const reporting::HostPort& to, std::string& error) {
          socket = std::make_unique<reporting::UdpSender>();
          if (!socket->open(to, error)) {
              socket.reset();
              return reporting::Spotter::Sink();
          }
          reporting::UdpSender* sender = socket.get();
          return reporting::Spotter::Sink([sender](const std::vector<uint8_t>& datagram) {
              std::string why;
              if (!sender->send(datagram, why))
                  tarnLog("Spot report not sent: %s\n", why.c_str());
          });
      }) {}

Spotting::~Spotting() = default;

std::string Spotting::configure(const Setup& setup, int64_t now) {
    if (setup == current && (spotter || !problem.empty() || !setup.enabled))
        return problem;
    if (spotter)
        spotter->flush(now);
    spotter.reset();
    socket.reset();
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
    reporting::Spotter::Sink sink = sinkFactory(*to, problem);
    if (!sink) {
        problem = "cannot reach " + setup.address + ": " + problem;
        return problem;
    }
    const reporting::ReceiverInfo receiver{setup.callsign, setup.locator,
                                           "tarn-psk31 " + std::string(logbook::programVersion())};
    spotter =
        std::make_unique<reporting::Spotter>(receiver, std::move(sink), std::random_device{}());
    return problem;
}

void Spotting::received(std::string_view text, int64_t frequencyHz, int snrDb, int64_t now) {
    if (!spotter)
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
    if (!spotter)
        return;
    reporting::Spot spot;
    spot.call = call;
    spot.frequencyHz = frequencyHz;
    spot.snrDb = snrDb;
    spot.heardAt = now;
    spotter->heard(std::move(spot));
}

void Spotting::poll(int64_t now) {
    if (spotter)
        spotter->poll(now);
}
