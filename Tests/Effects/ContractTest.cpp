// What every registered effect and transition promises, for all of them, by their default settings. What is special to
// one is tested with it; who cannot keep a promise stands in one of the tables below, with the reason.

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <typeinfo>

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "Host/Plugin.h"
#include "Ogl/DataVideoOGL.h"
#include "Proc/Settings/Settings.h"
#include "Tests/Support/GlFixture.h"
#include "Tests/Support/GlTools.h"

namespace Kaltor::Tests {
namespace {

using boost::intrusive_ptr;
using Ogl::DataVideoOGL;
using Proc::IDataVideo;
using Proc::Settings;

struct Exemption {
    std::string_view name;
    std::string_view reason;
};

/// Move frames rather than draw them; tested by themselves.
constexpr std::array kTransfers{Exemption{"FrameUploader", "moves frames to the GPU"},
                                Exemption{"FrameDownloader", "moves frames from the GPU"}};

/// Outputs of another size than the input's.
constexpr std::array kOwnSize{Exemption{"Resizer", "that is what it is for"},
                              Exemption{"EffectTranspose", "width and height change places"}};

/// Outputs with alpha whatever the input is.
constexpr std::array kAlwaysAlpha{Exemption{"EffectOpacity", "alpha is all that it changes"},
                                  Exemption{"EffectChromakey", "makes what was opaque transparent"}};

/// Pictures that the defaults may leave as they are.
constexpr std::array kInvisible{
    Exemption{"Resizer", "a picture of the wanted size passes"},
    Exemption{"EffectMosaic", "its blocks would be smaller than a pixel here"},
    Exemption{"EffectErosion", "its radius is less than half a pixel of so small a picture"}};

/// Transitions that do not begin with exactly the first picture, or do not end with exactly the second; what they show
/// there is still nearer to that one than to the other.
struct LooseEnds {
    std::string_view name;
    bool isLooseAtStart;
    bool isLooseAtEnd;
    std::string_view reason;
};
constexpr std::array kLooseEnds{
    LooseEnds{"TransitionBlur", true, true, "the blur's least radius is not 0"},
    LooseEnds{"TransitionCross", true, false, "the cuts are soft and opaque from the start"},
    LooseEnds{"TransitionCube", true, true, "faces have feathered edges and leave the outermost 0.1 % bare"},
    LooseEnds{"TransitionLens", true, false, "the lens has a rim from the start"},
    LooseEnds{"TransitionShatter", true, true, "drawn at twice the size and made smaller, which softens"},
    LooseEnds{"TransitionOrigamiPleats", true, true, "a picture of twice the size in between softens a little"},
    LooseEnds{"TransitionOrigamiValley", true, true, "a picture of twice the size in between softens a little"},
    LooseEnds{"TransitionSlidingDoor", true, false, "the line through the middle of an odd side opens first"},
    LooseEnds{"TransitionSnake", true, true, "rows are sampled at their lower edge"},
    LooseEnds{"TransitionSpin", false, true, "the spinning picture is opaque with a soft border to the end"},
    LooseEnds{"TransitionSpiral", true, false, "the spiral has a rim from the start"},
};

/// Settings of one-input effects that leave the picture as it is, to the byte.
struct Neutral {
    std::string_view name;
    std::vector<std::pair<std::string_view, std::string_view>> settings;
};
Neutral const kNeutral[] = {
    {"EffectColorMixBurn", {{"strength", "0"}}},
    {"EffectColorMixExchange", {{"color", "#000000"}}},
    {"EffectFlip", {{"horizontal", "false"}}},
    {"EffectOpacity", {{"opacity", "1"}}},
    {"EffectTiltShiftQEL", {{"blur", "0"}, {"saturation", "1"}}},
    {"EffectErosion", {{"size", "0"}}},
    {"EffectGlassMosaic", {{"strength", "0"}, {"bevel", "0"}}},
    {"EffectOilPaint", {{"size", "0"}}},
    {"EffectChromakey", {{"tolerance", "0"}, {"softness", "0"}, {"spill", "0"}}},
    {"EffectVHS", {{"strength", "0"}, {"noise", "0"}, {"tracking", "0"}, {"scanlines", "0"}}},
    {"EffectVertigo", {{"strength", "0"}}},
    {"EffectStripes", {{"fill", "0"}}},
    {"EffectStripes", {{"color", "#FFFFFF00"}}},
    {"EffectMosaic", {{"count", "1000"}}},
    {"EffectDiffuse", {{"size", "0"}}},
    {"EffectMask", {{"blur", "0"}}},
    {"EffectPanAndZoom", {{"endZoom", "1"}}},
    {"EffectZoom", {{"zoom", "1"}}},
    {"EffectFlyingObjects", {{"color", "#FFFFFF00"}}},
    {"EffectAddNoize", {{"strength", "0"}}},
    {"EffectCameraShake", {{"amplitude", "0"}, {"rotation", "0"}}},
    {"EffectRetroArtefacts",
     {{"scratches", "0"}, {"dust", "0"}, {"flicker", "0"}, {"weave", "0"}, {"vignette", "0"}, {"grain", "0"}}},
    {"EffectSharpen", {{"strength", "0"}}},
    {"EffectSubFrame", {{"size", "1"}, {"border", "0"}, {"shadow", "0"}}},
};

/// Effects whose alpha is not the input's.
constexpr std::array kOwnAlpha{
    Exemption{"EffectOpacity", "alpha is all that it changes"},
    Exemption{"EffectVideoFadeInFadeOut", "fades out to nothing"},
    Exemption{"EffectChromakey", "makes the key transparent"},
    Exemption{"EffectSubFrame", "the picture lies over itself, a border and a shadow"},
    Exemption{"EffectFilmStrip", "film is not transparent"},
    Exemption{"EffectFlyingObjects", "objects lie over what is transparent, too"},
};

/// Effects that show colours from under transparent pixels: they filter colour and alpha each for itself.
constexpr std::array<std::string_view, 25> kFilterStraight{
    "EffectFishEye",           "EffectPopArt",           "EffectTwirl",
    "TransitionBarnDoor",      "TransitionBlur",         "TransitionCross",
    "TransitionCube",          "TransitionDisintegrate", "TransitionKenBurns",
    "TransitionLens",          "TransitionOrigamiFlips", "TransitionOrigamiPleats",
    "TransitionOrigamiValley", "TransitionPageturn",     "TransitionPieces",
    "TransitionPush",          "TransitionRippleSmooth", "TransitionRoll",
    "TransitionScale",         "TransitionShatter",      "TransitionSlide",
    "TransitionSnake",         "TransitionSpin",         "TransitionSpiral",
    "TransitionZoom",
};

/// Effects that draw another picture at another size.
constexpr std::array kOfPixels{
    Exemption{"EffectSharpen", "its kernels count pixels"},
    Exemption{"EffectColorBrush", "its brush has bristles by the column of pixels"},
    Exemption{"TransitionWaterbrush", "its brush has bristles by the column of pixels"},
};

template <typename Table>
bool Contains(Table const& table, std::string const& name) {
    return std::any_of(table.begin(), table.end(), [&name](auto const& entry) { return entry.name == name; });
}

/// Settings of a class that no registered effect has.
class ForeignSettings final : public Proc::SettingsOf<ForeignSettings> {
public:
    static inline std::string const CLASS_ID = "Foreign";
    static constexpr std::string_view SUMMARY = "Belongs to no effect.";
    static std::vector<Proc::Field> DeclareFields() { return {}; }
};

/// An effect of one input or of two; a second input is held where it takes one.
class AnyEffect {
public:
    AnyEffect(Proc::IEffectFactory const& factory, std::string const& classId, bool hasTwoInputs) {
        if (hasTwoInputs) {
            two = factory.CreateTwoInputEffect(classId, Proc::ImplNames::OGL);
        } else {
            one = factory.CreateOneInputEffect(classId, Proc::ImplNames::OGL);
        }
    }
    Proc::IEffect& Get() const { return one ? static_cast<Proc::IEffect&>(*one) : *two; }
    void Process(intrusive_ptr<IDataVideo>& data, intrusive_ptr<IDataVideo const> const& second) const {
        one ? one->Process(data) : two->Process(data, second);
    }
    void UpdateFormatCodec(intrusive_ptr<Conf::IFormatCodecVideo>& codec) const {
        one ? one->UpdateFormatCodec(codec) : two->UpdateFormatCodec(codec);
    }

private:
    intrusive_ptr<Proc::IOneInputEffectVideo> one;
    intrusive_ptr<Proc::ITwoInputEffectVideo> two;
};

Proc::TimeToProgress Always(double progress) {
    Proc::TimeToProgress mapping;
    mapping.mapping = [progress](long long const&, long long const&, long long const&) { return progress; };
    return mapping;
}

class EffectContract : public GlTest, public testing::WithParamInterface<std::string> {
protected:
    static std::vector<Host::RegisteredEffect> const& ListRegistered() {
        static std::vector<Host::RegisteredEffect> const registered = Host::MakeRegistry()->List();
        return registered;
    }

    std::string const& name = GetParam();

    bool HasTwoInputs() const {
        auto const found = std::find_if(ListRegistered().begin(), ListRegistered().end(),
                                        [this](auto const& effect) { return effect.classId == name; });
        EXPECT_NE(found, ListRegistered().end()) << name << " has settings but is not registered";
        return found != ListRegistered().end() && found->inputs == 2;
    }
    bool IsTransition() const { return name.rfind("Transition", 0) == 0; }

    AnyEffect Make(unsigned seed = 1) const {
        std::srand(seed);
        AnyEffect effect(*GetFactory(), name, HasTwoInputs());
        effect.Get().SetSettings(*Proc::MakeSettings(name));
        return effect;
    }
    static intrusive_ptr<IDataVideo> ToData(Picture const& picture, double seconds) {
        intrusive_ptr<IDataVideo> data = picture.ToFrame();
        data->SetTimestamp(std::llround(seconds * 1e6));
        data->SetDuration(40000);
        return data;
    }
    /// The frame, queued but not drawn.
    static intrusive_ptr<IDataVideo> Queue(AnyEffect const& effect, Picture const& first, Picture const& second,
                                           Moment const& moment) {
        effect.Get().SetProgress(Always(moment.progress));
        intrusive_ptr<IDataVideo> data = ToData(first, moment.seconds);
        effect.Process(data, ToData(second, moment.seconds));
        return data;
    }
    static Picture Draw(AnyEffect const& effect, Picture const& first, Picture const& second, Moment const& moment) {
        return Picture::FromFrame(*Download(Queue(effect, first, second, moment)));
    }
};

constexpr unsigned kWidth = 48;
constexpr unsigned kHeight = 27;

TEST_P(EffectContract, DrawsAPictureOfEverySizeAtAnyTime) {
    AnyEffect const effect = Make();
    for (auto const& [width, height] :
         {std::pair{kWidth, kHeight}, {kHeight, kWidth}, {1U, 1U}, {1U, 9U}, {9U, 1U}, {33U, 17U}, {2U, 2U}}) {
        for (bool const hasAlpha : {false, true}) {
            bool const isFirst = width == kWidth;
            for (double const progress : isFirst ? std::vector{0.0, 0.5, 1.0, -0.5, 1.5, 0.999} : std::vector{0.4}) {
                SCOPED_TRACE(fmt::format("{}x{}, progress {}, {}", width, height, progress, hasAlpha ? "alpha" : ""));
                Picture const first = Picture::Noise(width, height, hasAlpha, 1);
                Picture const second = Picture::Noise(width, height, hasAlpha, 2);
                intrusive_ptr<IDataVideo> const drawn =
                    Queue(effect, first, second, {.progress = progress, .seconds = progress});
                EXPECT_EQ(drawn->GetDuration(), 40000);
                EXPECT_EQ(drawn->GetTimestamp(), std::llround(progress * 1e6));
                EXPECT_EQ(drawn->GetPixFmt(), hasAlpha || Contains(kAlwaysAlpha, name) ? PixFmt::Rgba : PixFmt::Rgb24);
                intrusive_ptr<Proc::DataVideoFF> const downloaded = Download(drawn);
                if (!Contains(kOwnSize, name)) {
                    EXPECT_EQ(downloaded->GetFrameInfo(), (Conf::FrameInfo{width, height, 1, 1}));
                }
            }
        }
    }
}

TEST_P(EffectContract, TellsTheFormatItWillProduce) {
    AnyEffect const effect = Make();
    for (PixFmt const format : {PixFmt::Rgb24, PixFmt::Rgba, PixFmt::Bgra, PixFmt::Yuv420p, PixFmt::Gray8}) {
        intrusive_ptr<Conf::IFormatCodecVideo> codec = Conf::MakeFormatCodecVideo(format, {kWidth, kHeight, 1, 1});
        effect.UpdateFormatCodec(codec);
        intrusive_ptr<IDataVideo> data = Proc::DataVideoFF::Create(format, {kWidth, kHeight, 1, 1});
        effect.Process(data, data);
        EXPECT_EQ(data->GetPixFmt(), codec->GetPixFmt());
        EXPECT_EQ(data->GetFrameInfo().width, codec->GetFrameInfo().width);
        EXPECT_EQ(data->GetFrameInfo().height, codec->GetFrameInfo().height);
        EXPECT_NO_THROW(Download(data));
    }
}

TEST_P(EffectContract, IsTheSameForTheSameInput) {
    // Large enough for all of software GL's roads, some of which it takes from the second frame on.
    Picture const first = Picture::Noise(6 * kWidth, 6 * kHeight, true, 1);
    Picture const second = Picture::Noise(6 * kWidth, 6 * kHeight, true, 2);
    std::array<Moment, 3> const moments{{{0.2, 0.2}, {0.6, 0.6}, {0.6, 0.6}}};
    auto const draw = [&](bool isAllQueuedFirst) {
        AnyEffect const effect = Make(7);
        std::vector<Picture> pictures;
        std::vector<intrusive_ptr<IDataVideo>> queued;
        for (Moment const& moment : moments) {
            queued.push_back(Queue(effect, first, second, moment));
            if (!isAllQueuedFirst) {
                pictures.push_back(Picture::FromFrame(*Download(queued.back())));
            }
        }
        for (std::size_t i = pictures.size(); i < queued.size(); ++i) {
            pictures.push_back(Picture::FromFrame(*Download(queued[i])));
        }
        return pictures;
    };
    std::vector<Picture> const once = draw(false);
    std::vector<Picture> const again = draw(false);
    std::vector<Picture> const inFlight = draw(true);
    // Software GL filters moved pictures in one of two ways, a little apart, as its threads have it.
    bool const isSoftware = Ogl::OglManager::GetInstance().GetInfo().isSoftware;
    double const tolerance = isSoftware ? kFiltered : 0.0;
    for (std::size_t i = 0; i < once.size(); ++i) {
        EXPECT_TRUE(IsNear(again[i], once[i], tolerance)) << "frame " << i << ", drawn again";
        EXPECT_TRUE(IsNear(inFlight[i], once[i], tolerance)) << "frame " << i << ", with all frames queued before";
    }
}

TEST_P(EffectContract, LeavesNothingBehind) {
    Picture const first = Picture::Noise(kWidth, kHeight, false, 1);
    Picture const second = Picture::Noise(kWidth, kHeight, false, 2);
    auto const drawThrice = [&](AnyEffect const& effect) {
        for (double const at : {0.1, 0.5, 0.9}) {
            Draw(effect, first, second, {at, at});
        }
    };
    drawThrice(Make());  // programs stay for good
    Draw(Make(), first, second, {0.3, 0.3});
    Ogl::GlObjectCounts const before = CountObjectsInUse();
    {
        AnyEffect const effect = Make();
        drawThrice(effect);
        effect.Get().Reset();
        Draw(effect, first, second, {0.3, 0.3});
        Queue(effect, first, second, {0.3, 0.3});  // never drawn
        intrusive_ptr<IDataVideo> const last = Queue(effect, first, second, {0.3, 0.3});
        effect.Get().Reset();  // with a frame queued
        dynamic_cast<DataVideoOGL&>(*last).Execute();
    }
    EXPECT_EQ(CountObjectsInUse(), before) << "GL objects: textures, buffers, framebuffers, renderbuffers, programs";
    GlState state;
    OnGl([&state](Ogl::ShaderStorage const&) { state = QueryGlState(); });
    EXPECT_EQ(state, GetInitialGlState());
}

TEST_P(EffectContract, MakesNoGlObjectInSteadyState) {
    Picture const first = Picture::Noise(kWidth, kHeight, false, 1);
    Picture const second = Picture::Noise(kWidth, kHeight, false, 2);
    {
        // Variants of programs are made as they come up, each once; there must be an end of them.
        AnyEffect const warming = Make();
        for (int i = 0; i <= 40; ++i) {
            Draw(warming, first, second, {i / 40.0, i / 40.0});
        }
    }
    AnyEffect const effect = Make();
    constexpr double kStep = 0.101;
    std::optional<Ogl::GlObjectCounts> settled;
    for (int frame = 1; frame <= 6; ++frame) {
        Draw(effect, first, second, {kStep * frame, kStep * frame});
        constexpr int kWarm = 2;
        if (frame == kWarm) {
            settled = Ogl::OglManager::GetInstance().GetObjectCounts();
        }
    }
    EXPECT_EQ(Ogl::OglManager::GetInstance().GetObjectCounts().made, settled->made);
}

TEST_P(EffectContract, RefusesSettingsOfAnotherClassAndKeepsItsOwn) {
    Picture const first = Picture::Noise(kWidth, kHeight, false, 1);
    Picture const second = Picture::Noise(kWidth, kHeight, false, 2);
    auto const draw = [&](bool isDisturbed) {
        AnyEffect const effect = Make(3);
        std::unique_ptr<Settings> changed = Proc::MakeSettings(name);
        for (Proc::Field const& field : changed->GetFields()) {
            if (field.type == Proc::FieldType::Real) {
                field.set(*changed, field.minimum + (field.maximum - field.minimum) * 0.25);
            }
        }
        effect.Get().SetSettings(*changed);
        if (isDisturbed) {
            EXPECT_THROW(effect.Get().SetSettings(ForeignSettings()), std::bad_cast);
        }
        return Draw(effect, first, second, {0.3, 0.3});
    };
    Picture const kept = draw(false);
    EXPECT_TRUE(IsNear(draw(true), kept, kFiltered));
}

TEST_P(EffectContract, IsSeenByItsDefaults) {
    if (Contains(kInvisible, name)) {
        GTEST_SKIP() << std::find_if(kInvisible.begin(), kInvisible.end(), [&](Exemption const& e) {
                            return e.name == name;
                        })->reason;
    }
    Picture const first = Picture::Noise(kWidth, kHeight, false, 1);
    Picture const second = Picture::Noise(kWidth, kHeight, false, 2);
    AnyEffect const effect = Make();
    bool isSeen = false;
    for (double const at : {0.5, 0.0, 0.25, 0.75, 1.0}) {
        Picture const drawn = Draw(effect, first, second, {at, at});
        isSeen = isSeen || (!IsNear(drawn, first, kFiltered) && (!IsTransition() || !IsNear(drawn, second, kFiltered)));
    }
    EXPECT_TRUE(isSeen) << "the result is the input at every progress that was tried";
}

TEST_P(EffectContract, NeutralSettingsGiveTheInputToTheByte) {
    for (Neutral const& neutral : kNeutral) {
        if (neutral.name != name) {
            continue;
        }
        std::unique_ptr<Settings> const settings = Proc::MakeSettings(name);
        for (auto const& [key, value] : neutral.settings) {
            settings->Set(key, value);
        }
        AnyEffect const effect = Make();
        effect.Get().SetSettings(*settings);
        for (auto const& [width, height] : {std::pair{kWidth, kHeight}, {kHeight, kWidth}, {1U, 9U}}) {
            for (bool const hasAlpha : {false, true}) {
                Picture const input = Picture::Noise(width, height, hasAlpha, 1);
                EXPECT_TRUE(IsNear(Draw(effect, input, input, {0.3, 0.7}), input, 0.0)) << width << "x" << height;
            }
        }
    }
}

TEST_P(EffectContract, KeepsAlpha) {
    if (IsTransition() || Contains(kOwnAlpha, name)) {
        GTEST_SKIP() << "has its own";
    }
    constexpr double kAlpha = 102.0 / 255.0;
    Picture input = Picture::Noise(kWidth, kHeight, true, 1);
    for (Rgba& pixel : input.pixels) {
        pixel[3] = kAlpha;
    }
    for (double const at : {0.3, 0.8}) {
        Picture const drawn = Draw(Make(), input, input, {at, at});
        for (std::size_t i = 0; i < drawn.pixels.size(); ++i) {
            ASSERT_NEAR(drawn.pixels[i][3], kAlpha, kUnfiltered) << "pixel " << i << " at " << at;
        }
    }
}

TEST_P(EffectContract, ShowsNothingOfTransparentPixels) {
    if (std::find(kFilterStraight.begin(), kFilterStraight.end(), name) != kFilterStraight.end()) {
        GTEST_SKIP() << "shows them";
    }
    // Islands of grey in a sea of nothing, whose colour is seen nowhere.
    auto const draw = [this](Rgba const& hidden, double at) {
        Picture const input = Picture::Make(kWidth, kHeight, true, [&hidden](unsigned x, unsigned y) {
            return (x / 7 + y / 5) % 2 == 0 ? Rgba{0.5, 0.5, 0.5, 1.0} : hidden;
        });
        return Premultiply(Draw(Make(), input, input, {at, at}));
    };
    for (double const at : {0.3, 0.8}) {
        EXPECT_TRUE(IsNear(draw({1.0, 0.0, 0.0, 0.0}, at), draw({0.5, 0.5, 0.5, 0.0}, at), kFiltered)) << "at " << at;
    }
}

TEST_P(EffectContract, DrawsYuvAsRgb) {
    if (HasTwoInputs()) {
        GTEST_SKIP() << "transitions have a test of their own";
    }
    // Black and white squares, which come out of the conversion exactly.
    constexpr unsigned kSide = 24;
    auto const isWhite = [](unsigned x, unsigned y) { return (x / 4 + y / 4) % 2 == 0; };
    Picture const rgb = Picture::Make(kSide, kSide, false, [&isWhite](unsigned x, unsigned y) {
        double const level = isWhite(x, y) ? 1.0 : 0.0;
        return Rgba{level, level, level, 1.0};
    });
    ScopedStrategy const strategy(kGpuStrategy);  // which leaves conversion to those who draw
    auto const draw = [&](Settings const& settings, bool isYuv) {
        intrusive_ptr<Proc::DataVideoFF> const yuv = Proc::DataVideoFF::Create(PixFmt::Yuv420p, {kSide, kSide, 1, 1});
        AVFrame& samples = yuv->GetWritableFrame();
        for (unsigned y = 0; y < kSide; ++y) {
            for (unsigned x = 0; x < kSide; ++x) {
                samples.data[0][std::ptrdiff_t{samples.linesize[0]} * y + x] = isWhite(x, y) ? 235 : 16;
            }
            for (int const plane : {1, 2}) {
                std::fill_n(samples.data[plane] + std::ptrdiff_t{samples.linesize[plane]} * (y / 2), kSide / 2,
                            std::uint8_t{128});
            }
        }
        intrusive_ptr<IDataVideo> data = isYuv ? yuv : rgb.ToFrame();
        data->SetTimestamp(700000);
        AnyEffect const effect = Make();
        effect.Get().SetSettings(settings);
        effect.Get().SetProgress(Always(0.3));
        effect.Process(data, nullptr);
        return Picture::FromFrame(*Download(data));
    };
    std::unique_ptr<Settings> const settings = Proc::MakeSettings(name);
    EXPECT_TRUE(IsNear(draw(*settings, true), draw(*settings, false), kFiltered));
    for (Proc::Field const& field : settings->GetFields()) {
        for (Proc::FieldLabel const& choice : field.labels) {
            std::unique_ptr<Settings> const chosen = settings->Clone();
            field.set(*chosen, choice.value);
            EXPECT_TRUE(IsNear(draw(*chosen, true), draw(*chosen, false), kFiltered)) << field.key << choice.label;
        }
    }
}

/// Halves both sides by the mean of 2 x 2 pixels.
Picture Halve(Picture const& picture) {
    return Picture::Make(picture.width / 2, picture.height / 2, false, [&picture](unsigned x, unsigned y) {
        Rgba mean{};
        for (std::size_t c = 0; c < 4; ++c) {
            mean[c] = 0.25 * (picture.At(2 * x, 2 * y)[c] + picture.At(2 * x + 1, 2 * y)[c] +
                              picture.At(2 * x, 2 * y + 1)[c] + picture.At(2 * x + 1, 2 * y + 1)[c]);
        }
        return mean;
    });
}

/// The mean square of the difference of all channels.
double GetDistance(Picture const& a, Picture const& b) {
    double sum = 0.0;
    for (std::size_t i = 0; i < a.pixels.size(); ++i) {
        for (std::size_t c = 0; c < 3; ++c) {
            sum += std::pow(a.pixels[i][c] - b.pixels[i][c], 2.0);
        }
    }
    return sum / static_cast<double>(3 * a.pixels.size());
}

TEST_P(EffectContract, LooksTheSameAtEverySize) {
    if (Contains(kOfPixels, name) || Contains(kOwnSize, name)) {
        GTEST_SKIP() << "counts pixels";
    }
    constexpr unsigned kLines = 320;
    constexpr unsigned kColumns = 568;
    // Waves and discs, about as sharp as a photograph.
    auto const make = [](unsigned width, unsigned height, double shift) {
        return Picture::Make(width, height, false, [&](unsigned px, unsigned py) {
            double const x = (px + 0.5) / height;
            double const y = (py + 0.5) / height;
            double const disc = std::hypot(std::remainder(x + shift, 0.4), std::remainder(y, 0.4)) - 0.12;
            double const edge = 0.5 + 0.5 * std::clamp(disc * 80.0, -1.0, 1.0);
            return Rgba{0.5 + 0.4 * std::sin(7.0 * x + 3.0 * y + shift), 0.2 + 0.6 * edge,
                        0.5 + 0.4 * std::cos(5.0 * y - 4.0 * x * shift)};
        });
    };
    auto const draw = [&](unsigned scale, double at) {
        return Draw(Make(), make(scale * kColumns, scale * kLines, 0.0), make(scale * kColumns, scale * kLines, 1.3),
                    {at, at});
    };
    for (double const at : {0.35, 0.7}) {
        double const rms = std::sqrt(GetDistance(Halve(draw(2, at)), draw(1, at)));
        EXPECT_LT(255.0 * rms, 6.0) << "at " << at;
    }
}

TEST_P(EffectContract, ATransitionGoesFromTheFirstPictureToTheSecond) {
    if (!IsTransition()) {
        GTEST_SKIP() << "no transition";
    }
    auto const* const loose =
        std::find_if(kLooseEnds.begin(), kLooseEnds.end(), [this](LooseEnds const& ends) { return ends.name == name; });
    bool const isListed = loose != kLooseEnds.end();
    for (auto const& [width, height] : {std::pair{kWidth, kHeight}, {kHeight, kWidth}, {33U, 33U}}) {
        for (bool const hasAlpha : {false, true}) {
            Picture const first = Picture::Noise(width, height, hasAlpha, 1);
            Picture const second = Picture::Noise(width, height, hasAlpha, 2);
            AnyEffect const effect = Make();
            std::string const what = fmt::format("{}x{}{}", width, height, hasAlpha ? " with alpha" : "");
            auto const check = [&](double progress, Picture const& wanted, Picture const& other, bool isLoose) {
                Picture const drawn = Draw(effect, first, second, {progress, progress});
                if (isLoose) {
                    EXPECT_LT(GetDistance(drawn, wanted), GetDistance(drawn, other)) << what << " at " << progress;
                } else {
                    EXPECT_TRUE(IsNear(drawn, wanted, kUnfiltered)) << what << " at " << progress;
                }
            };
            check(0.0, first, second, isListed && loose->isLooseAtStart);
            check(1.0, second, first, isListed && loose->isLooseAtEnd);
        }
    }
}

std::vector<std::string> ListDrawn() {
    std::vector<std::string> names;
    for (std::unique_ptr<Settings> const& settings : Proc::MakeAllSettings()) {
        if (!Contains(kTransfers, settings->GetClassId())) {
            names.push_back(settings->GetClassId());
        }
    }
    return names;
}

INSTANTIATE_TEST_SUITE_P(All, EffectContract, testing::ValuesIn(ListDrawn()),
                         [](testing::TestParamInfo<std::string> const& info) { return info.param; });

using ContractTables = GlTest;

TEST_F(ContractTables, MissNoRegisteredEffect) {
    std::vector<std::string> const drawn = ListDrawn();
    for (Host::RegisteredEffect const& effect : Host::MakeRegistry()->List()) {
        if (effect.implName == Proc::ImplNames::OGL && !Contains(kTransfers, effect.classId)) {
            EXPECT_THAT(drawn, testing::Contains(effect.classId));
        }
    }
    for (LooseEnds const& ends : kLooseEnds) {
        EXPECT_TRUE(ends.isLooseAtStart || ends.isLooseAtEnd) << ends.name;
        EXPECT_FALSE(ends.reason.empty()) << ends.name;
    }
}

}  // namespace
}  // namespace Kaltor::Tests
