#pragma once

#include <array>
#include <functional>
#include <vector>

#include "Conf/FrameInfo.h"
#include "Ogl/Texture.h"

namespace Kaltor::Measure {

/// The pass that everything is compared with: one plain full-frame pass from an RGBA8 texture to an RGBA8 texture with
/// linear filter.
class ReferenceCopy {
public:
    explicit ReferenceCopy(Conf::FrameInfo const& size);
    /// Draws it so many times, without waiting for the GL.
    void Draw(int times);

private:
    std::array<Ogl::Texture, 3> textures;
};

/// Draws `count` frames. They may still be on their way through the GL when it returns.
using Batch = std::function<void(int count)>;

/// Times a batch of frames against the copy, round by round: each batch stands between two of copies, so that what
/// slows the machine down slows both. The GL's pipeline is drained once a batch.
class PairedTimer {
public:
    struct Timing {
        double milliseconds;      ///< a frame
        double copyMilliseconds;  ///< a copy
        double copies;            ///< their ratio
    };

    /// Draws some frames before anything counts. A batch has a multiple of `step` frames and takes about
    /// `batchSeconds`. All must outlive it.
    PairedTimer(ReferenceCopy& reference, Batch draw, int step, double batchSeconds);

    /// Gives the seconds of one frame in this round.
    double Round();
    /// Rounds until `seconds` have gone by, three at least.
    Timing Run(double seconds);
    /// Medians of the rounds so far.
    Timing GetTiming() const;

private:
    /// Seconds of one of `count`, drained.
    static double Time(Batch const& batch, int count);

    Batch draw;
    Batch copy;
    int drawCount;
    int copyCount;
    double lastCopy;
    std::vector<double> frameSeconds;
    std::vector<double> copySeconds;
    std::vector<double> ratios;
};

}  // namespace Kaltor::Measure
