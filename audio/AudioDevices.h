// The machine's audio devices as PortAudio sees them, and the choice of a
// device by the name the operator gave.
#pragma once

#include <portaudio.h>

#include <optional>
#include <string>
#include <vector>

namespace tarnaudio {

// Device setting meaning "whatever the system uses by default".
inline constexpr const char* kSystemDefault = "System default";

// Device rates the streams can be asked to run at (Hz): from the engine's
// own 8000 Hz up to what professional interfaces offer.
inline constexpr double kMinDeviceRate = 8000.0;
inline constexpr double kMaxDeviceRate = 384000.0;
inline bool isValidDeviceRate(double hz) {
    return hz >= kMinDeviceRate && hz <= kMaxDeviceRate;
}

struct DeviceInfo {
    int index;        // PortAudio device index
    std::string name; // as shown to the operator and matched by name
    std::string hostApi;
    int inputChannels;  // 0 for an output-only device
    int outputChannels; // 0 for an input-only device
    double defaultRate; // Hz
    bool defaultInput;
    bool defaultOutput;
};

// The devices of the current PortAudio session (Pa_Initialize must be in
// effect).
std::vector<DeviceInfo> listDevices();

// The device for a setting: the system default input (or output) when the
// name is empty or "System default", else the device of exactly that name,
// else the one device whose name contains it (ignoring case). Nothing when
// no device fits or the name is ambiguous.
std::optional<int> findDevice(const std::string& name, bool input);

// Opens PortAudio for a short while (for listing devices outside a running
// platform): the status of Pa_Initialize, 0 on success.
class PortAudioSession {
public:
    PortAudioSession();
    ~PortAudioSession();
    PortAudioSession(const PortAudioSession&) = delete;
    PortAudioSession& operator=(const PortAudioSession&) = delete;
    int status() const { return error; }

private:
    int error;
};

// PortAudio's calls that open ALSA devices (Pa_IsFormatSupported, and
// Pa_OpenStream with the buffer size left to the host), with the sound
// libraries' own allocations kept out of a leak report (see the .cpp).
int isFormatSupported(const PaStreamParameters* input, const PaStreamParameters* output,
                      double rate);
int openStream(PaStream** stream, const PaStreamParameters* input, const PaStreamParameters* output,
               double rate, PaStreamFlags flags, PaStreamCallback* callback, void* user);

// Pa_Initialize with the audio libraries' own complaints about absent
// sound servers and cards kept off the terminal.
int initializePortAudioQuietly();
// Ends a session that initializePortAudioQuietly opened.
void terminatePortAudio();

} // namespace tarnaudio
