#pragma once

#include "Proc/Settings/Settings.h"

namespace Kaltor::Proc {

struct SettingsEffectColorMixBurn final : SettingsOf<SettingsEffectColorMixBurn> {
    static inline std::string const CLASS_ID = "EffectColorMixBurn";
    static constexpr std::string_view SUMMARY = "Burns the colours in: shadows sink to black, and what is left glows.";
    static constexpr std::string_view NEUTRAL = "strength=0";

    double strength = 0.5;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::strength>(0.0, 1.0, "how much of the burnt colour is mixed in")};
    }
};

struct SettingsEffectColorMixDistinguish final : SettingsOf<SettingsEffectColorMixDistinguish> {
    static inline std::string const CLASS_ID = "EffectColorMixDistinguish";
    static constexpr std::string_view SUMMARY = "Keeps one colour and lets all others fall off to grey.";

    Color color{0xFF, 0x40, 0x20, 0xFF};
    Color separation{4, 4, 4, 0xFF};

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::color>("the colour to keep"),
                Declare<&This::separation>("how sharply each channel falls off to grey; alpha is not used")};
    }
};

struct SettingsEffectColorMixExchange final : SettingsOf<SettingsEffectColorMixExchange> {
    static inline std::string const CLASS_ID = "EffectColorMixExchange";
    static constexpr std::string_view SUMMARY = "Inverts each channel by its own amount, so that colours swap.";
    static constexpr std::string_view NEUTRAL = "color=#000000";

    Color color{0xFF, 0x00, 0x80, 0xFF};

    static std::vector<Field> DeclareFields() { return {Declare<&This::color>("how much each channel is inverted")}; }
};

struct SettingsEffectColorMixField final : SettingsOf<SettingsEffectColorMixField> {
    static inline std::string const CLASS_ID = "EffectColorMixField";
    static constexpr std::string_view SUMMARY = "Fills everything brighter than a threshold with shades of one colour.";

    double threshold = 0.5;
    double contrast = 0.5;
    Color color{0xFF, 0xC8, 0x00, 0xFF};

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::threshold>(0.0, 1.0, "luminance above which a pixel is filled"),
                Declare<&This::contrast>(0.0, 1.0, "brightness of the filled pixels; 0.5 keeps their luminance"),
                Declare<&This::color>("the filling colour")};
    }
};

struct SettingsEffectInvert final : SettingsOf<SettingsEffectInvert> {
    static inline std::string const CLASS_ID = "EffectInvert";
    static constexpr std::string_view SUMMARY = "Turns every colour into its complement, as on a negative.";

    static std::vector<Field> DeclareFields() { return {}; }
};

struct SettingsEffectPosterize final : SettingsOf<SettingsEffectPosterize> {
    static inline std::string const CLASS_ID = "EffectPosterize";
    static constexpr std::string_view SUMMARY = "Brings brightness down to a few levels, as on a poster.";

    std::int32_t levels = 4;

    static std::vector<Field> DeclareFields() {
        constexpr double kMost = 255.0;
        return {Declare<&This::levels>(1.0, kMost, "steps of luminance above black")};
    }
};

struct SettingsEffectRetroColors final : SettingsOf<SettingsEffectRetroColors> {
    static inline std::string const CLASS_ID = "EffectRetroColors";
    static constexpr std::string_view SUMMARY = "Gives the picture the colours of old films and prints.";

    enum class Mode : std::int32_t { Retro, Seventies, Grayscale, Sepia };

    Mode mode = Mode::Retro;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::mode>(
            {{Mode::Retro, "retro"}, {Mode::Seventies, "s70"}, {Mode::Grayscale, "grayscale"}, {Mode::Sepia, "sepia"}},
            "the look", Outside::Defined)};
    }
};

struct SettingsEffectPopArt final : SettingsOf<SettingsEffectPopArt> {
    static inline std::string const CLASS_ID = "EffectPopArt";
    static constexpr std::string_view SUMMARY =
        "Repeats the picture as a set of screen prints, each in inks of its own.";

    double saturation = 0.8;
    double hue = 0.0;
    double offset = 0.15;
    std::int32_t levels = 3;
    std::int32_t amount = 2;

    static std::vector<Field> DeclareFields() {
        constexpr double kMostLevels = 255.0;
        constexpr double kMostTiles = 16.0;
        return {Declare<&This::saturation>(0.0, 1.0, "saturation of the inks"),
                Declare<&This::hue>(0.0, 1.0, "hue of the first tile, in turns"),
                Declare<&This::offset>(0.0, 1.0, "luminance below which the dark ink is used"),
                Declare<&This::levels>(1.0, kMostLevels, "steps of luminance"),
                Declare<&This::amount>(1.0, kMostTiles, "tiles along each side")};
    }
};

struct SettingsEffectOpacity final : SettingsOf<SettingsEffectOpacity> {
    static inline std::string const CLASS_ID = "EffectOpacity";
    static constexpr std::string_view SUMMARY = "Makes the picture translucent.";
    static constexpr std::string_view NEUTRAL = "opacity=1";

    double opacity = 0.5;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::opacity>(0.0, 1.0, "the factor that alpha is multiplied by")};
    }
};

struct SettingsEffectVideoFadeInFadeOut final : SettingsOf<SettingsEffectVideoFadeInFadeOut> {
    static inline std::string const CLASS_ID = "EffectVideoFadeInFadeOut";
    static constexpr std::string_view SUMMARY =
        "Fades a clip in from black, or from nothing with alpha, over its length; a video: render --fade-in and "
        "--fade-out.";
    static constexpr bool RUNS_ON_PROGRESS = true;

    static std::vector<Field> DeclareFields() { return {}; }
};

struct SettingsEffectChromakey final : SettingsOf<SettingsEffectChromakey> {
    static inline std::string const CLASS_ID = "EffectChromakey";
    static constexpr std::string_view SUMMARY =
        "Makes a key colour transparent, such as that of a green screen, with soft edges and no green rims.";
    static constexpr std::string_view NEUTRAL = "tolerance=0 softness=0 spill=0";

    Color color{0x00, 0xC0, 0x40, 0xFF};
    double tolerance = 0.2;
    double softness = 0.1;
    double spill = 0.5;
    bool unmix = true;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::color>("the colour that becomes transparent"),
                Declare<&This::tolerance>(0.0, 1.0,
                                          "how far in chroma a colour may be from the key and still be transparent"),
                Declare<&This::softness>(0.0, 1.0, "width of the soft edge beyond the tolerance"),
                Declare<&This::spill>(0.0, 1.0, "how much of the key's reflection is removed from what stays visible"),
                Declare<&This::unmix>(
                    "edges are taken apart by the colours on both sides of them; otherwise each pixel by itself")};
    }
};

}  // namespace Kaltor::Proc
