// TarnViewController: the station's one main screen. It owns the engine
// (created on first use), polls it every 0.2 s to show received text, the
// tuned frequency, the AFC correction and the signal level, draws the
// spectrum or waterfall, and turns control presses, taps on the display,
// typed text and the ten macro buttons into engine operations.
//
// The code is split by area:
//   TarnViewController.cpp construction, widgets, key, mouse and touch input
//   DisplayRefresh.cpp   refresh tick, label refreshers, tuning controls,
//                        tap-to-tune, display mode and zoom, what each
//                        frame draws
//   SpectrumRenderer     the spectrum trace and the waterfall (GL)
//   Lifecycle.cpp        set-up order, lazy engine, background/foreground,
//                        toolbar, closing the settings screen
//   SettingsDefaults.cpp first-run defaults and applying the settings
//   Macros.cpp           macro buttons, escapes, sending typed text, the
//                        settings screen's opening (openSettings) and the
//                        TX indicator
//   RecordingPlayer      audio files fed to the receiver ("Play recording…")
//
// Main thread only. The engine is the only object shared with other threads
// (the audio input thread, or the recording player's, which only moves
// samples into it); the console reads it only through its relaxed-atomic
// properties, drainTextBuffer and spectrumLevel.
#pragma once

#include "audio/AudioHost.h"
#include "console/FormFactor.h"
#include "engine/TarnData.h"
#include "settings/AudioDeviceNames.h"

#include <QMainWindow>
#include <QPointF>
#include <QPointer>
#include <QRectF>
#include <QString>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>

namespace tarnaudio {
class InputConsumer;
} // namespace tarnaudio
class QAction;
class QCheckBox;
class QDialog;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QTimer;
class QsoLogging;
class RadioControl;
class QToolBar;
class LevelSlider;
class MacroExpander;
class MomentarySegmentedControl;
class RecordingPlayer;
class SettingsStore;
class SpectrumRenderer;
class SpectrumView;

namespace Ui {
class TarnViewController;
}

class TarnViewController : public QMainWindow {
    Q_OBJECT

public:
    // `audio` says which sound devices the engine's audio host opens; none
    // (std::nullopt) runs without sound, as the tests do. `store` holds the
    // operator's settings. The constructor sets the console up
    // (initializeConsole).
    TarnViewController(std::optional<tarnaudio::AudioHostOptions> audio, SettingsStore& store,
                       FormFactor formFactor = FormFactor::tablet, QWidget* parent = nullptr);
    ~TarnViewController() override;

    // ---- State --------------------------------------------------------------
    int32_t displayMode = 0;    // 0 waterfall, 1 spectrum, anything else: nothing drawn
    bool displayZoomed = false; // zoomed spans around the tuned frequency
    bool inBackground = false;  // suppresses drawing
    // The newest refresh timer. A return to the foreground starts a further
    // timer without stopping one still running here, so more than one can tick.
    QPointer<QTimer> updateDisplayTimer;
    // The settings screen while it is open; openSettings sets it, and it
    // closes itself when accepted.
    QPointer<QDialog> settingsDialog;

    // ---- Widgets ---------------------------------------------------------------
    QLineEdit* textInput() const;
    QLineEdit* qsoInput() const;
    QPlainTextEdit* textOutput() const;
    QCheckBox* afcOnOff() const;
    MomentarySegmentedControl* frequencyAdjust() const;
    LevelSlider* squelch() const;
    QLabel* squelchDisplay() const;
    QLabel* signalAtFrequency() const;
    QLabel* displayFrequency() const;
    QLabel* displayAFCOffset() const;
    // The GL view; none while in the background (its context is released).
    SpectrumView* spectrumDisplay() const;
    QToolBar* toolbar() const;
    // m1Button .. m10Button for n = 1 .. 10.
    QAction* macroButton(int n) const;
    QAction* settingsButton() const;
    // Shown while a transmission plays; driven from the refresh tick.
    QLabel* txIndicator() const { return txLabel; }

    // The engine, created on first use and kept for the life of the console.
    TarnData* theData();
    SettingsStore& settingsStore() { return store; }
    FormFactor formFactor() const { return deviceFormFactor; }
    // Where the settings screen gets the audio devices it offers; without
    // one it offers only the system default.
    void setAudioDeviceSource(std::function<AudioDeviceNames()> source) {
        audioDevices = std::move(source);
    }
    // The audio file feeder behind "Play recording…".
    RecordingPlayer* recordingPlayer() const { return player.get(); }
    // Starts feeding an audio file into the receiver as if it came from the
    // radio. When the file cannot be played: false, and the reason goes to
    // `error` if given, else to a message box.
    bool playRecording(const QString& path, QString* error = nullptr);
    // A second consumer of the radio's input next to the engine (the band
    // scanner); it must outlive the console's audio connection.
    void setInputConsumer(tarnaudio::InputConsumer* consumer);
    // The QSO form, the log, capture from the receive view and spotting.
    QsoLogging* qsoLogging() const { return logging; }
    // The radio: connection, RF readout, Stop sending, the keyed transmit path.
    RadioControl* radioControl() const { return radio; }

    // ---- Lifecycle -----------------------------------------------------------
    void initSpectrumDisplay();
    void initializeToolbar();
    void enteredBackground();
    void enteredForeground();
    void enterSetup();
    void initializeSettings();
    void initializeFromSettings();

    // ---- Display refresh -----------------------------------------------------
    void updateafcDisplay();
    void updateFrequencyDisplay();
    void updateSquelchDisplay();
    void updateDisplay();

    // ---- Drawing (SpectrumView calls back here) ------------------------------
    // One frame into `rect` (points): the waterfall in mode 0, the spectrum
    // in mode 1, nothing in another mode or in the background.
    void paintSpectrum(SpectrumRenderer& renderer, const QRectF& rect);
    // Where the drawing gets waterfall rows (rowsBack 0 = newest): the
    // engine's copy-out unless replaced (tests draw rows of their own).
    using SpectrumRowSource = std::function<bool(int rowsBack, std::span<float, 1024> out)>;
    void setSpectrumRowSource(SpectrumRowSource source) { spectrumRowSource = std::move(source); }

public slots:
    // Tuning and display controls.
    void frequencyAdjustChanged();
    void afcOnOffChanged();
    void squelchChanged();
    void switchViews();
    void zoomPressed();
    void swipeGestureAction();
    void closeKeyboard();
    void editButton();
    void playRecordingPressed();
    // Tap-to-tune at `position` (points in the spectrum view; only x counts):
    // tunes there and switches AFC on.
    void tuneAt(const QPointF& position);

    // Macros and text entry (Macros.cpp).
    void m1ButtonPressed();
    void m2ButtonPressed();
    void m3ButtonPressed();
    void m4ButtonPressed();
    void m5ButtonPressed();
    void m6ButtonPressed();
    void m7ButtonPressed();
    void m8ButtonPressed();
    void m9ButtonPressed();
    void m10ButtonPressed();
    void processMacro(const QString& macroText);
    void processMacroBeforeOutput();
    // Expands, sends and echoes textInput (Return in it does this).
    void processTextInput();
    // A null string appends nothing.
    void appendStringToInputString(const QString* string);
    void appendCharToInputString(uint32_t characterCode);
    void syncTxRx();
    void doSyncTxRx();
    // Opens the settings screen modally (Macros.cpp: creates the dialog,
    // stores it in settingsDialog, shows it).
    void openSettings();
    // The settings screen was accepted (and has closed): apply the settings.
    void settingsFinished();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void changeEvent(QEvent* event) override;
    void showEvent(QShowEvent* event) override;

private slots:
    // Background and foreground follow the application's state.
    void onApplicationStateChanged(Qt::ApplicationState state);

private:
    // Set-up order once the widgets exist: display, engine, timer, settings.
    void initializeConsole();
    void connectControls();
    // Rows of controls that wrap and scroll with the QSO form (last step of
    // the construction).
    void fitNarrowWindows();
    QTimer* startDisplayTimer();
    // The escapes' values as they are now (settings and QSO field).
    MacroExpander macroExpander();
    // Title and toolbar action follow the recording player (tick).
    void refreshPlayerStatus();

    std::unique_ptr<Ui::TarnViewController> ui;
    std::unique_ptr<tarnaudio::AudioHostOptions> audioOptions; // none: no sound
    SettingsStore& store;
    FormFactor deviceFormFactor;
    std::unique_ptr<TarnData> _theData;
    std::function<AudioDeviceNames()> audioDevices;
    // Input blocks reach the engine through the player; declared after the
    // engine, so they stop before it goes.
    std::unique_ptr<RecordingPlayer> player;
    // Takes every input block next to the engine (the band scanner); set
    // on the main thread, read on the input thread.
    std::atomic<tarnaudio::InputConsumer*> inputConsumer{nullptr};
    SpectrumRowSource spectrumRowSource;
    // The sound devices: live blocks to the player, the engine's output.
    std::unique_ptr<tarnaudio::AudioHost> audioHost;
    QPointer<SpectrumView> spectrumView;
    QsoLogging* logging = nullptr;
    RadioControl* radio = nullptr;
    QLabel* txLabel = nullptr;
    QAction* playAction = nullptr;
    Qt::ApplicationState lastApplicationState = Qt::ApplicationInactive;
    bool launchActivationSeen = false;
    std::optional<QPointF> swipeStart; // global position of a one-finger touch
    bool lastCharWasCR = false;        // a received CR LF pair may span two ticks
    bool sidePanelsFitted = false;     // on the first showing
};
