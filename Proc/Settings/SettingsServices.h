#pragma once

#include <vector>

#include "Conf/FrameInfo.h"
#include "Conf/PixFmt.h"
#include "Proc/Settings/IResize.h"
#include "Proc/Settings/Settings.h"

namespace Kaltor::Proc {

/// Crop, output size, and how the cropped picture is brought into the output.
struct SettingsResizer final : SettingsOf<SettingsResizer> {
    static inline std::string const CLASS_ID = "Resizer";
    static constexpr std::string_view SUMMARY =
        "Crops the picture and brings it to another size: stretched, fitted in or filling.";

    enum class Mode : std::int32_t { Stretch, Fit, Fill };

    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t pixelAspectX = 0;
    std::uint32_t pixelAspectY = 0;
    Mode mode = Mode::Stretch;
    std::uint32_t cropLeft = 0;
    std::uint32_t cropRight = 0;
    std::uint32_t cropTop = 0;
    std::uint32_t cropBottom = 0;
    Color background{0, 0, 0, 255};

    /// The implementation that these settings are meant for; "": any.
    std::string const& GetImplName() const { return implName; }
    void SetImplName(std::string value) { implName = std::move(value); }

    /// The form of the output for an input of this form. Throws `std::invalid_argument` if the crop leaves nothing of
    /// it, or if a side that is computed from the other would be too long for any picture.
    Conf::FrameInfo GetOutputFrameSize(Conf::FrameInfo const& input) const;
    /// The same, together with the margins that are cut from the input and those that stay free in the output. If two
    /// opposite margins cannot be equal, the right or the top one is a pixel wider. Throws like `GetOutputFrameSize`.
    Conf::FrameInfo GetROI(Conf::FrameInfo const& input, CropInfo& source, CropInfo& destination) const;

    static std::vector<Field> DeclareFields();

private:
    std::string implName;
};

struct SettingsFrameUploader final : SettingsOf<SettingsFrameUploader> {
    static inline std::string const CLASS_ID = "FrameUploader";
    static constexpr std::string_view SUMMARY = "Brings a frame from main memory to the GPU.";

    static std::vector<Field> DeclareFields() { return {}; }
};

struct SettingsFrameDownloader final : SettingsOf<SettingsFrameDownloader> {
    static inline std::string const CLASS_ID = "FrameDownloader";
    static constexpr std::string_view SUMMARY = "Brings a frame from the GPU back to main memory.";

    enum class Mode : std::int32_t { Native, Yuv420p };

    Mode downloadMode = Mode::Native;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::downloadMode>({{Mode::Native, "native"}, {Mode::Yuv420p, "yuv420p"}},
                                             "pixel format in main memory", Outside::Defined)};
    }
};

struct SettingsEffectImageBlender final : SettingsOf<SettingsEffectImageBlender> {
    static inline std::string const CLASS_ID = "EffectImageBlender";
    static constexpr std::string_view SUMMARY = "Lays pictures over a base picture, at a chosen place and opacity.";

    std::int32_t opacity = 255;
    std::int32_t x = 0;
    std::int32_t y = 0;

    bool operator==(SettingsEffectImageBlender const& other) const {
        return opacity == other.opacity && x == other.x && y == other.y;
    }

    static std::vector<Field> DeclareFields() {
        constexpr double kOpaque = 255.0;
        constexpr double kFarLeft = -32768.0;
        constexpr double kFarRight = 32767.0;
        return {
            Declare<&This::opacity>(0.0, kOpaque, "opacity of the overlays; 255 is full"),
            Declare<&This::x>(kFarLeft, kFarRight, "left edge of the overlays, pixels from the base's left"),
            Declare<&This::y>(kFarLeft, kFarRight, "lower edge of the overlays, pixels up from the base's lower edge")};
    }
};

/// Converts CPU frames to one of a list of pixel formats. Not for users: it has no fields to set.
struct SettingsColorspaceConverter final : SettingsOf<SettingsColorspaceConverter> {
    static inline std::string const CLASS_ID = "ColorspaceConverter";
    static constexpr std::string_view SUMMARY = "Brings a frame in main memory into another pixel format.";

    SettingsColorspaceConverter() = default;
    /// `formats` in order of preference. `keepAlpha`: if the list allows it, a picture with alpha is converted only to
    /// a format with alpha, and an opaque picture only to a format without.
    SettingsColorspaceConverter(std::vector<PixFmt> acceptedFormats, bool isAlphaKept)
        : formats(std::move(acceptedFormats)), keepAlpha(isAlphaKept) {}

    std::vector<PixFmt> formats;
    bool keepAlpha = true;

    static std::vector<Field> DeclareFields() { return {}; }
};

}  // namespace Kaltor::Proc
