#pragma once

#include <string>
#include <vector>

#include "Media/EncoderSettings.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

// Which container and encoders a file gets. All throw `std::invalid_argument` that names what would be right.
namespace Kaltor::Media {

/// By `format`, a container's name or the ending of its files; where that is empty, by the name's ending.
AVOutputFormat const& FindContainer(std::string const& path, std::string const& format = "");

/// `wanted`: an encoder's or a codec's name, or "" for the container's usual codec.
AVCodec const& FindVideoEncoder(AVOutputFormat const& container, std::string const& wanted, std::string const& path);
/// Null where the container carries no sound that can be encoded here. `wanted` as for `FindVideoEncoder`.
AVCodec const* FindAudioEncoder(AVOutputFormat const& container, std::string const& wanted, std::string const& path);

/// Whether an encoder works on the frames of a device ("h264_vaapi").
bool IsHardware(AVCodec const& encoder);

/// Encoders in software that the container takes, best known first.
std::vector<std::string> ListEncoders(AVOutputFormat const& container, AVMediaType type);

/// Rate, quality, speed and key frames as `settings` say, and otherwise such that they suit most uses; then the
/// encoder's own options. `isPicture`: each picture is a file of its own. `isVerbose`: the encoder may print.
void SetEncoding(AVCodecContext& codec, EncoderSettings const& settings, bool isPicture, bool isVerbose);

}  // namespace Kaltor::Media
