// What is drawn on planes of 4:2:0 in main memory shows what drawing R'G'B' shows.

#include <set>

#include "Ogl/DataVideoOGL.h"
#include "Ogl/Noise.h"
#include "Proc/Data/RgbToYuv.h"
#include "Proc/Data/YuvToRgb.h"
#include "Proc/Settings/SettingsServices.h"
#include "Tests/Support/FrameSamples.h"
#include "Tests/Support/GlTools.h"
#include "Tests/Support/TransitionFixture.h"

namespace Kaltor::Tests {
namespace {

using Ogl::DataVideoOGL;
using Proc::DataVideoFF;
using Proc::IDataVideo;

/// Samples inside the gamut: smooth ones, or noise.
intrusive_ptr<DataVideoFF> MakePicture(Size const& size, ColorSpec const& spec, std::uint32_t seed, bool isNoise) {
    intrusive_ptr<DataVideoFF> frame = DataVideoFF::Create(PixFmt::Yuv420p, {size.width, size.height, 1, 1});
    frame->SetColorSpec(spec);
    ForEachSample(*frame, [&](int component, int x, int y, auto& sample) {
        double const unit = isNoise ? Ogl::HashToUnit(static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y),
                                                      seed + static_cast<std::uint32_t>(component))
                                    : 0.5 + 0.25 * std::sin(0.11 * x + seed + component) + 0.25 * std::cos(0.13 * y);
        sample = static_cast<std::uint8_t>(std::lround(component == 0 ? 70 + 110 * unit : 108 + 40 * unit));
    });
    return frame;
}

/// The same as R'G'B', with the tags for the way back.
intrusive_ptr<DataVideoFF> ToRgb(DataVideoFF const& yuv) {
    ColorSpec const spec = yuv.GetColorSpec();
    intrusive_ptr<DataVideoFF> rgb = DataVideoFF::Create(PixFmt::Bgrx, yuv.GetFrameInfo());
    Proc::YuvToRgbConverter(PixFmt::Yuv420p, PixFmt::Bgrx, spec).Convert(yuv.GetFrame(), rgb->GetWritableFrame());
    rgb->SetColorSpec(spec);
    return rgb;
}

/// The largest difference of a component's samples, and how many differ by more than `tolerance`.
std::string Compare(DataVideoFF& actual, DataVideoFF& expected, std::array<int, 3> const& tolerance) {
    std::vector<int> wanted;
    ForEachSample(expected, [&](int, int, int, auto const& sample) { wanted.push_back(sample); });
    std::size_t at = 0;
    std::array<int, 3> worst{};
    std::array<std::string, 3> where;
    ForEachSample(actual, [&](int component, int x, int y, auto const& sample) {
        auto const c = static_cast<std::size_t>(component);
        int const difference = std::abs(sample - wanted[at]);
        if (difference > std::max(worst[c], tolerance[c])) {
            worst[c] = difference;
            where[c] = fmt::format("component {} x {} y {}: {}, expected {}; ", c, x, y, sample, wanted[at]);
        }
        ++at;
    });
    return where[0] + where[1] + where[2];
}

class PlanesFixture : public GlTest {
protected:
    static intrusive_ptr<IDataVideo> Draw(Proc::Settings const& settings, intrusive_ptr<IDataVideo> first,
                                          intrusive_ptr<IDataVideo> const& second, double progress) {
        std::srand(3);
        if (settings.GetClassId().starts_with("Transition")) {
            MakeTransition(settings, {.progress = progress})->Process(first, second);
        } else {
            MakeEffect(settings, {.progress = progress})->Process(first);
        }
        return first;
    }
    static bool IsOnPlanes(IDataVideo& data) {
        auto& frame = dynamic_cast<DataVideoOGL&>(data);
        frame.Execute();
        bool result = false;
        OnGl([&](Ogl::ShaderStorage const&) { result = frame.FrameData().IsOnPlanes(); });
        return result;
    }
    /// Compares planes with R'G'B'. Some rows are on planes only for some sizes or moments.
    static void ExpectTheSame(std::string const& typed, std::vector<double> const& progresses, bool isAlwaysOnPlanes,
                              std::vector<Size> const& sizes = {
                                  {64, 36}, {36, 64}, {33, 17}, {47, 22}, {2, 9}, {1, 1}}) {
        // Without the driver's fast path, which places samples to an eighth of a texel.
        Ogl::FrameStrategy exact = kSoftwareStrategy;
        exact.isBlueFirst = false;
        std::unique_ptr<Proc::Settings> const settings = Typed(typed);
        int drawnOnPlanes = 0;
        std::size_t number = 0;
        for (Size const& size : sizes) {
            for (double const progress : progresses) {
                ColorSpec const& spec = kSpecs[number % kSpecs.size()];
                bool const isNoise = number++ % 2 == 0;
                intrusive_ptr<DataVideoFF> const first = MakePicture(size, spec, 1, isNoise);
                intrusive_ptr<DataVideoFF> const second = MakePicture(size, spec, 7, isNoise);
                intrusive_ptr<IDataVideo> drawn;
                {
                    ScopedStrategy const scoped(kSoftwareStrategy);
                    drawn = Draw(*settings, first, second, progress);
                    bool const isOnPlanes = IsOnPlanes(*drawn);
                    EXPECT_TRUE(isOnPlanes || !isAlwaysOnPlanes);
                    drawnOnPlanes += isOnPlanes ? 1 : 0;
                    EXPECT_EQ(drawn->GetPixFmt(), PixFmt::Rgb24);
                }
                ScopedStrategy const scoped(exact);
                intrusive_ptr<DataVideoFF> const planes = Download(drawn, 1);
                intrusive_ptr<DataVideoFF> const rgb =
                    Download(Draw(*settings, ToRgb(*first), ToRgb(*second), progress), 1);
                EXPECT_EQ(planes->GetColorSpec(), rgb->GetColorSpec());
                // R'G'B' of 8 bits rounds once more on the way there and on the way back.
                EXPECT_EQ(Compare(*planes, *rgb, {2, 2, 2}), "")
                    << size.width << "x" << size.height << ", at " << progress << ", " << Tell(PixFmt::Yuv420p, spec)
                    << (isNoise ? ", noise" : "");
            }
        }
        EXPECT_GT(drawnOnPlanes, 4);
    }
};

class PlanesTest : public PlanesFixture, public testing::WithParamInterface<std::string> {};

TEST_P(PlanesTest, ShowTheSameAsRgb) {
    std::set<std::string> const kSometimes{"EffectTranspose", "EffectPanAndZoom"};
    ExpectTheSame(GetParam(), {0.0, 0.37, 0.5, 0.83, 1.0}, !kSometimes.contains(Typed(GetParam())->GetClassId()));
}

// Parts of rows that show one picture alone, beside others that do not.
TEST_F(PlanesFixture, MasksOfWidePicturesShowTheSameAsRgb) {
    for (char const* const settings :
         {"TransitionWipe direction=left", "TransitionWipe direction=up", "TransitionCircle"}) {
        SCOPED_TRACE(settings);
        ExpectTheSame(settings, {0.2, 0.5, 0.8}, true, {{400, 20}, {387, 21}});
    }
}

// Sizes of pixels alone, two of them mixed, mixed with the picture, and while the largest change over.
TEST_F(PlanesFixture, PixelsShowTheSameAsRgb) {
    std::vector<double> const progresses{0.1875, 0.2277, 0.279, 0.319, 0.3437, 0.42, 0.5, 0.58, 0.69, 0.75};
    for (char const* const settings :
         {"num=4", "num=3 clusters=1", "num=9", "type=scatter num=5", "type=scatter num=999"}) {
        SCOPED_TRACE(settings);
        ExpectTheSame(fmt::format("TransitionPixels {}", settings), progresses, false);
    }
}

/// What the processor's threads write as R'G'B' in main memory, and what comes of it: a download, a program, or the
/// next of these filters.
TEST_F(GlTest, FiltersInMemoryShowTheSameAsWithTextures) {
    auto const run = [](std::vector<std::string> const& chain, intrusive_ptr<IDataVideo> frame) {
        for (std::string const& effect : chain) {
            MakeEffect(*Typed(effect))->Process(frame);
        }
        return Download(frame, 1);
    };
    for (std::vector<std::string> const& chain : std::vector<std::vector<std::string>>{
             {"EffectErosion size=0.05"},
             {"EffectAddNoize strength=1"},
             {"EffectFindEdges smoothing=0"},
             {"EffectSharpen radius=0.05"},
             {"EffectErosion size=0.03 channels=1", "EffectInvert"},
             {"EffectErosion size=0.03", "EffectFishEye"},
             {"EffectAddNoize", "EffectBlurGaussian scale=0.2", "EffectSharpen radius=0.05"},
             {"EffectErosion size=0.05", "EffectFlip", "EffectAddNoize strength=0"}}) {
        for (Size const& size : {Size{64, 36}, {33, 17}, {1, 1}}) {
            for (ColorSpec const& spec : kSpecs) {
                ScopedStrategy const scoped(kSoftwareStrategy);
                intrusive_ptr<DataVideoFF> const picture = MakePicture(size, spec, 3, true);
                intrusive_ptr<DataVideoFF> const inMemory = run(chain, picture);
                intrusive_ptr<DataVideoFF> const drawn = run(chain, ToRgb(*picture));
                EXPECT_EQ(inMemory->GetColorSpec(), drawn->GetColorSpec());
                // Filters do the same to the same samples; planes round once less.
                EXPECT_EQ(Compare(*inMemory, *drawn, {2, 2, 2}), "")
                    << chain.front() << " " << size.width << "x" << size.height << " " << Tell(PixFmt::Yuv420p, spec);
            }
        }
    }
}

TEST(Planes, ComeFromRgbByTheFormula) {
    for (Size const& size : {Size{37, 5}, {64, 2}, {16, 1}, {3, 3}}) {
        Picture const noise = Picture::Noise(size.width, size.height);
        intrusive_ptr<DataVideoFF> const rgb = DataVideoFF::Create(PixFmt::Bgrx, {size.width, size.height, 1, 1});
        auto const at = [&](unsigned x, unsigned y) {
            return noise.At(std::min(x, size.width - 1), std::min(y, size.height - 1));
        };
        ForEachSample(*rgb, [&](int, int x, int y, auto& sample) {
            auto const column = static_cast<unsigned>(x);
            std::array<std::size_t, 4> const order{2, 1, 0, 3};
            double const value = at(column / 4, static_cast<unsigned>(y))[order[column % 4]];
            sample = static_cast<std::decay_t<decltype(sample)>>(std::lround(255 * value));
        });
        for (ColorSpec const& spec : kSpecs) {
            intrusive_ptr<DataVideoFF> const yuv =
                DataVideoFF::Create(PixFmt::Yuv420p, {size.width, size.height, 1, 1});
            AVFrame const& from = rgb->GetFrame();
            Proc::RgbToYuvConverter(spec).Convert(from.data[0], from.linesize[0], 0, from.height,
                                                  yuv->GetWritableFrame());
            ForEachSample(*yuv, [&](int component, int x, int y, auto const& sample) {
                unsigned const step = component == 0 ? 1 : 2;
                Codes wanted{};
                for (unsigned part = 0; part < step * step; ++part) {
                    Codes const one = Encode(spec, at(static_cast<unsigned>(x) * step + part % step,
                                                      static_cast<unsigned>(y) * step + part / step));
                    wanted[0] += one[static_cast<std::size_t>(component)] / (step * step);
                }
                // Rounding, and the precision of weights.
                EXPECT_NEAR(sample, std::clamp(wanted[0], 0.0, 255.0), 0.6)
                    << Tell(PixFmt::Yuv420p, spec) << ", component " << component << ", " << x << ", " << y;
            });
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Of, PlanesTest,
    testing::Values("EffectInvert", "EffectFlip horizontal=true vertical=false",
                    "EffectFlip horizontal=false vertical=true", "EffectVideoFadeInFadeOut", "TransitionCrossfade",
                    "TransitionFadeInFadeOut", "TransitionBlinds", "TransitionPush dir=left", "TransitionPush dir=up",
                    "TransitionSlide direction=from-left", "TransitionSlide direction=stretched",
                    "TransitionSlide direction=from-top-right", "TransitionBarnDoor mode=open-vertical",
                    "TransitionBarnDoor mode=close-corners", "TransitionDisintegrate",
                    "TransitionScale type=grow-incoming", "TransitionScale type=shrink-outgoing",
                    "TransitionZoom type=in", "TransitionZoom type=through", "TransitionWipe",
                    "TransitionWipe direction=wedge-from-left", "TransitionCircle", "TransitionCircle sense=closing",
                    "TransitionRadial", "TransitionRadial sense=clockwise", "TransitionKenBurns",
                    "EffectTranspose mode=main-diagonal", "EffectTranspose mode=clockwise",
                    "EffectTranspose mode=counter-clockwise", "EffectTranspose mode=other-diagonal",
                    "EffectBlurGaussian scale=0.02", "EffectBlurGaussian scale=0.1", "EffectBlurGaussian scale=0.6",
                    "EffectZoom zoom=1.3 x=0.2", "EffectZoom zoom=2.7 y=0.9", "EffectPanAndZoom startZoom=1.2 blur=0",
                    "EffectFishEye", "EffectFishEye sign=-1", "Resizer mode=1 width=41 height=50 background=#FF8000",
                    "Resizer mode=1 width=100 height=19"));

}  // namespace
}  // namespace Kaltor::Tests
