#pragma once

#include "Proc/Settings/Settings.h"

namespace Kaltor::Proc {

struct SettingsTransitionPush final : SettingsOf<SettingsTransitionPush> {
    static inline std::string const CLASS_ID = "TransitionPush";
    static constexpr std::string_view SUMMARY =
        "The incoming picture pushes the outgoing one off the screen, edge to edge.";

    enum class Direction : std::int32_t { Left, Right, Up, Down };

    Direction dir = Direction::Left;

    Direction GetDir() const { return dir; }

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::dir>(
            {{Direction::Left, "left"}, {Direction::Right, "right"}, {Direction::Up, "up"}, {Direction::Down, "down"}},
            "where both pictures move to", Outside::Defined)};
    }
};

struct SettingsTransitionScale final : SettingsOf<SettingsTransitionScale> {
    static inline std::string const CLASS_ID = "TransitionScale";
    static constexpr std::string_view SUMMARY =
        "The incoming picture grows from the centre, or the outgoing one shrinks into it.";

    enum class Type : std::int32_t { GrowIncoming, ShrinkOutgoing };

    Type type = Type::GrowIncoming;

    Type GetType() const { return type; }

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::type>({{Type::GrowIncoming, "grow-incoming"}, {Type::ShrinkOutgoing, "shrink-outgoing"}},
                                     "which picture changes its size", Outside::Defined)};
    }
};

struct SettingsTransitionZoom final : SettingsOf<SettingsTransitionZoom> {
    static inline std::string const CLASS_ID = "TransitionZoom";
    static constexpr std::string_view SUMMARY =
        "Zooms into the outgoing picture or out of the incoming one while the incoming one fades in.";

    enum class Type : std::int32_t { In, Out, Through };

    Type type = Type::Through;

    Type GetType() const { return type; }

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::type>({{Type::In, "in"}, {Type::Out, "out"}, {Type::Through, "through"}},
                                     "zoom into the outgoing picture, out of the incoming one, or both",
                                     Outside::Defined)};
    }
};

struct SettingsTransitionRoll final : SettingsOf<SettingsTransitionRoll> {
    static inline std::string const CLASS_ID = "TransitionRoll";
    static constexpr std::string_view SUMMARY =
        "The outgoing picture rolls up like a sheet of paper, or the incoming one rolls out over it.";

    enum class Direction : std::int32_t { Left, Right, Down, Up };
    enum class Type : std::int32_t { RollUp, RollBack };

    Direction dir = Direction::Right;
    Type type = Type::RollUp;
    std::uint32_t size = 100;

    Direction GetDir() const { return dir; }
    Type GetType() const { return type; }
    std::uint32_t GetSize() const { return size; }

    static std::vector<Field> DeclareFields() {
        constexpr double kLargest = 600.0;
        return {Declare<&This::dir>({{Direction::Left, "left"},
                                     {Direction::Right, "right"},
                                     {Direction::Down, "down"},
                                     {Direction::Up, "up"}},
                                    "where the roll moves to"),
                Declare<&This::type>({{Type::RollUp, "roll-up"}, {Type::RollBack, "roll-back"}},
                                     "roll the outgoing picture up, or the incoming one out over it", Outside::Defined),
                Declare<&This::size>(0.0, kLargest, "thickness of the roll; 0: none")};
    }
};

struct SettingsTransitionLens final : SettingsOf<SettingsTransitionLens> {
    static inline std::string const CLASS_ID = "TransitionLens";
    static constexpr std::string_view SUMMARY =
        "The incoming picture opens as a disc that draws the outgoing one into its middle.";

    enum class Type : std::int32_t { BottomLeft, TopLeft, Centre };

    Type type = Type::Centre;

    Type GetType() const { return type; }

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::type>(
            {{Type::BottomLeft, "bottom-left"}, {Type::TopLeft, "top-left"}, {Type::Centre, "centre"}},
            "where the incoming picture opens")};
    }
};

struct SettingsTransitionSpin final : SettingsOf<SettingsTransitionSpin> {
    static inline std::string const CLASS_ID = "TransitionSpin";
    static constexpr std::string_view SUMMARY =
        "One picture turns about the centre while it grows over the other, or shrinks away.";

    enum class Mode : std::int32_t { In, Out };

    Mode mode = Mode::In;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::mode>({{Mode::In, "in"}, {Mode::Out, "out"}},
                                     "the incoming picture spins in, or the outgoing one spins out", Outside::Defined)};
    }
};

struct SettingsTransitionKenBurns final : SettingsOf<SettingsTransitionKenBurns> {
    static inline std::string const CLASS_ID = "TransitionKenBurns";
    static constexpr std::string_view SUMMARY =
        "Both pictures move slowly, panning and zooming, while they dissolve into each other.";

    float fade = 0.5F;
    float zoom = 0.5F;
    Reals8 direction{-1, -1, 1, -1, 1, 1, -1, 1};

    float GetFade() const { return fade; }
    float GetZoom() const { return zoom; }
    Reals8 const& GetDirection() const { return direction; }

    static std::vector<Field> DeclareFields() {
        constexpr double kFarthest = 10.0;
        return {
            Declare<&This::fade>(0.0, 1.0, "part of the transition, around its middle, in which the pictures dissolve",
                                 Outside::Defined),
            Declare<&This::zoom>(0.0, kFarthest, "how far the corners move along their directions"),
            Declare<&This::direction>(
                -kFarthest, kFarthest,
                "x and y of each corner's motion, in half pictures: bottom left, bottom right, top right, top left")};
    }
};

struct SettingsTransitionSlide final : SettingsOf<SettingsTransitionSlide> {
    static inline std::string const CLASS_ID = "TransitionSlide";
    static constexpr std::string_view SUMMARY =
        "The incoming picture slides in over the outgoing one, from an edge or a corner.";

    enum class Direction : std::int32_t {
        FromLeft,
        None,
        Stretched,
        FromBottom,
        FromBottomLeft,
        FromBottomRight,
        FromTopLeft,
        FromTopRight
    };

    Direction direction = Direction::FromLeft;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::direction>(
            {{Direction::FromLeft, "from-left"},
             {Direction::None, "none"},
             {Direction::Stretched, "stretched"},
             {Direction::FromBottom, "from-bottom"},
             {Direction::FromBottomLeft, "from-bottom-left"},
             {Direction::FromBottomRight, "from-bottom-right"},
             {Direction::FromTopLeft, "from-top-left"},
             {Direction::FromTopRight, "from-top-right"}},
            "where the incoming picture enters; none: nowhere; stretched: it covers the frame and sinks",
            Outside::Defined)};
    }
};

struct SettingsTransitionRippleSmooth final : SettingsOf<SettingsTransitionRippleSmooth> {
    static inline std::string const CLASS_ID = "TransitionRippleSmooth";
    static constexpr std::string_view SUMMARY =
        "The pictures dissolve into each other while both ripple in rings around the centre.";

    std::int32_t freq = 50;
    std::int32_t ampl = 20;

    std::int32_t GetFreq() const { return freq; }
    std::int32_t GetAmpl() const { return ampl; }

    static std::vector<Field> DeclareFields() {
        constexpr double kFinest = 1000.0;
        constexpr double kStrongest = 200.0;
        return {Declare<&This::freq>(0.0, kFinest, "five times the number of waves across the picture's longer side"),
                Declare<&This::ampl>(0.0, kStrongest, "strength of the waves")};
    }
};

struct SettingsTransitionRipple final : SettingsOf<SettingsTransitionRipple> {
    static inline std::string const CLASS_ID = "TransitionRipple";
    static constexpr std::string_view SUMMARY =
        "A drop falls and a ring of waves runs outwards, leaving the incoming picture behind.";

    double x = 0.5;
    double y = 0.5;
    std::int32_t freq = 30;
    std::int32_t ampl = 30;
    double width = 0.25;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::x>(0.0, 1.0, "where the drop falls, from the left"),
                Declare<&This::y>(0.0, 1.0, "where the drop falls, from the bottom"),
                Declare<&This::freq>(1, 200, "how close the waves of the ring are"),
                Declare<&This::ampl>(0, 200, "height of the waves"),
                Declare<&This::width>(0.01, 1.0, "width of the ring")};
    }
};

struct SettingsTransitionSmear final : SettingsOf<SettingsTransitionSmear> {
    static inline std::string const CLASS_ID = "TransitionSmear";
    static constexpr std::string_view SUMMARY =
        "The outgoing picture is drawn out like wet paint while the incoming one is wiped in.";

    double angle = 0.0;
    double strength = 0.5;
    double softness = 0.2;

    static std::vector<Field> DeclareFields() {
        return {
            Declare<&This::angle>(-180.0, 180.0, "direction of the strokes, degrees counter-clockwise from the right"),
            Declare<&This::strength>(0.0, 1.0, "how far the paint is drawn out"),
            Declare<&This::softness>(0.01, 1.0, "softness of the border between the pictures")};
    }
};

}  // namespace Kaltor::Proc
