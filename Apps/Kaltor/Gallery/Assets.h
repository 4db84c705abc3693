#pragma once

#include <string_view>

/// The gallery's files, built into the program.
namespace Kaltor::Cli::Assets {

extern std::string_view const kPageHtml;  ///< a Mustache template
extern std::string_view const kGalleryCss;
extern std::string_view const kGalleryJs;
extern std::string_view const kSceneGlsl;  ///< goes in front of the pictures' programs
extern std::string_view const kLakeGlsl;
extern std::string_view const kBeachGlsl;

}  // namespace Kaltor::Cli::Assets
