// Construction in its fixed order, defaults, and the engine's lifetime.
#include "engine/TarnData.h"

#include "varicode/varicode.h"

std::unique_ptr<TarnData> TarnData::create(AudioPlatform& platform) {
    // Value-initialisation zeroes every field before init sets the defaults.
    std::unique_ptr<TarnData> engine(new TarnData());
    if (!engine->init(platform)) {
        return nullptr;
    }
    return engine;
}

TarnData::~TarnData() = default;

bool TarnData::init(AudioPlatform& audioPlatform) {
    platform = &audioPlatform;

    audioSamplesTrainingBufferIndex = 0;
    currentFFTRow = 0;
    indexForFFTSamples = 0;
    inputStringIndex = 0;
    iqAudioInputIndex = 0;
    iqProcessIndex = 0;
    iqSecondStageIndex = 0;
    oldPhase = 0;
    iqTheta = 0;
    iqMatchPoint = 0;
    afcLastAngle = 0;
    afcStoredAngle = 0;
    FFTAFCStable = 0;
    carrierStart = 0;
    textBufferTail = 0;
    textBufferHead = 0;
    syncBit = 0;
    newSyncBit = 0;
    delayDecoder = 0;
    oldSign = 1;
    useFFTForAFC = true;
    phaseSyncSubBit = 8;
    training = false;
    replayHistory = false;
    display_average_low = -8.0f;
    display_average_high = 2.0f;
    display_average_average = -1.0f;

    // Both locks are members, constructed with the object; the codec's first
    // construction builds the shared reverse table.
    varicodeParser = std::make_unique<varicode>();

    initFilters();
    initGrayScaleLUT();
    initDecoder();
    initSpectrumDataCollection();
    setFrequency(1500.0);
    configureAudioSession();
    configureInputAudioQueue();
    configureOutputAudio();
    setAutomaticFrequencyControl(true);
    setFrequencyErrorOffset(0);

    std::optional<int> idiom = platform->userInterfaceIdiom();
    backgroundNoiseLevel = (idiom && *idiom == 1) ? -20.0f : -30.0f;
    return true;
}

void TarnData::initDecoder() {
    initFFTCoefficients(afcCoeffVector, tarn::kAFCFFTSize);
}

void TarnData::decoderReset() {}
