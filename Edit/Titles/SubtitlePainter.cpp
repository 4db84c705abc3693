#include "Edit/Titles/SubtitlePainter.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string_view>

#include <ass/ass.h>
#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Edit/Titles/Fonts.h"
#include "Edit/Titles/StraightPicture.h"
#include "Edit/Titles/SubtitleFile.h"
#include "Edit/Titles/TextLayout.h"
#include "Edit/Titles/TitleLook.h"
#include "Media/MediaError.h"

namespace Kaltor::Edit {
namespace {

struct LibraryDeleter {
    void operator()(ASS_Library* library) const { ass_library_done(library); }
};
struct RendererDeleter {
    void operator()(ASS_Renderer* renderer) const { ass_renderer_done(renderer); }
};
struct TrackDeleter {
    void operator()(ASS_Track* track) const { ass_free_track(track); }
};

std::uint32_t ToAss(Proc::Color const& color) {
    return std::uint32_t{color.red} << 24U | std::uint32_t{color.green} << 16U | std::uint32_t{color.blue} << 8U |
           static_cast<std::uint32_t>(255 - color.alpha);
}

Proc::Color FromAss(std::uint32_t color) {
    auto const byte = [color](unsigned shift) { return static_cast<std::uint8_t>(color >> shift & 0xFFU); };
    return {byte(24), byte(16), byte(8), static_cast<std::uint8_t>(255 - byte(0))};
}

int ToAss(Title::Anchor anchor) {
    constexpr std::array kRows{VALIGN_TOP, VALIGN_CENTER, VALIGN_SUB};
    constexpr std::array kColumns{HALIGN_LEFT, HALIGN_CENTER, HALIGN_RIGHT};
    auto const place = static_cast<std::size_t>(anchor);
    return kRows.at(place / 3) | kColumns.at(place % 3);
}

int ToAss(Title::Align align) {
    switch (align) {
        case Title::Align::Left:
            return ASS_JUSTIFY_LEFT;
        case Title::Align::Center:
            return ASS_JUSTIFY_CENTER;
        case Title::Align::Right:
            return ASS_JUSTIFY_RIGHT;
        case Title::Align::Justify:
            break;
    }
    return ASS_JUSTIFY_AUTO;
}

/// Libass takes one family only: of several the first one that is installed, or the first.
std::string ChooseFamily(std::string const& families) {
    for (std::size_t begin = 0; begin < families.size();) {
        std::size_t const end = std::min(families.find(',', begin), families.size());
        begin = std::min(families.find_first_not_of(' ', begin), end);
        std::string const family = families.substr(begin, end - begin);
        if (FindReplacement(family).empty()) {
            return family;
        }
        begin = end + 1;
    }
    return families.substr(0, families.find(','));
}

}  // namespace

class SubtitlePainter::Impl {
public:
    Impl(std::string const& file, std::uint32_t frameWidth, std::uint32_t frameHeight, Title const* style,
         Media::WarningFn const& warning)
        : path(file), warn(warning), frame{0, 0, static_cast<int>(frameWidth), static_cast<int>(frameHeight)} {
        Title caption;
        caption.style = Title::Style::Caption;
        TitleLook const look = ResolveLook(style != nullptr ? *style : caption, frameWidth, frameHeight);
        LoadFonts();
        SubtitleFile content = ReadSubtitles(path, warn);
        library.reset(ass_library_init());
        if (!library) {
            throw std::bad_alloc();
        }
        ass_set_message_cb(library.get(), &Impl::Hear, this);
        ass_set_extract_fonts(library.get(), 1);
        if (content.script.empty()) {
            ReadLines(content, look);
        } else {
            ReadScript(content.script);
        }
        renderer.reset(ass_renderer_init(library.get()));
        if (!renderer) {
            throw std::bad_alloc();
        }
        ass_set_frame_size(renderer.get(), frame.right, frame.bottom);
        ass_set_storage_size(renderer.get(), frame.right, frame.bottom);
        ass_set_hinting(renderer.get(), ASS_HINTING_NONE);
        ass_set_fonts(renderer.get(), nullptr, "sans-serif", ASS_FONTPROVIDER_FONTCONFIG, nullptr, 1);
    }

    std::optional<TitlePicture> At(double time) {
        constexpr double kMilliseconds = 1000.0;
        constexpr double kLatest = 1e9;  // seconds
        if (!(time >= 0.0 && time < kLatest)) {
            return std::nullopt;
        }
        int change = 0;
        ASS_Image const* const images = ass_render_frame(
            renderer.get(), track.get(), static_cast<long long>(std::llround(time * kMilliseconds)), &change);
        if (change != 0 || !isDrawn) {
            drawn = Draw(images);
            isDrawn = true;
        }
        return drawn;
    }

private:
    void ReadScript(std::string& script) {
        track.reset(ass_read_memory(library.get(), script.data(), script.size(), nullptr));
        if (!track || track->n_events == 0) {
            Core::Throw(Media::MediaError(fmt::format("{}: has no subtitles", path)));
        }
    }

    void ReadLines(SubtitleFile const& content, TitleLook const& look) {
        track.reset(ass_new_track(library.get()));
        if (!track) {
            throw std::bad_alloc();
        }
        std::string header = content.header;
        ass_process_codec_private(track.get(), header.data(), static_cast<int>(header.size()));
        for (SubtitleFile::Line const& line : content.lines) {
            std::string text = line.text;
            ass_process_chunk(track.get(), text.data(), static_cast<int>(text.size()), line.start, line.duration);
        }
        ass_track_set_feature(track.get(), ASS_FEATURE_WRAP_UNICODE, 1);
        for (int i = 0; i < track->n_styles; ++i) {
            SetStyle(track->styles[i], look);
        }
    }

    /// Sizes in the script's own units, in which the lines may have sizes and places, too.
    void SetStyle(ASS_Style& style, TitleLook const& look) const {
        double const unit = track->PlayResY / look.frameHeight;
        double const unitX = track->PlayResX / look.frameWidth;
        LineExtent const line = MeasureLine(look);
        std::free(style.FontName);
        style.FontName = strdup(ChooseFamily(look.family).c_str());
        style.FontSize = (line.ascent + line.descent) * unit;  // ASS means the height of a line
        style.PrimaryColour = style.SecondaryColour = ToAss(look.color);
        style.OutlineColour = ToAss(look.outlineColor);
        style.Bold = look.weight;
        style.Italic = look.isItalic ? 1 : 0;
        style.Outline = look.HasOutline() ? look.outlineWidth * unit : 0.0;
        constexpr int kOutlineAndShadow = 1;
        constexpr int kBox = 4;
        style.BorderStyle = look.HasBox() ? kBox : kOutlineAndShadow;
        style.BackColour = ToAss(look.HasBox() ? look.boxColor : look.shadowColor);
        // A box is that much larger than the lines, which reach above capitals and below base lines already.
        double const padding = look.HasBox() ? std::max(look.boxPaddingY - line.descent, 0.0) : 0.0;
        style.Shadow = (look.HasBox() ? padding : look.HasShadow() ? std::max(look.shadowY, 0.0) : 0.0) * unit;
        style.Alignment = ToAss(look.anchor);
        style.Justify = ToAss(look.align);
        double const sides = std::max(look.marginX, (look.frameWidth - look.width) / 2.0);
        style.MarginL = style.MarginR = static_cast<int>(std::lround(sides * unitX));
        style.MarginV = static_cast<int>(std::lround((look.marginY + padding) * unit));
    }

    std::optional<TitlePicture> Draw(ASS_Image const* images) const {
        PixelRect area{frame.right, frame.bottom, 0, 0};
        for (ASS_Image const* image = images; image != nullptr; image = image->next) {
            PixelRect const place = PlaceOf(*image);
            if (!place.IsEmpty()) {
                area = {std::min(area.left, place.left), std::min(area.top, place.top),
                        std::max(area.right, place.right), std::max(area.bottom, place.bottom)};
            }
        }
        if (area.IsEmpty()) {
            return std::nullopt;
        }
        StraightPicture picture(area);
        for (ASS_Image const* image = images; image != nullptr; image = image->next) {
            picture.Over(PlaceOf(*image), image->bitmap, image->stride, FromAss(image->color));
        }
        return picture.Finish(frame);
    }

    static PixelRect PlaceOf(ASS_Image const& image) {
        return {image.dst_x, image.dst_y, image.dst_x + image.w, image.dst_y + image.h};
    }

    /// Libass reports each font that it misses when it first needs it. Styles and lines name fonts in many ways, and
    /// they may be attached to the file: nobody else knows.
    static void Hear(int level, char const* format, va_list arguments, void* self) {
        constexpr int kWarning = 2;
        if (level <= kWarning) {
            std::array<char, 1024> text{};
            std::vsnprintf(text.data(), text.size(), format, arguments);
            static_cast<Impl*>(self)->Hear(text.data());
        }
    }

    /// "fontselect: Using default font family: (FAMILY, WEIGHT, SLANT) -> PATH, INDEX, NAME".
    void Hear(std::string const& line) {
        constexpr std::string_view kMissing = "Using default font";
        std::size_t const begin = line.find('(');
        std::size_t const end = line.find(") -> ");
        if (line.find(kMissing) == std::string::npos || begin == std::string::npos || end == std::string::npos) {
            return;
        }
        std::string family = line.substr(begin + 1, end - begin - 1);
        for (int i = 0; i < 2; ++i) {  // weight and slant
            family.erase(std::min(family.rfind(','), family.size()));
        }
        if (warn && missing.insert(family).second) {
            warn(fmt::format("{}: the font \"{}\" is not installed; \"{}\" is used instead", path, family,
                             line.substr(line.rfind(", ") + 2)));
        }
    }

    std::string path;
    Media::WarningFn warn;
    std::set<std::string> missing;  ///< families that there was a warning of
    PixelRect frame;
    std::unique_ptr<ASS_Library, LibraryDeleter> library;
    std::unique_ptr<ASS_Track, TrackDeleter> track;
    std::unique_ptr<ASS_Renderer, RendererDeleter> renderer;
    bool isDrawn = false;
    std::optional<TitlePicture> drawn;
};

SubtitlePainter::SubtitlePainter(std::string const& path, std::uint32_t frameWidth, std::uint32_t frameHeight,
                                 Title const* style, Media::WarningFn const& warn)
    : impl(std::make_unique<Impl>(path, frameWidth, frameHeight, style, warn)) {}
SubtitlePainter::~SubtitlePainter() = default;

std::optional<TitlePicture> SubtitlePainter::At(double time) {
    return impl->At(time);
}

}  // namespace Kaltor::Edit
