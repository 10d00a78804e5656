// How the console comes to life and goes to sleep: set-up order, the lazy
// engine, the display timer and GL context across background and foreground,
// the toolbar titles and the way back from the settings screen.
#include "audio/AudioHost.h"
#include "audio/InputConsumer.h"
#include "console/ConsoleWidgets.h"
#include "console/RecordingPlayer.h"
#include "console/SpectrumView.h"
#include "console/TarnViewController.h"
#include "settings/SettingsStore.h"
#include "ui_TarnViewController.h"

#include <QDialog>
#include <QFileDialog>
#include <QFileInfo>
#include <QGuiApplication>
#include <QMessageBox>
#include <QPainterPath>
#include <QPlainTextEdit>
#include <QTimer>
#include <QWindow>

#include <filesystem>

namespace {

constexpr int kRefreshMilliseconds = 200;
constexpr qreal kTabletCornerRadius = 6.0; // points

// Keeps a widget's mask a rounded rectangle of its current size, so that its
// content is clipped to the rounded corners.
class RoundedCorners : public QObject {
public:
    RoundedCorners(QWidget* widget, qreal radius) : QObject(widget), radius(radius) {
        widget->setProperty("cornerRadius", radius);
        widget->installEventFilter(this);
        apply(widget);
    }

    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Resize)
            apply(static_cast<QWidget*>(watched));
        return false;
    }

private:
    void apply(QWidget* widget) const {
        QPainterPath path;
        path.addRoundedRect(QRectF(widget->rect()), radius, radius);
        widget->setMask(QRegion(path.toFillPolygon().toPolygon()));
    }

    qreal radius;
};

} // namespace

TarnData* TarnViewController::theData() {
    if (!_theData) {
        _theData = std::make_unique<TarnData>(
            deviceFormFactor == FormFactor::tablet ? tarn::kTabletSquelch : tarn::kPhoneSquelch);
        TarnData* engine = _theData.get();
        player = std::make_unique<RecordingPlayer>([this, engine](std::span<const float> block) {
            engine->processInputAudioSamples(block);
            if (tarnaudio::InputConsumer* consumer = inputConsumer.load(std::memory_order_acquire)) {
                consumer->feed(block);
            }
        });
        if (audioOptions) {
            RecordingPlayer* live = player.get();
            audioHost = std::make_unique<tarnaudio::AudioHost>(
                *audioOptions, [live](std::span<const float> block) { live->liveBlock(block); });
            engine->setTransmitSink(audioHost.get());
        }
    }
    return _theData.get();
}

void TarnViewController::setInputConsumer(tarnaudio::InputConsumer* consumer) {
    inputConsumer.store(consumer, std::memory_order_release);
}

void TarnViewController::initializeConsole() {
    // The display gets the larger share of the height.
    ui->displaySplitter->setStretchFactor(0, 3);
    ui->displaySplitter->setStretchFactor(1, 2);
    ui->displaySplitter->setSizes({600, 400});
    // Tablets have rounded corners on the display and the received text.
    if (deviceFormFactor == FormFactor::tablet) {
        new RoundedCorners(ui->spectrumHolder, kTabletCornerRadius);
        new RoundedCorners(ui->textOutput, kTabletCornerRadius);
    }
    displayMode = 0;
    displayZoomed = false;
    theData()->setFrequency(1500.0);
    initSpectrumDisplay();
    squelch()->setMaximumLevel(5.0f);
    squelch()->setMinimumLevel(-25.0f);
    squelch()->setLevel(theData()->backgroundNoiseLevel());
    updateafcDisplay();
    updateFrequencyDisplay();
    updateSquelchDisplay();
    connect(qApp, &QGuiApplication::applicationStateChanged, this,
            &TarnViewController::onApplicationStateChanged);
    updateDisplayTimer = startDisplayTimer();
    inBackground = false;
    initializeSettings();
    initializeFromSettings();
    // One-finger swipes are tracked on the window, which sees every touch
    // before the widgets do.
    winId();
    windowHandle()->installEventFilter(this);
    // The operator types at once.
    textInput()->setFocus();
}

QTimer* TarnViewController::startDisplayTimer() {
    auto* timer = new QTimer(this);
    timer->setTimerType(Qt::PreciseTimer);
    connect(timer, &QTimer::timeout, this, &TarnViewController::updateDisplay);
    timer->start(kRefreshMilliseconds);
    return timer;
}

void TarnViewController::initSpectrumDisplay() {
    // A new view brings a new GL context; it draws only when the tick asks.
    auto* view = new SpectrumView(ui->spectrumHolder);
    view->setDrawCallback(
        [this](SpectrumRenderer& renderer, const QRectF& rect) { paintSpectrum(renderer, rect); });
    view->installEventFilter(this);
    ui->spectrumHolder->layout()->addWidget(view);
    view->show(); // on screen now if the console is
    spectrumView = view;
}

void TarnViewController::initializeToolbar() {
    for (int n = 1; n <= 10; ++n)
        macroButton(n)->setText(store.macroName(n).value_or(QString()));
}

void TarnViewController::enteredBackground() {
    if (updateDisplayTimer) {
        updateDisplayTimer->stop();
        updateDisplayTimer->deleteLater();
    }
    updateDisplayTimer = nullptr;
    inBackground = true;
    // Destroying the view releases its GL context.
    delete spectrumView.data();
}

void TarnViewController::enteredForeground() {
    inBackground = false;
    updateDisplayTimer = startDisplayTimer();
    // Always a fresh view and context; one still there (the activation right
    // after launch) is replaced.
    delete spectrumView.data();
    initSpectrumDisplay();
}

// Background: the application hidden or suspended, or the window minimised.
// Foreground: the application active after launch or after the background;
// a mere change of focus between windows is neither.
void TarnViewController::onApplicationStateChanged(Qt::ApplicationState state) {
    const Qt::ApplicationState previous = lastApplicationState;
    lastApplicationState = state;
    if (state == Qt::ApplicationHidden || state == Qt::ApplicationSuspended) {
        if (!inBackground)
            enteredBackground();
    } else if (state == Qt::ApplicationActive) {
        const bool launch = !launchActivationSeen;
        launchActivationSeen = true;
        if (launch || inBackground || previous == Qt::ApplicationHidden ||
            previous == Qt::ApplicationSuspended)
            enteredForeground();
    }
}

void TarnViewController::changeEvent(QEvent* event) {
    if (event->type() == QEvent::WindowStateChange) {
        if (isMinimized() && !inBackground)
            enteredBackground();
        else if (!isMinimized() && inBackground)
            enteredForeground();
    }
    QMainWindow::changeEvent(event);
}

void TarnViewController::editButton() {
    enterSetup();
}

void TarnViewController::enterSetup() {
    openSettings();
}

void TarnViewController::settingsFinished() {
    initializeFromSettings();
}

void TarnViewController::initializeSettings() {
    store.fillInDefaults();
    store.synchronize();
}

void TarnViewController::initializeFromSettings() {
    initializeToolbar();
    theData()->setForceOutputToSpeaker(store.forceOutputToSpeaker());
}

void TarnViewController::closeKeyboard() {
    textInput()->clearFocus();
}

void TarnViewController::swipeGestureAction() {
    textInput()->clearFocus();
}

bool TarnViewController::playRecording(const QString& path, QString* error) {
    // Only a regular file: opening a FIFO with no writer, or a device, would
    // block the console before its window shows.
    std::error_code status;
    const std::filesystem::file_status type =
        std::filesystem::status(std::filesystem::path(path.toStdString()), status);
    const std::string failure =
        std::filesystem::exists(type) && !std::filesystem::is_regular_file(type)
            ? QStringLiteral("'%1' is not a regular file").arg(path).toStdString()
            : player->play(path.toStdString());
    if (!failure.empty()) {
        if (error != nullptr)
            *error = QString::fromStdString(failure);
        else
            QMessageBox::warning(
                this, tr("Play recording"),
                tr("Cannot play this recording:\n%1").arg(QString::fromStdString(failure)));
        return false;
    }
    setWindowTitle(tr("tarn-psk31 — playing %1").arg(QFileInfo(path).fileName()));
    ui->playRecordingAction->setText(tr("Stop playing"));
    return true;
}

void TarnViewController::playRecordingPressed() {
    if (player->isPlaying()) {
        player->stop();
        return;
    }
    const QString path = QFileDialog::getOpenFileName(
        this, tr("Play recording"), QString(),
        tr("Audio files (*.wav *.flac *.ogg *.aiff *.au *.raw);;All files (*)"));
    if (!path.isEmpty())
        playRecording(path);
}

void TarnViewController::refreshPlayerStatus() {
    if (player->isPlaying() || ui->playRecordingAction->text() != tr("Stop playing"))
        return;
    setWindowTitle(tr("tarn-psk31"));
    ui->playRecordingAction->setText(tr("Play recording…"));
}
