#include "Edit/Titles/TitlePainter.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

#include <fmt/format.h>

#include "Edit/Titles/Fonts.h"
#include "Edit/Titles/StraightPicture.h"
#include "Edit/Titles/TextLayout.h"
#include "Edit/Titles/TitleLook.h"

namespace Kaltor::Edit {
namespace {

/// How far a title rises, in em.
constexpr double kRise = 0.8;
/// Where a Gaussian is nothing in 8 bits.
constexpr double kShadowReach = 3.0;

PixelRect Around(Rect const& rect) {
    return {static_cast<int>(std::floor(rect.left)), static_cast<int>(std::floor(rect.top)),
            static_cast<int>(std::ceil(rect.right)), static_cast<int>(std::ceil(rect.bottom))};
}

void DrawRounded(cairo_t* cairo, Rect const& rect, double radius) {
    constexpr double kQuarter = std::numbers::pi / 2.0;
    double const r = std::min({radius, (rect.right - rect.left) / 2.0, (rect.bottom - rect.top) / 2.0});
    if (r <= 0.0) {
        cairo_rectangle(cairo, rect.left, rect.top, rect.right - rect.left, rect.bottom - rect.top);
    } else {
        cairo_arc(cairo, rect.right - r, rect.top + r, r, -kQuarter, 0.0);
        cairo_arc(cairo, rect.right - r, rect.bottom - r, r, 0.0, kQuarter);
        cairo_arc(cairo, rect.left + r, rect.bottom - r, r, kQuarter, 2.0 * kQuarter);
        cairo_arc(cairo, rect.left + r, rect.top + r, r, 2.0 * kQuarter, 3.0 * kQuarter);
        cairo_close_path(cairo);
    }
    cairo_fill(cairo);
}

}  // namespace

class TitlePainter::Impl {
public:
    Impl(Title const& given, std::uint32_t frameWidth, std::uint32_t frameHeight, Media::WarningFn const& warn,
         std::shared_ptr<TitleFonts> fonts)
        : title(given),
          look(ResolveLook(given, frameWidth, frameHeight)),
          frame{0, 0, static_cast<int>(frameWidth), static_cast<int>(frameHeight)},
          layout(given, look, std::move(fonts), warn) {
        if (title.animation == Title::Animation::Typewriter) {
            steps = layout.FindLetters();
        } else if (title.animation == Title::Animation::WordByWord) {
            steps = layout.FindWords();
        }
        Rect const letters = layout.GetInk().Grow(look.HasOutline() ? look.outlineWidth : 0.0);
        // The antialiased rim of a letter does not count.
        constexpr double kRim = 1.0;
        if (warn && (letters.left < -kRim || letters.top < -kRim || letters.right > frameWidth + kRim ||
                     letters.bottom > frameHeight + kRim)) {
            warn("a title is larger than the frame, which cuts it");
        }
    }

    std::optional<TitlePicture> At(double time, double duration) {
        if (!(time >= 0.0) || !(time < duration) || title.text.empty()) {
            return std::nullopt;
        }
        auto const [entry, exit] = Durations(duration);
        double const in = entry > 0.0 ? std::min(time / entry, 1.0) : 1.0;
        double const out = exit > 0.0 ? std::min((duration - time) / exit, 1.0) : 1.0;
        double opacity = 1.0;
        double down = 0.0;
        int end = TextLayout::kWhole;
        switch (title.animation) {
            case Title::Animation::None:
                break;
            case Title::Animation::Fade:
                opacity = in * out;
                break;
            case Title::Animation::Rise:
                opacity = in * out;
                down = kRise * look.em * (std::pow(1.0 - in, 3.0) + std::pow(1.0 - out, 3.0));
                break;
            case Title::Animation::Typewriter:
            case Title::Animation::WordByWord:
                opacity = out;
                end = FindEnd(in);
                break;
        }
        if (!(opacity > 0.0)) {
            return std::nullopt;
        }
        if (!isDrawn || end != drawnEnd) {
            drawn = Draw(end);
            drawnEnd = end;
            isDrawn = true;
        }
        std::optional<TitlePicture> shown = drawn;
        if (shown) {
            shown->y += down;
            shown->opacity = opacity;
        }
        return shown;
    }

private:
    struct Ends {
        double entry;
        double exit;
    };

    Ends Durations(double duration) const {
        constexpr double kUsual = 0.5;
        constexpr double kLetter = 0.05;
        constexpr double kWord = 0.25;
        double entry = kUsual;
        if (title.animation == Title::Animation::Typewriter) {
            entry = kLetter * static_cast<double>(steps.size());
        } else if (title.animation == Title::Animation::WordByWord) {
            entry = kWord * static_cast<double>(steps.size());
        }
        entry = title.entry.value_or(std::min(entry, duration / 2.0));
        double const exit = title.exit.value_or(kUsual);
        // Where both do not fit, each has its share.
        double const scale = std::min(1.0, duration / std::max(entry + exit, duration));
        return {entry * scale, exit * scale};
    }

    /// Up to which byte the text shows: step k of n begins at k / n of the entry.
    int FindEnd(double progress) const {
        constexpr double kRounding = 1e-9;
        double const count = static_cast<double>(steps.size());
        auto const shown = static_cast<std::size_t>(std::floor(progress * count + kRounding)) + 1;
        return shown < steps.size() ? steps[shown] : TextLayout::kWhole;
    }

    std::optional<TitlePicture> Draw(int end) const {
        double const sigma = look.shadowBlur / 2.0;
        Rect const letters = layout.GetReach().Grow((look.HasOutline() ? look.outlineWidth : 0.0) + 1.0);
        Rect reach = letters;
        int const shadowX = static_cast<int>(std::lround(look.shadowX));
        int const shadowY = static_cast<int>(std::lround(look.shadowY));
        if (look.HasShadow()) {
            reach = reach.Unite(letters.Grow(kShadowReach * sigma).Move(shadowX, shadowY));
        }
        if (look.HasBox()) {
            reach = reach.Unite(layout.GetBox());
        }
        PixelRect const area = Around(reach).Intersect(frame);
        if (area.IsEmpty()) {
            return std::nullopt;
        }
        StraightPicture picture(area);
        if (look.HasBox()) {
            Canvas const box(area, CAIRO_FORMAT_A8);
            DrawRounded(box.Get(), layout.GetBox(), look.boxRadius);
            box.Finish();
            picture.Over(box.ToCoverage(), look.boxColor);
        }
        DrawText(picture, area, end, sigma, shadowX, shadowY);
        return picture.Finish(frame, title.animation == Title::Animation::Rise);
    }

    void DrawText(StraightPicture& picture, PixelRect const& area, int end, double sigma, int shadowX,
                  int shadowY) const {
        Canvas const plain(area, CAIRO_FORMAT_A8);
        Canvas const colors(area, CAIRO_FORMAT_ARGB32);
        Canvas const background(area, CAIRO_FORMAT_ARGB32);
        GlyphTargets targets{plain.Get(), colors.Get(), background.Get(), look.color.alpha / 255.0};
        layout.Draw(targets, end);
        plain.Finish();
        colors.Finish();
        background.Finish();
        Coverage const letters = plain.ToCoverage();
        Coverage const colored = targets.hasColors ? colors.ToCoverage() : Coverage();
        if (targets.hasColors) {
            picture.Over(background);
        }

        Coverage outline;
        if (look.HasOutline()) {
            Canvas const strokes(area, CAIRO_FORMAT_A8);
            GlyphTargets around{strokes.Get(), strokes.Get(), strokes.Get(), 1.0, 2.0 * look.outlineWidth};
            layout.Draw(around, end);
            strokes.Finish();
            outline = strokes.ToCoverage();
            if (look.color.alpha < 255) {
                // Letters that can be seen through do not show the outline's inner half.
                for (std::size_t i = 0; i < outline.size(); ++i) {
                    outline[i] *= 1.0F - letters[i];
                }
            }
        }
        if (look.HasShadow()) {
            // Letters that can be seen through cast less of it.
            float const opacity = static_cast<float>(look.color.alpha) / 255.0F;
            Coverage shadow(letters.size());
            auto const width = static_cast<std::size_t>(area.Width());
            for (int y = std::max(shadowY, 0); y < area.Height() + std::min(shadowY, 0); ++y) {
                for (int x = std::max(shadowX, 0); x < area.Width() + std::min(shadowX, 0); ++x) {
                    std::size_t const from =
                        static_cast<std::size_t>(y - shadowY) * width + static_cast<std::size_t>(x - shadowX);
                    shadow[static_cast<std::size_t>(y) * width + static_cast<std::size_t>(x)] =
                        std::max({letters[from] * opacity, outline.empty() ? 0.0F : outline[from],
                                  colored.empty() ? 0.0F : colored[from]});
                }
            }
            Blur(shadow, area.Width(), area.Height(), sigma);
            picture.Over(shadow, look.shadowColor);
        }
        if (!outline.empty()) {
            picture.Over(outline, look.outlineColor);
        }
        picture.Over(letters, look.color);
        if (targets.hasColors) {
            picture.Over(colors);
        }
    }

    Title title;
    TitleLook look;
    PixelRect frame;
    TextLayout layout;
    std::vector<int> steps;  ///< where they begin in the text
    bool isDrawn = false;
    int drawnEnd = 0;
    std::optional<TitlePicture> drawn;
};

std::shared_ptr<TitleFonts> MakeTitleFonts() {
    return std::make_shared<TitleFonts>();
}

TitlePainter::TitlePainter(Title const& title, std::uint32_t frameWidth, std::uint32_t frameHeight,
                           Media::WarningFn const& warn, std::shared_ptr<TitleFonts> fonts)
    : impl(std::make_unique<Impl>(title, frameWidth, frameHeight, warn, std::move(fonts))) {}
TitlePainter::~TitlePainter() = default;

std::optional<TitlePicture> TitlePainter::At(double time, double duration) {
    return impl->At(time, duration);
}

}  // namespace Kaltor::Edit
