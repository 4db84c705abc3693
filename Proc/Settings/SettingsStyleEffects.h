#pragma once

#include "Proc/Settings/Settings.h"

namespace Kaltor::Proc {

class SettingsEffectColorBrush final : public SettingsOf<SettingsEffectColorBrush> {
public:
    static inline std::string const CLASS_ID = "EffectColorBrush";
    static constexpr std::string_view SUMMARY =
        "Begins as a drawing of its edges on white and is painted in with brush strokes.";

    std::int32_t GetAngle() const { return angle; }
    void SetAngle(std::int32_t value) { angle = value; }
    std::int32_t GetSize() const { return size; }
    void SetSize(std::int32_t value) { size = value; }
    std::uint32_t GetRough() const { return rough; }
    void SetRough(std::uint32_t value) { rough = value; }

    static std::vector<Field> DeclareFields() {
        return {Declare("angle", &SettingsEffectColorBrush::angle, -90, 90, "direction of the strokes, degrees"),
                Declare("size", &SettingsEffectColorBrush::size, 1, 1000, "number of strokes"),
                Declare("rough", &SettingsEffectColorBrush::rough, 0, 100, "roughness of the strokes, percent")};
    }

private:
    std::int32_t angle = 30;
    std::int32_t size = 12;
    std::uint32_t rough = 50;
};

class SettingsEffectVHS final : public SettingsOf<SettingsEffectVHS> {
public:
    static inline std::string const CLASS_ID = "EffectVHS";
    static constexpr std::string_view SUMMARY = "Plays the picture from a worn video tape.";

    double GetStrength() const { return strength; }
    void SetStrength(double value) { strength = value; }
    double GetNoise() const { return noise; }
    void SetNoise(double value) { noise = value; }
    double GetTracking() const { return tracking; }
    void SetTracking(double value) { tracking = value; }
    double GetScanlines() const { return scanlines; }
    void SetScanlines(double value) { scanlines = value; }

    static std::vector<Field> DeclareFields() {
        return {Declare("strength", &SettingsEffectVHS::strength, 0.0, 1.0,
                        "smear and shift of the colours, jitter of the lines, soft detail"),
                Declare("noise", &SettingsEffectVHS::noise, 0.0, 1.0, "noise and drop-outs"),
                Declare("tracking", &SettingsEffectVHS::tracking, 0.0, 1.0,
                        "the drifting band and the head-switching noise at the bottom"),
                Declare("scanlines", &SettingsEffectVHS::scanlines, 0.0, 1.0, "how dark the gaps between lines are")};
    }

private:
    double strength = 0.6;
    double noise = 0.4;
    double tracking = 0.4;
    double scanlines = 0.3;
};

class SettingsEffectStripes final : public SettingsOf<SettingsEffectStripes> {
public:
    static inline std::string const CLASS_ID = "EffectStripes";
    static constexpr std::string_view SUMMARY =
        "Lays coloured stripes over the picture, at an angle and adrift if wanted.";

    double GetAngle() const { return angle; }
    void SetAngle(double value) { angle = value; }
    std::int32_t GetCount() const { return count; }
    void SetCount(std::int32_t value) { count = value; }
    double GetFill() const { return fill; }
    void SetFill(double value) { fill = value; }
    Color const& GetColor() const { return color; }
    void SetColor(Color const& value) { color = value; }
    double GetSoftness() const { return softness; }
    void SetSoftness(double value) { softness = value; }
    double GetSpeed() const { return speed; }
    void SetSpeed(double value) { speed = value; }

    static std::vector<Field> DeclareFields() {
        return {
            Declare("angle", &SettingsEffectStripes::angle, -180.0, 180.0,
                    "direction of the stripes, degrees counter-clockwise"),
            Declare("count", &SettingsEffectStripes::count, 1, 500, "stripes across the diagonal"),
            Declare("fill", &SettingsEffectStripes::fill, 0.0, 1.0, "share of the picture that is covered"),
            Declare("color", &SettingsEffectStripes::color, "colour of the stripes; its alpha is how much they cover"),
            Declare("softness", &SettingsEffectStripes::softness, 0.0, 1.0,
                    "softness of their edges: the part of the narrower of stripe and gap that is graded"),
            Declare("speed", &SettingsEffectStripes::speed, -10.0, 10.0,
                    "drift, stripes a second; level stripes go up, upright ones left")};
    }

private:
    double angle = 45.0;
    std::int32_t count = 12;
    double fill = 0.5;
    Color color{0xFF, 0xFF, 0xFF, 0x80};
    double softness = 0.02;
    double speed = 0.0;
};

class SettingsEffectFlyingObjects final : public SettingsOf<SettingsEffectFlyingObjects> {
public:
    static inline std::string const CLASS_ID = "EffectFlyingObjects";
    static constexpr std::string_view SUMMARY =
        "Lets snow, leaves, petals, hearts, stars, bubbles or confetti drift over the picture.";

    std::int32_t GetMoveDirection() const { return moveDirection; }
    void SetMoveDirection(std::int32_t value) { moveDirection = value; }
    std::int32_t GetKind() const { return kind; }
    void SetKind(std::int32_t value) { kind = value; }
    std::int32_t GetCount() const { return count; }
    void SetCount(std::int32_t value) { count = value; }
    double GetSize() const { return size; }
    void SetSize(double value) { size = value; }
    double GetSpeed() const { return speed; }
    void SetSpeed(double value) { speed = value; }
    Color const& GetColor() const { return color; }
    void SetColor(Color const& value) { color = value; }

    static std::vector<Field> DeclareFields() {
        return {DeclareChoice("moveDirection", &SettingsEffectFlyingObjects::moveDirection,
                              {{0, "down"}, {1, "up"}, {2, "left"}, {3, "right"}}, "where the objects drift to"),
                DeclareChoice("kind", &SettingsEffectFlyingObjects::kind,
                              {{0, "snow"},
                               {1, "leaves"},
                               {2, "petals"},
                               {3, "hearts"},
                               {4, "stars"},
                               {5, "bubbles"},
                               {6, "confetti"}},
                              "what flies"),
                Declare("count", &SettingsEffectFlyingObjects::count, 1, 2000, "how many objects"),
                Declare("size", &SettingsEffectFlyingObjects::size, 0.002, 0.3,
                        "size of a near object as a fraction of the picture's larger side"),
                Declare("speed", &SettingsEffectFlyingObjects::speed, 0.0, 5.0, "frame heights a second"),
                Declare("color", &SettingsEffectFlyingObjects::color,
                        "tint of the objects; its alpha is how much they cover")};
    }

private:
    std::int32_t moveDirection = 0;
    std::int32_t kind = 0;
    std::int32_t count = 80;
    double size = 0.03;
    double speed = 0.2;
    Color color{0xFF, 0xFF, 0xFF, 0xE0};
};

class SettingsEffectAddNoize final : public SettingsOf<SettingsEffectAddNoize> {
public:
    static inline std::string const CLASS_ID = "EffectAddNoize";
    static constexpr std::string_view SUMMARY = "Adds grain, as on film.";

    double GetStrength() const { return strength; }
    void SetStrength(double value) { strength = value; }
    double GetSize() const { return size; }
    void SetSize(double value) { size = value; }
    bool GetMonochrome() const { return monochrome; }
    void SetMonochrome(bool value) { monochrome = value; }
    bool GetAnimated() const { return animated; }
    void SetAnimated(bool value) { animated = value; }

    static std::vector<Field> DeclareFields() {
        return {Declare("strength", &SettingsEffectAddNoize::strength, 0.0, 1.0, "how strong the grain is"),
                Declare("size", &SettingsEffectAddNoize::size, 0.0003, 0.02,
                        "size of a grain as a fraction of the picture's larger side"),
                Declare("monochrome", &SettingsEffectAddNoize::monochrome, "grey grain; otherwise coloured"),
                Declare("animated", &SettingsEffectAddNoize::animated, "the grain moves")};
    }

private:
    double strength = 0.15;
    double size = 0.0008;
    bool monochrome = true;
    bool animated = true;
};

class SettingsEffectRetroArtefacts final : public SettingsOf<SettingsEffectRetroArtefacts> {
public:
    static inline std::string const CLASS_ID = "EffectRetroArtefacts";
    static constexpr std::string_view SUMMARY =
        "Plays the picture from an old film, with scratches, dust, hairs, flicker and weave.";

    double GetScratches() const { return scratches; }
    void SetScratches(double value) { scratches = value; }
    double GetDust() const { return dust; }
    void SetDust(double value) { dust = value; }
    double GetFlicker() const { return flicker; }
    void SetFlicker(double value) { flicker = value; }
    double GetWeave() const { return weave; }
    void SetWeave(double value) { weave = value; }
    double GetVignette() const { return vignette; }
    void SetVignette(double value) { vignette = value; }
    double GetGrain() const { return grain; }
    void SetGrain(double value) { grain = value; }
    double GetRate() const { return rate; }
    void SetRate(double value) { rate = value; }

    static std::vector<Field> DeclareFields() {
        return {Declare("scratches", &SettingsEffectRetroArtefacts::scratches, 0.0, 1.0, "vertical scratches"),
                Declare("dust", &SettingsEffectRetroArtefacts::dust, 0.0, 1.0, "specks of dust and hairs"),
                Declare("flicker", &SettingsEffectRetroArtefacts::flicker, 0.0, 1.0, "unsteady brightness"),
                Declare("weave", &SettingsEffectRetroArtefacts::weave, 0.0, 1.0, "unsteady position in the gate"),
                Declare("vignette", &SettingsEffectRetroArtefacts::vignette, 0.0, 1.0, "dark corners"),
                Declare("grain", &SettingsEffectRetroArtefacts::grain, 0.0, 1.0, "film grain"),
                Declare("rate", &SettingsEffectRetroArtefacts::rate, 1.0, 60.0, "the film's own frame rate, Hz")};
    }

private:
    double scratches = 0.5;
    double dust = 0.5;
    double flicker = 0.5;
    double weave = 0.5;
    double vignette = 0.5;
    double grain = 0.5;
    double rate = 16.0;
};

class SettingsEffectFilmStrip final : public SettingsOf<SettingsEffectFilmStrip> {
public:
    static inline std::string const CLASS_ID = "EffectFilmStrip";
    static constexpr std::string_view SUMMARY = "Runs the picture through the frame on a strip of film.";

    std::int32_t GetDirection() const { return direction; }
    void SetDirection(std::int32_t value) { direction = value; }
    double GetSpeed() const { return speed; }
    void SetSpeed(double value) { speed = value; }
    double GetSize() const { return size; }
    void SetSize(double value) { size = value; }
    Color const& GetColor() const { return color; }
    void SetColor(Color const& value) { color = value; }

    static std::vector<Field> DeclareFields() {
        return {DeclareChoice("direction", &SettingsEffectFilmStrip::direction,
                              {{0, "up"}, {1, "down"}, {2, "left"}, {3, "right"}}, "where the strip runs to"),
                Declare("speed", &SettingsEffectFilmStrip::speed, 0.0, 5.0, "pictures a second"),
                Declare("size", &SettingsEffectFilmStrip::size, 0.2, 1.0,
                        "a picture on the strip as a fraction of the frame"),
                Declare("color", &SettingsEffectFilmStrip::color, "colour of the film")};
    }

private:
    std::int32_t direction = 0;
    double speed = 0.25;
    double size = 0.7;
    Color color{0x10, 0x10, 0x10, 0xFF};
};

}  // namespace Kaltor::Proc
