#include "console/BandScanning.h"

#include "console/BandPanel.h"
#include "console/ChannelMarkers.h"
#include "console/QsoForm.h"
#include "console/QsoLogging.h"
#include "console/SpectrumView.h"
#include "console/Spotting.h"
#include "console/TarnViewController.h"
#include "log/TarnLog.h"
#include "settings/ScannerSettings.h"
#include "settings/SettingsStore.h"
#include "settings/SettingsViewController.h"

#include <QAction>
#include <QCheckBox>
#include <QChildEvent>
#include <QDockWidget>
#include <QGridLayout>
#include <QScrollArea>
#include <QToolBar>

namespace {

// The scanner is on by default where the screen has room for its panel.
constexpr int kPanelWidth = 560; // points

bool onByDefault(FormFactor formFactor) {
    return formFactor != FormFactor::phone;
}

} // namespace

BandScanning::BandScanning(TarnViewController& console)
    : QObject(&console), console(console), bandPanel(new BandPanel),
      panelDock(new QDockWidget(tr("Band"), &console)) {
    setObjectName(QStringLiteral("bandScanning"));
    panelDock->setObjectName(QStringLiteral("bandDock"));
    panelDock->setWidget(bandPanel);
    panelDock->setFeatures(QDockWidget::DockWidgetClosable | QDockWidget::DockWidgetMovable);
    console.addDockWidget(Qt::RightDockWidgetArea, panelDock);
    QAction* shown = panelDock->toggleViewAction();
    shown->setObjectName(QStringLiteral("bandPanelAction"));
    shown->setToolTip(tr("Show every station in the band"));
    console.toolbar()->addAction(shown);
    panelDock->setVisible(onByDefault(console.formFactor()));
    // Room for about 60 characters of text beside the numbers.
    console.resizeDocks({panelDock}, {kPanelWidth}, Qt::Horizontal);

    connect(bandPanel, &BandPanel::tuneRequested, this, &BandScanning::tuneTo);
    connect(bandPanel, &BandPanel::wordClicked, this,
            [this](const QString& word) { this->console.qsoLogging()->form()->captureWord(word); });

    applySettings();
    console.setInputConsumer(this);
    console.installEventFilter(this);
    startTimer(kRefreshMilliseconds, Qt::PreciseTimer);
}

BandScanning::~BandScanning() = default;

QAction* BandScanning::toggle() const {
    return panelDock->toggleViewAction();
}

void BandScanning::feed(std::span<const float> block) {
    const std::lock_guard<std::mutex> lock(feeding);
    if (scanner)
        scanner->process(block.data(), block.size());
}

std::vector<scanner::ChannelSnapshot> BandScanning::channels() const {
    return scanner ? scanner->snapshot() : std::vector<scanner::ChannelSnapshot>();
}

void BandScanning::applySettings() {
    const SettingsStore& store = console.settingsStore();
    scanner::ScannerConfig config;
    config.enabled = store.scannerEnabled(onByDefault(console.formFactor()));
    config.lowHz = store.scannerLowHz();
    config.highHz = store.scannerHighHz();
    config.maxChannels = store.scannerMaxChannels();
    config.closeAfterSeconds = store.scannerCloseSeconds();
    config.squelchSnrDb = store.scannerSnrDb();
    std::unique_ptr<scanner::Scanner> next;
    if (const auto problem = scanner::configProblem(config)) {
        tarnLog("Band scanner off: %s\n", problem->c_str());
    } else if (config.enabled) {
        next = std::make_unique<scanner::Scanner>(config);
        next->setTextSink([this](const scanner::TextPiece& piece) {
            queue({piece.channel, piece.frequency, piece.snrDb, piece.text, false});
        });
        next->setReportSink([this](const scanner::ChannelReport& report) {
            queue({report.id, report.frequency, report.snrDb, {}, true});
        });
    }
    {
        const std::lock_guard<std::mutex> lock(feeding);
        scanner.swap(next);
    }
    // The old scanner goes here, outside the lock; its channels' text with it.
    next.reset();
    {
        const std::lock_guard<std::mutex> lock(receivedLock);
        received.clear();
    }
    channelCalls.reset();
    refresh();
}

void BandScanning::refresh() {
    spotQueuedText();
    std::vector<scanner::ChannelSnapshot> now = channels();
    std::vector<ChannelMarkers::Marker> marks;
    marks.reserve(now.size());
    for (const scanner::ChannelSnapshot& channel : now)
        marks.push_back({channel.frequency, channel.callingCq});
    // The display's view is made anew on each return from the background.
    SpectrumView* view = console.inBackground ? nullptr : console.spectrumDisplay();
    if (view != nullptr && (!channelMarkers || channelMarkers->parentWidget() != view)) {
        delete channelMarkers.data();
        channelMarkers = new ChannelMarkers(view);
        connect(channelMarkers, &ChannelMarkers::tuneRequested, this, &BandScanning::tuneTo);
    }
    if (channelMarkers)
        channelMarkers->showMarkers(
            {console.theData()->frequency(), console.displayMode, console.displayZoomed},
            std::move(marks));
    if (panelDock->isVisible())
        bandPanel->showChannels(std::move(now));
}

void BandScanning::tuneTo(double frequency) {
    TarnData& engine = *console.theData();
    engine.setFrequency(frequency);
    console.afcOnOff()->setChecked(true);
    engine.setAutomaticFrequencyControl(true);
    console.updateFrequencyDisplay();
}

void BandScanning::queue(ChannelText piece) {
    if (!spotting.load(std::memory_order_relaxed))
        return;
    const std::lock_guard<std::mutex> lock(receivedLock);
    received.push_back(std::move(piece));
}

void BandScanning::spotQueuedText() {
    QsoLogging& logging = *console.qsoLogging();
    const bool on = logging.spotting().active();
    spotting.store(on, std::memory_order_relaxed);
    spotNow.clear();
    {
        const std::lock_guard<std::mutex> lock(receivedLock);
        spotNow.swap(received);
    }
    if (!on) {
        channelCalls.reset();
        return;
    }
    for (const ChannelText& piece : spotNow) {
        callsFound.clear();
        if (piece.closed)
            channelCalls.closed(piece.channel, callsFound);
        else
            channelCalls.feed(piece.channel, piece.text, callsFound);
        for (const std::string& call : callsFound)
            logging.channelHeard(call, piece.frequency, piece.snrDb);
    }
}

void BandScanning::timerEvent(QTimerEvent*) {
    refresh();
}

bool BandScanning::eventFilter(QObject* watched, QEvent* event) {
    if (watched == &console && event->type() == QEvent::ChildPolished) {
        if (auto* screen =
                qobject_cast<SettingsViewController*>(static_cast<QChildEvent*>(event)->child());
            screen != nullptr && !screen->property("scannerGroup").toBool())
            extendSettingsScreen(*screen);
    }
    return QObject::eventFilter(watched, event);
}

void BandScanning::extendSettingsScreen(SettingsViewController& screen) {
    screen.setProperty("scannerGroup", true);
    auto* group =
        new ScannerSettings(console.settingsStore(), onByDefault(console.formFactor()), &screen);
    if (auto* fields = qobject_cast<QGridLayout*>(screen.scrollView()->widget()->layout()))
        fields->addWidget(group, fields->rowCount(), 0, 1, fields->columnCount());
    connect(&screen, &QDialog::accepted, this, [this, group] {
        group->save();
        console.settingsStore().synchronize();
        applySettings();
    });
}
