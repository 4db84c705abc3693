#pragma once

#include <string>

#include "Edit/Plan.h"
#include "Media/EncoderSettings.h"

namespace Kaltor::Render {

/// Decides in which form the frames of a plan are made, by what its clips have, what is asked for and what the output's
/// encoder keeps: the depth, alpha, and whether HDR stays. `settings` get the encoder that suits, where none is named.
/// Throws `std::invalid_argument` for what is asked for and cannot be kept.
void ChooseForm(Edit::Plan& plan, Edit::Output const& output, Media::EncoderSettings& settings,
                std::string const& path);

/// The same for a single picture, a PNG file.
void ChoosePictureForm(Edit::Plan& plan, Edit::Output const& output);

}  // namespace Kaltor::Render
