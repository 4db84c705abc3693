#pragma once

#include "Proc/Settings/Settings.h"

namespace Kaltor::Proc {

struct SettingsEffectFlip final : SettingsOf<SettingsEffectFlip> {
    static inline std::string const CLASS_ID = "EffectFlip";
    static constexpr std::string_view SUMMARY = "Mirrors the picture left to right, top to bottom or both.";
    static constexpr std::string_view NEUTRAL = "horizontal=false";

    bool horizontal = true;
    bool vertical = false;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::horizontal>("mirror left to right"), Declare<&This::vertical>("mirror top to bottom")};
    }
};

struct SettingsEffectFishEye final : SettingsOf<SettingsEffectFishEye> {
    static inline std::string const CLASS_ID = "EffectFishEye";
    static constexpr std::string_view SUMMARY = "Bends the picture as a fish-eye lens does, or the other way.";

    double scale = 1.0;
    double sign = 1.0;
    double strength = 3.0;
    double referenceRadius = 0.5;

    static std::vector<Field> DeclareFields() {
        constexpr double kLeastScale = 0.1;
        constexpr double kMostScale = 4.0;
        constexpr double kLeast = 0.01;
        constexpr double kStrongest = 100.0;
        constexpr double kLargestRadius = 2.0;
        return {Declare<&This::scale>(kLeastScale, kMostScale, "size of the lens's picture"),
                Declare<&This::sign>(-1.0, 1.0, "above 0 the centre is expanded, else it is compressed"),
                Declare<&This::strength>(kLeast, kStrongest, "strength of the distortion"),
                Declare<&This::referenceRadius>(
                    kLeast, kLargestRadius,
                    "distance from the centre, in picture sides, at which points stay in place at scale 1")};
    }
};

struct SettingsEffectTwirl final : SettingsOf<SettingsEffectTwirl> {
    static inline std::string const CLASS_ID = "EffectTwirl";
    static constexpr std::string_view SUMMARY =
        "Swirls the picture to and fro about its centre, more strongly farther out.";

    double baseRotation = 0.0;
    double wobbleRate = 0.0;
    double twirlPhase = 0.0;
    double twirlRate = 0.25;

    static std::vector<Field> DeclareFields() {
        constexpr double kMostTurns = 10.0;
        constexpr double kFastest = 10.0;
        constexpr double kCycle = 4.0;
        return {Declare<&This::baseRotation>(-kMostTurns, kMostTurns, "constant rotation, turns"),
                Declare<&This::wobbleRate>(0.0, kFastest, "swings of the rotation to and fro, per second"),
                Declare<&This::twirlPhase>(0.0, kCycle, "where in its cycle of 4 the twirl begins"),
                Declare<&This::twirlRate>(0.0, kFastest, "cycles of the twirl per second")};
    }
};

struct SettingsEffectTranspose final : SettingsOf<SettingsEffectTranspose> {
    static inline std::string const CLASS_ID = "EffectTranspose";
    static constexpr std::string_view SUMMARY =
        "Turns the picture by a quarter turn or reflects it across a diagonal, pixel for pixel.";

    enum class Mode : std::int32_t { MainDiagonal, Clockwise, CounterClockwise, OtherDiagonal };

    Mode mode = Mode::Clockwise;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::mode>({{Mode::MainDiagonal, "main-diagonal"},
                                      {Mode::Clockwise, "clockwise"},
                                      {Mode::CounterClockwise, "counter-clockwise"},
                                      {Mode::OtherDiagonal, "other-diagonal"}},
                                     "a quarter turn, or a reflection across a diagonal")};
    }
};

struct SettingsEffectVertigo final : SettingsOf<SettingsEffectVertigo> {
    static inline std::string const CLASS_ID = "EffectVertigo";
    static constexpr std::string_view SUMMARY =
        "Lets the picture sway while turned and zoomed ghosts of it circle around, as in dizziness.";
    static constexpr std::string_view NEUTRAL = "strength=0";

    double strength = 0.6;
    double speed = 0.3;
    std::int32_t ghosts = 5;
    double zoom = 0.5;
    double chroma = 0.6;
    double blur = 0.006;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::strength>(0.0, 1.0, "how far the ghosts reach and how strong they are"),
                Declare<&This::speed>(0.0, 5.0, "turns per second"),
                Declare<&This::ghosts>(1, 8, "how many ghosts trail behind"),
                Declare<&This::zoom>(0.0, 1.0, "how far ghosts are enlarged, and pulse"),
                Declare<&This::chroma>(0.0, 1.0, "how far the colours of ghosts come apart"),
                Declare<&This::blur>(0.0, 0.05, "how soft the ghosts are, as a fraction of the larger side")};
    }
};

struct SettingsEffectPanAndZoom final : SettingsOf<SettingsEffectPanAndZoom> {
    static inline std::string const CLASS_ID = "EffectPanAndZoom";
    static constexpr std::string_view SUMMARY = "Lets the camera glide from one view of the picture to another.";
    static constexpr std::string_view NEUTRAL = "endZoom=1";
    static constexpr bool RUNS_ON_PROGRESS = true;

    enum class Background : std::int32_t { Blurred, Black };

    double startX = 0.5;
    double startY = 0.5;
    double startZoom = 1.0;
    double endX = 0.5;
    double endY = 0.5;
    double endZoom = 1.5;
    bool smooth = true;
    Background background = Background::Blurred;
    double blur = 0.004;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::startX>(0.0, 1.0, "centre of the first view from the left"),
                Declare<&This::startY>(0.0, 1.0, "centre of the first view from the bottom"),
                Declare<&This::startZoom>(0.1, 20.0, "magnification of the first view"),
                Declare<&This::endX>(0.0, 1.0, "centre of the last view from the left"),
                Declare<&This::endY>(0.0, 1.0, "centre of the last view from the bottom"),
                Declare<&This::endZoom>(0.1, 20.0, "magnification of the last view"),
                Declare<&This::smooth>("eases in and out"),
                Declare<&This::background>({{Background::Blurred, "blurred"}, {Background::Black, "black"}},
                                           "what is around views that are larger than the picture"),
                Declare<&This::blur>(0.0, 0.2,
                                     "motion blur: the share of the whole move during which the shutter is "
                                     "open; a film camera's is half of one frame's")};
    }
};

struct SettingsEffectZoom final : SettingsOf<SettingsEffectZoom> {
    static inline std::string const CLASS_ID = "EffectZoom";
    static constexpr std::string_view SUMMARY = "Enlarges or reduces the picture about a point.";
    static constexpr std::string_view NEUTRAL = "zoom=1";

    enum class Fill : std::int32_t { Blurred, Color };

    double x = 0.5;
    double y = 0.5;
    double zoom = 1.5;
    Color background{0x00, 0x00, 0x00, 0xFF};
    Fill fill = Fill::Blurred;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::x>(0.0, 1.0, "the point that stays where it is, from the left"),
                Declare<&This::y>(0.0, 1.0, "the point that stays where it is, from the bottom"),
                Declare<&This::zoom>(0.1, 20.0, "magnification; below 1 the picture shrinks"),
                Declare<&This::background>("the colour around a picture that is smaller than the frame"),
                Declare<&This::fill>({{Fill::Blurred, "blurred"}, {Fill::Color, "color"}},
                                     "what is around it: the picture blurred, or the background's colour")};
    }
};

struct SettingsEffectCameraShake final : SettingsOf<SettingsEffectCameraShake> {
    static inline std::string const CLASS_ID = "EffectCameraShake";
    static constexpr std::string_view SUMMARY =
        "Shakes the picture as a hand-held camera does, enlarged so that no border shows.";
    static constexpr std::string_view NEUTRAL = "amplitude=0 rotation=0";
    static constexpr bool IS_RANDOM = true;

    double amplitude = 0.01;
    double frequency = 3.0;
    double rotation = 0.5;
    double drift = 0.5;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::amplitude>(0.0, 0.2, "greatest shift as a fraction of the picture's larger side"),
                Declare<&This::frequency>(0.1, 30.0, "how fast the hand trembles, Hz"),
                Declare<&This::rotation>(0.0, 20.0, "greatest roll, degrees"),
                Declare<&This::drift>(0.0, 1.0, "how far the camera drifts slowly under the tremor")};
    }
};

struct SettingsEffectMirror final : SettingsOf<SettingsEffectMirror> {
    static inline std::string const CLASS_ID = "EffectMirror";
    static constexpr std::string_view SUMMARY =
        "Reflects one side of the picture onto the other, or a sector all around.";

    enum class Axis : std::int32_t { LeftToRight, RightToLeft, BottomToTop, TopToBottom, Quarters, Kaleidoscope };

    Axis axis = Axis::LeftToRight;
    double position = 0.5;
    std::int32_t segments = 8;
    double turn = 0.0;

    static std::vector<Field> DeclareFields() {
        return {
            Declare<&This::axis>({{Axis::LeftToRight, "left-to-right"},
                                  {Axis::RightToLeft, "right-to-left"},
                                  {Axis::BottomToTop, "bottom-to-top"},
                                  {Axis::TopToBottom, "top-to-bottom"},
                                  {Axis::Quarters, "quarters"},
                                  {Axis::Kaleidoscope, "kaleidoscope"}},
                                 "which side is reflected onto which; quarters: the upper left one is kept; "
                                 "kaleidoscope: a sector is reflected all around"),
            Declare<&This::position>(0.01, 0.99,
                                     "where the axis lies, from the left or from the bottom; the middle of what "
                                     "the kaleidoscope sees"),
            Declare<&This::segments>(2, 32, "sectors of the kaleidoscope; an odd number counts as the next even one"),
            Declare<&This::turn>(-180.0, 180.0, "how far the kaleidoscope's sector is turned, degrees")};
    }
};

struct SettingsEffectSubFrame final : SettingsOf<SettingsEffectSubFrame> {
    static inline std::string const CLASS_ID = "EffectSubFrame";
    static constexpr std::string_view SUMMARY =
        "Shows the picture smaller inside its frame, over a blurred copy or a colour, with border and shadow.";
    static constexpr std::string_view NEUTRAL = "size=1 border=0 shadow=0";

    enum class Background : std::int32_t { Blurred, Color };

    double x = 0.5;
    double y = 0.5;
    double size = 0.7;
    double border = 0.006;
    Color borderColor{0xFF, 0xFF, 0xFF, 0xFF};
    double shadow = 0.5;
    Background background = Background::Blurred;
    Color color{0x20, 0x20, 0x20, 0xFF};

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::x>(0.0, 1.0, "centre of the small picture from the left"),
                Declare<&This::y>(0.0, 1.0, "centre of the small picture from the bottom"),
                Declare<&This::size>(0.05, 1.0, "size of the small picture as a fraction of the frame"),
                Declare<&This::border>(0.0, 0.1, "width of the border as a fraction of the picture's larger side"),
                Declare<&This::borderColor>("colour of the border"),
                Declare<&This::shadow>(0.0, 1.0, "darkness of the shadow"),
                Declare<&This::background>({{Background::Blurred, "blurred"}, {Background::Color, "color"}},
                                           "blurred: the picture itself, enlarged; color: one colour"),
                Declare<&This::color>("colour of the background")};
    }
};

}  // namespace Kaltor::Proc
