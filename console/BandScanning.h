// The console's band scanner: every PSK31 station in the band decoded at
// once next to the main receiver, shown in the band panel (a dock beside the
// received text, switched by the toolbar's "Band" toggle) and as markers on
// the display. A click on a row or marker tunes the main receiver there,
// whose replay then shows the station's recent text; a click on a word of a
// row offers it to the QSO form.
//
// The scanner is DSP and runs on the audio input thread: the console's
// audio connection calls feed() with every input block. The panel and the
// markers read the scanner's snapshot on a 0.2 s timer. The settings
// ("Band scanner" on the settings screen) take effect when the screen is
// accepted; the scanner starts afresh then.
//
// While spotting is on, each channel's text is also searched for the calls
// heard (a matcher per channel, dropped when the channel closes or the
// scanner starts afresh), and each call found is spotted with the
// channel's carrier and SNR.
//
// Threads: feed() on the input thread; everything else on the main thread.
// The scanner is only replaced on the main thread, under `feeding`, which
// feed() holds while it uses it; the main thread reads snapshots without
// that lock (only it ever replaces the scanner). The scanner's text and
// closed channels reach the main thread through `received`, a short queue
// under its own lock, emptied on each refresh.
#pragma once

#include "audio/InputConsumer.h"
#include "console/ChannelMarkers.h"
#include "reporting/ChannelCalls.h"
#include "scanner/Scanner.h"

#include <QObject>
#include <QPointer>

#include <atomic>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

class BandPanel;

class QAction;
class QDockWidget;
class SettingsViewController;
class TarnViewController;

class BandScanning : public QObject, public tarnaudio::InputConsumer {
    Q_OBJECT

public:
    static constexpr int kRefreshMilliseconds = 200;

    // Adds the dock, the toolbar toggle and the markers to `console`, starts
    // the scanner as the settings say and connects it to the radio's input.
    explicit BandScanning(TarnViewController& console);
    ~BandScanning() override;

    // Audio at 8000 Hz from the radio's input (input thread).
    void feed(std::span<const float> block) override;

    // Main thread from here on.
    bool scanning() const { return scanner != nullptr; }
    std::vector<scanner::ChannelSnapshot> channels() const;
    BandPanel* panel() const { return bandPanel; }
    QDockWidget* dock() const { return panelDock; }
    QAction* toggle() const;
    // The markers over the current display view (none while it has none).
    ChannelMarkers* markers() const { return channelMarkers.data(); }

    // (Re)starts the scanner from the stored settings, or stops it.
    void applySettings();
    // Spots the calls in the channels' text since the last refresh, and
    // shows the channels in the panel and on the display.
    void refresh();
    // Tunes the main receiver to `frequency` (Hz) with AFC on.
    void tuneTo(double frequency);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void timerEvent(QTimerEvent* event) override;

private:
    // What a channel decoded, or (with `closed`) that it closed.
    struct ChannelText {
        int channel = 0;
        double frequency = 0.0; // carrier, Hz
        double snrDb = 0.0;
        std::string text;
        bool closed = false;
    };
    // The scanner's sinks (input thread).
    void queue(ChannelText piece);
    // Spots the calls in the text queued since the last refresh.
    void spotQueuedText();
    void extendSettingsScreen(SettingsViewController& screen);

    TarnViewController& console;
    BandPanel* bandPanel = nullptr;
    QDockWidget* panelDock = nullptr;
    QPointer<ChannelMarkers> channelMarkers; // made anew with each display view
    std::mutex feeding;
    std::unique_ptr<scanner::Scanner> scanner;
    std::atomic<bool> spotting{false}; // text is queued only while spotting is on
    std::mutex receivedLock;
    std::vector<ChannelText> received; // under receivedLock
    std::vector<ChannelText> spotNow;  // the main thread's copy, reused
    reporting::ChannelCalls channelCalls;
    std::vector<std::string> callsFound;
};
