#pragma once

#include "Conf/FrameInfo.h"
#include "Proc/Data/DataVideoFF.h"

namespace Kaltor::Cli {

/// Moving pictures that the program makes by itself.
enum class Scene : std::uint8_t {
    Lake,   ///< mountains and a lake at sunset: warm, dark, seen from the side
    Beach,  ///< a beach at noon: bright, cool, seen from above
};

/// The picture, Rgb24, of any size with square pixels. `phase` runs from 0 to 1 round a loop without a seam.
boost::intrusive_ptr<Proc::DataVideoFF> DrawScene(Scene scene, Conf::FrameInfo const& size, double phase);

}  // namespace Kaltor::Cli
