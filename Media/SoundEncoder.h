#pragma once

#include <optional>
#include <vector>

#include "Media/EncodedStream.h"
#include "Media/EncoderSettings.h"
#include "Media/MediaInfo.h"

namespace Kaltor::Media {

/// Takes float planes of any length into an encoder, in frames of its size and samples of its type.
class SoundEncoder {
public:
    /// The wanted form, or the nearest that the encoder has.
    static SoundFormat ChooseForm(AVCodec const& encoder, SoundFormat const& wanted);

    /// `bitRate`: of all channels together; otherwise 96 kbit/s for each. Ignored where nothing is lost.
    SoundEncoder(std::string const& name, AVCodec const& encoder, SoundFormat const& format,
                 std::optional<BitRate> bitRate, AVFormatContext& file);

    void Write(float const* const* planes, std::size_t count);
    void Finish();

    /// Samples by which the encoder's first packet begins before the sound.
    int GetDelay() const { return stream.GetCodec().initial_padding; }

private:
    static CodecContextPtr SetUp(AVCodec const& encoder, SoundFormat const& format, std::optional<BitRate> bitRate);
    /// What is pending, as one frame.
    void EncodePending();

    std::string name;
    EncodedStream stream;
    SwrPtr converter;
    int frameSize;
    std::vector<std::vector<float>> pending;  ///< per channel, less than a frame between two calls
    std::int64_t position = 0;
};

}  // namespace Kaltor::Media
