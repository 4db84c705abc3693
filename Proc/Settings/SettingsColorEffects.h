#pragma once

#include "Proc/Settings/Settings.h"

namespace Kaltor::Proc {

class SettingsEffectColorMixBurn final : public SettingsOf<SettingsEffectColorMixBurn> {
public:
    static inline std::string const CLASS_ID = "EffectColorMixBurn";
    static constexpr std::string_view SUMMARY = "Burns the colours in: shadows sink to black, and what is left glows.";

    double GetStrength() const { return strength; }
    void SetStrength(double value) { strength = value; }

    static std::vector<Field> DeclareFields() {
        return {Declare("strength", &SettingsEffectColorMixBurn::strength, 0.0, 1.0,
                        "how much of the burnt colour is mixed in")};
    }

private:
    double strength = 0.5;
};

class SettingsEffectColorMixDistinguish final : public SettingsOf<SettingsEffectColorMixDistinguish> {
public:
    static inline std::string const CLASS_ID = "EffectColorMixDistinguish";
    static constexpr std::string_view SUMMARY = "Keeps one colour and lets all others fall off to grey.";

    Color const& GetColor() const { return color; }
    void SetColor(Color const& value) { color = value; }
    Color const& GetSeparation() const { return separation; }
    void SetSeparation(Color const& value) { separation = value; }

    static std::vector<Field> DeclareFields() {
        return {Declare("color", &SettingsEffectColorMixDistinguish::color, "the colour to keep"),
                Declare("separation", &SettingsEffectColorMixDistinguish::separation,
                        "how sharply each channel falls off to grey; alpha is not used")};
    }

private:
    Color color{0xFF, 0x40, 0x20, 0xFF};
    Color separation{4, 4, 4, 0xFF};
};

class SettingsEffectColorMixExchange final : public SettingsOf<SettingsEffectColorMixExchange> {
public:
    static inline std::string const CLASS_ID = "EffectColorMixExchange";
    static constexpr std::string_view SUMMARY =
        "Inverts each channel by an amount of its own, for colours that change places.";

    Color const& GetColor() const { return color; }
    void SetColor(Color const& value) { color = value; }

    static std::vector<Field> DeclareFields() {
        return {Declare("color", &SettingsEffectColorMixExchange::color, "how much each channel is inverted")};
    }

private:
    Color color{0xFF, 0x00, 0x80, 0xFF};
};

class SettingsEffectColorMixField final : public SettingsOf<SettingsEffectColorMixField> {
public:
    static inline std::string const CLASS_ID = "EffectColorMixField";
    static constexpr std::string_view SUMMARY = "Fills everything brighter than a threshold with shades of one colour.";

    double GetThreshold() const { return threshold; }
    void SetThreshold(double value) { threshold = value; }
    double GetContrast() const { return contrast; }
    void SetContrast(double value) { contrast = value; }
    Color const& GetColor() const { return color; }
    void SetColor(Color const& value) { color = value; }

    static std::vector<Field> DeclareFields() {
        return {Declare("threshold", &SettingsEffectColorMixField::threshold, 0.0, 1.0,
                        "luminance above which a pixel is filled"),
                Declare("contrast", &SettingsEffectColorMixField::contrast, 0.0, 1.0,
                        "brightness of the filled pixels; 0.5 keeps their luminance"),
                Declare("color", &SettingsEffectColorMixField::color, "the filling colour")};
    }

private:
    double threshold = 0.5;
    double contrast = 0.5;
    Color color{0xFF, 0xC8, 0x00, 0xFF};
};

class SettingsEffectInvert final : public SettingsOf<SettingsEffectInvert> {
public:
    static inline std::string const CLASS_ID = "EffectInvert";
    static constexpr std::string_view SUMMARY = "Turns every colour into its complement, as on a negative.";

    static std::vector<Field> DeclareFields() { return {}; }
};

class SettingsEffectPosterize final : public SettingsOf<SettingsEffectPosterize> {
public:
    static inline std::string const CLASS_ID = "EffectPosterize";
    static constexpr std::string_view SUMMARY = "Brings brightness down to a few levels, as on a poster.";

    std::int32_t GetLevels() const { return levels; }
    void SetLevels(std::int32_t value) { levels = value; }

    static std::vector<Field> DeclareFields() {
        constexpr double kMost = 255.0;
        return {Declare("levels", &SettingsEffectPosterize::levels, 1.0, kMost, "steps of luminance above black")};
    }

private:
    std::int32_t levels = 4;
};

class SettingsEffectRetroColors final : public SettingsOf<SettingsEffectRetroColors> {
public:
    static inline std::string const CLASS_ID = "EffectRetroColors";
    static constexpr std::string_view SUMMARY = "Gives the picture the colours of old films and prints.";

    std::int32_t GetMode() const { return mode; }
    void SetMode(std::int32_t value) { mode = value; }

    static std::vector<Field> DeclareFields() {
        return {DeclareChoice("mode", &SettingsEffectRetroColors::mode,
                              {{0, "retro"}, {1, "s70"}, {2, "grayscale"}, {3, "sepia"}}, "the look")};
    }

private:
    std::int32_t mode = 0;
};

class SettingsEffectPopArt final : public SettingsOf<SettingsEffectPopArt> {
public:
    static inline std::string const CLASS_ID = "EffectPopArt";
    static constexpr std::string_view SUMMARY =
        "Repeats the picture as a set of screen prints, each in inks of its own.";

    double GetSaturation() const { return saturation; }
    void SetSaturation(double value) { saturation = value; }
    double GetHue() const { return hue; }
    void SetHue(double value) { hue = value; }
    double GetOffset() const { return offset; }
    void SetOffset(double value) { offset = value; }
    std::int32_t GetLevels() const { return levels; }
    void SetLevels(std::int32_t value) { levels = value; }
    std::int32_t GetAmount() const { return amount; }
    void SetAmount(std::int32_t value) { amount = value; }

    static std::vector<Field> DeclareFields() {
        constexpr double kMostLevels = 255.0;
        constexpr double kMostTiles = 16.0;
        return {
            Declare("saturation", &SettingsEffectPopArt::saturation, 0.0, 1.0, "saturation of the inks"),
            Declare("hue", &SettingsEffectPopArt::hue, 0.0, 1.0, "hue of the first tile, in turns"),
            Declare("offset", &SettingsEffectPopArt::offset, 0.0, 1.0, "luminance below which the dark ink is used"),
            Declare("levels", &SettingsEffectPopArt::levels, 1.0, kMostLevels, "steps of luminance"),
            Declare("amount", &SettingsEffectPopArt::amount, 1.0, kMostTiles, "tiles along each side")};
    }

private:
    double saturation = 0.8;
    double hue = 0.0;
    double offset = 0.15;
    std::int32_t levels = 3;
    std::int32_t amount = 2;
};

class SettingsEffectOpacity final : public SettingsOf<SettingsEffectOpacity> {
public:
    static inline std::string const CLASS_ID = "EffectOpacity";
    static constexpr std::string_view SUMMARY = "Makes the picture translucent.";

    double GetOpacity() const { return opacity; }
    void SetOpacity(double value) { opacity = value; }

    static std::vector<Field> DeclareFields() {
        return {Declare("opacity", &SettingsEffectOpacity::opacity, 0.0, 1.0, "what alpha is multiplied by")};
    }

private:
    double opacity = 0.5;
};

class SettingsEffectVideoFadeInFadeOut final : public SettingsOf<SettingsEffectVideoFadeInFadeOut> {
public:
    static inline std::string const CLASS_ID = "EffectVideoFadeInFadeOut";
    static constexpr std::string_view SUMMARY =
        "Fades the picture in from black, or from nothing where the output has alpha.";

    static std::vector<Field> DeclareFields() { return {}; }
};

class SettingsEffectChromakey final : public SettingsOf<SettingsEffectChromakey> {
public:
    static inline std::string const CLASS_ID = "EffectChromakey";
    static constexpr std::string_view SUMMARY =
        "Makes a key colour transparent, as of a green screen, with soft edges and no green rims.";

    Color const& GetColor() const { return color; }
    void SetColor(Color const& value) { color = value; }
    double GetTolerance() const { return tolerance; }
    void SetTolerance(double value) { tolerance = value; }
    double GetSoftness() const { return softness; }
    void SetSoftness(double value) { softness = value; }
    double GetSpill() const { return spill; }
    void SetSpill(double value) { spill = value; }

    static std::vector<Field> DeclareFields() {
        return {Declare("color", &SettingsEffectChromakey::color, "the colour that becomes transparent"),
                Declare("tolerance", &SettingsEffectChromakey::tolerance, 0.0, 1.0,
                        "how far from it in chroma a colour still is key"),
                Declare("softness", &SettingsEffectChromakey::softness, 0.0, 1.0,
                        "width of the soft edge beyond the tolerance"),
                Declare("spill", &SettingsEffectChromakey::spill, 0.0, 1.0,
                        "how much of its reflection is taken out of what stays")};
    }

private:
    Color color{0x00, 0xC0, 0x40, 0xFF};
    double tolerance = 0.2;
    double softness = 0.1;
    double spill = 0.5;
};

}  // namespace Kaltor::Proc
