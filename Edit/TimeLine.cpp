#include "Edit/TimeLine.h"

#include <cmath>

extern "C" {
#include <libavutil/mathematics.h>
}

namespace Kaltor::Edit {
namespace {

constexpr AVRational kMicroseconds{1, 1'000'000};

}  // namespace

Media::Microseconds TimeLine::TimeOf(std::int64_t frame) const {
    return Media::Microseconds(av_rescale_q_rnd(frame, av_inv_q(frameRate), kMicroseconds, AV_ROUND_NEAR_INF));
}

std::int64_t TimeLine::FrameAt(Media::Microseconds time) const {
    return av_rescale_q_rnd(time.count(), kMicroseconds, av_inv_q(frameRate), AV_ROUND_NEAR_INF);
}

std::int64_t TimeLine::SampleOf(std::int64_t frame, int sampleRate) const {
    return av_rescale_q_rnd(frame, av_inv_q(frameRate), {1, sampleRate}, AV_ROUND_NEAR_INF);
}

std::int64_t TimeLine::FrameAtSeconds(double seconds) const {
    constexpr double kPerSecond = 1e6;
    return FrameAt(Media::Microseconds(std::llround(seconds * kPerSecond)));
}

}  // namespace Kaltor::Edit
