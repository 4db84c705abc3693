#pragma once

#include "Tests/Support/GlFixture.h"
#include "Tests/Support/GlTools.h"

namespace Kaltor::Tests {

/// Runs each test first as on software GL, then as on a GPU.
class StrategyTest : public GlTest, public testing::WithParamInterface<Ogl::FrameStrategy> {
    ScopedStrategy scoped{GetParam()};
};
inline auto const kEachStrategy = testing::Values(kSoftwareStrategy, kGpuStrategy);
inline std::string NameStrategy(testing::TestParamInfo<Ogl::FrameStrategy> const& info) {
    return info.param.convertsOnCpu ? "Software" : "Gpu";
}

/// GL thread.
inline Ogl::Frame MakeFrame(unsigned width, unsigned height, PixFmt format = PixFmt::Rgba) {
    Ogl::Frame frame;
    frame.Allocate(format, width, height);
    return frame;
}

/// GL thread.
inline Ogl::Frame ToGpu(Picture const& picture, Ogl::ShaderStorage const& storage) {
    Ogl::Frame frame = MakeFrame(picture.width, picture.height, picture.hasAlpha ? PixFmt::Rgba : PixFmt::Rgb24);
    frame.Upload(picture.ToFrame(), storage);
    return frame;
}

/// What `draw(storage)`, on the GL thread, leaves on a new frame.
template <typename Draw>
Picture Drawn(unsigned width, unsigned height, Draw const& draw) {
    Picture seen;
    OnGl([&](Ogl::ShaderStorage const& storage) {
        Ogl::Frame const target = MakeFrame(width, height);
        storage.FBO().Attach(target.GetFirstTexture());
        draw(storage);
        seen = ReadTexture(target.GetFirstTexture(), storage);
    });
    return seen;
}

/// `picture` with its left upper corner at (left, top) of a larger one.
inline Picture Placed(Picture const& picture, unsigned width, unsigned height, unsigned left, unsigned top,
                      Rgba const& around = {0, 0, 0, 0}) {
    return Picture::Make(width, height, true, [&](unsigned x, unsigned y) {
        bool const isInside = x >= left && x < left + picture.width && y >= top && y < top + picture.height;
        return isInside ? picture.At(x - left, y - top) : around;
    });
}

inline Picture Mirrored(Picture const& picture) {
    return Picture::Make(picture.width, picture.height, picture.hasAlpha,
                         [&](unsigned x, unsigned y) { return picture.At(picture.width - 1 - x, y); });
}

}  // namespace Kaltor::Tests
