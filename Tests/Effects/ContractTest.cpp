// What every registered effect and transition promises, for all of them, by their default settings. Special features
// are tested with their effect. Effects that cannot keep a promise are in the tables below, with the reason.

#include <ctime>

#include "Host/Plugin.h"
#include "Ogl/DataVideoOGL.h"
#include "Proc/Interfaces/ISeeded.h"
#include "Proc/Settings/Settings.h"
#include "Tests/Support/FrameSamples.h"
#include "Tests/Support/GlFixture.h"
#include "Tests/Support/GlTools.h"

namespace Kaltor::Tests {
namespace {

using Ogl::DataVideoOGL;
using Proc::IDataVideo;
using Proc::Settings;

struct Exemption {
    std::string_view name;
    std::string_view reason = {};
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

/// More than one way to leave the picture as it is, to the byte; the first is what the settings class declares.
constexpr std::array kAlsoNeutral{
    "EffectStripes color=#FFFFFF00",
    "EffectMosaic count=27",
    "EffectMosaic count=27 shape=hexagon",
};

/// Effects whose alpha is not the input's.
constexpr std::array kOwnAlpha{
    Exemption{"EffectOpacity", "alpha is all that it changes"},
    Exemption{"EffectVideoFadeInFadeOut", "fades out to nothing"},
    Exemption{"EffectChromakey", "makes the key transparent"},
    Exemption{"EffectSubFrame", "the picture lies over itself, a border and a shadow"},
    Exemption{"EffectFilmStrip", "film is not transparent"},
    Exemption{"EffectFlyingObjects", "objects lie over what is transparent, too"},
    Exemption{"EffectLetterbox", "bars lie over what is transparent, too"},
};

/// Effects that show colours from under transparent pixels: they filter colour and alpha separately.
constexpr std::array<Exemption, 25> kFilterStraight{{
    {"EffectFishEye"},           {"EffectPopArt"},           {"EffectTwirl"},
    {"TransitionBarnDoor"},      {"TransitionBlur"},         {"TransitionCross"},
    {"TransitionCube"},          {"TransitionDisintegrate"}, {"TransitionKenBurns"},
    {"TransitionLens"},          {"TransitionOrigamiFlips"}, {"TransitionOrigamiPleats"},
    {"TransitionOrigamiValley"}, {"TransitionPageturn"},     {"TransitionPieces"},
    {"TransitionPush"},          {"TransitionRippleSmooth"}, {"TransitionRoll"},
    {"TransitionScale"},         {"TransitionShatter"},      {"TransitionSlide"},
    {"TransitionSnake"},         {"TransitionSpin"},         {"TransitionSpiral"},
    {"TransitionZoom"},
}};

constexpr std::array kTwoInputs{Exemption{"EffectImageBlender", "takes the base's"}};

/// What some fields need to be seen in a small picture.
std::vector<std::string> const kContexts{"EffectZoom zoom=0.5 fill=color",
                                         "EffectErosion size=0.05",
                                         "EffectStripes blend=displace",
                                         "EffectFlyingObjects speed=5 size=0.3",
                                         "EffectMosaic count=5",
                                         "EffectMask action=1",
                                         "EffectPanAndZoom startZoom=3",
                                         "EffectSubFrame background=1",
                                         "EffectPanAndZoom startZoom=0.4 endZoom=0.5",
                                         "EffectMirror axis=kaleidoscope",
                                         "TransitionPixels type=1",
                                         "TransitionRipple freq=2 width=0.6",
                                         "EffectLensBlur radius=0.08 focus=0.3",
                                         "EffectLensBlur radius=0.1 boost=1",
                                         "EffectGlitch frequency=1 amount=1 blocks=1",
                                         "EffectGrade contrast=2",
                                         "EffectHalftone size=0.05",
                                         "EffectEdgeGlow width=0.01 threshold=0",
                                         "EffectTransform scale=0.5 shadow=1 shadowDistance=0.1 color=#FFFFFF",
                                         "EffectZoomBlur strength=1"};

/// Fields that act differently on the next frame than on the first one.
constexpr std::array kNotAtOnce{Exemption{"TransitionShatter num", "draws anew for another number"}};

/// Settings of transitions that do not begin or end with a whole picture.
std::array const kNoEnds{Exemption{"TransitionSlide direction=none"}, Exemption{"TransitionSlide direction=stretched"},
                         Exemption{"TransitionOrigamiFlips num=1", "one strip alone only dips"},
                         Exemption{"TransitionSpin mode=out", "opaque from the start"},
                         Exemption{"TransitionWaterbrush type=plain angle=30 size=12 rough=50", "is never done"}};

/// What draws random numbers, by settings that show it.
constexpr std::array kRandom{"EffectCameraShake",       "EffectFlyingObjects", "TransitionMatrix", "TransitionMosaic",
                             "TransitionPixels type=1", "TransitionPuzzle",    "TransitionShatter"};

/// Effects that draw another picture at another size.
constexpr std::array kOfPixels{
    Exemption{"EffectSharpen", "its kernels count pixels"},
    Exemption{"EffectColorBrush", "its bristles are finer than pixels"},
    Exemption{"TransitionWaterbrush", "its brush has bristles by the column of pixels"},
    Exemption{"EffectHalftone", "its dots are as sharp as pixels allow"},
    Exemption{"TransitionGlitch", "its lines are about as fine as the pixels here"},
    Exemption{"TransitionTvSwitch", "its snow is about as fine as the pixels here"},
};

template <typename Table>
bool Contains(Table const& table, std::string const& name) {
    return std::any_of(table.begin(), table.end(), [&name](auto const& entry) { return entry.name == name; });
}

constexpr unsigned kWidth = 48;
constexpr unsigned kHeight = 27;

/// Settings of a class that no registered effect has.
class ForeignSettings final : public Proc::SettingsOf<ForeignSettings> {
public:
    static inline std::string const CLASS_ID = "Foreign";
    static constexpr std::string_view SUMMARY = "Belongs to no effect.";
    static std::vector<Proc::Field> DeclareFields() { return {}; }
};

using Effect = intrusive_ptr<Proc::IEffect>;

class EffectContract : public GlTest, public testing::WithParamInterface<std::string> {
protected:
    std::string const& name = GetParam();
    bool const isTransition = name.rfind("Transition", 0) == 0;
    bool const hasTwoInputs = isTransition || Contains(kTwoInputs, name);
    Picture const first = Picture::Noise(kWidth, kHeight, false, 1);
    Picture const second = Picture::Noise(kWidth, kHeight, false, 2);

    Effect Make(Settings const& settings) const {
        Effect const effect = hasTwoInputs ? Effect(MakeTransition(settings)) : Effect(MakeEffect(settings));
        Proc::Seed(*effect, 7);
        return effect;
    }
    Effect Make() const { return Make(*MakeDefaults(name)); }
    intrusive_ptr<IDataVideo> Process(Effect const& effect, intrusive_ptr<IDataVideo> const& from,
                                      intrusive_ptr<IDataVideo> const& to) const {
        std::vector<intrusive_ptr<Proc::IData>> inputs{from};
        inputs.insert(inputs.end(), hasTwoInputs ? 1 : 0, to);
        return boost::dynamic_pointer_cast<IDataVideo>(effect->ProcessData(inputs));
    }
    /// The frame, queued but not drawn.
    intrusive_ptr<IDataVideo> Queue(Effect const& effect, Picture const& from, Picture const& to, double at) const {
        effect->SetProgress(Always(at));
        intrusive_ptr<IDataVideo> const data = from.ToFrame();
        data->SetTimestamp(std::llround(at * 1e6));
        data->SetDuration(40000);
        return Process(effect, data, to.ToFrame());
    }
    intrusive_ptr<IDataVideo> Queue(Effect const& effect, double at) const { return Queue(effect, first, second, at); }
    Picture Draw(Effect const& effect, Picture const& from, Picture const& to, double at) const {
        return Picture::FromFrame(*Download(Queue(effect, from, to, at)));
    }
    Picture Draw(Effect const& effect, double at) const { return Draw(effect, first, second, at); }
};

/// All settings of a field that are tested: all choices, both states, four numbers of its range.
std::vector<std::unique_ptr<Settings>> MakeVariants(Settings const& base, Proc::Field const& field) {
    std::vector<std::unique_ptr<Settings>> variants;
    auto const add = [&](Proc::FieldValue const& value) {
        variants.push_back(base.Clone());
        field.set(*variants.back(), value);
    };
    std::visit(
        [&]<typename T>(T const& held) {
            if constexpr (std::is_same_v<T, bool>) {
                add(!held);
            } else if constexpr (std::is_same_v<T, Proc::Color>) {
                add(Proc::Color{static_cast<std::uint8_t>(held.red ^ 0x80U), 99, 200, 255});
            } else if constexpr (std::is_same_v<T, Proc::Reals8>) {
                add(Proc::Reals8{0.5, 0, 1, 0, 1, 0, 0.5, 0});
            } else if constexpr (std::is_arithmetic_v<T>) {
                for (Proc::FieldLabel const& choice : field.labels) {
                    add(static_cast<T>(choice.value));
                }
                for (double const share :
                     field.labels.empty() ? std::vector{0.0, 0.31, 0.62, 1.0} : std::vector<double>{}) {
                    add(static_cast<T>(field.minimum + share * std::min(field.maximum - field.minimum, 60.0)));
                }
            }
        },
        field.get(base));
    return variants;
}

TEST_P(EffectContract, DrawsAPictureOfEverySizeAtAnyTime) {
    Effect const effect = Make();
    for (auto const& [width, height] :
         {std::pair{kWidth, kHeight}, {kHeight, kWidth}, {1U, 1U}, {1U, 9U}, {9U, 1U}, {33U, 17U}, {2U, 2U}}) {
        for (bool const hasAlpha : {false, true}) {
            bool const isFirst = width == kWidth;
            for (double const progress : isFirst ? std::vector{0.0, 0.5, 1.0, -0.5, 1.5, 0.999} : std::vector{0.4}) {
                SCOPED_TRACE(fmt::format("{}x{}, progress {}, {}", width, height, progress, hasAlpha ? "alpha" : ""));
                intrusive_ptr<IDataVideo> const drawn = Queue(effect, Picture::Noise(width, height, hasAlpha, 1),
                                                              Picture::Noise(width, height, hasAlpha, 2), progress);
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
    for (PixFmt const format : {PixFmt::Rgb24, PixFmt::Rgba, PixFmt::Bgra, PixFmt::Yuv420p, PixFmt::Gray8}) {
        Effect const effect = Make();
        intrusive_ptr<Conf::IFormatCodecVideo> codec = Conf::MakeFormatCodecVideo(format, {kWidth, kHeight, 1, 1});
        hasTwoInputs ? dynamic_cast<Proc::ITwoInputEffectVideo&>(*effect).UpdateFormatCodec(codec)
                     : dynamic_cast<Proc::IOneInputEffectVideo&>(*effect).UpdateFormatCodec(codec);
        intrusive_ptr<IDataVideo> const input = Proc::DataVideoFF::Create(format, {kWidth, kHeight, 1, 1});
        intrusive_ptr<IDataVideo> const drawn = Process(effect, input, input);
        EXPECT_EQ(drawn->GetPixFmt(), codec->GetPixFmt());
        EXPECT_EQ(drawn->GetFrameInfo().width, codec->GetFrameInfo().width);
        EXPECT_EQ(drawn->GetFrameInfo().height, codec->GetFrameInfo().height);
        EXPECT_NO_THROW(Download(drawn));
    }
}

TEST_P(EffectContract, IsTheSameForTheSameInputInAnyOrder) {
    // Large enough for all code paths of software GL, some of which it uses from the second frame on.
    Picture const large = Picture::Noise(6 * kWidth, 6 * kHeight, true, 1);
    Picture const other = Picture::Noise(6 * kWidth, 6 * kHeight, true, 2);
    auto const draw = [&](bool isAllQueuedFirst) {
        Effect const effect = Make();
        std::vector<Picture> pictures;
        std::vector<intrusive_ptr<IDataVideo>> queued;
        for (double const at : {0.6, 0.2, 0.6}) {
            queued.push_back(Queue(effect, large, other, at));
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
    // Software GL filters moved pictures in one of two ways, a little apart, and takes the other one for the very first
    // frame of a process.
    bool const isSoftware = Ogl::OglManager::GetInstance().GetInfo().isSoftware;
    double const tolerance = isSoftware ? kFiltered : 0.0;
    for (std::size_t i = 0; i < once.size(); ++i) {
        EXPECT_TRUE(IsNear(again[i], once[i], tolerance)) << "frame " << i << ", drawn again";
        EXPECT_TRUE(IsNear(inFlight[i], once[i], tolerance)) << "frame " << i << ", with all frames queued before";
    }
    EXPECT_TRUE(IsNear(once[2], once[0], tolerance)) << "after an earlier moment";
}

TEST_P(EffectContract, TheSameSeedGivesTheSameFrames) {
    auto const* const known = std::find_if(kRandom.begin(), kRandom.end(), [this](std::string_view settings) {
        return settings.substr(0, settings.find(' ')) == name;
    });
    bool const isRandom = MakeDefaults(name)->IsRandom();
    ASSERT_EQ(isRandom, known != kRandom.end()) << "as the settings class declares";
    std::unique_ptr<Settings> const settings = Typed(isRandom ? *known : name);
    Picture const from = Picture::Noise(4 * kWidth, 4 * kHeight, true, 1);
    Picture const to = Picture::Noise(4 * kWidth, 4 * kHeight, true, 2);
    auto const make = [&](std::uint32_t seed) {
        Effect const effect = Make(*settings);
        Proc::Seed(*effect, seed);
        return effect;
    };
    Effect const effect = make(5);
    Picture const early = Draw(effect, from, to, 0.3);
    Picture const late = Draw(effect, from, to, 0.6);
    EXPECT_TRUE(IsNear(Draw(effect, from, to, 0.3), early, 0)) << "after a later frame";
    effect->Reset();
    EXPECT_TRUE(IsNear(Draw(effect, from, to, 0.6), late, 0)) << "from the middle, after a reset";
    std::thread([&] {
        Draw(Make(*settings), from, to, 0.5);
        std::rand();
        EXPECT_TRUE(IsNear(Draw(make(5), from, to, 0.6), late, 0)) << "from the middle, after others, on a thread";
    }).join();
    Effect const other = make(6);
    EXPECT_EQ(!IsNear(Draw(other, from, to, 0.6), late, 0), isRandom) << "with another seed";
    Proc::Seed(*other, 5);
    EXPECT_TRUE(IsNear(Draw(other, from, to, 0.6), late, 0)) << "seeded anew, with a cache of the other seed";
}

TEST_P(EffectContract, DependsOnProgressIfItDeclaresSo) {
    Effect const effect = Make();
    auto const draw = [&](double progress) {
        effect->SetProgress(Always(progress));
        intrusive_ptr<IDataVideo> const data = first.ToFrame();
        return Picture::FromFrame(*Download(Process(effect, data, second.ToFrame())));
    };
    draw(0.4);  // the very first frame of a process may be rounded differently
    EXPECT_EQ(!IsNear(draw(0.3), draw(0.6), 0), MakeDefaults(name)->RunsOnProgress());
}

TEST_P(EffectContract, DrawsAtAnyProgressAndTime) {
    using Limits = std::numeric_limits<double>;
    auto const check = [this](Settings const& settings) {
        Effect const effect = Make(settings);
        Draw(effect, 0.3);  // programs are made
        for (double const progress : {Limits::quiet_NaN(), Limits::infinity(), -Limits::infinity(), -1e9, 1e9, 3.6e4}) {
            effect->SetProgress(Always(progress));
            for (std::int64_t const time : {std::int64_t{0}, std::int64_t{9} << 59U, -(std::int64_t{9} << 59U)}) {
                intrusive_ptr<IDataVideo> const data = first.ToFrame();
                data->SetTimestamp(time);
                std::clock_t const start = std::clock();
                EXPECT_NO_THROW(Download(Process(effect, data, second.ToFrame())))
                    << Describe(settings) << " at progress " << progress << ", time " << time;
                EXPECT_LT((std::clock() - start) / CLOCKS_PER_SEC, 10)  // of the processor
                    << Describe(settings) << " at progress " << progress << ", time " << time;
            }
        }
        EXPECT_TRUE(IsNear(Draw(effect, 0.3), Draw(Make(settings), 0.3), kUnfiltered))
            << Describe(settings) << ": what was kept was spoilt";
    };
    std::unique_ptr<Settings> const settings = MakeDefaults(name);
    check(*settings);
    for (Proc::Field const& field : settings->GetFields()) {
        for (std::unique_ptr<Settings> const& chosen :
             field.labels.empty() ? std::vector<std::unique_ptr<Settings>>() : MakeVariants(*settings, field)) {
            check(*chosen);
        }
    }
}

TEST_P(EffectContract, LeavesNothingBehind) {
    auto const drawThrice = [this](Effect const& effect) {
        for (double const at : {0.1, 0.5, 0.9}) {
            Draw(effect, at);
        }
    };
    drawThrice(Make());  // programs stay for good
    Draw(Make(), 0.3);
    Ogl::GlObjectCounts const before = CountObjectsInUse();
    {
        Effect const effect = Make();
        drawThrice(effect);
        effect->Reset();
        Draw(effect, 0.3);
        Queue(effect, 0.3);  // never drawn
        intrusive_ptr<IDataVideo> const last = Queue(effect, 0.3);
        effect->Reset();  // with a frame queued
        dynamic_cast<DataVideoOGL&>(*last).Execute();
    }
    EXPECT_EQ(CountObjectsInUse(), before) << "GL objects: textures, buffers, framebuffers, renderbuffers, programs";
    GlState state;
    OnGl([&state](Ogl::ShaderStorage const&) { state = QueryGlState(); });
    EXPECT_EQ(state, GetInitialGlState());
}

TEST_P(EffectContract, MakesNoGlObjectInSteadyState) {
    Effect const warming = Make();
    // Variants of programs are made when they are needed, each once; their number must be limited.
    for (int i = 0; i <= 40; ++i) {
        Draw(warming, i / 40.0);
    }
    Effect const effect = Make();
    Draw(effect, 0.1);
    Draw(effect, 0.2);
    Ogl::GlObjectCounts const settled = Ogl::OglManager::GetInstance().GetObjectCounts();
    for (double const at : {0.303, 0.404, 0.505, 0.606}) {
        Draw(effect, at);
    }
    EXPECT_EQ(Ogl::OglManager::GetInstance().GetObjectCounts().made, settled.made);
}

TEST_P(EffectContract, DrawsYuvAsRgb) {
    // Black and white squares, which come out of the conversion exactly.
    constexpr unsigned kSide = 24;
    ScopedStrategy const strategy(kGpuStrategy);  // on which conversion is left to the code that draws
    auto const make = [&](unsigned shift, bool isYuv) -> intrusive_ptr<IDataVideo> {
        auto const isWhite = [shift](double x, double y) {
            return (static_cast<unsigned>(x + shift) / 4 + static_cast<unsigned>(y) / 4) % 2 == 0;
        };
        if (isYuv) {
            return MakeYuv(PixFmt::Yuv420p, kSide, kSide, {}, [&](double x, double y) {
                return Codes{isWhite(x, y) ? 235.0 : 16.0, 128, 128};
            });
        }
        return Picture::Make(kSide, kSide, false,
                             [&](unsigned x, unsigned y) {
                                 return isWhite(x, y) ? Rgba{1, 1, 1, 1} : Rgba{0, 0, 0, 1};
                             })
            .ToFrame();
    };
    auto const draw = [&](Settings const& settings, bool isYuv) {
        Effect const effect = Make(settings);
        effect->SetProgress(Always(0.3));
        intrusive_ptr<IDataVideo> const data = make(0, isYuv);
        data->SetTimestamp(700000);
        return Picture::FromFrame(*Download(Process(effect, data, make(2, isYuv))));
    };
    std::unique_ptr<Settings> const settings = MakeDefaults(name);
    EXPECT_TRUE(IsNear(draw(*settings, true), draw(*settings, false), kFiltered));
    for (Proc::Field const& field : settings->GetFields()) {
        for (std::unique_ptr<Settings> const& chosen :
             field.labels.empty() ? std::vector<std::unique_ptr<Settings>>() : MakeVariants(*settings, field)) {
            EXPECT_TRUE(IsNear(draw(*chosen, true), draw(*chosen, false), kFiltered)) << Describe(*chosen);
        }
    }
}

/// The names of the drawing effects that begin with this prefix, except for those in the tables.
template <typename... Tables>
std::vector<std::string> List(std::string_view begin, Tables const&... tables) {
    std::vector<std::string> names;
    for (std::unique_ptr<Settings> const& settings : MakeAllSettings()) {
        std::string const& name = settings->GetClassId();
        if (name.rfind(begin, 0) == 0 && !(Contains(kTransfers, name) || ... || Contains(tables, name))) {
            names.push_back(name);
        }
    }
    return names;
}
constexpr auto GetName = [](testing::TestParamInfo<std::string> const& info) { return info.param; };

INSTANTIATE_TEST_SUITE_P(All, EffectContract, testing::ValuesIn(List("")), GetName);

class DrawnEffect : public EffectContract {};
INSTANTIATE_TEST_SUITE_P(All, DrawnEffect, testing::ValuesIn(List("", kOwnSize)), GetName);

TEST_P(DrawnEffect, ShowsEachFieldAtOnceAndRefusesForeignSettings) {
    for (Proc::Field const& field : MakeDefaults(name)->GetFields()) {
        // The count of the blinds is kept, not drawn; a look-up table needs a file; this picture's pixels are wider
        // than what edges are smoothed over.
        bool isSeen = name == "TransitionBlinds" || name == "EffectLut" || field.type == Proc::FieldType::File ||
                      (name == "EffectFindEdges" && field.key == "smoothing");
        auto const tryIn = [&](Settings const& base) {
            for (std::unique_ptr<Settings> const& variant : MakeVariants(base, field)) {
                Effect const effect = Make(base);
                Picture const before = Draw(effect, 0.3);
                effect->SetSettings(*variant);
                EXPECT_THROW(effect->SetSettings(ForeignSettings()), std::bad_cast);
                if (variant->KeepsLayout()) {
                    effect->Reset();
                }
                Picture const after = Draw(effect, 0.3);
                Picture const fresh = Draw(Make(*variant), 0.3);
                isSeen = isSeen || !IsNear(fresh, before, kUnfiltered);
                EXPECT_TRUE(Contains(kNotAtOnce, fmt::format("{} {}", name, field.key)) ||
                            IsNear(after, fresh, kFiltered))
                    << Describe(*variant);
            }
        };
        tryIn(*MakeDefaults(name));
        for (std::string const& context : kContexts) {
            if (!isSeen && context.substr(0, context.find(' ')) == name) {
                tryIn(*Typed(context));
            }
        }
        EXPECT_TRUE(isSeen) << name << "'s " << field.key;
    }
    EXPECT_THROW(Make()->SetSettings(ForeignSettings()), std::bad_cast);
}

class EffectThatKeepsAlpha : public EffectContract {};
INSTANTIATE_TEST_SUITE_P(All, EffectThatKeepsAlpha, testing::ValuesIn(List("Effect", kOwnAlpha, kTwoInputs)), GetName);

TEST_P(EffectThatKeepsAlpha, KeepsIt) {
    constexpr double kAlpha = 102.0 / 255.0;
    Picture input = Picture::Noise(kWidth, kHeight, true, 1);
    for (Rgba& pixel : input.pixels) {
        pixel[3] = kAlpha;
    }
    for (double const at : {0.3, 0.8}) {
        Picture const drawn = Draw(Make(), input, input, at);
        for (std::size_t i = 0; i < drawn.pixels.size(); ++i) {
            ASSERT_NEAR(drawn.pixels[i][3], kAlpha, kUnfiltered) << "pixel " << i << " at " << at;
        }
    }
}

class EffectThatFiltersPremultiplied : public EffectContract {};
INSTANTIATE_TEST_SUITE_P(All, EffectThatFiltersPremultiplied, testing::ValuesIn(List("", kFilterStraight)), GetName);

TEST_P(EffectThatFiltersPremultiplied, ShowsNothingOfTransparentPixels) {
    // Islands of grey on a transparent ground, whose colour must not be visible anywhere.
    auto const draw = [this](Rgba const& hidden, double at) {
        Picture const input = Picture::Make(kWidth, kHeight, true, [&hidden](unsigned x, unsigned y) {
            return (x / 7 + y / 5) % 2 == 0 ? Rgba{0.5, 0.5, 0.5, 1.0} : hidden;
        });
        return Premultiply(Draw(Make(), input, input, at));
    };
    for (double const at : {0.3, 0.8}) {
        EXPECT_TRUE(IsNear(draw({1.0, 0.0, 0.0, 0.0}, at), draw({0.5, 0.5, 0.5, 0.0}, at), kFiltered)) << "at " << at;
    }
}

/// The mean square of the difference of all channels.
double GetDistance(Picture const& a, Picture const& b) {
    double sum = 0.0;
    for (std::size_t i = 0; i < a.pixels.size(); ++i) {
        for (std::size_t c = 0; c < 3; ++c) {
            double const difference = a.pixels[i][c] - b.pixels[i][c];
            sum += difference * difference;
        }
    }
    return sum / static_cast<double>(3 * a.pixels.size());
}

class EffectOfAnySize : public EffectContract {
protected:
    /// Waves and discs, about as sharp as a photograph.
    static Picture MakeWaves(unsigned scale, double shift) {
        unsigned const height = scale * 320;
        return Picture::Make(scale * 568, height, false, [height, shift](unsigned px, unsigned py) {
            double const x = (px + 0.5) / height;
            double const y = (py + 0.5) / height;
            double const disc = std::hypot(std::remainder(x + shift, 0.4), std::remainder(y, 0.4)) - 0.12;
            double const edge = 0.5 + 0.5 * std::clamp(disc * 80.0, -1.0, 1.0);
            return Rgba{0.5 + 0.4 * std::sin(7.0 * x + 3.0 * y + shift), 0.2 + 0.6 * edge,
                        0.5 + 0.4 * std::cos(5.0 * y - 4.0 * x * shift)};
        });
    }
};
INSTANTIATE_TEST_SUITE_P(All, EffectOfAnySize, testing::ValuesIn(List("", kOfPixels, kOwnSize)), GetName);

TEST_P(EffectOfAnySize, LooksTheSameAtEverySize) {
    static std::array const small{MakeWaves(1, 0.0), MakeWaves(1, 1.3)};
    static std::array const large{MakeWaves(2, 0.0), MakeWaves(2, 1.3)};
    for (double const at : {0.35, 0.7}) {
        double const rms =
            std::sqrt(GetDistance(Halve(Draw(Make(), large[0], large[1], at)), Draw(Make(), small[0], small[1], at)));
        // The grain of motion blur, which is finer in the larger picture, makes most of it.
        EXPECT_LT(255.0 * rms, 7.0) << "at " << at;
    }
}

class TransitionContract : public EffectContract {};
INSTANTIATE_TEST_SUITE_P(All, TransitionContract, testing::ValuesIn(List("Transition")), GetName);

TEST_P(TransitionContract, GoesFromTheFirstPictureToTheSecond) {
    auto const* const loose =
        std::find_if(kLooseEnds.begin(), kLooseEnds.end(), [this](LooseEnds const& ends) { return ends.name == name; });
    bool const isListed = loose != kLooseEnds.end();
    auto const check = [&](Settings const& settings, unsigned width, unsigned height, bool hasAlpha) {
        Picture const from = Picture::Noise(width, height, hasAlpha, 1);
        Picture const to = Picture::Noise(width, height, hasAlpha, 2);
        Effect const effect = Make(settings);
        for (double const progress : {0.0, 1.0}) {
            Picture const& wanted = progress == 0.0 ? from : to;
            Picture const drawn = Draw(effect, from, to, progress);
            if (isListed && (progress == 0.0 ? loose->isLooseAtStart : loose->isLooseAtEnd)) {
                EXPECT_LT(GetDistance(drawn, wanted), GetDistance(drawn, progress == 0.0 ? to : from))
                    << Describe(settings) << " at " << progress;
            } else {
                EXPECT_TRUE(IsNear(drawn, wanted, 0)) << Describe(settings) << " at " << progress;
            }
        }
    };
    std::unique_ptr<Settings> const settings = MakeDefaults(name);
    for (auto const& [width, height] : {std::pair{kWidth, kHeight}, {kHeight, kWidth}, {33U, 33U}}) {
        check(*settings, width, height, false);
        check(*settings, width, height, true);
    }
    for (Proc::Field const& field : settings->GetFields()) {
        for (std::unique_ptr<Settings> const& variant : MakeVariants(*settings, field)) {
            if (!Contains(kNoEnds, Describe(*variant))) {
                check(*variant, kWidth, kHeight, true);
                check(*variant, kHeight, kWidth, false);
            }
        }
    }
}

using ContractTables = GlTest;

TEST_F(ContractTables, NeutralSettingsGiveTheInputToTheByte) {
    std::vector<std::string> neutral(kAlsoNeutral.begin(), kAlsoNeutral.end());
    for (std::unique_ptr<Proc::Settings> const& settings : MakeAllSettings()) {
        if (!settings->GetNeutral().empty()) {
            neutral.push_back(fmt::format("{} {}", settings->GetClassId(), settings->GetNeutral()));
        }
    }
    ASSERT_GT(neutral.size(), 20U);
    for (std::string const& settings : neutral) {
        for (auto const& [width, height] : {std::pair{kWidth, kHeight}, {kHeight, kWidth}, {1U, 9U}}) {
            for (bool const hasAlpha : {false, true}) {
                Picture const input = Picture::Noise(width, height, hasAlpha);
                EXPECT_TRUE(IsNear(Run(settings, input, {.progress = 0.3, .seconds = 0.7}), input, 0)) << settings;
            }
        }
    }
}

TEST_F(ContractTables, RefuseWhatTheyHaveNoPictureForAndKeepWhatTheyHad) {
    Picture const first = Picture::Noise(32, 18, false, 1);
    Picture const second = Picture::Noise(32, 18, false, 2);
    for (auto const& [name, field, values] :
         {std::tuple<std::string, std::string, std::vector<int>>{"TransitionWipe", "direction", {-1, 10, 2147483647}},
          {"TransitionSlidingDoor", "orientation", {-1, 2}},
          {"TransitionCircle", "sense", {-1, 2}},
          {"TransitionRadial", "sense", {-1, 2}},
          {"TransitionSnake", "bands", {30}},
          {"TransitionPinwheel", "num", {0}},
          {"TransitionRoll", "dir", {-1, 4, 2147483647}},
          {"TransitionLens", "type", {-1, 3}},
          {"TransitionOrigamiPleats", "num", {0}},
          {"TransitionOrigamiPleats", "dir", {0}},
          {"TransitionOrigamiFlips", "num", {0}}}) {
        for (int const value : values) {
            auto const transition = MakeTransition(*Typed(name), {.progress = 0.3});
            Caught const caught = Catch<std::invalid_argument>(
                [&, n = name, f = field] { transition->SetSettings(*Typed(fmt::format("{} {}={}", n, f, value))); });
            EXPECT_THAT(caught.what, testing::HasSubstr(fmt::format("{} {}", field, value))) << name;
            intrusive_ptr<IDataVideo> data = first.ToFrame();
            transition->Process(data, second.ToFrame());
            EXPECT_TRUE(
                IsNear(Picture::FromFrame(*Download(data)), Run(name, first, second, {.progress = 0.3}), kFiltered))
                << name << " after " << field << " " << value;
        }
    }
}

TEST_F(ContractTables, MissNoRegisteredEffect) {
    std::vector<std::string> const drawn = List("");
    for (Host::RegisteredEffect const& effect : GetRegistry().List()) {
        if (effect.implName == Proc::ImplNames::OGL && !Contains(kTransfers, effect.classId)) {
            EXPECT_THAT(drawn, testing::Contains(effect.classId));
            EXPECT_EQ(effect.inputs == 2,
                      effect.classId.rfind("Transition", 0) == 0 || Contains(kTwoInputs, effect.classId));
        }
    }
}

}  // namespace
}  // namespace Kaltor::Tests
