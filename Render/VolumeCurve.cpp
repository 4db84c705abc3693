#include "Render/VolumeCurve.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace Kaltor::Render {
namespace {

constexpr double kStepSeconds = 0.0005;
constexpr std::int64_t kAround = 4;  // points before and after whose mean is taken

}  // namespace

VolumeCurve::VolumeCurve(Edit::CurveSampler const& decibels, int sampleRate, std::int64_t sample)
    : curve(&decibels),
      rate(sampleRate),
      step(std::max<std::int64_t>(std::llround(kStepSeconds * sampleRate), 1)),
      point(sample / step - 1),
      within(sample % step) {
    for (std::int64_t i = -kAround; i <= kAround; ++i) {
        around.push_back(Sample(point + i));
    }
    Step();
    Step();  // `from` is at the sample's point, `to` at the next one
}

double VolumeCurve::Sample(std::int64_t at) const {
    return std::pow(10.0, curve->NumberAt(static_cast<double>(at * step) / rate) / 20.0);
}

double VolumeCurve::GetMean() const {
    return std::accumulate(around.begin(), around.end(), 0.0) / static_cast<double>(around.size());
}

void VolumeCurve::Step() {
    ++point;
    around.pop_front();
    around.push_back(Sample(point + kAround));
    from = to;
    to = GetMean();
}

float VolumeCurve::Next() {
    if (within == step) {
        within = 0;
        Step();
    }
    double const share = static_cast<double>(within++) / static_cast<double>(step);
    return static_cast<float>(from + share * (to - from));
}

}  // namespace Kaltor::Render
