#include "Edit/Titles/TextLayout.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

#include <fmt/format.h>
#include <pango/pangocairo.h>

#include "Core/Interfaces/Exception.h"
#include "Edit/Titles/Fonts.h"

namespace Kaltor::Edit {
namespace {

constexpr double kUnit = PANGO_SCALE;
constexpr double kPointsPerInch = 72.0;
/// Beyond this, in pixels, Cairo's coordinates overflow.
constexpr double kLargestExtent = 1 << 20;

struct DescriptionDeleter {
    void operator()(PangoFontDescription* description) const { pango_font_description_free(description); }
};
using DescriptionPtr = std::unique_ptr<PangoFontDescription, DescriptionDeleter>;

struct AttributesDeleter {
    void operator()(PangoAttrList* list) const { pango_attr_list_unref(list); }
};
struct IteratorDeleter {
    void operator()(PangoLayoutIter* iterator) const { pango_layout_iter_free(iterator); }
};
using IteratorPtr = std::unique_ptr<PangoLayoutIter, IteratorDeleter>;

struct AttrIteratorDeleter {
    void operator()(PangoAttrIterator* iterator) const { pango_attr_iterator_destroy(iterator); }
};

struct MemoryDeleter {
    void operator()(void* memory) const { g_free(memory); }
};

[[noreturn]] void Fail(std::string const& what) {
    Core::Throw(std::invalid_argument(what));
}

DescriptionPtr Describe(TitleLook const& look) {
    DescriptionPtr description(pango_font_description_new());
    pango_font_description_set_family(description.get(), look.family.c_str());
    pango_font_description_set_weight(description.get(), static_cast<PangoWeight>(look.weight));
    pango_font_description_set_style(description.get(), look.isItalic ? PANGO_STYLE_ITALIC : PANGO_STYLE_NORMAL);
    pango_font_description_set_absolute_size(description.get(), look.em * kUnit);
    return description;
}

ObjectPtr<PangoContext> MakeContext(PangoFontMap& fontMap, TitleLook const& look) {
    ObjectPtr<PangoContext> context(pango_font_map_create_context(&fontMap));
    cairo_font_options_t* const options = cairo_font_options_create();
    cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
    cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
    cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
    pango_cairo_context_set_font_options(context.get(), options);
    cairo_font_options_destroy(options);
    pango_context_set_round_glyph_positions(context.get(), FALSE);
    constexpr double kPointsOfHeight = 1080.0;
    pango_cairo_context_set_resolution(context.get(), kPointsPerInch * look.frameHeight / kPointsOfHeight);
    // The user's own language would decide which fonts are preferred.
    pango_context_set_language(context.get(), pango_language_from_string("en"));
    return context;
}

/// How far the capitals reach above the base line, in pixels.
double MeasureCapitals(PangoContext& context, TitleLook const& look) {
    ObjectPtr<PangoLayout> const layout(pango_layout_new(&context));
    pango_layout_set_font_description(layout.get(), Describe(look).get());
    pango_layout_set_text(layout.get(), "H", -1);
    PangoRectangle ink{};
    pango_layout_line_get_extents(pango_layout_get_line_readonly(layout.get(), 0), &ink, nullptr);
    return -ink.y / kUnit;
}

LineExtent Measure(PangoContext& context, TitleLook const& look) {
    PangoFontMetrics* const metrics = pango_context_get_metrics(&context, Describe(look).get(), nullptr);
    LineExtent const line{pango_font_metrics_get_ascent(metrics) / kUnit,
                          pango_font_metrics_get_descent(metrics) / kUnit};
    pango_font_metrics_unref(metrics);
    return line;
}

Rect ToRect(PangoRectangle const& rect) {
    return {rect.x / kUnit, rect.y / kUnit, (rect.x + rect.width) / kUnit, (rect.y + rect.height) / kUnit};
}

PangoDirection ToPango(Title::Direction direction) {
    return direction == Title::Direction::RightToLeft ? PANGO_DIRECTION_RTL : PANGO_DIRECTION_LTR;
}

/// A line's runs of which nothing shows from a place in the text on; what is hidden keeps its room.
class PartialRuns {
public:
    PartialRuns(PangoLayoutLine& shortened, char const* text, int end) : line(shortened), whole(shortened.runs) {
        for (GSList const* at = whole; at != nullptr; at = at->next) {
            auto const& run = *static_cast<PangoGlyphItem const*>(at->data);
            int const from = run.item->offset;
            int const count = end - from;
            PangoGlyphItem* rest = pango_glyph_item_copy(const_cast<PangoGlyphItem*>(&run));
            if (count >= run.item->length) {
                Append(rest);
                continue;
            }
            PangoGlyphItem* const shown = count > 0 ? pango_glyph_item_split(rest, text, count) : nullptr;
            Hide(*rest);
            bool const isRightToLeft = run.item->analysis.level % 2 != 0;
            if (isRightToLeft) {
                Append(rest);
            }
            if (shown != nullptr) {
                Append(shown);
            }
            if (!isRightToLeft) {
                Append(rest);
            }
        }
        line.runs = g_slist_reverse(runs);
    }
    ~PartialRuns() {
        g_slist_free_full(line.runs, [](void* run) { pango_glyph_item_free(static_cast<PangoGlyphItem*>(run)); });
        line.runs = whole;
    }
    PartialRuns(PartialRuns const&) = delete;
    PartialRuns& operator=(PartialRuns const&) = delete;

private:
    void Append(PangoGlyphItem* run) { runs = g_slist_prepend(runs, run); }

    static void Hide(PangoGlyphItem& run) {
        for (int i = 0; i < run.glyphs->num_glyphs; ++i) {
            run.glyphs->glyphs[i].glyph = PANGO_GLYPH_EMPTY;
            run.glyphs->glyphs[i].attr.is_color = 0;
        }
        // Nor underlines and backgrounds.
        GSList*& attributes = run.item->analysis.extra_attrs;
        g_slist_free_full(attributes,
                          [](void* attribute) { pango_attribute_destroy(static_cast<PangoAttribute*>(attribute)); });
        attributes = nullptr;
    }

    PangoLayoutLine& line;
    GSList* whole;
    GSList* runs = nullptr;
};

}  // namespace

Rect Rect::Unite(Rect const& other) const {
    return {std::min(left, other.left), std::min(top, other.top), std::max(right, other.right),
            std::max(bottom, other.bottom)};
}

TextLayout::TextLayout(Title const& title, TitleLook const& look, std::shared_ptr<TitleFonts> sharedFonts,
                       Media::WarningFn const& warn)
    : fonts(std::move(sharedFonts)),
      context(MakeContext(fonts->GetMap(), look)),
      layout(pango_layout_new(context.get())) {
    SetText(title);
    pango_layout_set_font_description(layout.get(), Describe(look).get());
    pango_layout_set_auto_dir(layout.get(), title.direction == Title::Direction::Auto);
    pango_context_set_base_dir(context.get(), ToPango(title.direction));
    pango_layout_set_line_spacing(layout.get(), static_cast<float>(look.lineSpacing));
    pango_layout_set_wrap(layout.get(), PANGO_WRAP_WORD_CHAR);
    CheckSizes(look);
    WarnOfFonts(look, warn);
    Wrap(look);
    Place(look);
}

void TextLayout::SetText(Title const& title) {
    std::string const& text = title.text;
    if (text.size() > Title::kLongestText) {
        Fail(fmt::format("a title's text has {} bytes; the most is {}", text.size(), Title::kLongestText));
    }
    if (text.find('\0') != std::string::npos ||
        g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr) == FALSE) {
        Fail("a title's text is not UTF-8");
    }
    if (!title.hasMarkup) {
        pango_layout_set_text(layout.get(), text.c_str(), static_cast<int>(text.size()));
        return;
    }
    PangoAttrList* attributes = nullptr;
    char* plain = nullptr;
    GError* error = nullptr;
    if (pango_parse_markup(text.c_str(), static_cast<int>(text.size()), 0, &attributes, &plain, nullptr, &error) ==
        FALSE) {
        std::string message = error->message;
        g_error_free(error);
        std::replace(message.begin(), message.end(), '\n', ' ');
        Fail(fmt::format("a title's markup cannot be read ({})", message));
    }
    std::unique_ptr<PangoAttrList, AttributesDeleter> const list(attributes);
    std::unique_ptr<char, MemoryDeleter> const content(plain);
    pango_layout_set_text(layout.get(), plain, -1);
    pango_layout_set_attributes(layout.get(), attributes);
}

void TextLayout::CheckSizes(TitleLook const& look) const {
    PangoAttrList* const list = pango_layout_get_attributes(layout.get());
    if (list == nullptr) {
        return;
    }
    constexpr double kMostHeights = 8.0;
    double const pixelsOfPoint = pango_cairo_context_get_resolution(context.get()) / kPointsPerInch;
    std::unique_ptr<PangoAttrIterator, AttrIteratorDeleter> const iterator(pango_attr_list_get_iterator(list));
    do {
        DescriptionPtr const font = Describe(look);
        pango_attr_iterator_get_font(iterator.get(), font.get(), nullptr, nullptr);
        double const size = pango_font_description_get_size(font.get()) / kUnit;
        bool const isPixels = pango_font_description_get_size_is_absolute(font.get()) != FALSE;
        double const em = isPixels ? size : size * pixelsOfPoint;
        if (!(em >= 0.0 && em <= kMostHeights * look.frameHeight)) {
            Fail("a title's text is too large to be drawn");
        }
    } while (pango_attr_iterator_next(iterator.get()) != FALSE);
}

void TextLayout::WarnOfFonts(TitleLook const& look, Media::WarningFn const& warn) const {
    if (!warn) {
        return;
    }
    std::vector<std::string> families{look.family};
    if (PangoAttrList* const list = pango_layout_get_attributes(layout.get())) {
        GSList* const attributes = pango_attr_list_get_attributes(list);
        for (GSList const* at = attributes; at != nullptr; at = at->next) {
            auto* const attribute = static_cast<PangoAttribute*>(at->data);
            char const* family = nullptr;
            if (PangoAttrString const* const name = pango_attribute_as_string(attribute);
                name != nullptr && attribute->klass->type == PANGO_ATTR_FAMILY) {
                family = name->value;
            } else if (PangoAttrFontDesc const* const font = pango_attribute_as_font_desc(attribute)) {
                family = pango_font_description_get_family(font->desc);
            }
            if (family != nullptr && std::find(families.begin(), families.end(), family) == families.end()) {
                families.emplace_back(family);
            }
        }
        g_slist_free_full(attributes,
                          [](void* attribute) { pango_attribute_destroy(static_cast<PangoAttribute*>(attribute)); });
    }
    for (std::string const& family : families) {
        WarnOfMissingFamily(family, *fonts, warn);
    }
    if (int const missing = pango_layout_get_unknown_glyphs_count(layout.get()); missing > 0) {
        warn(fmt::format("no installed font has {} of the title's characters; boxes stand for them", missing));
    }
}

std::size_t TextLayout::CountLines() const {
    return static_cast<std::size_t>(pango_layout_get_line_count(layout.get()));
}

void TextLayout::Wrap(TitleLook const& look) {
    int const widest = std::max(static_cast<int>(look.width * kUnit), 1);
    pango_layout_set_width(layout.get(), widest);
    if (look.align == Title::Align::Justify) {
        pango_layout_set_justify(layout.get(), TRUE);
        return;
    }
    // Lines of about the same length read better than one of a single word: the narrowest width with as many lines.
    std::size_t const count = CountLines();
    bool const isWrapped = pango_layout_is_wrapped(layout.get()) != FALSE;
    int low = 0;
    int high = widest;
    while (isWrapped && high - low > widest / 128 + 1) {
        int const middle = low + (high - low) / 2;
        pango_layout_set_width(layout.get(), middle);
        (CountLines() > count ? low : high) = middle;
    }
    pango_layout_set_width(layout.get(), high);
}

void TextLayout::Place(TitleLook const& look) {
    struct Line {
        double width;
        double baseline;
        Rect ink;  ///< from the beginning of the base line
        Rect logical;
        bool isRightToLeft;
    };
    std::vector<Line> measured;
    IteratorPtr const iterator(pango_layout_get_iter(layout.get()));
    do {
        PangoLayoutLine* const line = pango_layout_iter_get_line_readonly(iterator.get());
        PangoRectangle inkOf{};
        PangoRectangle logical{};
        pango_layout_line_get_extents(line, &inkOf, &logical);
        measured.push_back({logical.width / kUnit, pango_layout_iter_get_baseline(iterator.get()) / kUnit,
                            ToRect(inkOf), ToRect(logical),
                            pango_layout_line_get_resolved_direction(line) == PANGO_DIRECTION_RTL});
    } while (pango_layout_iter_next_line(iterator.get()) != FALSE);

    double width = 0.0;
    for (Line const& line : measured) {
        width = std::max(width, line.width);
    }
    double const first = measured.front().baseline;
    double const rise = measured.back().baseline - first;
    if (std::max({width, rise, -measured.front().ink.top, measured.back().ink.bottom}) > kLargestExtent) {
        Fail("a title's text is too large to be drawn");
    }

    // A box closes around capitals and base lines, where the eye sees the text's edges. Marks above, letters below and
    // other scripts may take half of the padding.
    double const capitals = MeasureCapitals(*context, look);
    double const paddingX = look.HasBox() ? look.boxPaddingX : 0.0;
    double const paddingY = look.HasBox() ? look.boxPaddingY : 0.0;
    double above = std::max(capitals + paddingY, -measured.front().ink.top + paddingY / 2.0);
    double below = std::max(paddingY, measured.back().ink.bottom + paddingY / 2.0);
    if (!look.HasBox()) {
        // The base line keeps its place whatever letters there are. At the edges of the frame all of them have room.
        LineExtent const line = Measure(*context, look);
        above = VerticalShare(look.anchor) == 0.0 ? line.ascent : capitals;
        below = VerticalShare(look.anchor) == 1.0 ? line.descent : 0.0;
    }
    double const boxWidth = std::ceil(width + 2.0 * paddingX);
    double const boxHeight = std::ceil(above + rise + below);
    auto const place = [](double share, double whole, double margin, double size) {
        return std::round(margin + (whole - 2.0 * margin - size) * share);
    };
    box.left = place(HorizontalShare(look.anchor), look.frameWidth, look.marginX, boxWidth) + std::round(look.x);
    box.top = place(VerticalShare(look.anchor), look.frameHeight, look.marginY, boxHeight) + std::round(look.y);
    box.right = box.left + boxWidth;
    box.bottom = box.top + boxHeight;

    double const textLeft = (box.left + box.right - width) / 2.0;
    bool isFirst = true;
    for (Line const& line : measured) {
        double const share = look.align == Title::Align::Center                          ? 0.5
                             : look.align == Title::Align::Right                         ? 1.0
                             : look.align == Title::Align::Justify && line.isRightToLeft ? 1.0
                                                                                         : 0.0;
        // Base lines on whole pixels: letters stand sharp.
        Point const point{textLeft + (width - line.width) * share, std::round(box.top + above + line.baseline - first)};
        lines.push_back(point);
        Rect const covered = line.ink.Move(point.x, point.y);
        Rect const room = covered.Unite(line.logical.Move(point.x, point.y));
        ink = isFirst ? covered : ink.Unite(covered);
        reach = isFirst ? room : reach.Unite(room);
        isFirst = false;
    }
}

std::vector<int> TextLayout::FindLetters() const {
    std::vector<int> starts;
    char const* const text = pango_layout_get_text(layout.get());
    IteratorPtr const iterator(pango_layout_get_iter(layout.get()));
    do {
        PangoGlyphItem* const run = pango_layout_iter_get_run_readonly(iterator.get());
        PangoGlyphItemIter cluster{};
        if (run == nullptr) {
            continue;
        }
        for (gboolean isThere = pango_glyph_item_iter_init_start(&cluster, run, text); isThere != FALSE;
             isThere = pango_glyph_item_iter_next_cluster(&cluster)) {
            if (g_unichar_isspace(g_utf8_get_char(text + cluster.start_index)) == FALSE) {
                starts.push_back(cluster.start_index);
            }
        }
    } while (pango_layout_iter_next_run(iterator.get()) != FALSE);
    std::sort(starts.begin(), starts.end());
    return starts;
}

std::vector<int> TextLayout::FindWords() const {
    std::vector<int> starts;
    char const* const text = pango_layout_get_text(layout.get());
    int count = 0;
    PangoLogAttr const* const places = pango_layout_get_log_attrs_readonly(layout.get(), &count);
    bool isBefore = true;
    int index = 0;
    for (char const* at = text; *at != '\0'; at = g_utf8_next_char(at), ++index) {
        isBefore = isBefore || (index < count && places[index].is_line_break != 0);
        if (isBefore && g_unichar_isspace(g_utf8_get_char(at)) == FALSE) {
            starts.push_back(static_cast<int>(at - text));
            isBefore = false;
        }
    }
    return starts;
}

void TextLayout::Draw(GlyphTargets& targets, int end) const {
    ObjectPtr<PangoRenderer> const renderer = MakeGlyphRenderer(targets);
    char const* const text = pango_layout_get_text(layout.get());
    for (std::size_t i = 0; i < lines.size(); ++i) {
        PangoLayoutLine* const line = pango_layout_get_line(layout.get(), static_cast<int>(i));
        int const x = static_cast<int>(std::lround(lines[i].x * kUnit));
        int const y = static_cast<int>(std::lround(lines[i].y * kUnit));
        if (end >= line->start_index + line->length) {
            pango_renderer_draw_layout_line(renderer.get(), line, x, y);
        } else if (end > line->start_index) {
            PartialRuns const shown(*line, text, end);
            pango_renderer_draw_layout_line(renderer.get(), line, x, y);
        }
    }
}

LineExtent MeasureLine(TitleLook const& look) {
    TitleFonts const fonts;
    return Measure(*MakeContext(fonts.GetMap(), look), look);
}

}  // namespace Kaltor::Edit
