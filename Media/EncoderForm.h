#pragma once

#include <string>

#include "Media/EncoderSettings.h"
#include "Media/VideoReader.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

// The form in which an encoder gets its pictures.
namespace Kaltor::Media {

/// What the encoder of an output can keep of its pictures.
struct EncoderAbilities {
    std::string encoder;
    AVCodecID codec = AV_CODEC_ID_NONE;
    int bits = 8;        ///< of a channel, at most
    int alphaBits = 0;   ///< the same beside alpha; 0 where there is none
    bool hasHdr = true;  ///< the transfer can be tagged
};
/// Throws as `FindVideoEncoder`.
EncoderAbilities GetAbilities(std::string const& path, EncoderSettings const& settings);

/// The encoder that suits a container best for HDR and other deep pictures ("libx265"), and for alpha ("prores_ks"); ""
/// where its usual one does or none is there.
std::string FindDeepEncoder(std::string const& path, EncoderSettings const& settings);
std::string FindAlphaEncoder(std::string const& path, EncoderSettings const& settings);

/// The planar pixel format of these properties; alpha and bits may be more than asked for where FFmpeg has no such.
AVPixelFormat MakeLike(MediaInfo const& source, int bits, bool hasAlpha);

/// The encoder's format that is nearest to `like`: with alpha and more than 8 bits where it has them and the other
/// does. AV_PIX_FMT_NONE where it takes none that can be made.
AVPixelFormat FindNearestFormat(AVCodec const& encoder, AVPixelFormat like);

/// The format with alpha beside its planes, and without it; AV_PIX_FMT_NONE where FFmpeg has no such.
AVPixelFormat AddAlpha(AVPixelFormat format);
AVPixelFormat RemoveAlpha(AVPixelFormat format);

/// Matrix, range, primaries and transfer of an encoder's pictures.
void TagColors(AVCodecContext& codec, VideoTarget const& form);

/// The parameters by which libx265 writes the light of HDR pictures into its stream; "" for none.
std::string MakeX265Levels(HdrLevels const& levels);

}  // namespace Kaltor::Media
