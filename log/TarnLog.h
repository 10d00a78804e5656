// The system's one logging function. Every fixed message of the engine, the
// audio layer and the console goes through tarnLog, which writes it to syslog
// and to stderr. Tests install a sink to capture the formatted text instead.
#pragma once

#include <functional>
#include <string>

// printf-style; the format is one of the system's fixed messages, usually
// ending in "\n". Safe to call from any thread.
void tarnLog(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Replaces the output (syslog + stderr) with sink; an empty function restores
// it. The sink receives each fully formatted message exactly as printed.
void setTarnLogSink(std::function<void(const std::string&)> sink);

// RAII capture for tests: collects every message logged while it lives.
class TarnLogCapture {
public:
    TarnLogCapture();
    ~TarnLogCapture();
    TarnLogCapture(const TarnLogCapture&) = delete;
    TarnLogCapture& operator=(const TarnLogCapture&) = delete;

    // All messages so far, concatenated in order.
    std::string text() const;

private:
    struct State;
    State* state;
};
