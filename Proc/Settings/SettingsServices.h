#pragma once

#include <vector>

#include "Conf/PixFmt.h"
#include "Proc/Settings/Settings.h"

namespace Kaltor::Proc {

class SettingsFrameUploader final : public SettingsOf<SettingsFrameUploader> {
public:
    static inline std::string const CLASS_ID = "FrameUploader";

    static std::vector<Field> DeclareFields() { return {}; }
};

class SettingsFrameDownloader final : public SettingsOf<SettingsFrameDownloader> {
public:
    static inline std::string const CLASS_ID = "FrameDownloader";

    std::int32_t GetDownloadMode() const { return downloadMode; }
    void SetDownloadMode(std::int32_t value) { downloadMode = value; }

    static std::vector<Field> DeclareFields() {
        return {DeclareChoice("downloadMode", &SettingsFrameDownloader::downloadMode, {{0, "native"}, {1, "yuv420p"}},
                              "pixel format in main memory")};
    }

private:
    std::int32_t downloadMode = 0;
};

/// Brings CPU frames into one of a list of pixel formats. Not for users: it has no fields to type.
class SettingsColorspaceConverter final : public SettingsOf<SettingsColorspaceConverter> {
public:
    static inline std::string const CLASS_ID = "ColorspaceConverter";

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
