// Inside the partial library (not installed): the rounding and phase
// wrapping that frame interpolation and the transformations share.
#ifndef KV2_PHASE_MATH_H
#define KV2_PHASE_MATH_H

#include <cmath>

namespace Kv2 {

constexpr double kTwoPi = 6.283185307179586;
constexpr double kInvTwoPi = 0.15915494309189535;
constexpr float kTwoPiF = 6.2831855f;
constexpr float kInvTwoPiF = 0.15915494f;
constexpr float kPiF = 3.1415927f;

inline double RoundHalfAway(double x) {
    return x >= 0.0 ? std::trunc(x + 0.5) : std::trunc(x - 0.5);
}
inline float RoundHalfAwayF(float x) {
    return x >= 0.0f ? std::trunc(x + 0.5f) : std::trunc(x - 0.5f);
}

// Phase brought into [-pi, pi], computed in double.
inline float WrapPhase(double phi) {
    return static_cast<float>(phi - RoundHalfAway(phi / kTwoPi) * kTwoPi);
}
// The same in single precision, as the transformations use it.
inline float WrapPhaseF(float theta) {
    return theta - kTwoPiF * RoundHalfAwayF(theta * kInvTwoPiF);
}

}  // namespace Kv2

#endif
