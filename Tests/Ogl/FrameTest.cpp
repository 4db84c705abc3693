// Frames between main memory and textures, byte for byte, in every format.

#include <cstring>
#include <stdexcept>

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "Ogl/Frame.h"
#include "Ogl/OglManager.h"
#include "Proc/Data/DataVideoFF.h"
#include "Tests/Support/GlFixture.h"
#include "Tests/Support/GlTools.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace Kaltor::Tests {
namespace {

using boost::intrusive_ptr;
using Ogl::Frame;
using Ogl::ShaderStorage;
using Proc::DataVideoFF;

constexpr std::array kStrategies{kSoftwareStrategy, kGpuStrategy};
constexpr std::array kFormats{PixFmt::Rgb24,   PixFmt::Rgba,      PixFmt::Bgra,      PixFmt::Bgrx,
                              PixFmt::Yuv420p, PixFmt::Yuv422p,   PixFmt::Yuv444p,   PixFmt::Nv12,
                              PixFmt::Gray8,   PixFmt::Yuv420p10, PixFmt::Yuv422p10, PixFmt::Yuv444p10};

/// Bytes of one row of a plane, and its rows.
std::pair<std::size_t, int> GetPlaneSize(DataVideoFF const& frame, int plane) {
    PixFmtDescription const& description = PixFmtDescription::Find(frame.GetPixFmt());
    AVFrame const& av = frame.GetFrame();
    int const shiftX = plane == 0 ? 0 : description.chromaXLog2;
    int const shiftY = plane == 0 ? 0 : description.chromaYLog2;
    auto const samples = static_cast<std::size_t>((av.width + (1 << shiftX) - 1) >> shiftX);
    std::size_t bytes = description.bits > 8 ? 2 : 1;
    if (!description.IsYuv()) {
        bytes = frame.GetPixFmt() == PixFmt::Rgb24 ? 3 : 4;
    } else if (plane == 1 && description.planes == 2) {
        bytes = 2;
    }
    return {samples * bytes, (av.height + (1 << shiftY) - 1) >> shiftY};
}

template <typename Action>
void ForEachRow(DataVideoFF& frame, Action const& action) {
    AVFrame& av = frame.GetWritableFrame();
    for (int plane = 0; plane < PixFmtDescription::Find(frame.GetPixFmt()).planes; ++plane) {
        auto const [bytes, rows] = GetPlaneSize(frame, plane);
        for (int y = 0; y < rows; ++y) {
            action(plane, y, av.data[plane] + std::ptrdiff_t{av.linesize[plane]} * y, bytes);
        }
    }
}

void FillWithNoise(DataVideoFF& frame) {
    std::uint32_t state = 12345;
    bool const isTenBits = PixFmtDescription::Find(frame.GetPixFmt()).bits > 8;
    ForEachRow(frame, [&](int, int, std::uint8_t* row, std::size_t bytes) {
        for (std::size_t i = 0; i < bytes; ++i) {
            state = state * 1664525U + 1013904223U;
            bool const isUpper = isTenBits && i % 2 == 1;
            bool const isFourth = frame.GetPixFmt() == PixFmt::Bgrx && i % 4 == 3;
            row[i] = isFourth ? 255 : static_cast<std::uint8_t>((state >> 24U) & (isUpper ? 3U : 255U));
        }
    });
}

std::string FindDifference(DataVideoFF& a, DataVideoFF& b) {
    std::string found;
    ForEachRow(a, [&](int plane, int y, std::uint8_t* row, std::size_t bytes) {
        std::uint8_t const* const other = b.GetFrame().data[plane] + std::ptrdiff_t{b.GetFrame().linesize[plane]} * y;
        for (std::size_t i = 0; i < bytes && found.empty(); ++i) {
            if (row[i] != other[i]) {
                found = fmt::format("plane {}, row {}, byte {}: {} became {}", plane, y, i, row[i], other[i]);
            }
        }
    });
    return found;
}

/// A frame whose rows lie from the top down in memory.
intrusive_ptr<DataVideoFF> MakeTopDown(PixFmt format, unsigned width, unsigned height) {
    return DataVideoFF::Wrap(
        Proc::AllocateAvFrame(Proc::ToAvPixelFormat(format), static_cast<int>(width), static_cast<int>(height)));
}

TEST(Transfers, AreByteExactInEveryFormat) {
    for (Ogl::FrameStrategy const& strategy : kStrategies) {
        ScopedStrategy const scoped(strategy);
        for (PixFmt const format : kFormats) {
            for (auto const& [width, height] :
                 {std::pair{1U, 1U}, {3U, 5U}, {33U, 17U}, {64U, 36U}, {17U, 1U}, {1U, 19U}, {130U, 3U}}) {
                for (bool const isTopDown : {false, true}) {
                    if (isTopDown && format == PixFmt::Bgrx) {
                        continue;  // frames of this format are always of our own making
                    }
                    auto const make = [&, w = width, h = height] {
                        return isTopDown ? MakeTopDown(format, w, h) : DataVideoFF::Create(format, {w, h, 1, 1});
                    };
                    intrusive_ptr<DataVideoFF> const source = make();
                    intrusive_ptr<DataVideoFF> const target = make();
                    FillWithNoise(*source);
                    source->SetColorSpec({ColorMatrix::Bt2020, ColorRange::Full});
                    OnGl([&](ShaderStorage const& storage) {
                        Frame frame;
                        frame.Allocate(format, source->GetFrameInfo().width, source->GetFrameInfo().height);
                        frame.Upload(source, storage);
                        frame.Download(target, storage);
                    });
                    EXPECT_EQ(FindDifference(*source, *target), "")
                        << PixFmtDescription::Find(format).name << " " << width << "x" << height
                        << (isTopDown ? " top down" : "") << (strategy.usesPixelBuffers ? ", GPU" : ", software");
                    EXPECT_EQ(target->GetColorSpec(), source->GetColorSpec());
                }
            }
        }
    }
}

TEST(Transfers, BringEveryRgbOrderFromEachOther) {
    Picture const picture = Picture::Noise(21, 11, true);
    for (Ogl::FrameStrategy const& strategy : kStrategies) {
        ScopedStrategy const scoped(strategy);
        for (PixFmt const to : {PixFmt::Rgb24, PixFmt::Rgba, PixFmt::Bgra, PixFmt::Bgrx}) {
            intrusive_ptr<DataVideoFF> const target = DataVideoFF::Create(to, {21, 11, 1, 1});
            OnGl([&](ShaderStorage const& storage) {
                Frame frame;
                frame.Allocate(PixFmt::Rgba, 21, 11);
                frame.Upload(picture.ToFrame(), storage);
                frame.Download(target, storage);
            });
            EXPECT_TRUE(IsNear(Picture::FromFrame(*target), picture, 0.0)) << PixFmtDescription::Find(to).name;
        }
        // An opaque frame gives alpha 1 to whoever asks for alpha.
        intrusive_ptr<DataVideoFF> const target = DataVideoFF::Create(PixFmt::Rgba, {21, 11, 1, 1});
        OnGl([&](ShaderStorage const& storage) {
            Frame frame;
            frame.Allocate(PixFmt::Rgb24, 21, 11);
            frame.Upload(Picture::Noise(21, 11).ToFrame(), storage);
            frame.Download(target, storage);
        });
        Picture opaque = Picture::Noise(21, 11);
        opaque.hasAlpha = true;
        EXPECT_TRUE(IsNear(Picture::FromFrame(*target), opaque, 0.0));
    }
}

TEST(Transfers, RefuseWhatDoesNotFit) {
    OnGl([](ShaderStorage const& storage) {
        Frame frame;
        frame.Allocate(PixFmt::Rgba, 4, 4);
        EXPECT_THROW(frame.Upload(DataVideoFF::Create(PixFmt::Rgba, {4, 5, 1, 1}), storage), std::invalid_argument);
        EXPECT_THROW(frame.Upload(DataVideoFF::Create(PixFmt::Rgb24, {4, 4, 1, 1}), storage), std::invalid_argument);
        EXPECT_THROW(frame.Upload(nullptr, storage), std::invalid_argument);
        EXPECT_THROW(frame.Download(DataVideoFF::Create(PixFmt::Rgba, {5, 4, 1, 1}), storage), std::invalid_argument);
        EXPECT_THROW(frame.Download(DataVideoFF::Create(PixFmt::Yuv420p, {4, 4, 1, 1}), storage),
                     std::invalid_argument);
    });
}

TEST(Transfers, SupportedFormatsFollowTheStrategy) {
    using testing::Contains;
    for (Ogl::FrameStrategy const& strategy : kStrategies) {
        ScopedStrategy const scoped(strategy);
        std::vector<PixFmt> const formats = Ogl::GetSupportedPxlFmt();
        bool hasAlpha = false;
        bool hasOpaque = false;
        for (PixFmt const format : formats) {
            (PixFmtDescription::Find(format).HasAlpha() ? hasAlpha : hasOpaque) = true;
            EXPECT_EQ(std::count(formats.begin(), formats.end(), format), 1);
        }
        EXPECT_TRUE(hasAlpha && hasOpaque);
        if (strategy.convertsOnCpu) {
            EXPECT_THAT(formats, testing::ElementsAre(PixFmt::Bgrx, PixFmt::Bgra));
        } else {
            for (PixFmt const format : kFormats) {
                EXPECT_THAT(formats, Contains(format));
            }
        }
    }
}

}  // namespace
}  // namespace Kaltor::Tests
