#pragma once

#include <array>

#include <boost/intrusive_ptr.hpp>

#include "Ogl/DataVideoOGL.h"
#include "Proc/Data/DataVideoFF.h"
#include "Proc/Effects/Shared/Samples.h"

namespace Kaltor::Ogl {

/// The planes of a 4:2:0 picture of 8 bits: luma, and chroma of half the size, each sample of which stands for 2 x 2
/// pixels from the upper left corner on. The top row comes first.
using Planes = std::array<Samples, 3>;

/// Whether the target is drawn on planes in main memory; its inputs then lie on planes, too. GL thread.
bool IsOnPlanes(DataVideoOGL& target);

/// A picture on planes, kept while its samples are read. GL thread.
class PlaneSource {
public:
    explicit PlaneSource(DataVideoOGL& frame);
    Planes const& Get() const { return planes; }

private:
    boost::intrusive_ptr<Proc::DataVideoFF const> picture;
    Planes planes;
};

/// What a target on planes will show: `draw(planes)` writes all samples, which are undefined before. GL thread.
template <typename Draw>
void DrawPlanes(DataVideoOGL& target, Draw const& draw);

/// The planes of a picture in memory.
Planes ToPlanes(Proc::DataVideoFF const& picture);
boost::intrusive_ptr<Proc::DataVideoFF> MakePlanes(Frame const& frame);

template <typename Draw>
void DrawPlanes(DataVideoOGL& target, Draw const& draw) {
    Frame const frame = target.FrameData();
    boost::intrusive_ptr<Proc::DataVideoFF> const made = MakePlanes(frame);
    draw(ToPlanes(*made));
    frame.ShowPlanes(made);
}

}  // namespace Kaltor::Ogl
