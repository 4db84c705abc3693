#pragma once

#include "Proc/Settings/Settings.h"

namespace Kaltor::Proc {

class SettingsTransitionPush final : public SettingsOf<SettingsTransitionPush> {
public:
    static inline std::string const CLASS_ID = "TransitionPush";
    static constexpr std::string_view SUMMARY =
        "The incoming picture pushes the outgoing one off the screen, edge to edge.";

    std::int32_t GetDir() const { return dir; }
    void SetDir(std::int32_t value) { dir = value; }

    static std::vector<Field> DeclareFields() {
        return {DeclareChoice("dir", &SettingsTransitionPush::dir, {{0, "left"}, {1, "right"}, {2, "up"}, {3, "down"}},
                              "where both pictures move to")};
    }

private:
    std::int32_t dir = 0;
};

class SettingsTransitionScale final : public SettingsOf<SettingsTransitionScale> {
public:
    static inline std::string const CLASS_ID = "TransitionScale";
    static constexpr std::string_view SUMMARY =
        "The incoming picture grows from the centre, or the outgoing one shrinks into it.";

    std::int32_t GetType() const { return type; }
    void SetType(std::int32_t value) { type = value; }

    static std::vector<Field> DeclareFields() {
        return {DeclareChoice("type", &SettingsTransitionScale::type, {{0, "grow-incoming"}, {1, "shrink-outgoing"}},
                              "which picture changes its size")};
    }

private:
    std::int32_t type = 0;
};

class SettingsTransitionZoom final : public SettingsOf<SettingsTransitionZoom> {
public:
    static inline std::string const CLASS_ID = "TransitionZoom";
    static constexpr std::string_view SUMMARY =
        "Zooms into the outgoing picture or out of the incoming one while they change over.";

    std::int32_t GetType() const { return type; }
    void SetType(std::int32_t value) { type = value; }

    static std::vector<Field> DeclareFields() {
        return {DeclareChoice("type", &SettingsTransitionZoom::type, {{0, "in"}, {1, "out"}, {2, "through"}},
                              "zoom into the outgoing picture, out of the incoming one, or both")};
    }

private:
    std::int32_t type = 2;
};

class SettingsTransitionRoll final : public SettingsOf<SettingsTransitionRoll> {
public:
    static inline std::string const CLASS_ID = "TransitionRoll";
    static constexpr std::string_view SUMMARY =
        "The outgoing picture rolls up like a sheet of paper, or the incoming one rolls out over it.";

    std::int32_t GetDir() const { return dir; }
    void SetDir(std::int32_t value) { dir = value; }
    std::int32_t GetType() const { return type; }
    void SetType(std::int32_t value) { type = value; }
    std::uint32_t GetSize() const { return size; }
    void SetSize(std::uint32_t value) { size = value; }

    static std::vector<Field> DeclareFields() {
        constexpr double kLargest = 600.0;
        return {DeclareChoice("dir", &SettingsTransitionRoll::dir, {{0, "left"}, {1, "right"}, {2, "down"}, {3, "up"}},
                              "where the roll moves to"),
                DeclareChoice("type", &SettingsTransitionRoll::type, {{0, "roll-up"}, {1, "roll-back"}},
                              "roll the outgoing picture up, or the incoming one out over it"),
                Declare("size", &SettingsTransitionRoll::size, 0.0, kLargest, "thickness of the roll; 0: none")};
    }

private:
    std::int32_t dir = 1;
    std::int32_t type = 0;
    std::uint32_t size = 100;
};

class SettingsTransitionLens final : public SettingsOf<SettingsTransitionLens> {
public:
    static inline std::string const CLASS_ID = "TransitionLens";
    static constexpr std::string_view SUMMARY =
        "The incoming picture opens as a disc that draws the outgoing one into its middle.";

    std::int32_t GetType() const { return type; }
    void SetType(std::int32_t value) { type = value; }

    static std::vector<Field> DeclareFields() {
        return {DeclareChoice("type", &SettingsTransitionLens::type,
                              {{0, "bottom-left"}, {1, "top-left"}, {2, "centre"}},
                              "where the incoming picture opens")};
    }

private:
    std::int32_t type = 2;
};

class SettingsTransitionSpin final : public SettingsOf<SettingsTransitionSpin> {
public:
    static inline std::string const CLASS_ID = "TransitionSpin";
    static constexpr std::string_view SUMMARY =
        "One picture turns about the centre while it grows over the other, or shrinks away.";

    std::int32_t GetMode() const { return mode; }
    void SetMode(std::int32_t value) { mode = value; }

    static std::vector<Field> DeclareFields() {
        return {DeclareChoice("mode", &SettingsTransitionSpin::mode, {{0, "in"}, {1, "out"}},
                              "the incoming picture spins in, or the outgoing one spins out")};
    }

private:
    std::int32_t mode = 0;
};

class SettingsTransitionKenBurns final : public SettingsOf<SettingsTransitionKenBurns> {
public:
    static inline std::string const CLASS_ID = "TransitionKenBurns";
    static constexpr std::string_view SUMMARY =
        "Both pictures move slowly, panning and zooming, while they dissolve into each other.";

    float GetFade() const { return fade; }
    void SetFade(float value) { fade = value; }
    float GetZoom() const { return zoom; }
    void SetZoom(float value) { zoom = value; }
    Reals8 const& GetDirection() const { return direction; }
    void SetDirection(Reals8 const& value) { direction = value; }

    static std::vector<Field> DeclareFields() {
        constexpr double kFarthest = 10.0;
        return {
            Declare("fade", &SettingsTransitionKenBurns::fade, 0.0, 1.0,
                    "part of the transition, around its middle, in which the pictures dissolve"),
            Declare("zoom", &SettingsTransitionKenBurns::zoom, 0.0, kFarthest,
                    "how far the corners move along their directions"),
            Declare("direction", &SettingsTransitionKenBurns::direction, -kFarthest, kFarthest,
                    "x and y of each corner's way in half pictures: bottom left, bottom right, top right, top left")};
    }

private:
    float fade = 0.5F;
    float zoom = 0.5F;
    Reals8 direction{-1, -1, 1, -1, 1, 1, -1, 1};
};

class SettingsTransitionSlide final : public SettingsOf<SettingsTransitionSlide> {
public:
    static inline std::string const CLASS_ID = "TransitionSlide";
    static constexpr std::string_view SUMMARY =
        "The incoming picture slides in over the outgoing one, from an edge or a corner.";

    std::int32_t GetDirection() const { return direction; }
    void SetDirection(std::int32_t value) { direction = value; }

    static std::vector<Field> DeclareFields() {
        return {DeclareChoice("direction", &SettingsTransitionSlide::direction,
                              {{0, "from-left"},
                               {1, "none"},
                               {2, "stretched"},
                               {3, "from-bottom"},
                               {4, "from-bottom-left"},
                               {5, "from-bottom-right"},
                               {6, "from-top-left"},
                               {7, "from-top-right"}},
                              "where the incoming picture enters; none: nowhere; stretched: it is there and sinks")};
    }

private:
    std::int32_t direction = 0;
};

class SettingsTransitionRippleSmooth final : public SettingsOf<SettingsTransitionRippleSmooth> {
public:
    static inline std::string const CLASS_ID = "TransitionRippleSmooth";
    static constexpr std::string_view SUMMARY =
        "The pictures dissolve into each other while both ripple in rings around the centre.";

    std::int32_t GetFreq() const { return freq; }
    void SetFreq(std::int32_t value) { freq = value; }
    std::int32_t GetAmpl() const { return ampl; }
    void SetAmpl(std::int32_t value) { ampl = value; }

    static std::vector<Field> DeclareFields() {
        constexpr double kFinest = 1000.0;
        constexpr double kStrongest = 200.0;
        return {Declare("freq", &SettingsTransitionRippleSmooth::freq, 0.0, kFinest,
                        "five times the number of waves across the picture's longer side"),
                Declare("ampl", &SettingsTransitionRippleSmooth::ampl, 0.0, kStrongest, "strength of the waves")};
    }

private:
    std::int32_t freq = 50;
    std::int32_t ampl = 20;
};

class SettingsTransitionRipple final : public SettingsOf<SettingsTransitionRipple> {
public:
    static inline std::string const CLASS_ID = "TransitionRipple";
    static constexpr std::string_view SUMMARY =
        "A drop falls and a ring of waves runs outwards, leaving the incoming picture behind.";

    double GetX() const { return x; }
    void SetX(double value) { x = value; }
    double GetY() const { return y; }
    void SetY(double value) { y = value; }
    std::int32_t GetFreq() const { return freq; }
    void SetFreq(std::int32_t value) { freq = value; }
    std::int32_t GetAmpl() const { return ampl; }
    void SetAmpl(std::int32_t value) { ampl = value; }
    double GetWidth() const { return width; }
    void SetWidth(double value) { width = value; }

    static std::vector<Field> DeclareFields() {
        return {Declare("x", &SettingsTransitionRipple::x, 0.0, 1.0, "where the drop falls, from the left"),
                Declare("y", &SettingsTransitionRipple::y, 0.0, 1.0, "where the drop falls, from the bottom"),
                Declare("freq", &SettingsTransitionRipple::freq, 1, 200, "how close the waves of the ring are"),
                Declare("ampl", &SettingsTransitionRipple::ampl, 0, 200, "height of the waves"),
                Declare("width", &SettingsTransitionRipple::width, 0.01, 1.0, "width of the ring")};
    }

private:
    double x = 0.5;
    double y = 0.5;
    std::int32_t freq = 30;
    std::int32_t ampl = 30;
    double width = 0.25;
};

class SettingsTransitionSmear final : public SettingsOf<SettingsTransitionSmear> {
public:
    static inline std::string const CLASS_ID = "TransitionSmear";
    static constexpr std::string_view SUMMARY =
        "The outgoing picture is drawn out like wet paint while the incoming one is wiped in.";

    double GetAngle() const { return angle; }
    void SetAngle(double value) { angle = value; }
    double GetStrength() const { return strength; }
    void SetStrength(double value) { strength = value; }
    double GetSoftness() const { return softness; }
    void SetSoftness(double value) { softness = value; }

    static std::vector<Field> DeclareFields() {
        return {Declare("angle", &SettingsTransitionSmear::angle, -180.0, 180.0,
                        "direction of the strokes, degrees counter-clockwise from the right"),
                Declare("strength", &SettingsTransitionSmear::strength, 0.0, 1.0, "how far the paint is drawn out"),
                Declare("softness", &SettingsTransitionSmear::softness, 0.01, 1.0,
                        "softness of the border between the pictures")};
    }

private:
    double angle = 0.0;
    double strength = 0.5;
    double softness = 0.2;
};

}  // namespace Kaltor::Proc
