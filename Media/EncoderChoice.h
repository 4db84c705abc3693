#pragma once

#include <optional>
#include <string>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

// Which container and encoders a file gets. All throw `std::invalid_argument` that names what would be right.
namespace Kaltor::Media {

/// By the name's ending.
AVOutputFormat const& FindContainer(std::string const& path);

/// `wanted`: an encoder's or a codec's name, or "" for the container's usual codec.
AVCodec const& FindVideoEncoder(AVOutputFormat const& container, std::string const& wanted, std::string const& path);
/// Null where the container carries no sound that can be encoded here.
AVCodec const* FindAudioEncoder(AVOutputFormat const& container);

/// Encoders in software that the container takes, best known first.
std::vector<std::string> ListEncoders(AVOutputFormat const& container, AVMediaType type);

/// Speed and quality that suit most uses; `crf` in the encoder's own scale.
void SetQuality(AVCodecContext& codec, std::optional<int> crf);

}  // namespace Kaltor::Media
