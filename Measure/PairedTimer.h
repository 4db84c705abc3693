#pragma once

#include <array>
#include <functional>
#include <vector>

#include "Conf/FrameInfo.h"
#include "Ogl/Texture.h"

namespace Kaltor::Measure {

/// The pass that everything is compared with: one plain full-frame copy from an RGBA8 texture to another, with linear
/// filtering.
class ReferenceCopy {
public:
    explicit ReferenceCopy(Conf::FrameInfo const& size);
    /// Draws it this many times, without waiting for the GL.
    void Draw(int times);

private:
    std::array<Ogl::Texture, 3> textures;
};

/// Draws `count` frames. The GL may not have finished them when it returns.
using Batch = std::function<void(int count)>;

/// Times a batch of frames against the copy, round by round. Each batch lies between two batches of copies, so that a
/// slow moment of the machine slows both. The GL's pipeline is drained once per batch.
class PairedTimer {
public:
    struct Timing {
        double milliseconds;      ///< per frame
        double copyMilliseconds;  ///< per copy
        double copies;            ///< their ratio
        double processorCopies;  ///< the ratio of the processor time of all threads, which other programs hardly change
    };

    /// First draws some frames that are not timed. A batch has a multiple of `step` frames and takes about
    /// `batchSeconds`. All arguments must outlive it.
    PairedTimer(ReferenceCopy& reference, Batch draw, int step, double batchSeconds);

    /// Returns the seconds of one frame in this round.
    double Round();
    /// Runs rounds until `seconds` have passed, at least three.
    Timing Run(double seconds);
    /// Medians of the rounds so far.
    Timing GetTiming() const;

private:
    /// What one frame costs, in seconds.
    struct Cost {
        double wall;
        double processor;
    };

    /// The same for each of `count` frames, including the draining.
    static Cost Time(Batch const& batch, int count);

    Batch draw;
    Batch copy;
    int drawCount;
    int copyCount;
    Cost lastCopy;
    std::vector<double> frameSeconds;
    std::vector<double> copySeconds;
    std::vector<double> ratios;
    std::vector<double> processorRatios;
};

}  // namespace Kaltor::Measure
