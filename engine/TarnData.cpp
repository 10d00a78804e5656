// The façade: construction, and the calls that only pass through to the
// engine's inside.
#include "engine/TarnData.h"

#include "engine/Engine.h"

namespace tarn {

Engine::Engine(float squelchDefault) : backgroundNoiseLevel(squelchDefault) {
    initFFTCoefficients(afcCoeffVector, kAFCFFTSize);
    initFFTCoefficients(spectrum_coeff_vector, kSpectrumSize);
    setFrequency(kDefaultFrequency);
    setAutomaticFrequencyControl(true);
}

EngineStatus Engine::status() const {
    const auto relaxed = std::memory_order_relaxed;
    EngineStatus s;
    s.frequency = _frequency.load(relaxed);
    s.frequencyErrorOffset = frequencyErrorOffset.load(relaxed);
    s.signalLevel = signalAtFrequency.load(relaxed);
    s.squelch = backgroundNoiseLevel.load(relaxed);
    s.afcOn = _automaticFrequencyControl.load(relaxed);
    s.afcAcquiring = useFFTForAFC.load(relaxed);
    s.sending = sending();
    s.symbolPhase = publishedSymbolPhase.load(relaxed);
    s.timingError = carrierStart.load(relaxed);
    s.waterfallRow = waterfall.newestRow();
    return s;
}

} // namespace tarn

TarnData::TarnData(float squelchDefault) : engine(std::make_unique<tarn::Engine>(squelchDefault)) {}

// A transmission still playing keeps its own samples and sending flag.
TarnData::~TarnData() = default;

void TarnData::processInputAudioSamples(std::span<const float> samples) {
    engine->processInputAudioSamples(samples.data(), static_cast<int32_t>(samples.size()));
}

void TarnData::setFrequency(double hertz) {
    engine->setFrequency(hertz);
}

void TarnData::nudgeFrequency(double hertz) {
    engine->nudgeFrequency(hertz);
}

void TarnData::lockFrequency() {
    engine->lockFrequency();
}

double TarnData::frequency() const {
    return engine->frequency();
}

void TarnData::setAutomaticFrequencyControl(bool on) {
    engine->setAutomaticFrequencyControl(on);
}

bool TarnData::automaticFrequencyControl() const {
    return engine->automaticFrequencyControl();
}

void TarnData::setBackgroundNoiseLevel(float level) {
    engine->setBackgroundNoiseLevel(level);
}

float TarnData::backgroundNoiseLevel() const {
    return engine->squelch();
}

std::optional<std::string> TarnData::drainTextBuffer() {
    return engine->drainTextBuffer();
}

tarn::EngineStatus TarnData::status() const {
    return engine->status();
}

bool TarnData::copySpectrumRow(int rowsBack, std::span<float, tarn::kSpectrumSize> out) const {
    return engine->copySpectrumRow(rowsBack, out);
}

std::vector<float> TarnData::renderString(std::string_view text) const {
    return engine->renderString(text);
}

std::vector<float> TarnData::renderString(std::u16string_view text) const {
    return engine->renderString(text);
}
