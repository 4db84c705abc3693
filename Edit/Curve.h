#pragma once

#include <vector>

#include "Edit/Easing.h"
#include "Edit/Time.h"

namespace Kaltor::Edit {

/// The value of a field at a time. A number has one component, a colour four, a list one for each of its numbers.
struct Key {
    Time time;
    std::vector<double> value;
    Easing easing;  ///< from this key to the next

    bool operator==(Key const&) const = default;
};

/// A value that changes: keys in the order of their times, all of the same number of components. Before the first key
/// the value is the first one's, after the last key the last one's.
struct Curve {
    std::vector<Key> keys;

    bool operator==(Curve const&) const = default;
};

/// A curve within a span, to be asked for values.
///
/// A stretch of `smooth` keys is a monotone cubic: it passes through every key without overshooting between two of
/// them (F. N. Fritsch and R. E. Carlson, "Monotone Piecewise Cubic Interpolation", SIAM J. Numer. Anal. 17, 1980, with
/// the weighted harmonic mean of F. N. Fritsch and J. Butland, 1984, as slopes).
class CurveSampler {
public:
    /// `span` in seconds. Throws `std::invalid_argument` where the times do not grow.
    CurveSampler(Curve const& curve, AVRational frameRate, double span);

    /// The value at a time in seconds since the span's beginning.
    std::vector<double> At(double seconds) const;
    /// Its first component.
    double NumberAt(double seconds) const;

private:
    struct Point {
        double time;
        std::vector<double> value;
        Easing easing;
        std::vector<double> slope;  ///< for smooth stretches
    };

    void SetSlopes();
    double Blend(Point const& from, Point const& to, std::size_t component, double x) const;

    std::vector<Point> points;
};

}  // namespace Kaltor::Edit
