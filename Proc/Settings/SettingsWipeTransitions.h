#pragma once

#include "Proc/Settings/Settings.h"

namespace Kaltor::Proc {

struct SettingsTransitionSnake final : SettingsOf<SettingsTransitionSnake> {
    static inline std::string const CLASS_ID = "TransitionSnake";
    static constexpr std::string_view SUMMARY =
        "The incoming picture runs along horizontal bands, to and fro, from the bottom up.";

    std::int32_t bands = 2;
    std::int32_t smoothness = 4;

    static std::vector<Field> DeclareFields() {
        return {
            Declare<&This::bands>(0, 8, "band exponent: 2, 4, 8, ... bands for 0, 1, 2, ..."),
            Declare<&This::smoothness>(1, 100, "length of the soft front, in sevenths of a band", Outside::Defined)};
    }
};

struct SettingsTransitionPinwheel final : SettingsOf<SettingsTransitionPinwheel> {
    static inline std::string const CLASS_ID = "TransitionPinwheel";
    static constexpr std::string_view SUMMARY = "The blades of a pinwheel fill with the incoming picture.";

    std::int32_t num = 6;
    std::int32_t freq = 20;
    std::int32_t ampl = 40;
    std::int32_t smoothness = 10;

    std::int32_t GetNum() const { return num; }
    std::int32_t GetFreq() const { return freq; }
    std::int32_t GetAmpl() const { return ampl; }
    std::int32_t GetSmoothness() const { return smoothness; }

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::num>(1, 100, "number of blades"),
                Declare<&This::freq>(0, 1000, "how often the blades' edges wave between the centre and the rim"),
                Declare<&This::ampl>(0, 1000, "how far the edges wave"),
                Declare<&This::smoothness>(1, 100, "width of the soft edge in percent of a blade")};
    }
};

struct SettingsTransitionSpiral final : SettingsOf<SettingsTransitionSpiral> {
    static inline std::string const CLASS_ID = "TransitionSpiral";
    static constexpr std::string_view SUMMARY =
        "The incoming picture comes out in a growing disc that twists the outgoing one around it.";

    enum class Type : std::int32_t { BottomLeft, TopRight, Centre };

    Type type = Type::Centre;

    Type GetType() const { return type; }

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::type>(
            {{Type::BottomLeft, "bottom-left"}, {Type::TopRight, "top-right"}, {Type::Centre, "centre"}},
            "where the incoming picture comes out", Outside::Defined)};
    }
};

struct SettingsTransitionBlinds final : SettingsOf<SettingsTransitionBlinds> {
    static inline std::string const CLASS_ID = "TransitionBlinds";
    static constexpr std::string_view SUMMARY = "Blinds of the outgoing picture roll up and uncover the incoming one.";

    std::int32_t count = 4;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::count>(1, 100, "number of blinds; stored, but four are always drawn")};
    }
};

/// A position in a picture, as fractions of its sides from the lower left.
struct RelativePoint {
    double x = 0.5;
    double y = 0.5;

    bool operator==(RelativePoint const&) const = default;
};

struct SettingsTransitionCircle final : SettingsOf<SettingsTransitionCircle> {
    static inline std::string const CLASS_ID = "TransitionCircle";
    static constexpr std::string_view SUMMARY = "A soft-edged circle opens or closes on the incoming picture.";

    enum class Sense : std::int32_t { Closing, Opening };

    Sense sense = Sense::Opening;
    /// Stored, but the circle is always drawn around the middle.
    RelativePoint center;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::sense>(
            {{Sense::Closing, "closing"}, {Sense::Opening, "opening"}},
            "whether the circle shrinks over the outgoing picture or grows with the incoming one")};
    }
};

struct SettingsTransitionWipe final : SettingsOf<SettingsTransitionWipe> {
    static inline std::string const CLASS_ID = "TransitionWipe";
    static constexpr std::string_view SUMMARY =
        "A soft edge wipes the outgoing picture away, from a side, a corner or as a wedge.";

    enum class Direction : std::int32_t {
        Down,
        Up,
        Left,
        Right,
        FromTopRight,
        FromBottomRight,
        FromTopLeft,
        FromBottomLeft,
        WedgeFromLeft,
        WedgeFromRight
    };

    std::int32_t width = 0;
    Direction direction = Direction::Right;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::width>(0, 4, "width of the soft edge, from a fifth of the picture (0) to all of it (4)"),
                Declare<&This::direction>({{Direction::Down, "down"},
                                           {Direction::Up, "up"},
                                           {Direction::Left, "left"},
                                           {Direction::Right, "right"},
                                           {Direction::FromTopRight, "from-top-right"},
                                           {Direction::FromBottomRight, "from-bottom-right"},
                                           {Direction::FromTopLeft, "from-top-left"},
                                           {Direction::FromBottomLeft, "from-bottom-left"},
                                           {Direction::WedgeFromLeft, "wedge-from-left"},
                                           {Direction::WedgeFromRight, "wedge-from-right"}},
                                          "where the edge moves to or comes from")};
    }
};

struct SettingsTransitionRadial final : SettingsOf<SettingsTransitionRadial> {
    static inline std::string const CLASS_ID = "TransitionRadial";
    static constexpr std::string_view SUMMARY = "A clock's hand sweeps the incoming picture in, once around.";

    enum class Sense : std::int32_t { CounterClockwise, Clockwise };

    Sense sense = Sense::CounterClockwise;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::sense>({{Sense::CounterClockwise, "counter-clockwise"}, {Sense::Clockwise, "clockwise"}},
                                      "how the clock's hand turns")};
    }
};

struct SettingsTransitionSlidingDoor final : SettingsOf<SettingsTransitionSlidingDoor> {
    static inline std::string const CLASS_ID = "TransitionSlidingDoor";
    static constexpr std::string_view SUMMARY =
        "A band grows from the middle line, and the incoming picture closes in on it from the edges.";

    enum class Orientation : std::int32_t { VerticalLine, HorizontalLine };

    Orientation orientation = Orientation::VerticalLine;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::orientation>(
            {{Orientation::VerticalLine, "vertical-line"}, {Orientation::HorizontalLine, "horizontal-line"}},
            "the centre line that the band grows from")};
    }
};

struct SettingsTransitionBarnDoor final : SettingsOf<SettingsTransitionBarnDoor> {
    static inline std::string const CLASS_ID = "TransitionBarnDoor";
    static constexpr std::string_view SUMMARY = "Doors with one of the pictures on them open or close over the other.";

    enum class Mode : std::int32_t {
        CloseVertical,
        OpenVertical,
        CloseHorizontal,
        OpenHorizontal,
        CloseCorners,
        OpenCorners
    };

    Mode mode = Mode::OpenHorizontal;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::mode>(
            {{Mode::CloseVertical, "close-vertical"},
             {Mode::OpenVertical, "open-vertical"},
             {Mode::CloseHorizontal, "close-horizontal"},
             {Mode::OpenHorizontal, "open-horizontal"},
             {Mode::CloseCorners, "close-corners"},
             {Mode::OpenCorners, "open-corners"}},
            "how the doors move, and whether the incoming picture closes or the outgoing one opens", Outside::Defined)};
    }
};

struct SettingsTransitionCross final : SettingsOf<SettingsTransitionCross> {
    static inline std::string const CLASS_ID = "TransitionCross";
    static constexpr std::string_view SUMMARY =
        "The outgoing picture is cut along its diagonals, and its four triangles fly apart.";

    bool scroll = false;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::scroll>("whether the incoming picture scrolls in behind the pieces")};
    }
};

struct SettingsTransitionPixels final : SettingsOf<SettingsTransitionPixels> {
    static inline std::string const CLASS_ID = "TransitionPixels";
    static constexpr std::string_view SUMMARY =
        "Both pictures coarsen into large pixels and recover, or pixels change one by one.";
    static constexpr bool IS_RANDOM = true;

    enum class Type : std::int32_t { Coarsen, Scatter };

    enum class Growth : std::int32_t { Steps, Steady };

    Type type = Type::Coarsen;
    std::int32_t num = 12;
    Growth growth = Growth::Steps;
    double clusters = 0.5;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::type>(
                    {{Type::Coarsen, "coarsen"}, {Type::Scatter, "scatter"}},
                    "coarsen: pixels grow and recover; scatter: they change to the incoming picture one by one"),
                Declare<&This::num>(2, 1000, "pixels along the shorter side, where they are largest"),
                Declare<&This::growth>({{Growth::Steps, "steps"}, {Growth::Steady, "steady"}},
                                       "coarsening pixels double their size step by step, or grow steadily"),
                Declare<&This::clusters>(0.0, 1.0, "how far pixels that change together are neighbours")};
    }
};

struct SettingsTransitionMatrix final : SettingsOf<SettingsTransitionMatrix> {
    static inline std::string const CLASS_ID = "TransitionMatrix";
    static constexpr std::string_view SUMMARY =
        "Columns of glowing glyphs run down and leave the incoming picture behind them.";
    static constexpr bool IS_RANDOM = true;

    std::int32_t num = 60;
    Color color{0x40, 0xFF, 0x60, 0xFF};
    double glow = 0.6;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::num>(4, 400, "number of columns"), Declare<&This::color>("colour of the falling glyphs"),
                Declare<&This::glow>(0.0, 1.0, "how much light glyphs cast around them")};
    }
};

}  // namespace Kaltor::Proc
