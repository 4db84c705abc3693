// Stands in for the painters in builds without KALTOR_TITLES.
#include <stdexcept>

#include "Core/Interfaces/Exception.h"
#include "Edit/Titles/SubtitlePainter.h"
#include "Edit/Titles/TitlePainter.h"

namespace Kaltor::Edit {
namespace {

[[noreturn]] void Refuse(char const* what) {
    Core::Throw(std::runtime_error(std::string(what) + " cannot be drawn: this build has none (KALTOR_TITLES is off)"));
}

}  // namespace

class TitlePainter::Impl {};
std::shared_ptr<TitleFonts> MakeTitleFonts() {
    return nullptr;
}
TitlePainter::TitlePainter(Title const&, std::uint32_t, std::uint32_t, Media::WarningFn const&,
                           std::shared_ptr<TitleFonts>) {
    Refuse("titles");
}
TitlePainter::~TitlePainter() = default;
std::optional<TitlePicture> TitlePainter::At(double, double) {
    return std::nullopt;
}

class SubtitlePainter::Impl {};
SubtitlePainter::SubtitlePainter(std::string const&, std::uint32_t, std::uint32_t, Title const*,
                                 Media::WarningFn const&) {
    Refuse("subtitles");
}
SubtitlePainter::~SubtitlePainter() = default;
std::optional<TitlePicture> SubtitlePainter::At(double) {
    return std::nullopt;
}

}  // namespace Kaltor::Edit
