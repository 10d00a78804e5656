// Four floats in one SIMD register (SSE2 on x86-64; plain scalar code where
// there is none), for stages that run the same float operations on several
// values side by side. Arithmetic is lane by lane in IEEE single precision,
// each lane exactly the operation the scalar code would do, so results are
// the same to the bit (the build never contracts a multiply and an add).
#pragma once

#include <cstring>

namespace tarn {

typedef float Lanes __attribute__((vector_size(16)));

// Four consecutive floats from memory at any alignment, and back.
inline Lanes loadLanes(const float* from) {
    Lanes v;
    std::memcpy(&v, from, sizeof v);
    return v;
}
inline void storeLanes(float* to, Lanes v) {
    std::memcpy(to, &v, sizeof v);
}

} // namespace tarn
