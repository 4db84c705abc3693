#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Media/EncoderSettings.h"
#include "Media/Ffmpeg.h"
#include "Media/VideoReader.h"

namespace Kaltor::Media {

/// The encoder of AVIF pictures. Throws `MediaError` where this FFmpeg has none, or writes no such files.
AVCodec const& RequireAvifEncoder();

/// Whether a name ends in ".avif", in any case of letters.
bool IsAvifName(std::string const& path);

/// The content of an AVIF file with this picture, of an encoder's pixel format or one with alpha beside it, which
/// becomes a grey picture of its own. `form` has its colours; `name` is for messages. Throws `MediaError`, and
/// `std::invalid_argument` for settings that the encoder does not have.
std::vector<std::uint8_t> EncodeAvif(AVFrame const& picture, VideoTarget const& form, EncoderSettings const& settings,
                                     AVCodec const& encoder, std::string const& name);

}  // namespace Kaltor::Media
