#pragma once

#include <cstddef>
#include <optional>

#include "Media/MediaInfo.h"
#include "Proc/Data/AvFrame.h"

namespace Kaltor::Render {

/// Takes the pictures of a video in their order, each followed by the sound that goes with it. One thread at a time.
class FrameSink {
public:
    virtual ~FrameSink() = default;
    /// The form in which sound is taken; empty where none is.
    virtual std::optional<Media::SoundFormat> GetSound() const = 0;
    /// `isDrawn`: an effect or a transition made it.
    virtual void WritePicture(AVFrame const& picture, bool isDrawn) = 0;
    /// The next `count` samples of float planes.
    virtual void WriteSound(float const* const* planes, std::size_t count) = 0;
    /// Nothing more comes.
    virtual void Close() = 0;
};

}  // namespace Kaltor::Render
