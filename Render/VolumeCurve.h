#pragma once

#include <cstdint>
#include <deque>

#include "Render/PlannedSound.h"

namespace Kaltor::Render {

/// The gain of a sound over time, from one sample to the next one: the curve's, made a little smoother so that a jump
/// takes some milliseconds and does not click.
class VolumeCurve {
public:
    /// From a sample on, counted from the sound's first one. The curve must outlive it.
    VolumeCurve(Edit::CurveSampler const& decibels, int sampleRate, std::int64_t sample);

    /// Of the next sample.
    float Next();

private:
    double Sample(std::int64_t point) const;
    double GetMean() const;
    void Step();

    Edit::CurveSampler const* curve;
    int rate;
    std::int64_t step;  ///< samples between two points
    std::int64_t point;
    std::int64_t within;
    std::deque<double> around;  ///< the gains at the points around this one
    double from = 1.0;
    double to = 1.0;
};

}  // namespace Kaltor::Render
