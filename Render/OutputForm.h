#pragma once

#include <string>

#include "Edit/Plan.h"
#include "Media/EncoderSettings.h"

namespace Kaltor::Render {

/// Decides in which form the frames of a plan are made, by what its clips have, what is asked for and what the output's
/// encoder keeps: the depth, alpha, HDR, and the encoder where none is named. Throws `std::invalid_argument` for what
/// is asked for and cannot be kept.
void ChooseForm(Edit::Plan& plan, Edit::Output const& output, std::string const& path);

/// How the output of such a plan is encoded.
Media::EncoderSettings ChooseSettings(Edit::Plan const& plan, Edit::Output const& output, std::string const& path);

/// The same for a single picture, a PNG file.
void ChoosePictureForm(Edit::Plan& plan, Edit::Output const& output);

}  // namespace Kaltor::Render
