#pragma once

#include <string>
#include <vector>

#include "Apps/Kaltor/Catalog.h"
#include "Apps/Kaltor/Gallery/Preview.h"
#include "Conf/FrameInfo.h"

namespace Kaltor::Cli {

/// One card of the page.
struct GalleryItem {
    CatalogEntry entry;
    Preview preview;
};

/// The page in HTML, whole without its script; the pictures' size is for its layout.
std::string MakePage(std::vector<GalleryItem> const& items, Conf::FrameInfo const& size);

/// A class's name in words: "OrigamiValley" is "Origami valley".
std::string MakeTitle(std::string const& name);

/// By which a gallery's page is known as one.
constexpr char const* kGeneratorMark = "<meta name=\"generator\" content=\"kaltor gallery";

}  // namespace Kaltor::Cli
