#pragma once

#include "Proc/Settings/Settings.h"

namespace Kaltor::Proc {

class SettingsEffectFlip final : public SettingsOf<SettingsEffectFlip> {
public:
    static inline std::string const CLASS_ID = "EffectFlip";
    static constexpr std::string_view SUMMARY = "Mirrors the picture left to right, top to bottom or both.";

    bool GetHorizontal() const { return horizontal; }
    void SetHorizontal(bool value) { horizontal = value; }
    bool GetVertical() const { return vertical; }
    void SetVertical(bool value) { vertical = value; }

    static std::vector<Field> DeclareFields() {
        return {Declare("horizontal", &SettingsEffectFlip::horizontal, "mirror left to right"),
                Declare("vertical", &SettingsEffectFlip::vertical, "mirror top to bottom")};
    }

private:
    bool horizontal = true;
    bool vertical = false;
};

class SettingsEffectFishEye final : public SettingsOf<SettingsEffectFishEye> {
public:
    static inline std::string const CLASS_ID = "EffectFishEye";
    static constexpr std::string_view SUMMARY = "Bends the picture as a fish-eye lens does, or the other way.";

    double GetScale() const { return scale; }
    void SetScale(double value) { scale = value; }
    double GetSign() const { return sign; }
    void SetSign(double value) { sign = value; }
    double GetStrength() const { return strength; }
    void SetStrength(double value) { strength = value; }
    double GetReferenceRadius() const { return referenceRadius; }
    void SetReferenceRadius(double value) { referenceRadius = value; }

    static std::vector<Field> DeclareFields() {
        constexpr double kLeastScale = 0.1;
        constexpr double kMostScale = 4.0;
        constexpr double kLeast = 0.01;
        constexpr double kStrongest = 100.0;
        constexpr double kLargestRadius = 2.0;
        return {Declare("scale", &SettingsEffectFishEye::scale, kLeastScale, kMostScale, "size of the lens's picture"),
                Declare("sign", &SettingsEffectFishEye::sign, -1.0, 1.0,
                        "above 0 the centre is expanded, else it is compressed"),
                Declare("strength", &SettingsEffectFishEye::strength, kLeast, kStrongest, "strength of the distortion"),
                Declare("referenceRadius", &SettingsEffectFishEye::referenceRadius, kLeast, kLargestRadius,
                        "distance from the centre that keeps its place at scale 1, in picture sides")};
    }

private:
    double scale = 1.0;
    double sign = 1.0;
    double strength = 3.0;
    double referenceRadius = 0.5;
};

class SettingsEffectTwirl final : public SettingsOf<SettingsEffectTwirl> {
public:
    static inline std::string const CLASS_ID = "EffectTwirl";
    static constexpr std::string_view SUMMARY =
        "Swirls the picture about its centre, more the farther out, to and fro.";

    double GetBaseRotation() const { return baseRotation; }
    void SetBaseRotation(double value) { baseRotation = value; }
    double GetWobbleRate() const { return wobbleRate; }
    void SetWobbleRate(double value) { wobbleRate = value; }
    double GetTwirlPhase() const { return twirlPhase; }
    void SetTwirlPhase(double value) { twirlPhase = value; }
    double GetTwirlRate() const { return twirlRate; }
    void SetTwirlRate(double value) { twirlRate = value; }

    static std::vector<Field> DeclareFields() {
        constexpr double kMostTurns = 10.0;
        constexpr double kFastest = 10.0;
        constexpr double kCycle = 4.0;
        return {Declare("baseRotation", &SettingsEffectTwirl::baseRotation, -kMostTurns, kMostTurns,
                        "constant rotation, turns"),
                Declare("wobbleRate", &SettingsEffectTwirl::wobbleRate, 0.0, kFastest,
                        "swings of the rotation to and fro, per second"),
                Declare("twirlPhase", &SettingsEffectTwirl::twirlPhase, 0.0, kCycle,
                        "where in its cycle of 4 the twirl begins"),
                Declare("twirlRate", &SettingsEffectTwirl::twirlRate, 0.0, kFastest, "cycles of the twirl per second")};
    }

private:
    double baseRotation = 0.0;
    double wobbleRate = 0.0;
    double twirlPhase = 0.0;
    double twirlRate = 0.25;
};

class SettingsEffectTranspose final : public SettingsOf<SettingsEffectTranspose> {
public:
    static inline std::string const CLASS_ID = "EffectTranspose";
    static constexpr std::string_view SUMMARY =
        "Turns the picture by a quarter turn or reflects it on a diagonal, pixel for pixel.";

    std::int32_t GetMode() const { return mode; }
    void SetMode(std::int32_t value) { mode = value; }

    static std::vector<Field> DeclareFields() {
        return {DeclareChoice("mode", &SettingsEffectTranspose::mode,
                              {{0, "main-diagonal"}, {1, "clockwise"}, {2, "counter-clockwise"}, {3, "other-diagonal"}},
                              "a quarter turn, or a reflection on a diagonal")};
    }

private:
    std::int32_t mode = 1;
};

class SettingsEffectVertigo final : public SettingsOf<SettingsEffectVertigo> {
public:
    static inline std::string const CLASS_ID = "EffectVertigo";
    static constexpr std::string_view SUMMARY =
        "Lets the picture sway while turned and zoomed ghosts of it circle around, as in dizziness.";

    double GetStrength() const { return strength; }
    void SetStrength(double value) { strength = value; }
    double GetSpeed() const { return speed; }
    void SetSpeed(double value) { speed = value; }
    std::int32_t GetGhosts() const { return ghosts; }
    void SetGhosts(std::int32_t value) { ghosts = value; }

    static std::vector<Field> DeclareFields() {
        return {Declare("strength", &SettingsEffectVertigo::strength, 0.0, 1.0,
                        "how far the ghosts reach and how strong they are"),
                Declare("speed", &SettingsEffectVertigo::speed, 0.0, 5.0, "turns a second"),
                Declare("ghosts", &SettingsEffectVertigo::ghosts, 1, 8, "how many trail behind")};
    }

private:
    double strength = 0.5;
    double speed = 0.5;
    std::int32_t ghosts = 4;
};

class SettingsEffectPanAndZoom final : public SettingsOf<SettingsEffectPanAndZoom> {
public:
    static inline std::string const CLASS_ID = "EffectPanAndZoom";
    static constexpr std::string_view SUMMARY = "Lets the camera glide from one view of the picture to another.";

    double GetStartX() const { return startX; }
    void SetStartX(double value) { startX = value; }
    double GetStartY() const { return startY; }
    void SetStartY(double value) { startY = value; }
    double GetStartZoom() const { return startZoom; }
    void SetStartZoom(double value) { startZoom = value; }
    double GetEndX() const { return endX; }
    void SetEndX(double value) { endX = value; }
    double GetEndY() const { return endY; }
    void SetEndY(double value) { endY = value; }
    double GetEndZoom() const { return endZoom; }
    void SetEndZoom(double value) { endZoom = value; }
    bool GetSmooth() const { return smooth; }
    void SetSmooth(bool value) { smooth = value; }

    static std::vector<Field> DeclareFields() {
        return {
            Declare("startX", &SettingsEffectPanAndZoom::startX, 0.0, 1.0, "centre of the first view from the left"),
            Declare("startY", &SettingsEffectPanAndZoom::startY, 0.0, 1.0, "centre of the first view from the bottom"),
            Declare("startZoom", &SettingsEffectPanAndZoom::startZoom, 0.1, 20.0, "magnification of the first view"),
            Declare("endX", &SettingsEffectPanAndZoom::endX, 0.0, 1.0, "centre of the last view from the left"),
            Declare("endY", &SettingsEffectPanAndZoom::endY, 0.0, 1.0, "centre of the last view from the bottom"),
            Declare("endZoom", &SettingsEffectPanAndZoom::endZoom, 0.1, 20.0, "magnification of the last view"),
            Declare("smooth", &SettingsEffectPanAndZoom::smooth, "eases in and out")};
    }

private:
    double startX = 0.5;
    double startY = 0.5;
    double startZoom = 1.0;
    double endX = 0.5;
    double endY = 0.5;
    double endZoom = 1.5;
    bool smooth = true;
};

class SettingsEffectZoom final : public SettingsOf<SettingsEffectZoom> {
public:
    static inline std::string const CLASS_ID = "EffectZoom";
    static constexpr std::string_view SUMMARY = "Enlarges or reduces the picture about a point.";

    double GetX() const { return x; }
    void SetX(double value) { x = value; }
    double GetY() const { return y; }
    void SetY(double value) { y = value; }
    double GetZoom() const { return zoom; }
    void SetZoom(double value) { zoom = value; }
    Color const& GetBackground() const { return background; }
    void SetBackground(Color const& value) { background = value; }

    static std::vector<Field> DeclareFields() {
        return {Declare("x", &SettingsEffectZoom::x, 0.0, 1.0, "the point that stays where it is, from the left"),
                Declare("y", &SettingsEffectZoom::y, 0.0, 1.0, "the point that stays where it is, from the bottom"),
                Declare("zoom", &SettingsEffectZoom::zoom, 0.1, 20.0, "magnification; below 1 the picture shrinks"),
                Declare("background", &SettingsEffectZoom::background,
                        "shows around a picture that is smaller than the frame")};
    }

private:
    double x = 0.5;
    double y = 0.5;
    double zoom = 1.5;
    Color background{0x00, 0x00, 0x00, 0xFF};
};

class SettingsEffectCameraShake final : public SettingsOf<SettingsEffectCameraShake> {
public:
    static inline std::string const CLASS_ID = "EffectCameraShake";
    static constexpr std::string_view SUMMARY =
        "Shakes the picture as a hand-held camera does, enlarged so that no border shows.";

    double GetAmplitude() const { return amplitude; }
    void SetAmplitude(double value) { amplitude = value; }
    double GetFrequency() const { return frequency; }
    void SetFrequency(double value) { frequency = value; }
    double GetRotation() const { return rotation; }
    void SetRotation(double value) { rotation = value; }

    static std::vector<Field> DeclareFields() {
        return {
            Declare("amplitude", &SettingsEffectCameraShake::amplitude, 0.0, 0.2,
                    "greatest shift as a fraction of the picture's larger side"),
            Declare("frequency", &SettingsEffectCameraShake::frequency, 0.1, 30.0, "how fast the hand trembles, Hz"),
            Declare("rotation", &SettingsEffectCameraShake::rotation, 0.0, 20.0, "greatest roll, degrees")};
    }

private:
    double amplitude = 0.01;
    double frequency = 3.0;
    double rotation = 0.5;
};

class SettingsEffectMirror final : public SettingsOf<SettingsEffectMirror> {
public:
    static inline std::string const CLASS_ID = "EffectMirror";
    static constexpr std::string_view SUMMARY = "Reflects one side of the picture onto the other.";

    std::int32_t GetAxis() const { return axis; }
    void SetAxis(std::int32_t value) { axis = value; }
    double GetPosition() const { return position; }
    void SetPosition(double value) { position = value; }

    static std::vector<Field> DeclareFields() {
        return {DeclareChoice("axis", &SettingsEffectMirror::axis,
                              {{0, "left-to-right"},
                               {1, "right-to-left"},
                               {2, "bottom-to-top"},
                               {3, "top-to-bottom"},
                               {4, "quarters"}},
                              "which side is reflected onto which; of the quarters, the upper left one is kept"),
                Declare("position", &SettingsEffectMirror::position, 0.01, 0.99,
                        "where the axis lies, from the left or from the bottom")};
    }

private:
    std::int32_t axis = 0;
    double position = 0.5;
};

class SettingsEffectSubFrame final : public SettingsOf<SettingsEffectSubFrame> {
public:
    static inline std::string const CLASS_ID = "EffectSubFrame";
    static constexpr std::string_view SUMMARY =
        "Shows the picture smaller inside its frame, over its own blur or a colour, with border and shadow.";

    double GetX() const { return x; }
    void SetX(double value) { x = value; }
    double GetY() const { return y; }
    void SetY(double value) { y = value; }
    double GetSize() const { return size; }
    void SetSize(double value) { size = value; }
    double GetBorder() const { return border; }
    void SetBorder(double value) { border = value; }
    Color const& GetBorderColor() const { return borderColor; }
    void SetBorderColor(Color const& value) { borderColor = value; }
    double GetShadow() const { return shadow; }
    void SetShadow(double value) { shadow = value; }
    std::int32_t GetBackground() const { return background; }
    void SetBackground(std::int32_t value) { background = value; }
    Color const& GetColor() const { return color; }
    void SetColor(Color const& value) { color = value; }

    static std::vector<Field> DeclareFields() {
        return {Declare("x", &SettingsEffectSubFrame::x, 0.0, 1.0, "centre of the small picture from the left"),
                Declare("y", &SettingsEffectSubFrame::y, 0.0, 1.0, "centre of the small picture from the bottom"),
                Declare("size", &SettingsEffectSubFrame::size, 0.05, 1.0,
                        "size of the small picture as a fraction of the frame"),
                Declare("border", &SettingsEffectSubFrame::border, 0.0, 0.1,
                        "width of the border as a fraction of the picture's larger side"),
                Declare("borderColor", &SettingsEffectSubFrame::borderColor, "colour of the border"),
                Declare("shadow", &SettingsEffectSubFrame::shadow, 0.0, 1.0, "darkness of the shadow"),
                DeclareChoice("background", &SettingsEffectSubFrame::background, {{0, "blurred"}, {1, "color"}},
                              "blurred: the picture itself, enlarged; color: one colour"),
                Declare("color", &SettingsEffectSubFrame::color, "colour of the background")};
    }

private:
    double x = 0.5;
    double y = 0.5;
    double size = 0.7;
    double border = 0.006;
    Color borderColor{0xFF, 0xFF, 0xFF, 0xFF};
    double shadow = 0.5;
    std::int32_t background = 0;
    Color color{0x20, 0x20, 0x20, 0xFF};
};

}  // namespace Kaltor::Proc
