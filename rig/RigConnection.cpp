#include "rig/RigConnection.h"

#include "log/TarnLog.h"
#include "rig/EmergencyRelease.h"
#include "rig/RigModels.h"

#include <hamlib/rig.h>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

#include <algorithm>
#include <atomic>
#include <clocale>
#include <condition_variable>
#include <deque>
#include <future>
#include <mutex>
#include <thread>

namespace tarn::rig {

namespace {

using Clock = std::chrono::steady_clock;
constexpr auto kPollPeriod = std::chrono::seconds(1);
constexpr auto kFirstBackOff = std::chrono::seconds(1);
constexpr auto kLongestBackOff = std::chrono::seconds(30);

// Hamlib's text for a status, without its trailing line feed.
std::string hamlibMessage(int status) {
    std::string text = rigerror2(status);
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) {
        text.pop_back();
    }
    return text;
}

// Failures after which the link itself is in doubt and the rig is reopened;
// others (a function the rig lacks, a refused value) leave it open.
bool linkFailure(int status) {
    return status == -RIG_EIO || status == -RIG_ETIMEOUT || status == -RIG_EPROTO ||
           status == -RIG_EINTERNAL || status == -RIG_BUSERROR || status == -RIG_EARG;
}

const char* hamlibPttType(PttMethod method) {
    switch (method) {
    case PttMethod::Cat:
        return "RIG";
    case PttMethod::Rts:
        return "RTS";
    case PttMethod::Dtr:
        return "DTR";
    case PttMethod::Cm108:
        return "CM108";
    case PttMethod::None:
        break;
    }
    return "None";
}

// rig_open. Hamlib's rigctld backend (model 2) allocates the CTCSS and DCS
// tone lists it reads from rigctld into its own static table of the
// model's capabilities, anew on every open, dropping the previous open's
// lists unfreed: a reconnect leaves 752 bytes behind. They are Hamlib's
// allocations in Hamlib's table, not ours to free, so under
// AddressSanitizer what rig_open allocates on this thread is left out of
// the leak report; everything else of Hamlib's and ours is checked.
int openHamlibRig(RIG* rig) {
#if defined(__SANITIZE_ADDRESS__)
    const __lsan::ScopedDisabler hamlibsOwnTables;
#endif
    return rig_open(rig);
}

// Hamlib's rig_open saves the name of the numeric locale, switches it to
// "C" and then restores the saved name; but the switch frees that name
// unless the locale is "C" already, so the restore reads freed memory (and
// the switch races with other threads' use of the locale). The numeric
// locale is set to "C" before each connection's Hamlib thread starts, so that the
// switch changes nothing. None of this system's own text depends on it: Qt
// formats numbers through QLocale and the tools never leave "C".
void keepNumericLocaleC() {
    std::setlocale(LC_NUMERIC, "C");
}

struct Request {
    bool on = false;
    std::atomic<bool> withdrawn{false};
    std::promise<std::string> reply;
};

} // namespace

struct RigConnection::Worker {
    explicit Worker(const RigConfig& config) : config(config) {}

    void run();
    bool open();
    void close();
    void lost(int status);
    void poll();
    std::string keyPtt(bool on);
    void setStatus(const std::function<void(RigStatus&)>& change) {
        std::lock_guard lock(statusMutex);
        change(published);
    }
    // True when `message` is a new failure, to be logged; a repeat of the
    // one last logged is not.
    bool firstTime(const std::string& message);

    const RigConfig config;

    // Shared with callers.
    std::mutex mutex;
    std::condition_variable wake;
    std::deque<std::shared_ptr<Request>> requests;
    bool stopping = false;
    bool done = false;
    mutable std::mutex statusMutex;
    RigStatus published;

    // The worker thread's own.
    RIG* rig = nullptr;
    Clock::time_point nextOpen{};
    Clock::duration backOff = kFirstBackOff;
    Clock::time_point nextPoll{};
    std::string lastLogged; // the failure last logged, "" after a success
    bool pttOn = false;
};

bool RigConnection::Worker::firstTime(const std::string& message) {
    if (message == lastLogged) {
        return false;
    }
    lastLogged = message;
    return true;
}

bool RigConnection::Worker::open() {
    const int model = config.model != 0 ? config.model : RIG_MODEL_DUMMY;
    rig = rig_init(model);
    int status = rig ? RIG_OK : -RIG_ENIMPL;
    const auto set = [&](const char* name, const std::string& value) {
        if (status == RIG_OK && !value.empty()) {
            status = rig_set_conf(rig, rig_token_lookup(rig, name), value.c_str());
        }
    };
    // Hamlib's own I/O timeout is kept under the callers' so that a stuck
    // read ends before they give up.
    set("timeout", std::to_string(std::max<long long>(50, config.timeout.count() / 2)));
    set("retry", "0");
    if (config.model != 0) {
        set("rig_pathname", config.port);
        set("serial_speed", config.speed > 0 ? std::to_string(config.speed) : "");
    }
    set("ptt_type", hamlibPttType(config.ptt));
    set("ptt_pathname", config.pttPort);
    if (status == RIG_OK) {
        status = openHamlibRig(rig);
    }
    if (status != RIG_OK) {
        const std::string message = hamlibMessage(status);
        if (rig) {
            rig_cleanup(rig);
            rig = nullptr;
        }
        setStatus([&](RigStatus& s) { s.error = message; });
        if (firstTime(message)) {
            tarnLog("Rig model %d on %s could not be opened: %s\n", config.model,
                    (config.model != 0 ? config.port : config.pttPort).c_str(), message.c_str());
        }
        nextOpen = Clock::now() + backOff;
        backOff = std::min<Clock::duration>(backOff * 2, kLongestBackOff);
        return false;
    }
    tarnLog("Rig model %d on %s connected\n", config.model,
            (config.model != 0 ? config.port : config.pttPort).c_str());
    lastLogged.clear();
    backOff = kFirstBackOff;
    if (pttOn && rig_set_ptt(rig, RIG_VFO_CURR, RIG_PTT_OFF) == RIG_OK) {
        pttOn = false; // keyed when the link was lost: whatever keyed it is over
        setStatus([](RigStatus& s) { s.pttOn = false; });
    }
    nextPoll = Clock::now();
    setStatus([](RigStatus& s) {
        s.connected = true;
        s.error.clear();
    });
    return true;
}

void RigConnection::Worker::close() {
    if (rig) {
        rig_close(rig);
        rig_cleanup(rig);
        rig = nullptr;
    }
    setStatus([](RigStatus& s) {
        s.connected = false;
        s.dialHz = 0.0;
        s.mode.clear();
        s.sideband = Sideband::Unknown;
    });
}

void RigConnection::Worker::lost(int status) {
    const std::string message = hamlibMessage(status);
    close();
    setStatus([&](RigStatus& s) { s.error = message; });
    if (firstTime(message)) {
        tarnLog("Rig connection lost: %s\n", message.c_str());
    }
    nextOpen = Clock::now() + backOff;
}

void RigConnection::Worker::poll() {
    nextPoll = Clock::now() + kPollPeriod;
    if (config.model == 0) {
        return; // a PTT-only port: the placeholder rig has no real dial
    }
    freq_t frequency = 0;
    int status = rig_get_freq(rig, RIG_VFO_CURR, &frequency);
    if (status != RIG_OK) {
        if (linkFailure(status)) {
            lost(status);
        }
        return;
    }
    rmode_t mode = RIG_MODE_NONE;
    pbwidth_t width = 0;
    status = rig_get_mode(rig, RIG_VFO_CURR, &mode, &width);
    if (status != RIG_OK && linkFailure(status)) {
        lost(status);
        return;
    }
    const std::string name = status == RIG_OK && mode != RIG_MODE_NONE ? rig_strrmode(mode) : "";
    setStatus([&](RigStatus& s) {
        s.dialHz = frequency;
        s.mode = name;
        s.sideband = sidebandOfMode(name);
    });
}

std::string RigConnection::Worker::keyPtt(bool on) {
    if (!rig && !open()) {
        std::lock_guard lock(statusMutex);
        return published.error;
    }
    const int status = rig_set_ptt(rig, RIG_VFO_CURR, on ? RIG_PTT_ON : RIG_PTT_OFF);
    if (status != RIG_OK) {
        const std::string message = hamlibMessage(status);
        tarnLog(on ? "PTT could not be keyed: %s\n" : "PTT could not be released: %s\n",
                message.c_str());
        if (linkFailure(status)) {
            lost(status);
        }
        return message;
    }
    pttOn = on;
    setStatus([&](RigStatus& s) { s.pttOn = on; });
    return "";
}

void RigConnection::Worker::run() {
    quietHamlib();
    open();
    std::unique_lock lock(mutex);
    while (!stopping) {
        if (!requests.empty()) {
            const std::shared_ptr<Request> request = requests.front();
            requests.pop_front();
            lock.unlock();
            if (request->withdrawn.load()) {
                request->reply.set_value("withdrawn");
            } else {
                request->reply.set_value(keyPtt(request->on));
            }
            lock.lock();
            continue;
        }
        const Clock::time_point now = Clock::now();
        if (!rig && now >= nextOpen) {
            lock.unlock();
            open();
            lock.lock();
            continue;
        }
        if (rig && now >= nextPoll) {
            lock.unlock();
            poll();
            lock.lock();
            continue;
        }
        wake.wait_until(lock, rig ? nextPoll : nextOpen);
    }
    for (const std::shared_ptr<Request>& request : requests) {
        request->reply.set_value("the rig connection is closing");
    }
    requests.clear();
    lock.unlock();
    if (pttOn) {
        keyPtt(false);
    }
    close();
    lock.lock();
    done = true;
    wake.notify_all();
}

RigConnection::RigConnection(const RigConfig& config) : worker(std::make_shared<Worker>(config)) {
    if (usesHamlib(config)) {
        keepNumericLocaleC();
        std::thread([w = worker] { w->run(); }).detach();
        EmergencyRelease::add(this);
    }
}

RigConnection::~RigConnection() {
    if (!usesHamlib(worker->config)) {
        return;
    }
    EmergencyRelease::remove(this);
    std::unique_lock lock(worker->mutex);
    worker->stopping = true;
    worker->wake.notify_all();
    // The worker releases PTT and closes the rig on its way out. Wait for
    // that at most the timeout; a worker stuck in Hamlib finishes later on
    // its own (it shares ownership of its state), or with the process.
    worker->wake.wait_for(lock, worker->config.timeout, [this] { return worker->done; });
}

std::string RigConnection::setPtt(bool on) {
    if (!usesHamlib(worker->config) || worker->config.ptt == PttMethod::None) {
        return "";
    }
    auto request = std::make_shared<Request>();
    request->on = on;
    std::future<std::string> reply = request->reply.get_future();
    {
        std::lock_guard lock(worker->mutex);
        worker->requests.push_back(request);
    }
    worker->wake.notify_all();
    if (reply.wait_for(worker->config.timeout) == std::future_status::ready) {
        return reply.get();
    }
    const std::string message =
        "the rig did not answer within " + std::to_string(worker->config.timeout.count()) + " ms";
    tarnLog(on ? "PTT could not be keyed: %s\n" : "PTT could not be released: %s\n",
            message.c_str());
    if (on) {
        request->withdrawn.store(true);
        releasePttSoon(); // in case the withdrawal came too late
    }
    return message;
}

void RigConnection::releasePttSoon() {
    if (!usesHamlib(worker->config) || worker->config.ptt == PttMethod::None) {
        return;
    }
    auto request = std::make_shared<Request>();
    {
        std::lock_guard lock(worker->mutex);
        worker->requests.push_back(request);
    }
    worker->wake.notify_all();
}

RigStatus RigConnection::status() const {
    std::lock_guard lock(worker->statusMutex);
    return worker->published;
}

const RigConfig& RigConnection::config() const {
    return worker->config;
}

} // namespace tarn::rig
