// TarnViewController: the station's one main screen. It owns the engine
// (created on first use), polls it every 0.2 s to show received text, the
// tuned frequency, the AFC correction and the signal level, draws the
// spectrum or waterfall, and turns control presses, taps on the display,
// typed text and the ten macro buttons into engine operations.
//
// The code is split by area:
//   TarnViewController.cpp construction, outlets, key, mouse and touch input
//   DisplayRefresh.cpp   refresh tick, label refreshers, tuning controls,
//                        tap-to-tune, display mode and zoom
//   SpectrumDrawing.cpp  the spectrum trace and the waterfall (GL)
//   Lifecycle.cpp        set-up order, lazy engine, background/foreground,
//                        toolbar, closing the settings screen
//   SettingsDefaults.cpp first-run defaults and applying the settings
//   Macros.cpp           macro buttons, escapes, sending typed text, the
//                        settings screen's opening (segueToConfig) and the
//                        TX indicator
//   RecordingPlayer      audio files fed to the receiver ("Play recording…")
//
// Main thread only. The engine is the only object shared with other threads
// (the audio input thread, or the recording player's, which only moves
// samples into it); the console reads it only through its relaxed-atomic
// properties, drainTextBuffer and spectrumLevel.
#pragma once

#include "audio/AudioHost.h"
#include "engine/TarnData.h"
#include "settings/SettingsDelegate.h"

#include <QMainWindow>
#include <QPointF>
#include <QPointer>
#include <QRectF>
#include <QString>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>

class QAction;
class QCheckBox;
class QDialog;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QTimer;
class QToolBar;
class LevelSlider;
class MomentarySegmentedControl;
class RecordingPlayer;
class SettingsStore;
class SpectrumView;

namespace Ui {
class TarnViewController;
}

// The device's form factor: sets rounded corners, the squelch default and
// the default output route.
enum class FormFactor { phone = 0, tablet = 1 };

class TarnViewController : public QMainWindow, public SettingsDelegate {
    Q_OBJECT

public:
    // `audio` says which sound devices the engine's audio host opens; none
    // (std::nullopt) runs without sound, as the tests do.
    // `store` holds the operator's settings. The view is set up (viewDidLoad)
    // by the constructor.
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
    // The settings screen while it is open; segueToConfig sets it,
    // settingsFinished closes it.
    QPointer<QDialog> settingsDialog;

    // ---- Outlets --------------------------------------------------------------
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
    // The audio file feeder behind "Play recording…".
    RecordingPlayer* recordingPlayer() const { return player.get(); }
    // Starts feeding an audio file into the receiver as if it came from the
    // radio. When the file cannot be played: false, and the reason goes to
    // `error` if given, else to a message box.
    bool playRecording(const QString& path, QString* error = nullptr);

    // ---- Lifecycle -----------------------------------------------------------
    void viewDidLoad();
    void initSpectrumDisplay();
    void initializeToolbar();
    void enteredBackground();
    void enteredForground();
    void enterSetup();
    void initializeSettings();
    void initializeFromSettings();

    // ---- Display refresh -----------------------------------------------------
    void updateafcDisplay();
    void updateFrequencyDisplay();
    void updateSquelchDisplay();
    void updateDisplay();
    // Tap-to-tune at x points from the left edge of the spectrum view.
    void tapToTune(float x);

    // ---- Drawing (SpectrumView calls back here) ------------------------------
    void glkView(SpectrumView* view, const QRectF& rect);
    // Where the drawing gets waterfall rows (rowsBack 0 = newest): the
    // engine's copy-out unless replaced (tests draw rows of their own).
    using SpectrumRowSource = std::function<bool(int rowsBack, std::span<float, 1024> out)>;
    void setSpectrumRowSource(SpectrumRowSource source) { spectrumRowSource = std::move(source); }
    void drawSpectrum(const QRectF& rect);
    void drawSonogram(const QRectF& rect);

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
    void processTextInput();
    // Return in a text field; sends only for textInput. Always true.
    bool textFieldShouldReturn(QLineEdit* textField);
    // A null string appends nothing.
    void appendStringToInputString(const QString* string);
    void appendCharToInputString(uint32_t characterCode);
    void syncTxRx();
    void doSynxTxRx();
    // Opens the settings screen modally with the console as its delegate
    // (Macros.cpp: creates the dialog, stores it in settingsDialog, shows it).
    void segueToConfig();
    // The settings screen is done: close it and apply the settings.
    void settingsFinished() override;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    // Tap-to-tune from a touch or click on `target` at `position` (points in
    // target's coordinates); false when the target is not the spectrum view.
    bool touchesBegan(QObject* target, const QPointF& position);
    void connectControls();
    void applicationStateChanged(Qt::ApplicationState state);
    QTimer* startDisplayTimer();
    // Title and toolbar action follow the recording player (tick).
    void refreshPlayerStatus();

    std::unique_ptr<Ui::TarnViewController> ui;
    std::unique_ptr<tarnaudio::AudioHostOptions> audioOptions; // none: no sound
    SettingsStore& store;
    FormFactor deviceFormFactor;
    std::unique_ptr<TarnData> _theData;
    // Input blocks reach the engine through the player; declared after the
    // engine, so they stop before it goes.
    std::unique_ptr<RecordingPlayer> player;
    SpectrumRowSource spectrumRowSource;
    // The sound devices: live blocks to the player, the engine's output.
    std::unique_ptr<tarnaudio::AudioHost> audioHost;
    QPointer<SpectrumView> spectrumView;
    QLabel* txLabel = nullptr;
    QAction* playAction = nullptr;
    Qt::ApplicationState lastApplicationState = Qt::ApplicationInactive;
    bool launchActivationSeen = false;
    std::optional<QPointF> swipeStart; // global position of a one-finger touch
    bool lastCharWasCR = false;        // a received CR LF pair may span two ticks
};
