#include "rig/RigConfig.h"

#include "rig/RigModels.h"

#include <hamlib/rig.h>

#include <charconv>

namespace tarn::rig {

namespace {

constexpr const char* kPttNames[] = {"none", "cat", "rts", "dtr", "cm108"};

std::optional<long long> parseWhole(std::string_view text, long long low, long long high) {
    long long value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (text.empty() || error != std::errc() || stop != end || value < low || value > high) {
        return std::nullopt;
    }
    return value;
}

std::string quoted(std::string_view text) {
    std::string result;
    result.reserve(text.size() + 2);
    result.push_back('\'');
    result.append(text);
    result.push_back('\'');
    return result;
}

// One field of RigConfig as the command line and the settings file name it.
struct Field {
    const char* option;
    const char* key;
    // Applies a value; returns the reason it is bad, or "".
    std::string (*apply)(RigConfig&, std::string_view);
    std::string (*show)(const RigConfig&);
};

std::string wholeRangeError(std::string_view value, long long low, long long high) {
    return quoted(value) + " is not a whole number from " + std::to_string(low) + " to " +
           std::to_string(high);
}

template <long long Low, long long High, typename Setter>
std::string applyWhole(RigConfig& config, std::string_view value, Setter set) {
    const std::optional<long long> number = parseWhole(value, Low, High);
    if (!number) {
        return wholeRangeError(value, Low, High);
    }
    set(config, *number);
    return "";
}

const Field kFields[] = {
    {"--rig", "rigModel",
     [](RigConfig& c, std::string_view v) {
         return applyWhole<0, 99999999>(c, v, [](RigConfig& c, long long n) { c.model = int(n); });
     },
     [](const RigConfig& c) { return std::to_string(c.model); }},
    {"--rig-port", "rigPort",
     [](RigConfig& c, std::string_view v) {
         c.port = std::string(v);
         return std::string();
     },
     [](const RigConfig& c) { return c.port; }},
    {"--rig-speed", "rigSpeed",
     [](RigConfig& c, std::string_view v) {
         return applyWhole<0, 4000000>(c, v, [](RigConfig& c, long long n) { c.speed = int(n); });
     },
     [](const RigConfig& c) { return std::to_string(c.speed); }},
    {"--ptt", "pttMethod",
     [](RigConfig& c, std::string_view v) {
         const std::optional<PttMethod> method = parsePttMethod(v);
         if (!method) {
             return quoted(v) + " is not one of none, cat, rts, dtr, cm108";
         }
         c.ptt = *method;
         return std::string();
     },
     [](const RigConfig& c) { return std::string(pttMethodName(c.ptt)); }},
    {"--ptt-port", "pttPort",
     [](RigConfig& c, std::string_view v) {
         c.pttPort = std::string(v);
         return std::string();
     },
     [](const RigConfig& c) { return c.pttPort; }},
    {"--ptt-lead", "pttLeadMs",
     [](RigConfig& c, std::string_view v) {
         return applyWhole<0, kMaxDelayMs>(
             c, v, [](RigConfig& c, long long n) { c.leadDelay = std::chrono::milliseconds(n); });
     },
     [](const RigConfig& c) { return std::to_string(c.leadDelay.count()); }},
    {"--ptt-tail", "pttTailMs",
     [](RigConfig& c, std::string_view v) {
         return applyWhole<0, kMaxDelayMs>(
             c, v, [](RigConfig& c, long long n) { c.tailDelay = std::chrono::milliseconds(n); });
     },
     [](const RigConfig& c) { return std::to_string(c.tailDelay.count()); }},
    {"--tx-watchdog", "txWatchdogSeconds",
     [](RigConfig& c, std::string_view v) {
         return applyWhole<kMinWatchdogSeconds, kMaxWatchdogSeconds>(
             c, v, [](RigConfig& c, long long n) { c.watchdog = std::chrono::seconds(n); });
     },
     [](const RigConfig& c) {
         return std::to_string(
             std::chrono::duration_cast<std::chrono::seconds>(c.watchdog).count());
     }},
    {"--rig-timeout", "rigTimeoutMs",
     [](RigConfig& c, std::string_view v) {
         return applyWhole<kMinTimeoutMs, kMaxTimeoutMs>(
             c, v, [](RigConfig& c, long long n) { c.timeout = std::chrono::milliseconds(n); });
     },
     [](const RigConfig& c) { return std::to_string(c.timeout.count()); }},
    {"--preamble", "preambleReversals",
     [](RigConfig& c, std::string_view v) {
         return applyWhole<0, kMaxPreambleReversals>(
             c, v, [](RigConfig& c, long long n) { c.preambleReversals = int(n); });
     },
     [](const RigConfig& c) { return std::to_string(c.preambleReversals); }},
};

} // namespace

const char* pttMethodName(PttMethod method) {
    return kPttNames[static_cast<int>(method)];
}

std::optional<PttMethod> parsePttMethod(std::string_view text) {
    for (int i = 0; i < 5; ++i) {
        if (text == kPttNames[i]) {
            return static_cast<PttMethod>(i);
        }
    }
    return std::nullopt;
}

bool usesHamlib(const RigConfig& config) {
    return config.model != 0 || config.ptt != PttMethod::None;
}

std::string validateRigConfig(const RigConfig& config) {
    if (config.model != 0) {
        loadHamlibBackends();
        const struct rig_caps* caps = rig_get_caps(config.model);
        if (caps == nullptr) {
            return "unknown rig model " + std::to_string(config.model) +
                   " ('tarn-psk31 rigs' lists them)";
        }
        if (config.port.empty() && caps->port_type != RIG_PORT_NONE) {
            return config.model == RIG_MODEL_NETRIGCTL
                       ? "rig model 2 needs the rigctld address as its port (host:port)"
                       : "rig model " + std::to_string(config.model) + " needs a port";
        }
    }
    switch (config.ptt) {
    case PttMethod::None:
        break;
    case PttMethod::Cat:
        if (config.model == 0) {
            return "PTT by CAT needs a rig model";
        }
        break;
    case PttMethod::Rts:
    case PttMethod::Dtr:
        if (config.pttPort.empty() && (config.model == 0 || config.model == RIG_MODEL_NETRIGCTL)) {
            return std::string("PTT by ") + (config.ptt == PttMethod::Rts ? "RTS" : "DTR") +
                   " needs a serial port";
        }
        break;
    case PttMethod::Cm108:
        if (config.pttPort.empty()) {
            return "PTT by CM108 needs its device (/dev/hidrawN)";
        }
        break;
    }
    const auto inRange = [](std::chrono::milliseconds value, long long low, long long high) {
        return value.count() >= low && value.count() <= high;
    };
    if (!inRange(config.leadDelay, 0, kMaxDelayMs) || !inRange(config.tailDelay, 0, kMaxDelayMs)) {
        return "PTT delays must be 0 to " + std::to_string(kMaxDelayMs) + " ms";
    }
    if (!inRange(config.watchdog, kMinWatchdogSeconds * 1000LL, kMaxWatchdogSeconds * 1000LL)) {
        return "the transmit watchdog must be " + std::to_string(kMinWatchdogSeconds) + " to " +
               std::to_string(kMaxWatchdogSeconds) + " s";
    }
    if (!inRange(config.timeout, kMinTimeoutMs, kMaxTimeoutMs)) {
        return "the rig timeout must be " + std::to_string(kMinTimeoutMs) + " to " +
               std::to_string(kMaxTimeoutMs) + " ms";
    }
    if (config.speed < 0 || config.preambleReversals < 0 ||
        config.preambleReversals > kMaxPreambleReversals) {
        return "the serial speed and the preamble cannot be negative";
    }
    return "";
}

bool isRigOption(std::string_view option) {
    for (const Field& field : kFields) {
        if (option == field.option) {
            return true;
        }
    }
    return false;
}

std::string applyRigOption(RigConfig& config, std::string_view option, std::string_view value) {
    for (const Field& field : kFields) {
        if (option == field.option) {
            const std::string error = field.apply(config, value);
            return error.empty() ? error : std::string(option) + ": " + error;
        }
    }
    return std::string(option) + ": not a rig option";
}

const char* rigOptionsHelp() {
    return "  --rig MODEL           Hamlib rig model ('tarn-psk31 rigs'; 2 = rigctld); 0 = none\n"
           "  --rig-port PORT       the rig's serial device, or host:port of rigctld\n"
           "  --rig-speed N         serial speed in baud (default: the model's)\n"
           "  --ptt METHOD          none (VOX, default), cat, rts, dtr or cm108\n"
           "  --ptt-port PORT       serial device for rts/dtr (default: the rig's port),\n"
           "                        /dev/hidrawN for cm108\n"
           "  --ptt-lead MS         PTT on to the first audio (default 50)\n"
           "  --ptt-tail MS         last audio to PTT off (default 50)\n"
           "  --tx-watchdog SECONDS longest transmission before PTT is released (default 180)\n"
           "  --rig-timeout MS      longest wait for the rig (default 1000)\n"
           "  --preamble N          extra idle reversals before the message (default 0)\n";
}

std::vector<std::pair<std::string, std::string>> rigSettings(const RigConfig& config) {
    std::vector<std::pair<std::string, std::string>> settings;
    for (const Field& field : kFields) {
        settings.emplace_back(field.key, field.show(config));
    }
    return settings;
}

std::string applyRigSetting(RigConfig& config, std::string_view key, std::string_view value) {
    for (const Field& field : kFields) {
        if (key == field.key) {
            return field.apply(config, value);
        }
    }
    return "unknown";
}

} // namespace tarn::rig
