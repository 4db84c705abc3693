#pragma once

#include <boost/intrusive_ptr.hpp>

#include "Proc/Data/DataVideoFF.h"

namespace Kaltor::Edit {

/// A picture that is to be laid over the frame.
struct TitlePicture {
    /// Rgba with straight alpha, no larger than what it shows. Never changed: what has the same pointer is the same.
    /// Transparent pixels beside visible ones have their colour, so that filtering gives no dark edge.
    boost::intrusive_ptr<Proc::DataVideoFF> picture;
    /// The place of its upper left corner, in pixels from the frame's upper left corner.
    double x = 0.0;
    double y = 0.0;
    /// By which its alpha is multiplied, above 0 and up to 1.
    double opacity = 1.0;
};

}  // namespace Kaltor::Edit
