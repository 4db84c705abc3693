#pragma once

#include "Conf/FrameInfo.h"
#include "Conf/PixFmt.h"
#include "Core/Interfaces/RefCount.h"

namespace Kaltor::Conf {

/// The format that a stage of a processing graph hands on; effects rewrite it to the format that they will produce.
class IFormatCodecVideo : public IRefCount {
public:
    virtual PixFmt GetPixFmt() const = 0;
    virtual void SetPixFmt(PixFmt format) = 0;
    virtual FrameInfo GetFrameInfo() const = 0;
    /// A picture of `width` x `height` pixels, each `aspectX` : `aspectY` wide and high.
    virtual void InitByPixelAspect(std::uint32_t width, std::uint32_t height, std::uint32_t aspectX,
                                   std::uint32_t aspectY) = 0;
};

/// A plain implementation.
boost::intrusive_ptr<IFormatCodecVideo> MakeFormatCodecVideo(PixFmt format, FrameInfo const& info);

}  // namespace Kaltor::Conf
