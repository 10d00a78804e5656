#include "log/TarnLog.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <memory>
#include <mutex>
#include <syslog.h>

namespace {

std::mutex& sinkMutex() {
    static std::mutex mutex;
    return mutex;
}

std::function<void(const std::string&)>& sinkFunction() {
    static std::function<void(const std::string&)> sink;
    return sink;
}

} // namespace

void tarnLog(const char* format, ...) {
    char buffer[1024];
    va_list args;
    va_start(args, format);
    int length = std::vsnprintf(buffer, sizeof buffer, format, args);
    va_end(args);
    if (length < 0) {
        return;
    }
    std::string message(buffer, std::min<size_t>(static_cast<size_t>(length), sizeof buffer - 1));

    std::lock_guard<std::mutex> guard(sinkMutex());
    if (sinkFunction()) {
        sinkFunction()(message);
        return;
    }
    syslog(LOG_NOTICE, "%s", message.c_str());
    std::fputs(message.c_str(), stderr);
}

void setTarnLogSink(std::function<void(const std::string&)> sink) {
    std::lock_guard<std::mutex> guard(sinkMutex());
    sinkFunction() = std::move(sink);
}

struct TarnLogCapture::State {
    mutable std::mutex mutex;
    std::string text;
};

TarnLogCapture::TarnLogCapture() : state(new State) {
    State* s = state;
    setTarnLogSink([s](const std::string& message) {
        std::lock_guard<std::mutex> guard(s->mutex);
        s->text += message;
    });
}

TarnLogCapture::~TarnLogCapture() {
    setTarnLogSink({});
    delete state;
}

std::string TarnLogCapture::text() const {
    std::lock_guard<std::mutex> guard(state->mutex);
    return state->text;
}
