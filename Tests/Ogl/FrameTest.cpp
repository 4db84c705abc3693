// Frames between main memory and textures, byte for byte, in every format.

#include "Ogl/Noise.h"
#include "Tests/Support/FrameSamples.h"
#include "Tests/Support/FrameTools.h"

namespace Kaltor::Tests {
namespace {

using Ogl::ShaderStorage;
using Proc::DataVideoFF;

constexpr std::array kRgbFormats{PixFmt::Rgb24, PixFmt::Rgba, PixFmt::Bgra, PixFmt::Bgrx};

using Transfers = StrategyTest;
INSTANTIATE_TEST_SUITE_P(On, Transfers, kEachStrategy, NameStrategy);

std::vector<PixFmt> AllFormats() {
    std::vector<PixFmt> all(kRgbFormats.begin(), kRgbFormats.end());
    all.insert(all.end(), kYuvFormats.begin(), kYuvFormats.end());
    return all;
}

TEST_P(Transfers, AreByteExactInEveryFormat) {
    ColorSpec const tags{ColorMatrix::Bt2020, ColorRange::Full};
    for (PixFmt const format : AllFormats()) {
        for (auto const& [width, height] :
             {std::pair{1U, 1U}, {3U, 5U}, {33U, 17U}, {64U, 36U}, {17U, 1U}, {1U, 19U}, {130U, 3U}}) {
            for (bool const isTopDown : {false, true}) {
                auto const make = [&, w = width, h = height](bool topDown) {
                    // Frames of Bgrx are always of our own making.
                    return topDown && format != PixFmt::Bgrx
                               ? DataVideoFF::Wrap(Proc::AllocateAvFrame(Proc::ToAvPixelFormat(format),
                                                                         static_cast<int>(w), static_cast<int>(h)))
                               : DataVideoFF::Create(format, {w, h, 1, 1});
                };
                intrusive_ptr<DataVideoFF> const source = make(isTopDown);
                intrusive_ptr<DataVideoFF> const target = make(!isTopDown);
                std::uint32_t count = 0;
                ForEachSample(*source, [&](int, int x, int, auto& sample) {
                    bool const isFourth = format == PixFmt::Bgrx && x % 4 == 3;
                    std::uint32_t const noise = isFourth ? 255U : Ogl::Hash(count++, 0, 0)[0] >> 8U;
                    sample = static_cast<std::decay_t<decltype(sample)>>(noise & (sizeof(sample) > 1 ? 1023U : 255U));
                });
                source->SetColorSpec(tags);
                OnGl([&, w = width, h = height](ShaderStorage const& storage) {
                    Ogl::Frame frame = MakeFrame(w, h, format);
                    frame.Upload(source, storage);
                    frame.Download(target, storage);
                });
                EXPECT_TRUE(HaveSameSamples(*target, *source))
                    << Tell(format, tags) << " " << width << "x" << height << (isTopDown ? " top down" : "");
                EXPECT_EQ(target->GetColorSpec(), tags);
            }
        }
    }
}

TEST_P(Transfers, BringEveryRgbOrderFromEachOther) {
    for (bool const hasAlpha : {true, false}) {  // an opaque frame gives alpha 1 to whoever asks for alpha
        Picture const picture = Picture::Noise(21, 11, hasAlpha);
        for (PixFmt const to : kRgbFormats) {
            intrusive_ptr<DataVideoFF> const target = DataVideoFF::Create(to, {21, 11, 1, 1});
            OnGl([&](ShaderStorage const& storage) { ToGpu(picture, storage).Download(target, storage); });
            EXPECT_TRUE(IsNear(Picture::FromFrame(*target), picture, 0.0)) << PixFmtDescription::Find(to).name;
        }
    }
}

TEST_P(Transfers, NeedNoDetourForTheSupportedFormats) {
    std::vector<PixFmt> const formats = Ogl::GetSupportedPxlFmt();
    if (GetParam().convertsOnCpu) {
        EXPECT_THAT(formats,
                    testing::ElementsAre(PixFmt::Bgrx, PixFmt::Bgra, PixFmt::Yuv420p, PixFmt::RgbF16, PixFmt::RgbaF16));
    } else {
        std::vector<PixFmt> expected = AllFormats();
        expected.insert(expected.end(), {PixFmt::RgbF16, PixFmt::RgbaF16});
        EXPECT_THAT(formats, testing::UnorderedElementsAreArray(expected));
    }
}

TEST_P(Transfers, RefuseWhatDoesNotFit) {
    OnGl([](ShaderStorage const& storage) {
        Ogl::Frame frame = MakeFrame(4, 4);
        EXPECT_THROW(frame.Upload(nullptr, storage), std::invalid_argument);
        for (auto const& [format, width, height] : {std::tuple{PixFmt::Rgba, 4U, 5U},
                                                    {PixFmt::Rgba, 5U, 4U},
                                                    {PixFmt::Rgb24, 4U, 4U},
                                                    {PixFmt::Yuv420p, 4U, 4U}}) {
            intrusive_ptr<DataVideoFF> const other = DataVideoFF::Create(format, {width, height, 1, 1});
            EXPECT_THROW(frame.Upload(other, storage), std::invalid_argument);
            if (format != PixFmt::Rgb24) {
                EXPECT_THROW(frame.Download(other, storage), std::invalid_argument);
            }
        }
    });
}

}  // namespace
}  // namespace Kaltor::Tests
