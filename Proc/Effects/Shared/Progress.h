#pragma once

#include <algorithm>

namespace Kaltor::Ogl {

/// Progress within the span, 0 to 1; what is no number is 0. For algorithms that size something by it: time maps to
/// any progress, and to none where the span is empty.
constexpr double LimitProgress(double progress) {
    return progress > 0.0 ? std::min(progress, 1.0) : 0.0;
}

}  // namespace Kaltor::Ogl
