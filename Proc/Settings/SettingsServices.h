#pragma once

#include <vector>

#include "Conf/FrameInfo.h"
#include "Conf/PixFmt.h"
#include "Proc/Settings/IResize.h"
#include "Proc/Settings/Settings.h"

namespace Kaltor::Proc {

/// Crop, output size and how the one is brought into the other.
class SettingsResizer final : public SettingsOf<SettingsResizer> {
public:
    static inline std::string const CLASS_ID = "Resizer";
    static constexpr std::string_view SUMMARY =
        "Crops the picture and brings it to another size: stretched, fitted in or filling.";

    static constexpr std::int32_t kStretch = 0;
    static constexpr std::int32_t kFit = 1;
    static constexpr std::int32_t kFill = 2;

    /// The implementation that these settings are meant for; "": any.
    std::string const& GetImplName() const { return implName; }
    void SetImplName(std::string value) { implName = std::move(value); }

    std::uint32_t GetWidth() const { return width; }
    void SetWidth(std::uint32_t value) { width = value; }
    std::uint32_t GetHeight() const { return height; }
    void SetHeight(std::uint32_t value) { height = value; }
    std::uint32_t GetPixelAspectX() const { return pixelAspectX; }
    void SetPixelAspectX(std::uint32_t value) { pixelAspectX = value; }
    std::uint32_t GetPixelAspectY() const { return pixelAspectY; }
    void SetPixelAspectY(std::uint32_t value) { pixelAspectY = value; }
    std::int32_t GetMode() const { return mode; }
    void SetMode(std::int32_t value) { mode = value; }
    std::uint32_t GetCropLeft() const { return cropLeft; }
    void SetCropLeft(std::uint32_t value) { cropLeft = value; }
    std::uint32_t GetCropRight() const { return cropRight; }
    void SetCropRight(std::uint32_t value) { cropRight = value; }
    std::uint32_t GetCropTop() const { return cropTop; }
    void SetCropTop(std::uint32_t value) { cropTop = value; }
    std::uint32_t GetCropBottom() const { return cropBottom; }
    void SetCropBottom(std::uint32_t value) { cropBottom = value; }
    Color const& GetBackground() const { return background; }
    void SetBackground(Color const& value) { background = value; }

    /// What an input of this form becomes. Throws `std::invalid_argument` where the crop leaves nothing of it, and
    /// where a side that follows from the other would be beyond all bounds.
    Conf::FrameInfo GetOutputFrameSize(Conf::FrameInfo const& input) const;
    /// The same, and where the picture comes from and goes to: the margins cut from the input and those that stay free
    /// in the output. Of two opposite margins that cannot be equal the right or the top one is a pixel wider. Throws as
    /// `GetOutputFrameSize`.
    Conf::FrameInfo GetROI(Conf::FrameInfo const& input, CropInfo& source, CropInfo& destination) const;

    static std::vector<Field> DeclareFields();

private:
    std::string implName;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t pixelAspectX = 0;
    std::uint32_t pixelAspectY = 0;
    std::int32_t mode = kStretch;
    std::uint32_t cropLeft = 0;
    std::uint32_t cropRight = 0;
    std::uint32_t cropTop = 0;
    std::uint32_t cropBottom = 0;
    Color background{0, 0, 0, 255};
};

class SettingsFrameUploader final : public SettingsOf<SettingsFrameUploader> {
public:
    static inline std::string const CLASS_ID = "FrameUploader";
    static constexpr std::string_view SUMMARY = "Brings a frame from main memory to the GPU.";

    static std::vector<Field> DeclareFields() { return {}; }
};

class SettingsFrameDownloader final : public SettingsOf<SettingsFrameDownloader> {
public:
    static inline std::string const CLASS_ID = "FrameDownloader";
    static constexpr std::string_view SUMMARY = "Brings a frame from the GPU back to main memory.";

    std::int32_t GetDownloadMode() const { return downloadMode; }
    void SetDownloadMode(std::int32_t value) { downloadMode = value; }

    static std::vector<Field> DeclareFields() {
        return {DeclareChoice("downloadMode", &SettingsFrameDownloader::downloadMode, {{0, "native"}, {1, "yuv420p"}},
                              "pixel format in main memory")};
    }

private:
    std::int32_t downloadMode = 0;
};

class SettingsEffectImageBlender final : public SettingsOf<SettingsEffectImageBlender> {
public:
    static inline std::string const CLASS_ID = "EffectImageBlender";
    static constexpr std::string_view SUMMARY = "Lays pictures over a base, at a place and with an opacity.";

    std::int32_t GetOpacity() const { return opacity; }
    void SetOpacity(std::int32_t value) { opacity = value; }
    std::int32_t GetX() const { return x; }
    void SetX(std::int32_t value) { x = value; }
    std::int32_t GetY() const { return y; }
    void SetY(std::int32_t value) { y = value; }

    bool operator==(SettingsEffectImageBlender const& other) const {
        return opacity == other.opacity && x == other.x && y == other.y;
    }

    static std::vector<Field> DeclareFields() {
        constexpr double kOpaque = 255.0;
        constexpr double kFarLeft = -32768.0;
        constexpr double kFarRight = 32767.0;
        return {Declare("opacity", &SettingsEffectImageBlender::opacity, 0.0, kOpaque,
                        "opacity of the overlays; 255 is full"),
                Declare("x", &SettingsEffectImageBlender::x, kFarLeft, kFarRight,
                        "left edge of the overlays, pixels from the base's left"),
                Declare("y", &SettingsEffectImageBlender::y, kFarLeft, kFarRight,
                        "lower edge of the overlays, pixels up from the base's lower edge")};
    }

private:
    std::int32_t opacity = 255;
    std::int32_t x = 0;
    std::int32_t y = 0;
};

/// Brings CPU frames into one of a list of pixel formats. Not for users: it has no fields to type.
class SettingsColorspaceConverter final : public SettingsOf<SettingsColorspaceConverter> {
public:
    static inline std::string const CLASS_ID = "ColorspaceConverter";
    static constexpr std::string_view SUMMARY = "Brings a frame in main memory into another pixel format.";

    SettingsColorspaceConverter() = default;
    /// `formats` in order of preference. `keepAlpha`: a picture with alpha is brought only to a format with alpha, an
    /// opaque one only to a format without, where the list has one.
    SettingsColorspaceConverter(std::vector<PixFmt> formats, bool keepAlpha)
        : acceptedFormats(std::move(formats)), alphaKept(keepAlpha) {}

    std::vector<PixFmt> const& GetFormats() const { return acceptedFormats; }
    bool GetKeepAlpha() const { return alphaKept; }

    static std::vector<Field> DeclareFields() { return {}; }

private:
    std::vector<PixFmt> acceptedFormats;
    bool alphaKept = true;
};

}  // namespace Kaltor::Proc
