#pragma once

#include <cstdint>

#include "Conf/FrameInfo.h"
#include "Conf/PixFmt.h"
#include "Core/Interfaces/RefCount.h"

namespace Kaltor::Proc {

/// Anything that travels through a processing graph. Times are microseconds.
class IData : public IRefCount {
public:
    virtual std::int64_t GetDuration() const = 0;
    virtual void SetDuration(std::int64_t duration) = 0;
    virtual std::int64_t GetTimestamp() const = 0;
    virtual void SetTimestamp(std::int64_t timestamp) = 0;
};

/// One video frame, in main memory or on the GPU.
class IDataVideo : public IData {
public:
    virtual PixFmt GetPixFmt() const = 0;
    virtual Conf::FrameInfo const& GetFrameInfo() const = 0;
    /// The tags of the frame's YUV samples. On an RGB frame: the tags that it was converted from, or that it is to be
    /// written with.
    virtual ColorSpec GetColorSpec() const = 0;
    virtual void SetColorSpec(ColorSpec const& spec) = 0;
};

/// The timing and tags that every frame class keeps in the same way.
template <typename Interface>
class DataVideoBase : public RefCountImpl<Interface> {
public:
    DataVideoBase(PixFmt format, Conf::FrameInfo const& info) : pixFmt(format), frameInfo(info) {}

    std::int64_t GetDuration() const final { return duration; }
    void SetDuration(std::int64_t value) final { duration = value; }
    std::int64_t GetTimestamp() const final { return timestamp; }
    void SetTimestamp(std::int64_t value) final { timestamp = value; }
    PixFmt GetPixFmt() const final { return pixFmt; }
    Conf::FrameInfo const& GetFrameInfo() const final { return frameInfo; }
    ColorSpec GetColorSpec() const final { return colorSpec; }
    void SetColorSpec(ColorSpec const& spec) final { colorSpec = spec; }

private:
    PixFmt pixFmt;
    Conf::FrameInfo frameInfo;
    ColorSpec colorSpec;
    std::int64_t timestamp = 0;
    std::int64_t duration = 0;
};

}  // namespace Kaltor::Proc
