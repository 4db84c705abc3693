#pragma once

#include "Proc/Settings/Settings.h"

namespace Kaltor::Proc {

class SettingsEffectBlurGaussian final : public SettingsOf<SettingsEffectBlurGaussian> {
public:
    static inline std::string const CLASS_ID = "EffectBlurGaussian";
    static constexpr std::string_view SUMMARY = "Blurs the picture evenly.";

    double GetScale() const { return scale; }
    void SetScale(double value) { scale = value; }

    static std::vector<Field> DeclareFields() {
        return {Declare("scale", &SettingsEffectBlurGaussian::scale, 0.0, 1.0,
                        "blur radius as a fraction of the picture's larger side")};
    }

private:
    double scale = 0.01;
};

class SettingsEffectTiltShiftQEL final : public SettingsOf<SettingsEffectTiltShiftQEL> {
public:
    static inline std::string const CLASS_ID = "EffectTiltShiftQEL";
    static constexpr std::string_view SUMMARY =
        "Makes a miniature: a band stays sharp, all else blurs away in livelier colours.";

    double GetPosition() const { return position; }
    void SetPosition(double value) { position = value; }
    double GetSize() const { return size; }
    void SetSize(double value) { size = value; }
    double GetFeather() const { return feather; }
    void SetFeather(double value) { feather = value; }
    double GetAngle() const { return angle; }
    void SetAngle(double value) { angle = value; }
    double GetBlur() const { return blur; }
    void SetBlur(double value) { blur = value; }
    double GetSaturation() const { return saturation; }
    void SetSaturation(double value) { saturation = value; }

    static std::vector<Field> DeclareFields() {
        return {Declare("position", &SettingsEffectTiltShiftQEL::position, 0.0, 1.0,
                        "where the sharp band lies along its normal, 0.5 in the middle"),
                Declare("size", &SettingsEffectTiltShiftQEL::size, 0.0, 1.0,
                        "width of the sharp band as a fraction of the picture"),
                Declare("feather", &SettingsEffectTiltShiftQEL::feather, 0.0, 1.0,
                        "width of the way from sharp to fully blurred"),
                Declare("angle", &SettingsEffectTiltShiftQEL::angle, -90.0, 90.0,
                        "how far the band is turned counter-clockwise, degrees"),
                Declare("blur", &SettingsEffectTiltShiftQEL::blur, 0.0, 0.2,
                        "blur radius away from the band as a fraction of the picture's larger side"),
                Declare("saturation", &SettingsEffectTiltShiftQEL::saturation, 0.0, 2.0,
                        "liveliness of the colours; 1 leaves them")};
    }

private:
    double position = 0.5;
    double size = 0.2;
    double feather = 0.25;
    double angle = 0.0;
    double blur = 0.02;
    double saturation = 1.2;
};

class SettingsEffectErosion final : public SettingsOf<SettingsEffectErosion> {
public:
    static inline std::string const CLASS_ID = "EffectErosion";
    static constexpr std::string_view SUMMARY = "Lets dark areas grow over bright ones, or bright ones over dark.";

    std::int32_t GetMode() const { return mode; }
    void SetMode(std::int32_t value) { mode = value; }
    std::int32_t GetShape() const { return shape; }
    void SetShape(std::int32_t value) { shape = value; }
    double GetSize() const { return size; }
    void SetSize(double value) { size = value; }

    static std::vector<Field> DeclareFields() {
        return {DeclareChoice("mode", &SettingsEffectErosion::mode, {{0, "erosion"}, {1, "dilation"}},
                              "erosion: dark areas grow; dilation: bright ones"),
                DeclareChoice("shape", &SettingsEffectErosion::shape, {{0, "square"}, {1, "disc"}},
                              "the shape of the neighbourhood"),
                Declare("size", &SettingsEffectErosion::size, 0.0, 0.05,
                        "radius of the neighbourhood as a fraction of the picture's larger side")};
    }

private:
    std::int32_t mode = 0;
    std::int32_t shape = 0;
    double size = 0.004;
};

class SettingsEffectGlassMosaic final : public SettingsOf<SettingsEffectGlassMosaic> {
public:
    static inline std::string const CLASS_ID = "EffectGlassMosaic";
    static constexpr std::string_view SUMMARY =
        "Shows the picture through a wall of glass bricks, each a small lens with a bright rim.";

    std::int32_t GetCount() const { return count; }
    void SetCount(std::int32_t value) { count = value; }
    double GetStrength() const { return strength; }
    void SetStrength(double value) { strength = value; }
    double GetBevel() const { return bevel; }
    void SetBevel(double value) { bevel = value; }

    static std::vector<Field> DeclareFields() {
        return {Declare("count", &SettingsEffectGlassMosaic::count, 2, 200, "bricks along the shorter side"),
                Declare("strength", &SettingsEffectGlassMosaic::strength, 0.0, 1.0,
                        "how much each brick bends the picture"),
                Declare("bevel", &SettingsEffectGlassMosaic::bevel, 0.0, 1.0, "width and light of the rims")};
    }

private:
    std::int32_t count = 20;
    double strength = 0.5;
    double bevel = 0.5;
};

class SettingsEffectOilPaint final : public SettingsOf<SettingsEffectOilPaint> {
public:
    static inline std::string const CLASS_ID = "EffectOilPaint";
    static constexpr std::string_view SUMMARY =
        "Turns the picture into brush-like patches of even colour with crisp edges.";

    double GetSize() const { return size; }
    void SetSize(double value) { size = value; }
    double GetSharpness() const { return sharpness; }
    void SetSharpness(double value) { sharpness = value; }

    static std::vector<Field> DeclareFields() {
        return {Declare("size", &SettingsEffectOilPaint::size, 0.0, 0.03,
                        "radius of the brush as a fraction of the picture's larger side"),
                Declare("sharpness", &SettingsEffectOilPaint::sharpness, 1.0, 32.0,
                        "how crisp the borders between strokes are")};
    }

private:
    double size = 0.006;
    double sharpness = 8.0;
};

class SettingsEffectFindEdges final : public SettingsOf<SettingsEffectFindEdges> {
public:
    static inline std::string const CLASS_ID = "EffectFindEdges";
    static constexpr std::string_view SUMMARY = "Draws the edges of the picture as lines.";

    double GetStrength() const { return strength; }
    void SetStrength(double value) { strength = value; }
    double GetThreshold() const { return threshold; }
    void SetThreshold(double value) { threshold = value; }
    bool GetInverted() const { return inverted; }
    void SetInverted(bool value) { inverted = value; }
    bool GetColor() const { return color; }
    void SetColor(bool value) { color = value; }

    static std::vector<Field> DeclareFields() {
        return {
            Declare("strength", &SettingsEffectFindEdges::strength, 0.0, 10.0, "how dark or bright the lines are"),
            Declare("threshold", &SettingsEffectFindEdges::threshold, 0.0, 1.0, "gradients below this leave no line"),
            Declare("inverted", &SettingsEffectFindEdges::inverted,
                    "dark lines on white; otherwise bright ones on black"),
            Declare("color", &SettingsEffectFindEdges::color, "lines keep their colours")};
    }

private:
    double strength = 1.0;
    double threshold = 0.05;
    bool inverted = true;
    bool color = false;
};

class SettingsEffectMosaic final : public SettingsOf<SettingsEffectMosaic> {
public:
    static inline std::string const CLASS_ID = "EffectMosaic";
    static constexpr std::string_view SUMMARY = "Builds the picture from square or hexagonal blocks of even colour.";

    std::int32_t GetCount() const { return count; }
    void SetCount(std::int32_t value) { count = value; }
    std::int32_t GetShape() const { return shape; }
    void SetShape(std::int32_t value) { shape = value; }

    static std::vector<Field> DeclareFields() {
        return {Declare("count", &SettingsEffectMosaic::count, 1, 1000, "blocks along the shorter side"),
                DeclareChoice("shape", &SettingsEffectMosaic::shape, {{0, "square"}, {1, "hexagon"}},
                              "the shape of a block")};
    }

private:
    std::int32_t count = 40;
    std::int32_t shape = 0;
};

class SettingsEffectDiffuse final : public SettingsOf<SettingsEffectDiffuse> {
public:
    static inline std::string const CLASS_ID = "EffectDiffuse";
    static constexpr std::string_view SUMMARY = "Shows the picture through frosted glass.";

    double GetSize() const { return size; }
    void SetSize(double value) { size = value; }
    bool GetAnimated() const { return animated; }
    void SetAnimated(bool value) { animated = value; }

    static std::vector<Field> DeclareFields() {
        return {Declare("size", &SettingsEffectDiffuse::size, 0.0, 0.2,
                        "how far a pixel may come from, as a fraction of the picture's larger side"),
                Declare("animated", &SettingsEffectDiffuse::animated, "a new pattern every 1/25 s")};
    }

private:
    double size = 0.01;
    bool animated = false;
};

class SettingsEffectMask final : public SettingsOf<SettingsEffectMask> {
public:
    static inline std::string const CLASS_ID = "EffectMask";
    static constexpr std::string_view SUMMARY =
        "Blurs, fills or cuts out the inside or the outside of a soft-edged shape.";

    std::int32_t GetShape() const { return shape; }
    void SetShape(std::int32_t value) { shape = value; }
    double GetX() const { return x; }
    void SetX(double value) { x = value; }
    double GetY() const { return y; }
    void SetY(double value) { y = value; }
    double GetWidth() const { return width; }
    void SetWidth(double value) { width = value; }
    double GetHeight() const { return height; }
    void SetHeight(double value) { height = value; }
    double GetRotation() const { return rotation; }
    void SetRotation(double value) { rotation = value; }
    double GetFeather() const { return feather; }
    void SetFeather(double value) { feather = value; }
    bool GetInverted() const { return inverted; }
    void SetInverted(bool value) { inverted = value; }
    std::int32_t GetAction() const { return action; }
    void SetAction(std::int32_t value) { action = value; }
    double GetBlur() const { return blur; }
    void SetBlur(double value) { blur = value; }
    Color const& GetColor() const { return color; }
    void SetColor(Color const& value) { color = value; }

    static std::vector<Field> DeclareFields() {
        return {
            DeclareChoice("shape", &SettingsEffectMask::shape, {{0, "ellipse"}, {1, "rectangle"}},
                          "the shape of the mask"),
            Declare("x", &SettingsEffectMask::x, 0.0, 1.0, "centre of the shape from the left"),
            Declare("y", &SettingsEffectMask::y, 0.0, 1.0, "centre of the shape from the bottom"),
            Declare("width", &SettingsEffectMask::width, 0.0, 2.0, "the shape's width as a fraction of the picture's"),
            Declare("height", &SettingsEffectMask::height, 0.0, 2.0,
                    "the shape's height as a fraction of the picture's"),
            Declare("rotation", &SettingsEffectMask::rotation, -180.0, 180.0,
                    "how far the shape is turned counter-clockwise, degrees"),
            Declare("feather", &SettingsEffectMask::feather, 0.0, 1.0,
                    "width of the soft edge as a fraction of the picture's larger side"),
            Declare("inverted", &SettingsEffectMask::inverted, "acts inside of the shape; otherwise outside"),
            DeclareChoice("action", &SettingsEffectMask::action, {{0, "blur"}, {1, "fill"}, {2, "transparent"}},
                          "what happens to the picture there"),
            Declare("blur", &SettingsEffectMask::blur, 0.0, 0.2,
                    "blur radius as a fraction of the picture's larger side"),
            Declare("color", &SettingsEffectMask::color, "what the fill is")};
    }

private:
    std::int32_t shape = 0;
    double x = 0.5;
    double y = 0.5;
    double width = 0.5;
    double height = 0.5;
    double rotation = 0.0;
    double feather = 0.05;
    bool inverted = false;
    std::int32_t action = 0;
    double blur = 0.02;
    Color color{0x00, 0x00, 0x00, 0xFF};
};

class SettingsEffectSharpen final : public SettingsOf<SettingsEffectSharpen> {
public:
    static inline std::string const CLASS_ID = "EffectSharpen";
    static constexpr std::string_view SUMMARY = "Makes detail crisper without coloured rims.";

    double GetStrength() const { return strength; }
    void SetStrength(double value) { strength = value; }
    std::int32_t GetKernel() const { return kernel; }
    void SetKernel(std::int32_t value) { kernel = value; }

    static std::vector<Field> DeclareFields() {
        return {Declare("strength", &SettingsEffectSharpen::strength, 0.0, 4.0,
                        "how much detail is added; 0 leaves the picture"),
                DeclareChoice("kernel", &SettingsEffectSharpen::kernel, {{0, "3x3"}, {1, "5x5"}},
                              "the neighbourhood that detail is measured in")};
    }

private:
    double strength = 0.6;
    std::int32_t kernel = 0;
};

}  // namespace Kaltor::Proc
