// The façade: every call passes through to the engine's inside.
#include "engine/TarnData.h"

#include "engine/Engine.h"
#include "engine/Modulator.h"

#include <algorithm>

TarnData::TarnData(float squelchDefault) : engine(std::make_unique<tarn::Engine>(squelchDefault)) {}

// A transmission still playing keeps its own samples and sending flag.
TarnData::~TarnData() = default;

void TarnData::processInputAudioSamples(std::span<const float> samples) {
    engine->processInputAudioSamples(samples);
}

void TarnData::setFrequency(double hertz) {
    engine->setFrequency(hertz);
}

void TarnData::nudgeFrequency(double hertz) {
    engine->nudgeFrequency(hertz);
}

void TarnData::lockFrequency() {
    engine->receiver().lockFrequency();
}

double TarnData::frequency() const {
    return engine->receiver().frequency();
}

void TarnData::setAutomaticFrequencyControl(bool on) {
    engine->receiver().setAutomaticFrequencyControl(on);
}

bool TarnData::automaticFrequencyControl() const {
    return engine->receiver().automaticFrequencyControl();
}

void TarnData::setBackgroundNoiseLevel(float level) {
    engine->receiver().setSquelch(level);
}

float TarnData::backgroundNoiseLevel() const {
    return engine->receiver().squelch();
}

std::optional<std::string> TarnData::drainTextBuffer() {
    return engine->receiver().drainText();
}

tarn::EngineStatus TarnData::status() const {
    const tarn::Receiver& receiver = engine->receiver();
    tarn::EngineStatus s;
    s.frequency = receiver.frequency();
    s.frequencyErrorOffset = receiver.frequencyErrorOffset();
    s.signalLevel = receiver.signalLevel();
    s.squelch = receiver.squelch();
    s.afcOn = receiver.automaticFrequencyControl();
    s.afcAcquiring = receiver.acquiring();
    s.sending = isSending();
    s.symbolPhase = receiver.symbolPhase();
    s.timingError = receiver.timingError();
    s.waterfallRow = engine->waterfall().newestRow();
    return s;
}

bool TarnData::copySpectrumRow(int rowsBack, std::span<float, tarn::kSpectrumSize> out) const {
    return engine->waterfall().copyRow(rowsBack, out);
}

void TarnData::setPreambleReversals(int count) {
    preamble = std::clamp(count, 0, 250);
}

std::vector<float> TarnData::renderString(std::string_view text) const {
    return tarn::Modulator::render(text, frequency(), preamble);
}

std::vector<float> TarnData::renderString(std::u16string_view text) const {
    return tarn::Modulator::render(text, frequency(), preamble);
}
