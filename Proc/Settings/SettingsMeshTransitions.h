#pragma once

#include "Proc/Settings/Settings.h"

namespace Kaltor::Proc {

class SettingsTransitionCube final : public SettingsOf<SettingsTransitionCube> {
public:
    static inline std::string const CLASS_ID = "TransitionCube";
    static constexpr std::string_view SUMMARY = "A cube with a picture on each of two faces makes a quarter turn.";

    static std::vector<Field> DeclareFields() { return {}; }
};

class SettingsTransitionPageturn final : public SettingsOf<SettingsTransitionPageturn> {
public:
    static inline std::string const CLASS_ID = "TransitionPageturn";
    static constexpr std::string_view SUMMARY = "The outgoing picture is turned like a page, from one of its corners.";

    std::int32_t GetDir() const { return dir; }
    void SetDir(std::int32_t value) { dir = value; }
    std::int32_t GetType() const { return type; }
    void SetType(std::int32_t value) { type = value; }

    static std::vector<Field> DeclareFields() {
        return {DeclareChoice(
                    "dir", &SettingsTransitionPageturn::dir,
                    {{0, "from-top-right"}, {1, "from-top-left"}, {2, "from-bottom-right"}, {3, "from-bottom-left"}},
                    "the corner of the page that lifts first"),
                DeclareChoice("type", &SettingsTransitionPageturn::type, {{0, "plain"}, {1, "tilted"}},
                              "tilted: both pictures shrink and tilt on the way")};
    }

private:
    std::int32_t dir = 0;
    std::int32_t type = 0;
};

class SettingsTransitionOrigamiValley final : public SettingsOf<SettingsTransitionOrigamiValley> {
public:
    static inline std::string const CLASS_ID = "TransitionOrigamiValley";
    static constexpr std::string_view SUMMARY =
        "The outgoing picture parts in the middle and the incoming one unfolds from a valley between.";

    static std::vector<Field> DeclareFields() { return {}; }
};

class SettingsTransitionOrigamiPleats final : public SettingsOf<SettingsTransitionOrigamiPleats> {
public:
    static inline std::string const CLASS_ID = "TransitionOrigamiPleats";
    static constexpr std::string_view SUMMARY =
        "The outgoing picture slides out and draws the incoming one in as a fan of pleats.";

    std::int32_t GetNum() const { return num; }
    void SetNum(std::int32_t value) { num = value; }
    std::int32_t GetDir() const { return dir; }
    void SetDir(std::int32_t value) { dir = value; }

    static std::vector<Field> DeclareFields() {
        return {Declare("num", &SettingsTransitionOrigamiPleats::num, 1, 1000, "number of pleats"),
                DeclareChoice("dir", &SettingsTransitionOrigamiPleats::dir, {{1, "right"}, {-1, "left"}},
                              "where the outgoing picture leaves to")};
    }

private:
    std::int32_t num = 6;
    std::int32_t dir = 1;
};

class SettingsTransitionOrigamiFlips final : public SettingsOf<SettingsTransitionOrigamiFlips> {
public:
    static inline std::string const CLASS_ID = "TransitionOrigamiFlips";
    static constexpr std::string_view SUMMARY =
        "Strips of the outgoing picture flip up one after the other and uncover the incoming one.";

    std::int32_t GetNum() const { return num; }
    void SetNum(std::int32_t value) { num = value; }

    static std::vector<Field> DeclareFields() {
        return {Declare("num", &SettingsTransitionOrigamiFlips::num, 1, 1000,
                        "number of strips; 1 shows the incoming picture only")};
    }

private:
    std::int32_t num = 6;
};

class SettingsTransitionShatter final : public SettingsOf<SettingsTransitionShatter> {
public:
    static inline std::string const CLASS_ID = "TransitionShatter";
    static constexpr std::string_view SUMMARY =
        "The outgoing picture breaks into shards that spin off over the incoming one.";

    std::int32_t GetNum() const { return num; }
    void SetNum(std::int32_t value) { num = value; }
    std::int32_t GetDir() const { return dir; }
    void SetDir(std::int32_t value) { dir = value; }

    static std::vector<Field> DeclareFields() {
        return {Declare("num", &SettingsTransitionShatter::num, 1, 200, "shards along half of the shorter side"),
                DeclareChoice("dir", &SettingsTransitionShatter::dir,
                              {{0, "burst"}, {1, "fall"}, {2, "rise"}, {3, "spin"}}, "where the shards fly")};
    }

private:
    std::int32_t num = 8;
    std::int32_t dir = 0;
};

class SettingsTransitionDisintegrate final : public SettingsOf<SettingsTransitionDisintegrate> {
public:
    static inline std::string const CLASS_ID = "TransitionDisintegrate";
    static constexpr std::string_view SUMMARY =
        "The outgoing picture falls apart into tiles that fly off from the centre and shrink.";

    std::uint32_t GetNum() const { return num; }
    void SetNum(std::uint32_t value) { num = value; }

    static std::vector<Field> DeclareFields() {
        return {Declare("num", &SettingsTransitionDisintegrate::num, 1, 1000, "tiles along half of the shorter side")};
    }

private:
    std::uint32_t num = 8;
};

class SettingsTransitionPieces final : public SettingsOf<SettingsTransitionPieces> {
public:
    static inline std::string const CLASS_ID = "TransitionPieces";
    static constexpr std::string_view SUMMARY =
        "The incoming picture comes in as nine pieces, from the edges and the corners.";

    static std::vector<Field> DeclareFields() { return {}; }
};

class SettingsTransitionWaterbrush final : public SettingsOf<SettingsTransitionWaterbrush> {
public:
    static inline std::string const CLASS_ID = "TransitionWaterbrush";
    static constexpr std::string_view SUMMARY =
        "A wide wet brush paints the incoming picture over the outgoing one, stroke by stroke.";

    std::int32_t GetType() const { return type; }
    void SetType(std::int32_t value) { type = value; }
    std::int32_t GetAngle() const { return angle; }
    void SetAngle(std::int32_t value) { angle = value; }
    std::int32_t GetSize() const { return size; }
    void SetSize(std::int32_t value) { size = value; }
    std::uint32_t GetRough() const { return rough; }
    void SetRough(std::uint32_t value) { rough = value; }

    static std::vector<Field> DeclareFields() {
        return {DeclareChoice("type", &SettingsTransitionWaterbrush::type, {{0, "plain"}, {1, "inset"}},
                              "strokes that go beyond the picture and are not all done, or that leave a narrow border"),
                Declare("angle", &SettingsTransitionWaterbrush::angle, -90, 90,
                        "direction of the strokes in degrees, 0 upright, counter-clockwise"),
                Declare("size", &SettingsTransitionWaterbrush::size, 1, 1000, "number of strokes"),
                Declare("rough", &SettingsTransitionWaterbrush::rough, 0, 100, "unevenness of the paint, percent")};
    }

private:
    std::int32_t type = 1;
    std::int32_t angle = 30;
    std::int32_t size = 12;
    std::uint32_t rough = 50;
};

class SettingsTransitionTwist final : public SettingsOf<SettingsTransitionTwist> {
public:
    static inline std::string const CLASS_ID = "TransitionTwist";
    static constexpr std::string_view SUMMARY =
        "The picture twists like a ribbon, strip after strip, to the incoming one on its back.";

    std::int32_t GetDir() const { return dir; }
    void SetDir(std::int32_t value) { dir = value; }
    std::int32_t GetTurns() const { return turns; }
    void SetTurns(std::int32_t value) { turns = value; }

    static std::vector<Field> DeclareFields() {
        return {DeclareChoice("dir", &SettingsTransitionTwist::dir,
                              {{0, "left-to-right"}, {1, "right-to-left"}, {2, "bottom-to-top"}, {3, "top-to-bottom"}},
                              "where the twist runs to"),
                Declare("turns", &SettingsTransitionTwist::turns, 1, 9,
                        "half turns; an even number counts as the next odd one")};
    }

private:
    std::int32_t dir = 0;
    std::int32_t turns = 1;
};

class SettingsTransitionPuzzle final : public SettingsOf<SettingsTransitionPuzzle> {
public:
    static inline std::string const CLASS_ID = "TransitionPuzzle";
    static constexpr std::string_view SUMMARY =
        "Jigsaw pieces lift off, turn and leave one after another, uncovering the incoming picture.";

    std::int32_t GetNum() const { return num; }
    void SetNum(std::int32_t value) { num = value; }
    std::int32_t GetDir() const { return dir; }
    void SetDir(std::int32_t value) { dir = value; }

    static std::vector<Field> DeclareFields() {
        return {Declare("num", &SettingsTransitionPuzzle::num, 1, 40, "pieces along the shorter side"),
                DeclareChoice("dir", &SettingsTransitionPuzzle::dir, {{0, "fall"}, {1, "scatter"}, {2, "rise"}},
                              "how the pieces leave")};
    }

private:
    std::int32_t num = 5;
    std::int32_t dir = 0;
};

class SettingsTransitionMosaic final : public SettingsOf<SettingsTransitionMosaic> {
public:
    static inline std::string const CLASS_ID = "TransitionMosaic";
    static constexpr std::string_view SUMMARY =
        "Tiles turn over in space in random order, with one picture on each side.";

    std::int32_t GetNum() const { return num; }
    void SetNum(std::int32_t value) { num = value; }
    std::int32_t GetAxis() const { return axis; }
    void SetAxis(std::int32_t value) { axis = value; }

    static std::vector<Field> DeclareFields() {
        return {Declare("num", &SettingsTransitionMosaic::num, 1, 100, "tiles along the shorter side"),
                DeclareChoice("axis", &SettingsTransitionMosaic::axis,
                              {{0, "horizontal"}, {1, "vertical"}, {2, "mixed"}}, "the axis that tiles turn about")};
    }

private:
    std::int32_t num = 8;
    std::int32_t axis = 0;
};

}  // namespace Kaltor::Proc
