#pragma once

#include <string>
#include <string_view>

namespace Kaltor::Frei0r {

/// The name under which hosts know an effect: "kaltor_blur_gaussian" for EffectBlurGaussian, "kaltor_t_pageturn" for
/// TransitionPageturn. Its file is this name with ".so".
std::string MakeDoorName(std::string_view classId);

}  // namespace Kaltor::Frei0r
