#pragma once

#include <algorithm>
#include <cmath>
#include <numbers>

namespace Kaltor::Ogl {

/// 0 to 1 over `t` from 0 to 1, slow at both ends; a power of 1 is steady, higher ones are sharper in the middle.
inline double EaseInOut(double t, double power) {
    double const half = 0.5 * std::pow(2.0 * std::min(t, 1.0 - t), power);
    return t < 0.5 ? half : 1.0 - half;
}

/// Hermite's step from 0 at `low` to 1 at `high`.
inline double SmoothStep(double low, double high, double x) {
    double const t = std::clamp((x - low) / (high - low), 0.0, 1.0);
    return t * t * (3.0 - 2.0 * t);
}

/// 0 at both ends of time, 1 in the middle, without a kink.
inline double Hump(double t) {
    double const wave = std::sin(std::numbers::pi * std::clamp(t, 0.0, 1.0));
    return wave * wave;
}

/// A move from 0 to 1 of something that has weight: it speeds up, goes beyond its goal by `overshoot`, and settles.
class WeightedMove {
public:
    /// `way`: how long the move is, in pictures: settling takes its time where the overshoot is seen to be long.
    WeightedMove(double power, double overshootShare, double way = 1.0)
        : ease(power), overshoot(overshootShare), arrival(1.0 - 0.3 * std::min(1.0, overshootShare * way / 0.05)) {}

    double At(double time) const {
        double const t = std::clamp(time, 0.0, 1.0);
        if (t < arrival) {
            return (1.0 + overshoot) * EaseInOut(t / arrival, ease);
        }
        double const settled = arrival < 1.0 ? (t - arrival) / (1.0 - arrival) : 1.0;
        // Turns round without a jerk, and is all but at rest well before the end.
        double const left = 1.0 - settled;
        return 1.0 + overshoot * left * left * left * (1.0 + 3.0 * settled);
    }

private:
    double ease;
    double overshoot;
    double arrival;  ///< when the goal has been passed by the whole overshoot
};

/// What a shutter that is open for `blur` (0 to 1) sees of a move: its places at the opening and at the closing.
struct Exposure {
    double from;
    double to;

    Exposure(WeightedMove const& move, double progress, double blur) {
        constexpr double kLongest = 0.035;  // to each side, as a share of the transition
        from = move.At(progress - kLongest * blur);
        to = move.At(progress + kLongest * blur);
    }
    double GetLength() const { return std::fabs(to - from); }
    double GetMiddle() const { return 0.5 * (from + to); }
};

/// How many samples show a streak of this many pixels without a gap that is seen.
inline float CountSamples(double pixels, int most) {
    return static_cast<float>(std::clamp(static_cast<int>(std::ceil(pixels / 3.0)), 1, most));
}

}  // namespace Kaltor::Ogl
