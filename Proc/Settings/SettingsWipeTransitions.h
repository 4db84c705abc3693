#pragma once

#include "Proc/Settings/Settings.h"

namespace Kaltor::Proc {

class SettingsTransitionSnake final : public SettingsOf<SettingsTransitionSnake> {
public:
    static inline std::string const CLASS_ID = "TransitionSnake";
    static constexpr std::string_view SUMMARY =
        "The incoming picture runs along horizontal bands, to and fro, from the bottom up.";

    std::int32_t GetBands() const { return bands; }
    void SetBands(std::int32_t value) { bands = value; }
    std::int32_t GetSmoothness() const { return smoothness; }
    void SetSmoothness(std::int32_t value) { smoothness = value; }

    static std::vector<Field> DeclareFields() {
        return {Declare("bands", &SettingsTransitionSnake::bands, 0, 8,
                        "band exponent: 2, 4, 8, ... bands for 0, 1, 2, ..."),
                Declare("smoothness", &SettingsTransitionSnake::smoothness, 1, 100,
                        "length of the soft front, in sevenths of a band")};
    }

private:
    std::int32_t bands = 2;
    std::int32_t smoothness = 4;
};

class SettingsTransitionPinwheel final : public SettingsOf<SettingsTransitionPinwheel> {
public:
    static inline std::string const CLASS_ID = "TransitionPinwheel";
    static constexpr std::string_view SUMMARY = "The blades of a pinwheel fill with the incoming picture.";

    std::int32_t GetNum() const { return num; }
    void SetNum(std::int32_t value) { num = value; }
    std::int32_t GetFreq() const { return freq; }
    void SetFreq(std::int32_t value) { freq = value; }
    std::int32_t GetAmpl() const { return ampl; }
    void SetAmpl(std::int32_t value) { ampl = value; }
    std::int32_t GetSmoothness() const { return smoothness; }
    void SetSmoothness(std::int32_t value) { smoothness = value; }

    static std::vector<Field> DeclareFields() {
        return {Declare("num", &SettingsTransitionPinwheel::num, 1, 100, "number of blades"),
                Declare("freq", &SettingsTransitionPinwheel::freq, 0, 1000,
                        "how often the blades' edges wave between the centre and the rim"),
                Declare("ampl", &SettingsTransitionPinwheel::ampl, 0, 1000, "how far the edges wave"),
                Declare("smoothness", &SettingsTransitionPinwheel::smoothness, 1, 100,
                        "width of the soft edge in percent of a blade")};
    }

private:
    std::int32_t num = 6;
    std::int32_t freq = 20;
    std::int32_t ampl = 40;
    std::int32_t smoothness = 10;
};

class SettingsTransitionSpiral final : public SettingsOf<SettingsTransitionSpiral> {
public:
    static inline std::string const CLASS_ID = "TransitionSpiral";
    static constexpr std::string_view SUMMARY =
        "The incoming picture comes out in a growing disc that twists the outgoing one around it.";

    std::int32_t GetType() const { return type; }
    void SetType(std::int32_t value) { type = value; }

    static std::vector<Field> DeclareFields() {
        return {DeclareChoice("type", &SettingsTransitionSpiral::type,
                              {{0, "bottom-left"}, {1, "top-right"}, {2, "centre"}},
                              "where the incoming picture comes out")};
    }

private:
    std::int32_t type = 2;
};

class SettingsTransitionBlinds final : public SettingsOf<SettingsTransitionBlinds> {
public:
    static inline std::string const CLASS_ID = "TransitionBlinds";
    static constexpr std::string_view SUMMARY = "Blinds of the outgoing picture roll up and lay the incoming one bare.";

    std::int32_t GetCount() const { return count; }
    void SetCount(std::int32_t value) { count = value; }

    static std::vector<Field> DeclareFields() {
        return {
            Declare("count", &SettingsTransitionBlinds::count, 1, 100, "number of blinds; kept, but four are drawn")};
    }

private:
    std::int32_t count = 4;
};

/// A place in a picture as fractions of its sides, from the lower left.
struct RelativePoint {
    double x = 0.5;
    double y = 0.5;

    bool operator==(RelativePoint const&) const = default;
};

class SettingsTransitionCircle final : public SettingsOf<SettingsTransitionCircle> {
public:
    static inline std::string const CLASS_ID = "TransitionCircle";
    static constexpr std::string_view SUMMARY = "A soft-edged circle opens or closes on the incoming picture.";

    std::int32_t GetSense() const { return sense; }
    void SetSense(std::int32_t value) { sense = value; }
    /// Kept, but the circle is drawn around the middle.
    RelativePoint const& GetCenter() const { return center; }
    void SetCenter(RelativePoint const& value) { center = value; }

    static std::vector<Field> DeclareFields() {
        return {DeclareChoice("sense", &SettingsTransitionCircle::sense, {{0, "closing"}, {1, "opening"}},
                              "whether the circle shrinks over the outgoing picture or grows with the incoming one")};
    }

private:
    std::int32_t sense = 1;
    RelativePoint center;
};

class SettingsTransitionWipe final : public SettingsOf<SettingsTransitionWipe> {
public:
    static inline std::string const CLASS_ID = "TransitionWipe";
    static constexpr std::string_view SUMMARY =
        "A soft edge wipes the outgoing picture away, from a side, a corner or as a wedge.";

    std::int32_t GetWidth() const { return width; }
    void SetWidth(std::int32_t value) { width = value; }
    std::int32_t GetDirection() const { return direction; }
    void SetDirection(std::int32_t value) { direction = value; }

    static std::vector<Field> DeclareFields() {
        return {Declare("width", &SettingsTransitionWipe::width, 0, 4,
                        "width of the soft edge, from a fifth of the picture (0) to all of it (4)"),
                DeclareChoice("direction", &SettingsTransitionWipe::direction,
                              {{0, "down"},
                               {1, "up"},
                               {2, "left"},
                               {3, "right"},
                               {4, "from-top-right"},
                               {5, "from-bottom-right"},
                               {6, "from-top-left"},
                               {7, "from-bottom-left"},
                               {8, "wedge-from-left"},
                               {9, "wedge-from-right"}},
                              "where the edge moves to or comes from")};
    }

private:
    std::int32_t width = 0;
    std::int32_t direction = 3;
};

class SettingsTransitionRadial final : public SettingsOf<SettingsTransitionRadial> {
public:
    static inline std::string const CLASS_ID = "TransitionRadial";
    static constexpr std::string_view SUMMARY = "A clock's hand sweeps the incoming picture in, once around.";

    std::int32_t GetSense() const { return sense; }
    void SetSense(std::int32_t value) { sense = value; }

    static std::vector<Field> DeclareFields() {
        return {DeclareChoice("sense", &SettingsTransitionRadial::sense, {{0, "counter-clockwise"}, {1, "clockwise"}},
                              "how the clock's hand turns")};
    }

private:
    std::int32_t sense = 0;
};

class SettingsTransitionSlidingDoor final : public SettingsOf<SettingsTransitionSlidingDoor> {
public:
    static inline std::string const CLASS_ID = "TransitionSlidingDoor";
    static constexpr std::string_view SUMMARY =
        "A band grows from the middle line, and the incoming picture closes in on it from the edges.";

    std::int32_t GetOrientation() const { return orientation; }
    void SetOrientation(std::int32_t value) { orientation = value; }

    static std::vector<Field> DeclareFields() {
        return {DeclareChoice("orientation", &SettingsTransitionSlidingDoor::orientation,
                              {{0, "vertical-line"}, {1, "horizontal-line"}},
                              "the centre line that the band grows from")};
    }

private:
    std::int32_t orientation = 0;
};

class SettingsTransitionBarnDoor final : public SettingsOf<SettingsTransitionBarnDoor> {
public:
    static inline std::string const CLASS_ID = "TransitionBarnDoor";
    static constexpr std::string_view SUMMARY = "Doors with one of the pictures on them open or close over the other.";

    std::int32_t GetMode() const { return mode; }
    void SetMode(std::int32_t value) { mode = value; }

    static std::vector<Field> DeclareFields() {
        return {DeclareChoice("mode", &SettingsTransitionBarnDoor::mode,
                              {{0, "close-vertical"},
                               {1, "open-vertical"},
                               {2, "close-horizontal"},
                               {3, "open-horizontal"},
                               {4, "close-corners"},
                               {5, "open-corners"}},
                              "how the doors move, and whether the incoming picture closes or the outgoing one opens")};
    }

private:
    std::int32_t mode = 3;
};

class SettingsTransitionCross final : public SettingsOf<SettingsTransitionCross> {
public:
    static inline std::string const CLASS_ID = "TransitionCross";
    static constexpr std::string_view SUMMARY =
        "The outgoing picture is cut along its diagonals, and its four triangles fly apart.";

    bool GetScroll() const { return scroll; }
    void SetScroll(bool value) { scroll = value; }

    static std::vector<Field> DeclareFields() {
        return {Declare("scroll", &SettingsTransitionCross::scroll,
                        "whether the incoming picture scrolls in behind the pieces")};
    }

private:
    bool scroll = false;
};

class SettingsTransitionPixels final : public SettingsOf<SettingsTransitionPixels> {
public:
    static inline std::string const CLASS_ID = "TransitionPixels";
    static constexpr std::string_view SUMMARY =
        "Both pictures coarsen into large pixels and recover, or pixels change over one by one.";

    std::int32_t GetType() const { return type; }
    void SetType(std::int32_t value) { type = value; }
    std::int32_t GetNum() const { return num; }
    void SetNum(std::int32_t value) { num = value; }

    static std::vector<Field> DeclareFields() {
        return {DeclareChoice("type", &SettingsTransitionPixels::type, {{0, "coarsen"}, {1, "scatter"}},
                              "coarsen: pixels grow and recover; scatter: they change over one by one"),
                Declare("num", &SettingsTransitionPixels::num, 2, 1000, "pixels along the shorter side")};
    }

private:
    std::int32_t type = 0;
    std::int32_t num = 40;
};

class SettingsTransitionMatrix final : public SettingsOf<SettingsTransitionMatrix> {
public:
    static inline std::string const CLASS_ID = "TransitionMatrix";
    static constexpr std::string_view SUMMARY =
        "Columns of glowing glyphs run down, and where one has passed the incoming picture stays.";

    std::int32_t GetNum() const { return num; }
    void SetNum(std::int32_t value) { num = value; }
    Color const& GetColor() const { return color; }
    void SetColor(Color const& value) { color = value; }

    static std::vector<Field> DeclareFields() {
        return {Declare("num", &SettingsTransitionMatrix::num, 4, 400, "number of columns"),
                Declare("color", &SettingsTransitionMatrix::color, "colour of the falling glyphs")};
    }

private:
    std::int32_t num = 60;
    Color color{0x40, 0xFF, 0x60, 0xFF};
};

}  // namespace Kaltor::Proc
