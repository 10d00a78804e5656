// The main screen's construction, widgets and input events.
#include "console/TarnViewController.h"
#include "audio/AudioHost.h"

#include "console/BandScanning.h"
#include "console/ConsoleFeatures.h"
#include "console/ConsoleWidgets.h"
#include "console/QsoForm.h"
#include "console/QsoLogging.h"
#include "console/RadioControl.h"
#include "console/RecordingPlayer.h"
#include "console/SpectrumView.h"
#include "settings/SettingsStore.h"
#include "ui_TarnViewController.h"

#include <QCheckBox>
#include <QDockWidget>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QStyle>
#include <QToolBar>
#include <QTouchEvent>
#include <QWindow>

#include <cmath>

namespace {
// A one-finger swipe closes the keyboard when it moves at least this far down
// (points) and at most half as far sideways.
constexpr double kSwipeDistance = 48.0;
} // namespace

TarnViewController::TarnViewController(std::optional<tarnaudio::AudioHostOptions> audio,
                                       SettingsStore& store, FormFactor formFactor, QWidget* parent)
    : QMainWindow(parent), ui(std::make_unique<Ui::TarnViewController>()),
      audioOptions(audio ? std::make_unique<tarnaudio::AudioHostOptions>(*audio) : nullptr),
      store(store), deviceFormFactor(formFactor) {
    ui->setupUi(this);
    ui->frequencyAdjustControl->setSegments({"−1", "−0.1", "+0.1", "+1"});
    ui->frequencyAdjustControl->setToolTip(tr("Fine tuning in Hz (switches AFC off)"));
    txLabel = new QLabel(tr(" TX "), this);
    txLabel->setStyleSheet("QLabel { background: #c00000; color: white; font-weight: bold; }");
    txLabel->setVisible(false);
    ui->macroToolbar->addWidget(txLabel)->setVisible(false);
    connectControls();
    logging = new QsoLogging(store, qsoInput(), textOutput(), this);
    initializeConsole();
    // The band scanner: its panel, the display's station markers, its settings.
    new BandScanning(*this);
    radio = new RadioControl(*this);
    if (audioHost) {
        // With a radio to key, transmissions go through its sequencer.
        radio->attachOutput(*audioHost);
    }
    // Frequency scale, Auto squelch, keys, fonts and the settings' Display
    // group; last, so the window's minimum size counts every panel.
    new ConsoleFeatures(*this);
    fitNarrowWindows();
}

TarnViewController::~TarnViewController() {
    // The keyed transmit path lets go of the audio output before it goes.
    radio->detachOutput();
    // Samples stop arriving before the engine goes.
    audioHost.reset();
    player.reset();
}

void TarnViewController::connectControls() {
    connect(ui->frequencyAdjustControl, &MomentarySegmentedControl::valueChanged, this,
            &TarnViewController::frequencyAdjustChanged);
    connect(ui->afcOnOffSwitch, &QCheckBox::clicked, this, &TarnViewController::afcOnOffChanged);
    connect(ui->squelchSlider, &LevelSlider::levelChanged, this,
            &TarnViewController::squelchChanged);
    connect(ui->modeButton, &QPushButton::clicked, this, &TarnViewController::switchViews);
    connect(ui->zoomButton, &QPushButton::clicked, this, &TarnViewController::zoomPressed);
    connect(ui->syncButton, &QPushButton::clicked, this, &TarnViewController::syncTxRx);
    connect(ui->settingsAction, &QAction::triggered, this, &TarnViewController::editButton);
    connect(ui->playRecordingAction, &QAction::triggered, this,
            &TarnViewController::playRecordingPressed);
    void (TarnViewController::*const pressed[10])() = {
        &TarnViewController::m1ButtonPressed, &TarnViewController::m2ButtonPressed,
        &TarnViewController::m3ButtonPressed, &TarnViewController::m4ButtonPressed,
        &TarnViewController::m5ButtonPressed, &TarnViewController::m6ButtonPressed,
        &TarnViewController::m7ButtonPressed, &TarnViewController::m8ButtonPressed,
        &TarnViewController::m9ButtonPressed, &TarnViewController::m10ButtonPressed};
    for (int n = 1; n <= 10; ++n)
        connect(macroButton(n), &QAction::triggered, this, pressed[n - 1]);
    // Return sends the input field; in the QSO field it does nothing.
    connect(ui->textInputField, &QLineEdit::returnPressed, this,
            &TarnViewController::processTextInput);
    ui->textInputField->installEventFilter(this);
}

void TarnViewController::fitNarrowWindows() {
    // The rows of controls wrap when the window is narrow, and scroll with
    // the QSO form when it is short; the display, the received text and the
    // input row stay in view down to a window of 400x240 points. Last, so
    // that the rows hold every control the panels added.
    FlowLayout::replaceLayoutOf(ui->tuningBar);
    FlowLayout::replaceLayoutOf(ui->levelBar);
    QsoForm* form = logging->form();
    ui->mainLayout->removeWidget(form);
    ui->controlsLayout->addWidget(form);
    ui->controlsLayout->addStretch();
}

void TarnViewController::showEvent(QShowEvent* event) {
    QMainWindow::showEvent(event);
    if (sidePanelsFitted)
        return;
    sidePanelsFitted = true;
    // A side panel asks for its width before the window is laid out; on the
    // first showing it leaves the rows room for one line, so a window that
    // has the room opens with the rows unwrapped.
    const QMargins margins = ui->mainLayout->contentsMargins();
    const int room = width() - ui->tuningBar->sizeHint().width() - margins.left() -
                     margins.right() - style()->pixelMetric(QStyle::PM_DockWidgetSeparatorExtent);
    for (QDockWidget* dock : findChildren<QDockWidget*>()) {
        const Qt::DockWidgetArea area = dockWidgetArea(dock);
        if (!dock->isHidden() && !dock->isFloating() &&
            (area == Qt::LeftDockWidgetArea || area == Qt::RightDockWidgetArea) &&
            dock->width() > room && room > 0)
            resizeDocks({dock}, {room}, Qt::Horizontal);
    }
}

QLineEdit* TarnViewController::textInput() const {
    return ui->textInputField;
}
QLineEdit* TarnViewController::qsoInput() const {
    return ui->qsoInputField;
}
QPlainTextEdit* TarnViewController::textOutput() const {
    return ui->textOutput;
}
QCheckBox* TarnViewController::afcOnOff() const {
    return ui->afcOnOffSwitch;
}
MomentarySegmentedControl* TarnViewController::frequencyAdjust() const {
    return ui->frequencyAdjustControl;
}
LevelSlider* TarnViewController::squelch() const {
    return ui->squelchSlider;
}
QLabel* TarnViewController::squelchDisplay() const {
    return ui->squelchDisplayLabel;
}
QLabel* TarnViewController::signalAtFrequency() const {
    return ui->signalAtFrequencyLabel;
}
QLabel* TarnViewController::displayFrequency() const {
    return ui->displayFrequency;
}
QLabel* TarnViewController::displayAFCOffset() const {
    return ui->displayAFCOffset;
}
SpectrumView* TarnViewController::spectrumDisplay() const {
    return spectrumView.data();
}
QToolBar* TarnViewController::toolbar() const {
    return ui->macroToolbar;
}
QAction* TarnViewController::settingsButton() const {
    return ui->settingsAction;
}

QAction* TarnViewController::macroButton(int n) const {
    QAction* const buttons[10] = {ui->m1Button, ui->m2Button, ui->m3Button, ui->m4Button,
                                  ui->m5Button, ui->m6Button, ui->m7Button, ui->m8Button,
                                  ui->m9Button, ui->m10Button};
    return n >= 1 && n <= 10 ? buttons[n - 1] : nullptr;
}

bool TarnViewController::eventFilter(QObject* watched, QEvent* event) {
    switch (event->type()) {
    case QEvent::KeyPress:
        // Escape in the input field closes the keyboard, as a swipe down does.
        if (watched == ui->textInputField &&
            static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape) {
            swipeGestureAction();
            return true;
        }
        break;
    case QEvent::MouseButtonPress: {
        auto* mouse = static_cast<QMouseEvent*>(event);
        if (mouse->button() == Qt::LeftButton && watched != nullptr &&
            watched == spectrumView.data()) {
            tuneAt(mouse->position());
            return true;
        }
        break;
    }
    case QEvent::TouchBegin: {
        auto* touch = static_cast<QTouchEvent*>(event);
        if (watched == spectrumView.data() && !touch->points().isEmpty()) {
            tuneAt(touch->points().first().position());
            event->accept();
            return true;
        }
        // The window sees every touch first: track one-finger swipes there.
        if (watched == windowHandle() && touch->points().size() == 1)
            swipeStart = touch->points().first().globalPosition();
        break;
    }
    case QEvent::TouchUpdate:
    case QEvent::TouchEnd: {
        auto* touch = static_cast<QTouchEvent*>(event);
        if (watched == windowHandle() && touch->points().size() == 1 && swipeStart) {
            const QPointF moved = touch->points().first().globalPosition() - *swipeStart;
            if (moved.y() >= kSwipeDistance && std::fabs(moved.x()) * 2 <= moved.y()) {
                swipeStart.reset();
                swipeGestureAction();
            }
        }
        if (event->type() == QEvent::TouchEnd)
            swipeStart.reset();
        break;
    }
    default:
        break;
    }
    return QMainWindow::eventFilter(watched, event);
}
