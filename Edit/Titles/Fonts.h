#pragma once

#include <map>
#include <string>

#include "Edit/Titles/GlyphRenderer.h"
#include "Media/VideoReader.h"

namespace Kaltor::Edit {

/// Reads the system's list of fonts, once, before anything else asks for one. Throws `std::runtime_error` where there
/// is no font.
void LoadFonts();

/// The installed family that stands in for a missing one, or empty where it is installed, or names no family in
/// particular ("sans-serif"). Several names have commas between them; one that is installed is enough.
std::string FindReplacement(std::string const& family);

/// Fonts that the layouts of one thread share: what each would find and load anew, most of the time that a short text
/// takes.
class TitleFonts {
public:
    TitleFonts();
    ~TitleFonts();
    TitleFonts(TitleFonts const&) = delete;
    TitleFonts& operator=(TitleFonts const&) = delete;

    PangoFontMap& GetMap() const { return *map; }
    /// As `FindReplacement` above.
    std::string const& FindReplacement(std::string const& family);

private:
    ObjectPtr<PangoFontMap> map;
    std::map<std::string, std::string> replacements;
};

/// Warns where the family is missing, with the name of what is used instead.
void WarnOfMissingFamily(std::string const& family, TitleFonts& fonts, Media::WarningFn const& warn);

}  // namespace Kaltor::Edit
