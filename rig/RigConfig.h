// How the station reaches its radio: which Hamlib model on which port, how
// the transmitter is keyed, and the timing around a transmission.
//
// One value type shared by the command line (--rig, --ptt, ...), the
// settings file (the keys below) and the settings screen. It is checked as a
// whole by validateRigConfig() before a connection is made from it.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tarn::rig {

// How the transmitter is keyed. None leaves it to the radio's VOX.
enum class PttMethod { None, Cat, Rts, Dtr, Cm108 };

// "none", "cat", "rts", "dtr", "cm108".
const char* pttMethodName(PttMethod method);
std::optional<PttMethod> parsePttMethod(std::string_view text);

struct RigConfig {
    // Hamlib model number; 0 = no rig control (the PTT methods that need no
    // CAT rig still work: RTS, DTR and CM108 through their own port). 2 is a
    // rigctld reached over the network, with `port` as "host:port".
    int model = 0;
    // Serial device ("/dev/ttyUSB0") or, for model 2, "host:port".
    std::string port;
    // Serial speed in baud; 0 = the model's default.
    int speed = 0;
    PttMethod ptt = PttMethod::None;
    // Port of the RTS/DTR line or the CM108 device (/dev/hidrawN); empty =
    // the rig's own port (RTS/DTR only).
    std::string pttPort;
    // PTT on to the first sample leaving the sound card, and the last sample
    // leaving it to PTT off. 0 .. 2000 ms.
    std::chrono::milliseconds leadDelay{50};
    std::chrono::milliseconds tailDelay{50};
    // Longest a transmission may key the radio before it is cut off.
    // 1 s .. 1 h.
    std::chrono::milliseconds watchdog{std::chrono::minutes(3)};
    // Longest any caller waits for the rig (and Hamlib's own I/O timeout).
    // 100 .. 10000 ms.
    std::chrono::milliseconds timeout{1000};
    // Extra idle reversals rendered before each message, for radios that
    // clip the start of a transmission. 0 .. 250 (0: the signal as always).
    int preambleReversals = 0;
};

// Settable ranges, for the settings screen's spin boxes.
inline constexpr int kMaxDelayMs = 2000;
inline constexpr int kMinWatchdogSeconds = 1;
inline constexpr int kMaxWatchdogSeconds = 3600;
inline constexpr int kMinTimeoutMs = 100;
inline constexpr int kMaxTimeoutMs = 10000;
inline constexpr int kMaxPreambleReversals = 250;

// Empty when `config` can be used, else one line saying what is wrong
// ("PTT by RTS needs a serial port", "unknown rig model 99999").
std::string validateRigConfig(const RigConfig& config);

// True when the configuration needs Hamlib at all (a rig model, or a PTT
// method other than none).
bool usesHamlib(const RigConfig& config);

// The command-line options of send and listen: --rig MODEL, --rig-port PORT,
// --rig-speed N, --ptt none|cat|rts|dtr|cm108, --ptt-port PORT,
// --ptt-lead MS, --ptt-tail MS, --tx-watchdog SECONDS, --rig-timeout MS,
// --preamble N.
bool isRigOption(std::string_view option);
// Applies one of them; returns an empty string, or the reason the value is
// not acceptable ("--rig-speed: '96OO' is not a whole number").
std::string applyRigOption(RigConfig& config, std::string_view option, std::string_view value);
// The options' help text, one option a line, for the commands' --help.
const char* rigOptionsHelp();

// The settings file's keys for a RigConfig, with their text values.
std::vector<std::pair<std::string, std::string>> rigSettings(const RigConfig& config);
// Applies one key read from the settings file; returns an empty string, a
// reason when the value is bad (the field keeps its value), or "unknown"
// when `key` is not one of the rig's keys.
std::string applyRigSetting(RigConfig& config, std::string_view key, std::string_view value);

} // namespace tarn::rig
