#pragma once

#include "Proc/Settings/Settings.h"

namespace Kaltor::Proc {

struct SettingsEffectBlurGaussian final : SettingsOf<SettingsEffectBlurGaussian> {
    static inline std::string const CLASS_ID = "EffectBlurGaussian";
    static constexpr std::string_view SUMMARY = "Blurs the picture evenly.";

    double scale = 0.01;

    void SetScale(double value) { scale = value; }

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::scale>(0.0, 1.0, "blur radius as a fraction of the picture's larger side")};
    }
};

struct SettingsEffectTiltShiftQEL final : SettingsOf<SettingsEffectTiltShiftQEL> {
    static inline std::string const CLASS_ID = "EffectTiltShiftQEL";
    static constexpr std::string_view SUMMARY =
        "Makes a scene look like a miniature: a band stays sharp, the rest blurs, and colours are livelier.";
    static constexpr std::string_view NEUTRAL = "blur=0 saturation=1";

    enum class Bokeh : std::int32_t { Disc, Soft };

    double position = 0.5;
    double size = 0.2;
    double feather = 0.25;
    double angle = 0.0;
    double blur = 0.02;
    double saturation = 1.2;
    Bokeh bokeh = Bokeh::Disc;
    double highlights = 0.5;

    static std::vector<Field> DeclareFields() {
        return {
            Declare<&This::position>(0.0, 1.0, "where the sharp band lies along its normal, 0.5 in the middle"),
            Declare<&This::size>(0.0, 1.0, "width of the sharp band as a fraction of the picture"),
            Declare<&This::feather>(0.0, 1.0, "width of the change from sharp to fully blurred"),
            Declare<&This::angle>(-90.0, 90.0, "how far the band is turned counter-clockwise, degrees"),
            Declare<&This::blur>(0.0, 0.2, "blur radius away from the band as a fraction of the picture's larger side"),
            Declare<&This::saturation>(0.0, 2.0, "saturation of the colours; 1 leaves them unchanged"),
            Declare<&This::bokeh>({{Bokeh::Disc, "disc"}, {Bokeh::Soft, "soft"}},
                                  "how points out of focus look: bright discs, as through a lens, or soft spots"),
            Declare<&This::highlights>(0.0, 1.0, "how bright the discs of highlights are")};
    }
};

struct SettingsEffectErosion final : SettingsOf<SettingsEffectErosion> {
    static inline std::string const CLASS_ID = "EffectErosion";
    static constexpr std::string_view SUMMARY = "Lets dark areas grow over bright ones, or bright ones over dark.";
    static constexpr std::string_view NEUTRAL = "size=0";

    enum class Mode : std::int32_t { Erosion, Dilation };
    enum class Shape : std::int32_t { Square, Disc };

    Mode mode = Mode::Erosion;
    Shape shape = Shape::Square;
    double size = 0.004;
    bool channels = false;

    static std::vector<Field> DeclareFields() {
        return {
            Declare<&This::mode>({{Mode::Erosion, "erosion"}, {Mode::Dilation, "dilation"}},
                                 "erosion: dark areas grow; dilation: bright areas grow"),
            Declare<&This::shape>({{Shape::Square, "square"}, {Shape::Disc, "disc"}}, "the shape of the neighbourhood"),
            Declare<&This::size>(0.0, 0.05, "radius of the neighbourhood as a fraction of the picture's larger side"),
            Declare<&This::channels>(
                "each channel by itself, which makes new colours; otherwise whole pixels by luma")};
    }
};

struct SettingsEffectGlassMosaic final : SettingsOf<SettingsEffectGlassMosaic> {
    static inline std::string const CLASS_ID = "EffectGlassMosaic";
    static constexpr std::string_view SUMMARY =
        "Shows the picture through a wall of glass bricks, each a small lens with a bright rim.";
    static constexpr std::string_view NEUTRAL = "strength=0 bevel=0 variation=0";

    std::int32_t count = 9;
    double strength = 0.6;
    double bevel = 0.5;
    double variation = 0.5;
    double dispersion = 0.4;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::count>(2, 200, "bricks along the shorter side"),
                Declare<&This::strength>(0.0, 1.0, "how much each brick bends the picture"),
                Declare<&This::bevel>(0.0, 1.0, "how wide and bright the rims are"),
                Declare<&This::variation>(0.0, 1.0, "how much bricks differ from each other"),
                Declare<&This::dispersion>(0.0, 1.0, "how far the glass takes colours apart")};
    }
};

struct SettingsEffectOilPaint final : SettingsOf<SettingsEffectOilPaint> {
    static inline std::string const CLASS_ID = "EffectOilPaint";
    static constexpr std::string_view SUMMARY =
        "Turns the picture into brush-like patches of even colour with crisp edges.";
    static constexpr std::string_view NEUTRAL = "size=0";

    double size = 0.006;
    double sharpness = 8.0;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::size>(0.0, 0.03, "radius of the brush as a fraction of the picture's larger side"),
                Declare<&This::sharpness>(1.0, 32.0, "how crisp the borders between strokes are")};
    }
};

struct SettingsEffectFindEdges final : SettingsOf<SettingsEffectFindEdges> {
    static inline std::string const CLASS_ID = "EffectFindEdges";
    static constexpr std::string_view SUMMARY = "Draws the edges of the picture as lines.";

    double strength = 1.0;
    double threshold = 0.05;
    bool inverted = true;
    bool color = false;
    double smoothing = 0.0025;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::strength>(0.0, 10.0, "how dark or bright the lines are"),
                Declare<&This::threshold>(0.0, 1.0, "gradients below this draw no line"),
                Declare<&This::inverted>("dark lines on white; otherwise bright ones on black"),
                Declare<&This::color>("lines keep the picture's colours"),
                Declare<&This::smoothing>(
                    0.0, 0.02, "width over which the picture is averaged before, as a fraction of its larger side")};
    }
};

struct SettingsEffectMosaic final : SettingsOf<SettingsEffectMosaic> {
    static inline std::string const CLASS_ID = "EffectMosaic";
    static constexpr std::string_view SUMMARY = "Builds the picture from square or hexagonal blocks of even colour.";
    static constexpr std::string_view NEUTRAL = "count=1000";

    enum class Shape : std::int32_t { Square, Hexagon };

    std::int32_t count = 40;
    Shape shape = Shape::Square;

    static std::vector<Field> DeclareFields() {
        return {
            Declare<&This::count>(1, 1000, "blocks along the shorter side"),
            Declare<&This::shape>({{Shape::Square, "square"}, {Shape::Hexagon, "hexagon"}}, "the shape of a block")};
    }
};

struct SettingsEffectDiffuse final : SettingsOf<SettingsEffectDiffuse> {
    static inline std::string const CLASS_ID = "EffectDiffuse";
    static constexpr std::string_view SUMMARY = "Shows the picture through frosted glass.";
    static constexpr std::string_view NEUTRAL = "size=0";

    double size = 0.012;
    bool animated = false;
    double cell = 0.025;

    static std::vector<Field> DeclareFields() {
        return {
            Declare<&This::size>(
                0.0, 0.2, "how far away a pixel's colour may come from, as a fraction of the picture's larger side"),
            Declare<&This::animated>("waves drift, and grains are new in each frame of up to 60 per second"),
            Declare<&This::cell>(
                0.0, 0.1,
                "size of the glass's waves as a fraction of the picture's larger side; 0: fine grains alone")};
    }
};

struct SettingsEffectMask final : SettingsOf<SettingsEffectMask> {
    static inline std::string const CLASS_ID = "EffectMask";
    static constexpr std::string_view SUMMARY =
        "Blurs, fills or cuts out the inside or the outside of a soft-edged shape.";
    static constexpr std::string_view NEUTRAL = "blur=0";

    enum class Shape : std::int32_t { Ellipse, Rectangle };
    enum class Action : std::int32_t { Blur, Fill, Transparent };

    Shape shape = Shape::Ellipse;
    double x = 0.5;
    double y = 0.5;
    double width = 0.5;
    double height = 0.5;
    double rotation = 0.0;
    double feather = 0.2;
    bool inverted = false;
    Action action = Action::Blur;
    double blur = 0.02;
    Color color{0x00, 0x00, 0x00, 0xFF};

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::shape>({{Shape::Ellipse, "ellipse"}, {Shape::Rectangle, "rectangle"}},
                                      "the shape of the mask"),
                Declare<&This::x>(0.0, 1.0, "centre of the shape from the left"),
                Declare<&This::y>(0.0, 1.0, "centre of the shape from the bottom"),
                Declare<&This::width>(0.0, 2.0, "the shape's width as a fraction of the picture's"),
                Declare<&This::height>(0.0, 2.0, "the shape's height as a fraction of the picture's"),
                Declare<&This::rotation>(-180.0, 180.0, "how far the shape is turned counter-clockwise, degrees"),
                Declare<&This::feather>(0.0, 1.0, "width of the soft edge as a fraction of the picture's larger side"),
                Declare<&This::inverted>("acts inside the shape; otherwise outside it"),
                Declare<&This::action>(
                    {{Action::Blur, "blur"}, {Action::Fill, "fill"}, {Action::Transparent, "transparent"}},
                    "what happens to the picture there"),
                Declare<&This::blur>(0.0, 0.2, "blur radius as a fraction of the picture's larger side"),
                Declare<&This::color>("colour of the fill")};
    }
};

struct SettingsEffectSharpen final : SettingsOf<SettingsEffectSharpen> {
    static inline std::string const CLASS_ID = "EffectSharpen";
    static constexpr std::string_view SUMMARY = "Makes detail crisper without coloured rims.";
    static constexpr std::string_view NEUTRAL = "strength=0";

    enum class Kernel : std::int32_t { ThreeByThree, FiveByFive };

    double strength = 0.8;
    Kernel kernel = Kernel::ThreeByThree;
    double radius = 0.0012;
    double threshold = 0.01;

    static std::vector<Field> DeclareFields() {
        return {
            Declare<&This::strength>(0.0, 4.0, "how much detail is added; 0 leaves the picture unchanged"),
            Declare<&This::kernel>({{Kernel::ThreeByThree, "3x3"}, {Kernel::FiveByFive, "5x5"}},
                                   "the neighbourhood that detail is measured against, if it has no radius"),
            Declare<&This::radius>(
                0.0, 0.05, "size of the detail as a fraction of the picture's larger side; below a pixel: the kernel"),
            Declare<&This::threshold>(0.0, 0.5, "detail fainter than this, such as noise, stays as it is")};
    }
};

}  // namespace Kaltor::Proc
