// The refresh tick and the tuning and display controls.
#include "console/ConsoleWidgets.h"
#include "console/FrequencyAxis.h"
#include "console/QsoLogging.h"
#include "console/RecordingPlayer.h"
#include "console/SpectrumView.h"
#include "console/TarnViewController.h"
#include "ui_TarnViewController.h"

#include <QCheckBox>
#include <QLabel>
#include <QPlainTextEdit>
#include <QScrollBar>
#include <QTextCursor>

#include <cstdio>

namespace {

// A number as C's printf formats it (round half to even on the binary value),
// which QString::asprintf does not follow.
QString formatted(const char* format, double value) {
    char text[64];
    std::snprintf(text, sizeof text, format, value);
    return QString::fromLatin1(text);
}

constexpr int kTrimAbove = 2048; // characters in the view before the oldest go
constexpr int kTrimCount = 1024; // characters dropped at once

// Received bytes as view text. A CR LF pair, or a lone CR, is one line break,
// as the text view shows it; `lastWasCR` carries a CR that ended the previous
// chunk, so that the LF starting this one is not a second break.
QString receivedText(const std::string& bytes, bool& lastWasCR) {
    QString text;
    text.reserve(static_cast<qsizetype>(bytes.size()));
    for (const char byte : bytes) {
        if (byte == '\n' && lastWasCR) {
            lastWasCR = false;
            continue;
        }
        lastWasCR = byte == '\r';
        text.append(lastWasCR ? QChar('\n') : QChar::fromLatin1(byte));
    }
    return text;
}

} // namespace

void TarnViewController::updateafcDisplay() {
    TarnData& engine = *theData();
    displayAFCOffset()->setText(
        formatted("%.3f", static_cast<double>(engine.status().frequencyErrorOffset)));
    afcOnOff()->setChecked(engine.automaticFrequencyControl());
}

void TarnViewController::updateFrequencyDisplay() {
    displayFrequency()->setText(formatted("%.1f", theData()->frequency()));
    updateafcDisplay();
}

void TarnViewController::updateSquelchDisplay() {
    squelchDisplay()->setText(
        formatted("%.1f", static_cast<double>(theData()->backgroundNoiseLevel())));
}

void TarnViewController::updateDisplay() {
    TarnData& engine = *theData();
    updateafcDisplay();
    updateFrequencyDisplay();
    signalAtFrequency()->setText(
        formatted("%.1f", static_cast<double>(engine.status().signalLevel)));

    const std::optional<std::string> drained = engine.drainTextBuffer();
    logging->receiverTick(drained ? *drained : std::string_view(), engine.status());
    if (drained) {
        QPlainTextEdit* view = textOutput();
        QTextDocument* document = view->document();
        // Plain-text length: every character and line break counts one.
        if (document->characterCount() - 1 > kTrimAbove) {
            QTextCursor oldest(document);
            oldest.setPosition(kTrimCount, QTextCursor::KeepAnchor);
            oldest.removeSelectedText();
        }
        view->insertPlainText(receivedText(*drained, lastCharWasCR));
        QScrollBar* bar = view->verticalScrollBar();
        bar->setValue(bar->maximum());
    }

    if (spectrumView)
        spectrumView->display();
    refreshPlayerStatus();
}

void TarnViewController::frequencyAdjustChanged() {
    TarnData& engine = *theData();
    engine.setAutomaticFrequencyControl(false);
    // Unsigned, so that "no segment" (-1) is no step.
    const auto index = static_cast<unsigned>(frequencyAdjust()->selectedSegmentIndex());
    const double steps[4] = {-1.0, -0.1, 0.1, 1.0};
    if (index < 4)
        engine.nudgeFrequency(engine.frequency() + steps[index]);
    updateFrequencyDisplay();
    updateafcDisplay();
}

void TarnViewController::afcOnOffChanged() {
    theData()->setAutomaticFrequencyControl(afcOnOff()->isChecked());
    updateafcDisplay();
}

void TarnViewController::squelchChanged() {
    theData()->setBackgroundNoiseLevel(squelch()->level());
    updateSquelchDisplay();
}

void TarnViewController::switchViews() {
    if (displayMode == 1)
        displayMode = 0;
    else if (displayMode == 0)
        displayMode = 1;
    ui->modeButton->setText(displayMode == 1 ? tr("Waterfall") : tr("Spectrum"));
}

void TarnViewController::zoomPressed() {
    displayZoomed = !displayZoomed;
    ui->zoomButton->setText(displayZoomed ? tr("Full span") : tr("Zoom"));
}

void TarnViewController::tuneAt(const QPointF& position) {
    const auto x = static_cast<float>(position.x());
    TarnData& engine = *theData();
    const double frequency = engine.frequency();
    const float w = spectrumView ? static_cast<float>(spectrumView->width()) : 1.0f;
    engine.setFrequency(
        FrequencyAxis::forTapping(frequency, displayMode, displayZoomed).frequencyAt(x, w));
    afcOnOff()->setChecked(true);
    engine.setAutomaticFrequencyControl(afcOnOff()->isChecked());
    updateFrequencyDisplay();
    updateafcDisplay();
}

void TarnViewController::paintSpectrum(SpectrumRenderer& renderer, const QRectF& rect) {
    if (inBackground)
        return;
    TarnData& engine = *theData();
    const SpectrumRenderer::RowSource rows = [this, &engine](int rowsBack,
                                                             std::span<float, 1024> out) {
        spectrumRowSource ? spectrumRowSource(rowsBack, out)
                          : engine.copySpectrumRow(rowsBack, out);
    };
    if (displayMode == 1)
        renderer.drawSpectrum(engine.frequency(), displayZoomed, rows);
    else if (displayMode == 0)
        renderer.drawSonogram(engine.frequency(), displayZoomed, rect.height(), rows);
}
