// Frames of 16-bit float: every effect gives what it gives in 8 bits, without its steps.
#include <cmath>
#include <set>

#include <fmt/format.h>

#include "Proc/Data/HalfConverter.h"
#include "Proc/Interfaces/ISeeded.h"
#include "Tests/Support/GlFixture.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace Kaltor::Tests {
namespace {

using Proc::AvFramePtr;
using DeepFrame = boost::intrusive_ptr<Proc::DataVideoFF>;

constexpr ColorSpec kRgb{ColorMatrix::Bt709, ColorRange::Full};

DeepFrame ToDeep(Picture const& picture) {
    AvFramePtr const floats = Proc::AllocateAvFrame(picture.hasAlpha ? AV_PIX_FMT_GBRAPF32 : AV_PIX_FMT_GBRPF32,
                                                    static_cast<int>(picture.width), static_cast<int>(picture.height));
    constexpr std::array kPlanes{2, 0, 1, 3};
    for (unsigned y = 0; y < picture.height; ++y) {
        for (std::size_t c = 0; c < (picture.hasAlpha ? 4U : 3U); ++c) {
            auto* const row =
                reinterpret_cast<float*>(floats->data[kPlanes[c]] + std::ptrdiff_t{y} * floats->linesize[kPlanes[c]]);
            for (unsigned x = 0; x < picture.width; ++x) {
                row[x] = static_cast<float>(picture.At(x, y)[c]);
            }
        }
    }
    DeepFrame frame = Proc::DataVideoFF::Create(picture.hasAlpha ? PixFmt::RgbaF16 : PixFmt::RgbF16,
                                                {picture.width, picture.height, 1, 1});
    Proc::HalfConverter().ToHalf(*floats, kRgb, frame->GetWritableFrame());
    return frame;
}

Picture FromDeep(Proc::DataVideoFF const& frame) {
    bool const hasAlpha = frame.GetPixFmt() == PixFmt::RgbaF16;
    AVFrame const& halves = frame.GetFrame();
    AvFramePtr const floats = Proc::AllocateAvFrame(AV_PIX_FMT_GBRAPF32, halves.width, halves.height);
    Proc::HalfConverter().FromHalf(halves, *floats, kRgb);
    return Picture::Make(static_cast<unsigned>(halves.width), static_cast<unsigned>(halves.height), hasAlpha,
                         [&](unsigned x, unsigned y) {
                             auto const at = [&](int plane) {
                                 return reinterpret_cast<float const*>(floats->data[plane] +
                                                                       std::ptrdiff_t{y} * floats->linesize[plane])[x];
                             };
                             return Rgba{at(2), at(0), at(1), hasAlpha ? at(3) : 1.0};
                         });
}

/// Without edges: linear filtering on software GL weights texels of 8 bits by 8 bits, which shows at edges only.
Picture Smooth(bool hasAlpha, double phase) {
    return Picture::Make(64, 36, hasAlpha, [hasAlpha, phase](unsigned x, unsigned y) {
        auto const wave = [&](double across, double down) {
            return 0.5 + 0.35 * std::sin(phase + across * x / 64.0 + down * y / 36.0);
        };
        return Rgba{wave(5.0, 2.0), wave(-3.0, 4.0), wave(2.0, -5.0), hasAlpha ? wave(3.0, 1.0) : 1.0};
    });
}

/// A step of 8 bits, and half a step of rounding where alpha multiplies.
constexpr double kStep = 1.51 / 255.0;
/// The pixels that may differ by more, as a share: an edge or a choice between colours may follow from the last bit.
constexpr double kEdges = 0.01;

/// Effects for which the 8 bits are further off.
struct Deviation {
    std::string_view name;
    double tolerance;
    std::string_view reason;
};
constexpr std::array kDeviations{
    Deviation{"EffectCameraShake", kFiltered, "software GL filters the shaken picture"},
    Deviation{"EffectChromakey", 0.7, "whether a pixel is taken for the key's may hang on the last bit"},
    Deviation{"EffectColorBrush", 4.5 / 255.0, "the lines' slope multiplies what was rounded"},
    Deviation{"EffectFindEdges", 4.5 / 255.0, "the lines' slope multiplies what was rounded"},
    Deviation{"EffectPixelSort", 1.0, "which of two pixels comes first may hang on the last bit"},
    Deviation{"EffectHalftone", 0.2, "the dots' rims multiply what was rounded"},
    Deviation{"EffectMask", kFiltered, "software GL filters its small blur"},
    Deviation{"EffectPanAndZoom", kFiltered, "software GL filters the enlarged picture"},
    Deviation{"EffectRetroArtefacts", kFiltered, "software GL filters the shaken picture"},
    Deviation{"EffectTiltShiftQEL", kFiltered, "software GL filters its small blur"},
    Deviation{"EffectVHS", kFiltered, "software GL filters the tape's lines"},
    Deviation{"EffectZoom", kFiltered, "software GL filters the enlarged picture"},
    Deviation{"TransitionCube", kFiltered, "software GL filters the faces"},
    Deviation{"TransitionFlash", kFiltered, "brightness multiplies what was rounded"},
    Deviation{"TransitionKenBurns", kFiltered, "software GL filters the enlarged pictures"},
    Deviation{"TransitionOrigamiPleats", kFiltered, "a GPU rounds its picture of twice the size once more"},
    Deviation{"TransitionOrigamiValley", kFiltered, "a GPU rounds its picture of twice the size once more"},
    Deviation{"TransitionShatter", kFiltered, "a GPU rounds its picture of twice the size once more"},
    Deviation{"TransitionSlide", kFiltered, "software GL filters the moving pictures"},
};

class DeepEffects : public GlTest, public testing::WithParamInterface<std::string> {
protected:
    std::string const& name = GetParam();

    DeepFrame Draw(Proc::Settings const& settings, DeepFrame const& first, DeepFrame const& second) const {
        bool const hasTwo = name.starts_with("Transition") || name == "EffectImageBlender";
        boost::intrusive_ptr<Proc::IEffect> const effect =
            hasTwo ? boost::intrusive_ptr<Proc::IEffect>(MakeTransition(settings))
                   : boost::intrusive_ptr<Proc::IEffect>(MakeEffect(settings));
        Proc::Seed(*effect, 7);
        effect->SetProgress(Always(0.4));
        first->SetTimestamp(400'000);
        std::vector<boost::intrusive_ptr<Proc::IData>> inputs{first};
        inputs.insert(inputs.end(), hasTwo ? 1 : 0, second);
        return Download(boost::dynamic_pointer_cast<Proc::IDataVideo>(effect->ProcessData(inputs)));
    }
};

TEST_P(DeepEffects, GiveWhatTheyGiveInEightBits) {
    std::unique_ptr<Proc::Settings> const settings = MakeDefaults(name);
    for (bool const hasAlpha : {false, true}) {
        Picture const first = Smooth(hasAlpha, 0.0);
        Picture const second = Smooth(hasAlpha, 2.5);
        Picture const bytes = Premultiply(Picture::FromFrame(*Draw(*settings, first.ToFrame(), second.ToFrame())));
        DeepFrame const drawn = Draw(*settings, ToDeep(first), ToDeep(second));
        EXPECT_TRUE(PixFmtDescription::Find(drawn->GetPixFmt()).IsFloat()) << name;
        Picture deep = FromDeep(*drawn);
        for (Rgba& pixel : deep.pixels) {
            for (double& channel : pixel) {
                channel = std::clamp(channel, 0.0, 1.0);
            }
        }
        deep = Premultiply(deep);
        auto const known = std::find_if(kDeviations.begin(), kDeviations.end(),
                                        [this](Deviation const& one) { return one.name == name; });
        double const tolerance = known == kDeviations.end() ? kStep : known->tolerance;
        std::size_t off = 0;
        ASSERT_EQ(bytes.pixels.size(), deep.pixels.size());
        for (std::size_t i = 0; i < bytes.pixels.size(); ++i) {
            double most = 0.0;
            for (std::size_t c = 0; c < 4; ++c) {
                most = std::max(most, std::abs(bytes.pixels[i][c] - deep.pixels[i][c]));
            }
            off += most > tolerance ? 1 : 0;
        }
        EXPECT_LE(static_cast<double>(off), kEdges * static_cast<double>(bytes.pixels.size()))
            << name << (hasAlpha ? " with alpha: " : ": ") << IsNear(bytes, deep, tolerance).message();
    }
}

std::vector<std::string> ListEffects() {
    std::vector<std::string> names;
    for (std::unique_ptr<Proc::Settings> const& settings : MakeAllSettings()) {
        std::string const& id = settings->GetClassId();
        if (id.starts_with("Effect") || id.starts_with("Transition") || id == "Resizer") {
            names.push_back(id);
        }
    }
    return names;
}

INSTANTIATE_TEST_SUITE_P(All, DeepEffects, testing::ValuesIn(ListEffects()),
                         [](auto const& info) { return info.param; });

using DeepFrames = GlTest;

TEST_F(DeepFrames, KeepTheLevelsOfARampAndWhatIsAboveOne) {
    constexpr unsigned kLevels = 1024;
    auto const ramp = [](double low, double high) {
        return ToDeep(Picture::Make(kLevels, 4, false, [low, high](unsigned x, unsigned) {
            double const value = low + (high - low) * x / (kLevels - 1.0);
            return Rgba{value, value, value, 1.0};
        }));
    };
    auto const count = [](DeepFrame const& frame) {
        Picture const picture = FromDeep(*frame);
        std::set<long> levels;
        for (unsigned x = 0; x < kLevels; ++x) {
            levels.insert(std::lround(picture.At(x, 1)[1] * 4095.0));
        }
        return levels.size();
    };
    auto const effect = [](std::string const& text, DeepFrame const& frame) {
        auto const made = MakeEffect(*Typed(text));
        made->SetProgress(Always(0.5));
        boost::intrusive_ptr<Proc::IDataVideo> data = frame;
        made->Process(data);
        return Download(data);
    };
    boost::intrusive_ptr<Proc::IDataVideo> faded = ramp(0.0, 1.0);
    auto const crossfade = MakeTransition(*Typed("TransitionCrossfade"));
    crossfade->SetProgress(Always(0.5));
    crossfade->Process(faded, ramp(0.1, 0.9));
    EXPECT_GE(count(Download(faded)), 900U);
    EXPECT_GE(count(effect("EffectBlurGaussian scale=0.002", ramp(0.0, 1.0))), 900U);
    EXPECT_GE(count(effect("EffectInvert", ramp(0.0, 1.0))), 900U);

    DeepFrame const bright = effect("EffectFlip", ToDeep(Picture::Flat(8, 8, {3.5, 1.25, 0.5, 1.0})));
    EXPECT_NEAR(FromDeep(*bright).At(3, 3)[0], 3.5, 1e-3);
    EXPECT_NEAR(FromDeep(*bright).At(3, 3)[1], 1.25, 1e-3);
}

TEST(HalfConverterTest, FollowsTheFormulaAndComesBack) {
    for (AVPixelFormat const format :
         {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV420P10LE, AV_PIX_FMT_YUV422P12LE, AV_PIX_FMT_YUV444P16BE, AV_PIX_FMT_P010LE,
          AV_PIX_FMT_YUVA444P10LE, AV_PIX_FMT_GBRP12LE, AV_PIX_FMT_RGB48BE, AV_PIX_FMT_RGBA64LE, AV_PIX_FMT_BGRA,
          AV_PIX_FMT_GRAY10LE, AV_PIX_FMT_NV12, AV_PIX_FMT_GBRAPF32LE}) {
        AVPixFmtDescriptor const& description = *av_pix_fmt_desc_get(format);
        SCOPED_TRACE(description.name);
        ASSERT_TRUE(Proc::HalfConverter::Takes(format));
        bool const isYuv = (description.flags & AV_PIX_FMT_FLAG_RGB) == 0;
        bool const hasAlpha = (description.flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
        bool const isGray = description.nb_components < 3;
        ColorSpec const spec{ColorMatrix::Bt709, ColorRange::Limited};
        // An odd size; the colours change from block to block of chroma.
        constexpr int kSide = 7;
        Picture const wanted = Picture::Make(kSide, kSide, hasAlpha, [&](unsigned x, unsigned y) {
            double const shade = 0.2 + 0.1 * (x / 2) + 0.02 * (y / 2);
            return Rgba{shade, isGray ? shade : 0.3, isGray ? shade : 0.9 - shade, hasAlpha ? 0.1 + 0.1 * x : 1.0};
        });
        Proc::HalfConverter converter;
        AvFramePtr const made = Proc::AllocateAvFrame(format, kSide, kSide);
        converter.FromHalf(ToDeep(wanted)->GetFrame(), *made, spec);
        double const steps = description.comp[0].depth == 32 ? 65535.0 : (1 << description.comp[0].depth) - 1;
        if (isYuv) {
            // The first sample by the formula.
            ColorTransform const t = RgbToYuv(spec, static_cast<unsigned>(description.comp[0].depth));
            Rgba const& c = wanted.At(0, 0);
            double const luma = (t.matrix[0][0] * c[0] + t.matrix[0][1] * c[1] + t.matrix[0][2] * c[2] + t.offset[0]);
            std::uint16_t first = 0;
            av_read_image_line(&first, const_cast<std::uint8_t const**>(made->data), made->linesize, &description, 0, 0,
                               0, 1, 0);
            EXPECT_NEAR(first, luma * steps, 0.51 + steps / 2048.0);
        }
        DeepFrame const back =
            Proc::DataVideoFF::Create(hasAlpha ? PixFmt::RgbaF16 : PixFmt::RgbF16, {kSide, kSide, 1, 1});
        converter.ToHalf(*made, spec, back->GetWritableFrame());
        // Half a step in each of the three, and 11 bits on both ways.
        EXPECT_TRUE(IsNear(FromDeep(*back), wanted, 1.6 / steps + 1.0 / 1024.0));
    }
    EXPECT_FALSE(Proc::HalfConverter::Takes(AV_PIX_FMT_PAL8));
    EXPECT_FALSE(Proc::HalfConverter::Takes(AV_PIX_FMT_X2RGB10LE));
}

}  // namespace
}  // namespace Kaltor::Tests
