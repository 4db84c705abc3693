#pragma once

#include <cstdint>
#include <vector>

#include "Edit/Plan.h"
#include "Farm/Job.h"

namespace Kaltor::Farm {

/// A run of frames that need the same.
struct Stretch {
    std::int64_t first = 0;
    std::int64_t end = 0;       ///< not among them
    double secondsPerFrame = 0.0;
    /// What a part that begins within it, or at its first frame, pays for opening files that an earlier part had open.
    double openingWithin = 0.0;
    double openingAtFirst = 0.0;
};

/// What the frames of a plan cost, in seconds of one processor: decoding, drawing and encoding, from figures measured
/// with software GL. Their ratios matter more than their size. `hasCheapCodec`: an encoder that only packs pictures.
std::vector<Stretch> EstimateWork(Edit::Plan const& plan, bool hasCheapCodec);
double SumWork(std::vector<Stretch> const& stretches);

/// Cuts a video into so many parts of about equal work, each of a frame at least. A cut moves by up to an eighth of a
/// part to where it costs less: parts do not begin in a transition, whose two files both would have to open, if
/// there is a better place nearby.
std::vector<Part> Cut(std::vector<Stretch> const& stretches, std::int64_t count);

}  // namespace Kaltor::Farm
