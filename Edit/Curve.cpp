#include "Edit/Curve.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"

namespace Kaltor::Edit {

CurveSampler::CurveSampler(Curve const& curve, AVRational frameRate, double span) {
    if (curve.keys.empty()) {
        Core::Throw(std::invalid_argument("a curve needs a key"));
    }
    for (Key const& key : curve.keys) {
        double const time = key.time.Resolve(frameRate, span);
        if (!points.empty() && time <= points.back().time) {
            Core::Throw(std::invalid_argument(
                fmt::format("the key at {} ({:g} s) does not come after the one before it ({:g} s)", Format(key.time),
                            time, points.back().time)));
        }
        if (!points.empty() && key.value.size() != points.back().value.size()) {
            Core::Throw(
                std::invalid_argument(fmt::format("the key at {} has {} numbers, the one before it has {}",
                                                  Format(key.time), key.value.size(), points.back().value.size())));
        }
        points.push_back({time, key.value, key.easing, std::vector<double>(key.value.size(), 0.0)});
    }
    SetSlopes();
}

void CurveSampler::SetSlopes() {
    for (std::size_t i = 1; i + 1 < points.size(); ++i) {
        // A key where another easing begins or ends has the slope 0, so that the smooth stretch ends at rest.
        if (!points[i - 1].easing.IsSmooth() || !points[i].easing.IsSmooth()) {
            continue;
        }
        double const before = points[i].time - points[i - 1].time;
        double const after = points[i + 1].time - points[i].time;
        for (std::size_t c = 0; c < points[i].value.size(); ++c) {
            double const rise = (points[i].value[c] - points[i - 1].value[c]) / before;
            double const next = (points[i + 1].value[c] - points[i].value[c]) / after;
            if (rise * next > 0.0) {
                double const w1 = 2.0 * after + before;
                double const w2 = after + 2.0 * before;
                points[i].slope[c] = (w1 + w2) / (w1 / rise + w2 / next);
            }
        }
    }
}

double CurveSampler::Blend(Point const& from, Point const& to, std::size_t component, double x) const {
    double const a = from.value[component];
    double const b = to.value[component];
    if (!from.easing.IsSmooth()) {
        return a + (b - a) * from.easing(x);
    }
    double const length = to.time - from.time;
    double const x2 = x * x;
    double const x3 = x2 * x;
    return (2.0 * x3 - 3.0 * x2 + 1.0) * a + (x3 - 2.0 * x2 + x) * length * from.slope[component] +
           (3.0 * x2 - 2.0 * x3) * b + (x3 - x2) * length * to.slope[component];
}

std::vector<double> CurveSampler::At(double seconds) const {
    auto const next = std::upper_bound(points.begin(), points.end(), seconds,
                                       [](double time, Point const& point) { return time < point.time; });
    if (next == points.begin() || std::isnan(seconds)) {
        return points.front().value;
    }
    if (next == points.end()) {
        return points.back().value;
    }
    Point const& from = *std::prev(next);
    double const x = (seconds - from.time) / (next->time - from.time);
    std::vector<double> value(from.value.size());
    for (std::size_t c = 0; c < value.size(); ++c) {
        value[c] = Blend(from, *next, c, x);
    }
    return value;
}

double CurveSampler::NumberAt(double seconds) const {
    return At(seconds).front();
}

}  // namespace Kaltor::Edit
