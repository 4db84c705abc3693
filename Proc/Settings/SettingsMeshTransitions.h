#pragma once

#include "Proc/Settings/Settings.h"

namespace Kaltor::Proc {

class SettingsTransitionCube final : public SettingsOf<SettingsTransitionCube> {
public:
    static inline std::string const CLASS_ID = "TransitionCube";

    static std::vector<Field> DeclareFields() { return {}; }
};

class SettingsTransitionPageturn final : public SettingsOf<SettingsTransitionPageturn> {
public:
    static inline std::string const CLASS_ID = "TransitionPageturn";

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

    static std::vector<Field> DeclareFields() { return {}; }
};

class SettingsTransitionOrigamiPleats final : public SettingsOf<SettingsTransitionOrigamiPleats> {
public:
    static inline std::string const CLASS_ID = "TransitionOrigamiPleats";

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

    std::int32_t GetNum() const { return num; }
    void SetNum(std::int32_t value) { num = value; }

    static std::vector<Field> DeclareFields() {
        return {Declare("num", &SettingsTransitionOrigamiFlips::num, 1, 1000, "number of strips")};
    }

private:
    std::int32_t num = 6;
};

class SettingsTransitionShatter final : public SettingsOf<SettingsTransitionShatter> {
public:
    static inline std::string const CLASS_ID = "TransitionShatter";

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

    static std::vector<Field> DeclareFields() { return {}; }
};

class SettingsTransitionWaterbrush final : public SettingsOf<SettingsTransitionWaterbrush> {
public:
    static inline std::string const CLASS_ID = "TransitionWaterbrush";

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
                              "strokes that go beyond the picture, or that leave a narrow border"),
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
