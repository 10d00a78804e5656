// One station's receive chain inside the scanner: its tuner on the shared
// 4000 Hz stream, the demodulator, the SNR squelch and the IMD meter, plus
// the text it has received and the numbers a report shows.
#pragma once

#include "scanner/ChannelDemodulator.h"
#include "scanner/ChannelTuner.h"
#include "scanner/EngineStages.h"
#include "scanner/ImdMeter.h"
#include "scanner/SnrSquelch.h"

#include <optional>
#include <string>
#include <vector>

namespace scanner {

class Channel {
public:
    // A channel at `frequency` Hz on a stream centred at `centre` Hz.
    Channel(int id, double frequency, double centre, double squelchDb, double openedAt);

    // Pulls onto the carrier near the starting frequency from the shared
    // history (oldest first), then demodulates that history, so the text sent
    // before the detector confirmed the station is not lost.
    void start(const std::vector<stages::Complex>& history, double noiseFloorBin);

    // One sample of the shared 4000 Hz stream.
    void push(stages::Complex sample);
    void pushBlock(const stages::Complex* samples, int count);

    // Once per spectrum row: the noise power per bin at the channel, and the
    // power above that noise in the seven bins around the carrier (±23 Hz).
    void updateLevels(double noiseFloorBin, double excessPower);

    int id() const { return channelId; }
    double frequency() const { return centreHz + tuner.offset(); }
    double snrDb() const;
    std::optional<double> imdDb() const { return imd.imdDb(); }
    bool receiving() const { return squelch.open(); }
    double openedAt() const { return openedSeconds; }
    // Seconds of the shared stream since the squelch was last open.
    double quietSeconds() const;

    // Text received since the last call.
    std::string takeNewText();
    // Everything received (the newest kReportTextBytes).
    const std::string& text() const { return allText; }
    bool callingCq() const { return sawCq; }

private:
    void baseband(stages::Complex sample);

    int channelId;
    double centreHz;
    double startOffset; // Hz from the centre where the AFC started
    ChannelTuner tuner;
    ChannelDemodulator demodulator;
    SnrSquelch squelch;
    ImdMeter imd;
    bool wasGated = false;
    double appliedCorrection = 0.0;
    long long quietSamples = 0;
    double snrAverage = 0.0; // linear, while the squelch is open
    bool haveSnr = false;
    double openedSeconds;
    std::string newText;
    std::string allText;
    bool sawCq = false;
};

} // namespace scanner
