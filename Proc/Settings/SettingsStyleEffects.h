#pragma once

#include "Proc/Settings/Settings.h"

namespace Kaltor::Proc {

struct SettingsEffectColorBrush final : SettingsOf<SettingsEffectColorBrush> {
    static inline std::string const CLASS_ID = "EffectColorBrush";
    static constexpr std::string_view SUMMARY =
        "The picture begins as a drawing of its edges on white and is painted in with brush strokes.";
    static constexpr bool RUNS_ON_PROGRESS = true;
    static constexpr bool KEEPS_LAYOUT = true;

    enum class Style : std::int32_t { Strokes, Sweep };

    std::int32_t angle = 30;
    std::int32_t size = 12;
    std::uint32_t rough = 50;
    Style style = Style::Strokes;
    double wet = 0.5;
    double paper = 0.5;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::angle>(-90, 90, "direction of the strokes, degrees"),
                Declare<&This::size>(1, 1000, "number of strokes, of one beside the other"),
                Declare<&This::rough>(0, 100, "roughness of the strokes, percent"),
                Declare<&This::style>({{Style::Strokes, "strokes"}, {Style::Sweep, "sweep"}},
                                      "strokes: many, one over the other; sweep: one brush goes back and forth"),
                Declare<&This::wet>(0.0, 1.0, "how dark the rims of wet paint are"),
                Declare<&This::paper>(0.0, 1.0, "how much the paper's grain shows")};
    }
};

struct SettingsEffectVHS final : SettingsOf<SettingsEffectVHS> {
    static inline std::string const CLASS_ID = "EffectVHS";
    static constexpr std::string_view SUMMARY = "Plays the picture from a worn video tape.";
    static constexpr std::string_view NEUTRAL = "strength=0 noise=0 tracking=0 scanlines=0";

    double strength = 0.6;
    double noise = 0.4;
    double tracking = 0.4;
    double scanlines = 0.3;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::strength>(0.0, 1.0, "smear and shift of the colours, jitter of the lines, soft detail"),
                Declare<&This::noise>(0.0, 1.0, "noise and drop-outs"),
                Declare<&This::tracking>(0.0, 1.0, "the drifting band and the head-switching noise at the bottom"),
                Declare<&This::scanlines>(0.0, 1.0, "how dark the gaps between lines are")};
    }
};

struct SettingsEffectStripes final : SettingsOf<SettingsEffectStripes> {
    static inline std::string const CLASS_ID = "EffectStripes";
    static constexpr std::string_view SUMMARY =
        "Lays stripes of colour, light or glass over the picture, at any angle, still or drifting.";
    static constexpr std::string_view NEUTRAL = "fill=0";

    enum class Blend : std::int32_t { Normal, Multiply, Screen, Overlay, SoftLight, Invert, Displace, Blur };

    double angle = 60.0;
    std::int32_t count = 9;
    double fill = 0.5;
    Color color{0xFF, 0xF4, 0xE0, 0xB0};
    double softness = 0.04;
    double speed = 0.15;
    Blend blend = Blend::SoftLight;
    double gradient = 0.8;
    double variation = 0.6;
    double depth = 0.5;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::angle>(-180.0, 180.0, "direction of the stripes, degrees counter-clockwise"),
                Declare<&This::count>(1, 500, "stripes across the diagonal"),
                Declare<&This::fill>(0.0, 1.0, "share of the picture that is covered"),
                Declare<&This::color>("colour of the stripes; its alpha is how much they cover"),
                Declare<&This::softness>(
                    0.0, 1.0, "softness of their edges, as a fraction of the stripe or the gap, whichever is narrower"),
                Declare<&This::speed>(-10.0, 10.0,
                                      "drift, stripes per second; horizontal stripes go up, vertical ones left"),
                Declare<&This::blend>({{Blend::Normal, "normal"},
                                       {Blend::Multiply, "multiply"},
                                       {Blend::Screen, "screen"},
                                       {Blend::Overlay, "overlay"},
                                       {Blend::SoftLight, "soft-light"},
                                       {Blend::Invert, "invert"},
                                       {Blend::Displace, "displace"},
                                       {Blend::Blur, "blur"}},
                                      "what a stripe does to the picture; displace and blur: glass in that colour"),
                Declare<&This::gradient>(0.0, 1.0, "how far a stripe fades across its width"),
                Declare<&This::variation>(0.0, 1.0, "how much stripes differ in width and strength"),
                Declare<&This::depth>(0.0, 1.0, "how far stripes of glass displace or blur")};
    }
};

struct SettingsEffectFlyingObjects final : SettingsOf<SettingsEffectFlyingObjects> {
    static inline std::string const CLASS_ID = "EffectFlyingObjects";
    static constexpr std::string_view SUMMARY =
        "Lets snow, leaves, petals, hearts, stars, bubbles or confetti drift over the picture.";
    static constexpr std::string_view NEUTRAL = "color=#FFFFFF00";
    static constexpr bool IS_RANDOM = true;

    enum class Direction : std::int32_t { Down, Up, Left, Right };
    enum class Kind : std::int32_t { Snow, Leaves, Petals, Hearts, Stars, Bubbles, Confetti };

    Direction moveDirection = Direction::Down;
    Kind kind = Kind::Snow;
    std::int32_t count = 80;
    double size = 0.07;
    double speed = 0.2;
    Color color{0xFF, 0xFF, 0xFF, 0xE0};
    bool crystals = false;
    double depth = 0.6;
    double gust = 0.4;
    double streaks = 0.5;

    void SetMoveDirection(Direction value) { moveDirection = value; }

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::moveDirection>({{Direction::Down, "down"},
                                               {Direction::Up, "up"},
                                               {Direction::Left, "left"},
                                               {Direction::Right, "right"}},
                                              "where the objects drift to"),
                Declare<&This::kind>({{Kind::Snow, "snow"},
                                      {Kind::Leaves, "leaves"},
                                      {Kind::Petals, "petals"},
                                      {Kind::Hearts, "hearts"},
                                      {Kind::Stars, "stars"},
                                      {Kind::Bubbles, "bubbles"},
                                      {Kind::Confetti, "confetti"}},
                                     "the kind of objects"),
                Declare<&This::count>(1, 2000, "how many objects"),
                Declare<&This::size>(0.002, 0.3, "size of a near object as a fraction of the picture's larger side"),
                Declare<&This::speed>(0.0, 5.0, "speed, frame heights per second"),
                Declare<&This::color>("tint of the objects; its alpha is how much they cover"),
                Declare<&This::crystals>("snow shows its crystals; otherwise flakes are soft"),
                Declare<&This::depth>(0.0, 1.0, "how far near and distant objects are out of focus"),
                Declare<&This::gust>(0.0, 1.0, "how far gusts carry objects to the side"),
                Declare<&This::streaks>(
                    0.0, 1.0, "how long moving objects smear, as the part of 1/25 s that the shutter is open")};
    }
};

struct SettingsEffectAddNoize final : SettingsOf<SettingsEffectAddNoize> {
    static inline std::string const CLASS_ID = "EffectAddNoize";
    static constexpr std::string_view SUMMARY = "Adds grain, as on film.";
    static constexpr std::string_view NEUTRAL = "strength=0";

    double strength = 0.15;
    double size = 0.0008;
    bool monochrome = true;
    bool animated = true;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::strength>(0.0, 1.0, "how strong the grain is"),
                Declare<&This::size>(0.0003, 0.02, "size of a grain as a fraction of the picture's larger side"),
                Declare<&This::monochrome>("grey grain; otherwise coloured"),
                Declare<&This::animated>("the grain moves")};
    }
};

struct SettingsEffectRetroArtefacts final : SettingsOf<SettingsEffectRetroArtefacts> {
    static inline std::string const CLASS_ID = "EffectRetroArtefacts";
    static constexpr std::string_view SUMMARY =
        "Plays the picture from an old film, with scratches, dust, hairs, flicker and weave.";
    static constexpr std::string_view NEUTRAL = "scratches=0 dust=0 flicker=0 weave=0 vignette=0 grain=0 fade=0";

    double scratches = 0.5;
    double dust = 0.5;
    double flicker = 0.5;
    double weave = 0.5;
    double vignette = 0.5;
    double grain = 0.5;
    double rate = 16.0;
    double fade = 0.35;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::scratches>(0.0, 1.0, "vertical scratches"),
                Declare<&This::dust>(0.0, 1.0, "specks of dust and hairs"),
                Declare<&This::flicker>(0.0, 1.0, "unsteady brightness"),
                Declare<&This::weave>(0.0, 1.0, "unsteady position in the gate"),
                Declare<&This::vignette>(0.0, 1.0, "dark corners"),
                Declare<&This::grain>(0.0, 1.0, "film grain"),
                Declare<&This::rate>(1.0, 60.0, "the film's own frame rate, Hz"),
                Declare<&This::fade>(0.0, 1.0, "how far the film's dyes have faded, cyan before the others")};
    }
};

struct SettingsEffectFilmStrip final : SettingsOf<SettingsEffectFilmStrip> {
    static inline std::string const CLASS_ID = "EffectFilmStrip";
    static constexpr std::string_view SUMMARY = "Runs the picture through the frame on a strip of film.";

    enum class Direction : std::int32_t { Up, Down, Left, Right };

    Direction direction = Direction::Up;
    double speed = 0.25;
    double size = 0.7;
    Color color{0x10, 0x10, 0x10, 0xFF};

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::direction>({{Direction::Up, "up"},
                                           {Direction::Down, "down"},
                                           {Direction::Left, "left"},
                                           {Direction::Right, "right"}},
                                          "where the strip moves to"),
                Declare<&This::speed>(0.0, 5.0, "speed, pictures per second"),
                Declare<&This::size>(0.2, 1.0, "size of a picture on the strip as a fraction of the frame"),
                Declare<&This::color>("colour of the film")};
    }
};

}  // namespace Kaltor::Proc
