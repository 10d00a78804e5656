#include "audio/StreamWatch.h"

namespace tarnaudio {

StreamWatch::Health StreamWatch::watch(bool active) {
    const uint64_t calls = callbacks.load(std::memory_order_relaxed);
    silentWatches = calls != lastSeen ? 0 : silentWatches + 1;
    lastSeen = calls;
    if (!active) {
        return Health::Ended;
    }
    return silentWatches >= kSilentWatches ? Health::Silent : Health::Running;
}

} // namespace tarnaudio
