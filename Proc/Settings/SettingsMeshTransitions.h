#pragma once

#include "Proc/Settings/Settings.h"

namespace Kaltor::Proc {

struct SettingsTransitionCube final : SettingsOf<SettingsTransitionCube> {
    static inline std::string const CLASS_ID = "TransitionCube";
    static constexpr std::string_view SUMMARY = "A cube with a picture on each of two faces makes a quarter turn.";

    static std::vector<Field> DeclareFields() { return {}; }
};

struct SettingsTransitionPageturn final : SettingsOf<SettingsTransitionPageturn> {
    static inline std::string const CLASS_ID = "TransitionPageturn";
    static constexpr std::string_view SUMMARY = "The outgoing picture is turned like a page, from one of its corners.";

    enum class Direction : std::int32_t { FromTopRight, FromTopLeft, FromBottomRight, FromBottomLeft };
    enum class Type : std::int32_t { Plain, Tilted };

    Direction dir = Direction::FromTopRight;
    Type type = Type::Plain;

    Direction GetDir() const { return dir; }
    Type GetType() const { return type; }

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::dir>({{Direction::FromTopRight, "from-top-right"},
                                     {Direction::FromTopLeft, "from-top-left"},
                                     {Direction::FromBottomRight, "from-bottom-right"},
                                     {Direction::FromBottomLeft, "from-bottom-left"}},
                                    "the corner of the page that lifts first", Outside::Defined),
                Declare<&This::type>({{Type::Plain, "plain"}, {Type::Tilted, "tilted"}},
                                     "tilted: both pictures shrink and tilt on the way", Outside::Defined)};
    }
};

struct SettingsTransitionOrigamiValley final : SettingsOf<SettingsTransitionOrigamiValley> {
    static inline std::string const CLASS_ID = "TransitionOrigamiValley";
    static constexpr std::string_view SUMMARY =
        "The outgoing picture parts in the middle, and the incoming one unfolds from a valley between its halves.";

    static std::vector<Field> DeclareFields() { return {}; }
};

struct SettingsTransitionOrigamiPleats final : SettingsOf<SettingsTransitionOrigamiPleats> {
    static inline std::string const CLASS_ID = "TransitionOrigamiPleats";
    static constexpr std::string_view SUMMARY =
        "The outgoing picture slides out and draws the incoming one in as a fan of pleats.";

    enum class Direction : std::int32_t { Right = 1, Left = -1 };

    std::int32_t num = 6;
    Direction dir = Direction::Right;

    std::int32_t GetNum() const { return num; }
    Direction GetDir() const { return dir; }

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::num>(1, 1000, "number of pleats"),
                Declare<&This::dir>({{Direction::Right, "right"}, {Direction::Left, "left"}},
                                    "where the outgoing picture moves to")};
    }
};

struct SettingsTransitionOrigamiFlips final : SettingsOf<SettingsTransitionOrigamiFlips> {
    static inline std::string const CLASS_ID = "TransitionOrigamiFlips";
    static constexpr std::string_view SUMMARY =
        "Strips of the outgoing picture flip up one after the other and uncover the incoming one.";

    std::int32_t num = 6;

    std::int32_t GetNum() const { return num; }

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::num>(1, 1000, "number of strips; 1 shows the incoming picture only")};
    }
};

struct SettingsTransitionShatter final : SettingsOf<SettingsTransitionShatter> {
    static inline std::string const CLASS_ID = "TransitionShatter";
    static constexpr std::string_view SUMMARY =
        "The outgoing picture breaks into shards that spin off over the incoming one.";
    static constexpr bool IS_RANDOM = true;

    enum class Direction : std::int32_t { Burst, Fall, Rise, Spin };

    std::int32_t num = 8;
    Direction dir = Direction::Burst;

    std::int32_t GetNum() const { return num; }
    Direction GetDir() const { return dir; }

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::num>(1, 200, "shards along half of the shorter side", Outside::Defined),
                Declare<&This::dir>({{Direction::Burst, "burst"},
                                     {Direction::Fall, "fall"},
                                     {Direction::Rise, "rise"},
                                     {Direction::Spin, "spin"}},
                                    "where the shards fly", Outside::Defined)};
    }
};

struct SettingsTransitionDisintegrate final : SettingsOf<SettingsTransitionDisintegrate> {
    static inline std::string const CLASS_ID = "TransitionDisintegrate";
    static constexpr std::string_view SUMMARY =
        "The outgoing picture falls apart into tiles that fly off from the centre and shrink.";

    std::uint32_t num = 8;

    std::uint32_t GetNum() const { return num; }

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::num>(1, 1000, "tiles along half of the shorter side", Outside::Defined)};
    }
};

struct SettingsTransitionPieces final : SettingsOf<SettingsTransitionPieces> {
    static inline std::string const CLASS_ID = "TransitionPieces";
    static constexpr std::string_view SUMMARY =
        "The incoming picture comes in as nine pieces, from the edges and the corners.";

    static std::vector<Field> DeclareFields() { return {}; }
};

struct SettingsTransitionWaterbrush final : SettingsOf<SettingsTransitionWaterbrush> {
    static inline std::string const CLASS_ID = "TransitionWaterbrush";
    static constexpr std::string_view SUMMARY =
        "A wide wet brush paints the incoming picture over the outgoing one, stroke by stroke.";
    static constexpr bool KEEPS_LAYOUT = true;

    enum class Type : std::int32_t { Plain, Inset };

    Type type = Type::Inset;
    std::int32_t angle = 30;
    std::int32_t size = 12;
    std::uint32_t rough = 50;

    Type GetType() const { return type; }
    std::int32_t GetAngle() const { return angle; }
    std::int32_t GetSize() const { return size; }
    std::uint32_t GetRough() const { return rough; }

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::type>(
                    {{Type::Plain, "plain"}, {Type::Inset, "inset"}},
                    "plain: strokes go beyond the picture and are not all done; inset: they leave a narrow border",
                    Outside::Defined),
                Declare<&This::angle>(-90, 90, "direction of the strokes, degrees counter-clockwise from upright"),
                Declare<&This::size>(1, 1000, "number of strokes", Outside::Defined),
                Declare<&This::rough>(0, 100, "unevenness of the paint, percent")};
    }
};

struct SettingsTransitionTwist final : SettingsOf<SettingsTransitionTwist> {
    static inline std::string const CLASS_ID = "TransitionTwist";
    static constexpr std::string_view SUMMARY =
        "The picture twists like a ribbon, strip after strip, to the incoming one on its back.";

    enum class Direction : std::int32_t { LeftToRight, RightToLeft, BottomToTop, TopToBottom };

    enum class Background : std::int32_t { Blurred, Black };

    Direction dir = Direction::LeftToRight;
    std::int32_t turns = 1;
    Background background = Background::Blurred;
    double thickness = 0.02;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::dir>({{Direction::LeftToRight, "left-to-right"},
                                     {Direction::RightToLeft, "right-to-left"},
                                     {Direction::BottomToTop, "bottom-to-top"},
                                     {Direction::TopToBottom, "top-to-bottom"}},
                                    "where the twist moves to"),
                Declare<&This::turns>(1, 9, "half turns; an even number counts as the next odd one"),
                Declare<&This::background>({{Background::Blurred, "blurred"}, {Background::Black, "black"}},
                                           "what is seen around the ribbon: the pictures blurred, or nothing"),
                Declare<&This::thickness>(0.0, 0.1, "thickness of the ribbon as a fraction of its width")};
    }
};

struct SettingsTransitionPuzzle final : SettingsOf<SettingsTransitionPuzzle> {
    static inline std::string const CLASS_ID = "TransitionPuzzle";
    static constexpr std::string_view SUMMARY =
        "Jigsaw pieces lift off, turn and leave one after another, uncovering the incoming picture.";
    static constexpr bool IS_RANDOM = true;

    enum class Direction : std::int32_t { Fall, Scatter, Rise };

    std::int32_t num = 5;
    Direction dir = Direction::Fall;

    static std::vector<Field> DeclareFields() {
        return {
            Declare<&This::num>(1, 40, "pieces along the shorter side"),
            Declare<&This::dir>({{Direction::Fall, "fall"}, {Direction::Scatter, "scatter"}, {Direction::Rise, "rise"}},
                                "how the pieces leave")};
    }
};

struct SettingsTransitionMosaic final : SettingsOf<SettingsTransitionMosaic> {
    static inline std::string const CLASS_ID = "TransitionMosaic";
    static constexpr std::string_view SUMMARY =
        "Tiles turn over in space one after the other, with one picture on each side.";
    static constexpr bool IS_RANDOM = true;

    enum class Axis : std::int32_t { Horizontal, Vertical, Mixed };
    enum class Order : std::int32_t { Random, Wave, Diagonal, Centre };
    enum class Background : std::int32_t { Blurred, Black };

    std::int32_t num = 8;
    Axis axis = Axis::Horizontal;
    Order order = Order::Diagonal;
    Background background = Background::Blurred;
    double thickness = 0.15;
    double shadow = 0.6;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::num>(1, 100, "tiles along the shorter side"),
                Declare<&This::axis>(
                    {{Axis::Horizontal, "horizontal"}, {Axis::Vertical, "vertical"}, {Axis::Mixed, "mixed"}},
                    "the axis that the tiles turn about"),
                Declare<&This::order>({{Order::Random, "random"},
                                       {Order::Wave, "wave"},
                                       {Order::Diagonal, "diagonal"},
                                       {Order::Centre, "centre"}},
                                      "the order in which they turn: by chance, or as a wave from the left, from the "
                                      "upper left or from the middle"),
                Declare<&This::background>({{Background::Blurred, "blurred"}, {Background::Black, "black"}},
                                           "what is seen behind tiles that turn: the pictures blurred, or nothing"),
                Declare<&This::thickness>(0.0, 0.5, "how thick the tiles are, as a share of their side"),
                Declare<&This::shadow>(0.0, 1.0, "how dark the shadow of a turning tile is on what is behind it")};
    }
};

}  // namespace Kaltor::Proc
