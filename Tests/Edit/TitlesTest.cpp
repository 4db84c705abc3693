// Titles and subtitles, with DejaVu Sans Mono, whose letters' sizes are known: all letters are equally wide, and its
// full block and square are plain rectangles.

#include "Edit/Titles/SubtitlePainter.h"
#include "Edit/Titles/TitlePainter.h"
#include "Media/MediaError.h"
#include "Tests/Support/Picture.h"
#include "Tests/Support/TemporaryFolder.h"

namespace Kaltor::Edit::Tests {
namespace {

using Proc::Color;

constexpr unsigned kWidth = 800;
constexpr unsigned kHeight = 500;
constexpr double kEm = 128.0;
/// From the font's tables, in em.
constexpr double kAdvance = 1233.0 / 2048.0;
constexpr double kCapitals = 1493.0 / 2048.0;
constexpr double kLine = 2384.0 / 2048.0;
constexpr Color kClear{0, 0, 0, 0};
char const* const kBlock = "\u2588";   // from -20 to 1253 and from -512 to 1921 of 2048
char const* const kSquare = "\u25A0";  // from 6 to 1227 and from -79 to 1143 of 2048

Title Plain(std::string const& text) {
    Title title;
    title.text = text;
    title.family = "DejaVu Sans Mono";
    title.weight = 400;
    title.size = kEm / kHeight;
    title.shadowColor = kClear;
    title.width = 1.0;
    return title;
}

TitlePicture Paint(Title const& title, double time = 1.0, double duration = 2.0) {
    TitlePainter painter(title, kWidth, kHeight);
    std::optional<TitlePicture> shown = painter.At(time, duration);
    EXPECT_TRUE(shown) << title.text;
    return shown.value_or(TitlePicture{Proc::DataVideoFF::Create(PixFmt::Rgba, {1, 1, 1, 1}), 0.0, 0.0, 1.0});
}

/// The whole frame; transparent around the title.
Picture OnFrame(TitlePicture const& shown) {
    Picture const picture = Picture::FromFrame(*shown.picture);
    int const left = static_cast<int>(shown.x);
    int const top = static_cast<int>(shown.y);
    return Picture::Make(kWidth, kHeight, true, [&](unsigned x, unsigned y) {
        int const u = static_cast<int>(x) - left;
        int const v = static_cast<int>(y) - top;
        bool const isInside =
            u >= 0 && v >= 0 && u < static_cast<int>(picture.width) && v < static_cast<int>(picture.height);
        return isInside ? picture.At(static_cast<unsigned>(u), static_cast<unsigned>(v)) : Rgba{0, 0, 0, 0};
    });
}

struct Extent {
    double left, top, right, bottom;
};

/// Where letters begin and end, to parts of a pixel where their edges are straight.
Extent Measure(Picture const& picture) {
    double const none = 1e9;
    Extent extent{none, none, -none, -none};
    for (unsigned y = 0; y < picture.height; ++y) {
        for (unsigned x = 0; x < picture.width; ++x) {
            if (double const alpha = picture.At(x, y)[3]; alpha > 0.1) {
                extent.left = std::min(extent.left, x + 1.0 - (x > 0 && picture.At(x - 1, y)[3] > 0.1 ? 0 : alpha));
                extent.right = std::max(extent.right, x + alpha);
                extent.top = std::min(extent.top, y + 1.0 - (y > 0 && picture.At(x, y - 1)[3] > 0.1 ? 0 : alpha));
                extent.bottom = std::max(extent.bottom, y + alpha);
            }
        }
    }
    return extent;
}

Extent Measure(TitlePicture const& shown) {
    return Measure(OnFrame(shown));
}

/// Runs of covered pixels along a row or a column of the frame.
int CountRuns(Picture const& picture, bool isRow, unsigned at) {
    int runs = 0;
    bool wasInside = false;
    for (unsigned i = 0; i < (isRow ? picture.width : picture.height); ++i) {
        bool const isInside = (isRow ? picture.At(i, at) : picture.At(at, i))[3] > 0.5;
        runs += isInside && !wasInside ? 1 : 0;
        wasInside = isInside;
    }
    return runs;
}

std::string BytesOf(TitlePicture const& shown) {
    AVFrame const& frame = shown.picture->GetFrame();
    std::string bytes = fmt::format("{} {} {} {} {}:", shown.x, shown.y, shown.opacity, frame.width, frame.height);
    for (int y = 0; y < frame.height; ++y) {
        bytes.append(reinterpret_cast<char const*>(frame.data[0]) + std::ptrdiff_t{frame.linesize[0]} * y,
                     static_cast<std::size_t>(frame.width) * 4);
    }
    return bytes;
}

TEST(TitlePainterTest, ABoxHasTheSizeOfItsTextAndStandsWhereItsAnchorSays) {
    Title title = Plain(" ");
    title.boxColor = Color{200, 100, 50, 128};
    title.boxPaddingX = 0.5;
    title.boxPaddingY = 0.25;
    title.boxRadius = 0.0;
    title.margin = 0.1;
    title.align = Title::Align::Left;
    double const width = std::ceil(kEm * (kAdvance + 1.0));
    double const height = std::ceil(kEm * (kCapitals + 0.5));
    for (int place = 0; place < 9; ++place) {
        title.anchor = static_cast<Title::Anchor>(place);
        title.x = place == 0 ? 0.25 : 0.0;
        title.y = place == 0 ? -0.1 : 0.0;
        TitlePicture const shown = Paint(title);
        EXPECT_EQ(shown.x, std::round(80 + (place % 3) * (kWidth - 160 - width) / 2) + *title.x * kWidth) << place;
        EXPECT_EQ(shown.y, std::round(50 + (place / 3) * (kHeight - 100 - height) / 2) + *title.y * kHeight) << place;
        EXPECT_TRUE(IsNear(Picture::FromFrame(*shown.picture),
                           Picture::Flat(static_cast<unsigned>(width), static_cast<unsigned>(height),
                                         {200 / 255.0, 100 / 255.0, 50 / 255.0, 128 / 255.0}, true),
                           0.0))
            << place;
    }

    title.boxRadius = 0.4;
    double const radius = 0.4 * kEm;
    double covered = 0.0;
    for (Rgba const& pixel : Picture::FromFrame(*Paint(title).picture).pixels) {
        covered += pixel[3] * 255.0 / 128.0;
    }
    // Cairo draws arcs as polygons.
    EXPECT_NEAR(width * height - covered, (4.0 - std::numbers::pi) * radius * radius, 0.02 * radius * radius);
}

TEST(TitlePainterTest, LettersHaveTheirSizeAndKeepTheirColourUpToTheEdge) {
    Title title = Plain(kSquare);
    title.color = Color{10, 200, 90, 255};
    TitlePicture const shown = Paint(title);
    Extent const seen = Measure(shown);
    EXPECT_NEAR(seen.right - seen.left, kEm * 1221.0 / 2048.0, 0.1);
    EXPECT_NEAR((seen.left + seen.right) / 2.0, kWidth / 2.0, 0.6);
    // Capitals stand in the frame's middle; the square reaches from 79 below the base line to 1143 above it.
    double const baseline = (kHeight + kEm * kCapitals) / 2.0;
    EXPECT_NEAR(seen.top, baseline - kEm * 1143.0 / 2048.0, 1.5);
    EXPECT_NEAR(seen.bottom, baseline + kEm * 79.0 / 2048.0, 1.5);
    for (Rgba const& pixel : Picture::FromFrame(*shown.picture).pixels) {
        ASSERT_EQ(pixel[0] * 255, 10);
        ASSERT_EQ(pixel[1] * 255, 200);
        ASSERT_EQ(pixel[2] * 255, 90);
    }

    // Around curves, too, and beside them where nothing shows.
    Picture const letter = Picture::FromFrame(*Paint(Plain("O")).picture);
    int faint = 0;
    for (unsigned y = 1; y + 1 < letter.height; ++y) {
        for (unsigned x = 1; x + 1 < letter.width; ++x) {
            bool isBeside = false;
            for (unsigned k = 0; k < 9; ++k) {
                isBeside = isBeside || letter.At(x + k % 3 - 1, y + k / 3 - 1)[3] > 0.0;
            }
            if (isBeside) {
                ASSERT_EQ(letter.At(x, y)[0], 1.0) << x << ", " << y;
                faint += letter.At(x, y)[3] < 0.05 ? 1 : 0;
            }
        }
    }
    EXPECT_GT(faint, 50);

    title.size.reset();
    title.style = Title::Style::Caption;
    Extent const landscape = Measure(Paint(title));
    TitlePainter upright(title, kHeight, kWidth);
    Extent const portrait = Measure(Picture::FromFrame(*upright.At(0, 1)->picture));
    EXPECT_NEAR(portrait.right - portrait.left, landscape.right - landscape.left, 0.7) << "the shorter side counts";
}

TEST(TitlePainterTest, AnOutlineLiesAroundTheLettersWithRoundCorners) {
    Title title = Plain(kSquare);
    title.color = Color{255, 255, 255, 255};
    Extent const square = Measure(Paint(title));
    title.outlineWidth = 0.125;
    title.outlineColor = Color{255, 0, 0, 255};
    double const width = 0.125 * kEm;
    for (int const alpha : {255, 0}) {
        title.color = Color{255, 255, 255, static_cast<std::uint8_t>(alpha)};
        Picture const seen = OnFrame(Paint(title));
        Picture const expected = Picture::Make(kWidth, kHeight, true, [&](unsigned x, unsigned y) -> Rgba {
            double const right = std::max({square.left - x - 0.5, x + 0.5 - square.right});
            double const down = std::max({square.top - y - 0.5, y + 0.5 - square.bottom});
            double const away = std::max(right, down) <= 0.0 ? std::max(right, down)
                                                             : std::hypot(std::max(right, 0.0), std::max(down, 0.0));
            // The rim of the letter is known to a pixel, by which the outline's is.
            if (std::abs(away) < 1.5 || std::abs(away - width) < 1.5) {
                return kUndecided;
            }
            return away > width ? Rgba{0, 0, 0, 0}
                   : away > 0.0 ? Rgba{1, 0, 0, 1}
                   : alpha > 0  ? Rgba{1, 1, 1, 1}
                                : Rgba{0, 0, 0, 0};
        });
        Picture compared = seen;
        for (Rgba& pixel : compared.pixels) {
            if (pixel[3] == 0.0) {
                pixel = {0, 0, 0, 0};  // the colour beside an edge
            }
        }
        EXPECT_TRUE(IsNear(compared, expected, 0.5 / 255.0)) << "letters of alpha " << alpha;
    }
}

TEST(TitlePainterTest, AShadowIsAGaussian) {
    Title title = Plain(kSquare);
    Extent const square = Measure(Paint(title));
    title.shadowColor = Color{0, 0, 255, 200};
    title.shadowX = 0.75;
    title.shadowY = -0.5;
    title.shadowBlur = 0.25;
    double const sigma = 0.125 * kEm;
    auto const integral = [&](double from, double to, double at) {
        double const scale = 1.0 / (sigma * std::sqrt(2.0));
        return (std::erf((to - at) * scale) - std::erf((from - at) * scale)) / 2.0;
    };
    Picture const seen = OnFrame(Paint(title));
    double worst = 0.0;
    for (unsigned y = 0; y < kHeight; ++y) {
        for (unsigned x = 0; x < kWidth; ++x) {
            bool const isLetter =
                x + 2 > square.left && x < square.right + 2 && y + 2 > square.top && y < square.bottom + 2;
            if (!isLetter) {
                double const expected = 200 / 255.0 * integral(square.left + 96, square.right + 96, x + 0.5) *
                                        integral(square.top - 64, square.bottom - 64, y + 0.5);
                worst = std::max(worst, std::abs(seen.At(x, y)[3] - expected));
            }
        }
    }
    // The square's edges are known to a tenth of a pixel; the bell is made of four boxes.
    EXPECT_LT(worst, 3.0 / 255.0);
}

TEST(TitlePainterTest, LinesAreAlignedWrappedInBalanceAndSpaced) {
    std::string const two = std::string(kBlock) + kBlock + kBlock + "\n" + kBlock;
    double const step = kEm * kAdvance;
    struct Case {
        Title::Align align;
        double offset;
    };
    for (Case const& c : {Case{Title::Align::Left, 0.0},
                          {Title::Align::Center, step},
                          {Title::Align::Right, 2 * step},
                          {Title::Align::Justify, 0.0}}) {
        Title title = Plain(two);
        title.align = c.align;
        title.lineSpacing = 2.0;
        Picture const seen = OnFrame(Paint(title));
        Extent const all = Measure(seen);
        Picture const below = Picture::Make(kWidth, kHeight, true, [&](unsigned x, unsigned y) {
            return y > kHeight / 2 ? seen.At(x, y) : Rgba{0, 0, 0, 0};
        });
        EXPECT_NEAR(Measure(below).left - all.left, c.offset, 0.2);
        EXPECT_NEAR(Measure(below).top - all.top, 2.0 * kLine * kEm, 1.5) << "from line to line";
    }

    // Five words; four would fit on a line. The lines become three and two.
    Title words = Plain(fmt::format("{0} {0} {0} {0} {0}", kSquare));
    words.width = 7.5 * step / kWidth;
    Picture const wrapped = OnFrame(Paint(words));
    Extent const all = Measure(wrapped);
    EXPECT_NEAR(all.right - all.left, 4 * step + kEm * 1221.0 / 2048.0, 0.2);
    EXPECT_EQ(CountRuns(wrapped, true, static_cast<unsigned>(all.top) + 9), 3);
    EXPECT_EQ(CountRuns(wrapped, true, static_cast<unsigned>(all.bottom) - 9), 2);
    words.align = Title::Align::Justify;
    words.width = 8.0 * step / kWidth;
    Extent const justified = Measure(Paint(words));
    EXPECT_NEAR(justified.right - justified.left, 8 * step - kEm * 12.0 / 2048.0, 0.2) << "to both sides";
}

TEST(TitlePainterTest, WritingGoesItsWay) {
    auto const firstLetter = [](std::string const& text, Title::Direction direction) {
        Title title = Plain(text);
        title.direction = direction;
        title.animation = Title::Animation::Typewriter;
        title.entry = 4.0;
        Extent const whole = Measure(Paint(title, 5.0, 10.0));
        Extent const first = Measure(Paint(title, 0.0, 10.0));
        return (first.left + first.right - whole.left - whole.right) / (whole.right - whole.left);
    };
    using enum Title::Direction;
    EXPECT_LT(firstLetter("abc", Auto), -0.4);
    EXPECT_GT(firstLetter("\u05D0\u05D1\u05D2", Auto), 0.4) << "Hebrew";
    EXPECT_GT(firstLetter("(abc", RightToLeft), 0.4) << "a sign at the beginning of a line from right to left";
    EXPECT_LT(firstLetter("\u05D0 abc \u05D0", LeftToRight), -0.4);
    // A side is a side of the picture, whatever the writing.
    Title title = Plain("\u05D0\u05D1\u05D2\n\u05D0");
    title.align = Title::Align::Left;
    Picture const seen = OnFrame(Paint(title));
    Extent const all = Measure(seen);
    Picture const below = Picture::Make(kWidth, kHeight, true, [&](unsigned x, unsigned y) {
        return y > kHeight / 2 + 30 ? seen.At(x, y) : Rgba{0, 0, 0, 0};
    });
    EXPECT_LT(Measure(below).right, (all.left + all.right) / 2.0);
}

TEST(TitlePainterTest, FadesAndMovesWithoutDrawingAgain) {
    Title title = Plain("Ab");
    title.entry = 0.5;
    title.exit = 1.0;
    Extent const still = Measure(Paint(title));
    for (auto const animation : {Title::Animation::None, Title::Animation::Fade, Title::Animation::Rise}) {
        title.animation = animation;
        bool const fades = animation != Title::Animation::None;
        TitlePainter painter(title, kWidth, kHeight);
        std::optional<TitlePicture> const middle = painter.At(2.0, 4.0);
        ASSERT_TRUE(middle);
        struct Moment {
            double time, opacity, part;
        };
        // By how much of the way it still is from its place.
        for (Moment const& m : {Moment{0.1, 0.2, 0.512},
                                {0.25, 0.5, 0.125},
                                {0.5, 1.0, 0.0},
                                {3.0, 1.0, 0.0},
                                {3.5, 0.5, 0.125},
                                {3.9, 0.1, 0.729}}) {
            std::optional<TitlePicture> const shown = painter.At(m.time, 4.0);
            ASSERT_TRUE(shown) << m.time;
            EXPECT_EQ(shown->picture, middle->picture) << m.time;
            EXPECT_NEAR(shown->opacity, fades ? m.opacity : 1.0, 1e-9) << m.time;
            EXPECT_NEAR(shown->y - middle->y, animation == Title::Animation::Rise ? m.part * 0.8 * kEm : 0.0, 1e-9);
        }
        for (double const time : {-0.1, 4.0, 5.0, std::nan("")}) {
            EXPECT_FALSE(painter.At(time, 4.0)) << time;
        }
        EXPECT_EQ(painter.At(0.0, 4.0).has_value(), !fades);
        EXPECT_FALSE(painter.At(0.0, 0.0));
        // Entry and exit take one and two thirds of what is too short for both.
        if (fades) {
            EXPECT_NEAR(painter.At(0.1, 0.6)->opacity, 0.5, 1e-9);
            EXPECT_NEAR(painter.At(0.4, 0.6)->opacity, 0.5, 1e-9);
        }
        Extent const moved = Measure(*middle);
        EXPECT_NEAR(moved.left, still.left, 0.01);
        EXPECT_NEAR(moved.top, still.top, 0.01);
    }
    // What moves by parts of pixels has a transparent rim for the filter.
    Picture const rising = Picture::FromFrame(*Paint(title).picture);
    for (unsigned x = 0; x < rising.width; ++x) {
        ASSERT_EQ(rising.At(x, 0)[3], 0.0);
        ASSERT_EQ(rising.At(x, rising.height - 1)[3], 0.0);
    }
}

TEST(TitlePainterTest, TypesLettersAndWordsInTheirPlaces) {
    Title title = Plain(fmt::format("{0}{0} {0}\n<u>{0}</u>", kSquare));
    title.hasMarkup = true;
    title.lineSpacing = 1.5;
    title.align = Title::Align::Left;
    title.entry = 4.0;
    std::string const whole = BytesOf(Paint(title));
    Extent const all = Measure(Paint(title));
    struct Case {
        Title::Animation animation;
        std::vector<int> above;  ///< letters of the first line in seconds 0, 1, 2, 3, 4
        std::vector<int> below;
    };
    // Three words: 0, 4 / 3 and 8 / 3 seconds.
    for (Case const& c : {Case{Title::Animation::Typewriter, {1, 2, 3, 3, 3}, {0, 0, 0, 1, 1}},
                          {Title::Animation::WordByWord, {2, 2, 3, 3, 3}, {0, 0, 0, 1, 1}}}) {
        title.animation = c.animation;
        TitlePainter painter(title, kWidth, kHeight);
        std::vector<int> above;
        std::vector<int> below;
        for (int second = 0; second < 5; ++second) {
            std::optional<TitlePicture> const shown = painter.At(second, 10.0);
            ASSERT_TRUE(shown);
            EXPECT_EQ(painter.At(second + 0.3, 10.0)->picture, shown->picture) << second;
            Picture const seen = OnFrame(*shown);
            above.push_back(CountRuns(seen, true, static_cast<unsigned>(all.top) + 9));
            Extent const now = Measure(seen);
            EXPECT_NEAR(now.left, all.left, 0.6) << second;  // the underline is a little wider
            below.push_back(now.bottom > kHeight / 2.0 + 40 ? 1 : 0);
            if (below.back() == 0) {
                EXPECT_LT(now.bottom, all.top + kEm) << "neither letters nor their underline";
            }
        }
        EXPECT_EQ(above, c.above);
        EXPECT_EQ(below, c.below);
        EXPECT_EQ(BytesOf(*painter.At(4.0, 10.0)), whole);
        EXPECT_NE(painter.At(0.0, 10.0)->picture, painter.At(4.0, 10.0)->picture);
        EXPECT_NEAR(painter.At(9.75, 10.0)->opacity, 0.5, 1e-9);
        // Without times: a twentieth for each of four letters, a quarter for each of three words.
        title.entry.reset();
        TitlePainter quick(title, kWidth, kHeight);
        double const full = c.animation == Title::Animation::Typewriter ? 0.15 : 0.5;
        EXPECT_NE(BytesOf(*quick.At(full - 0.01, 10.0)), whole);
        EXPECT_EQ(BytesOf(*quick.At(full + 0.001, 10.0)), whole);
        title.entry = 4.0;
    }
    // Nor does the line under hidden letters of the same line show.
    title.text = fmt::format("{0}<u>{0}</u>", kSquare);
    title.align = Title::Align::Center;
    title.animation = Title::Animation::Typewriter;
    EXPECT_LT(Measure(Paint(title, 0.0, 10.0)).right, kWidth / 2.0 + 1.0);
}

TEST(TitlePainterTest, MarkupColoursSomeLetters) {
    Title title =
        Plain(fmt::format("<span foreground='#00ff00'>{0}</span> <span background='#0000ff'>{0}</span>", kSquare));
    title.hasMarkup = true;
    title.outlineWidth = 0.05;
    Picture const seen = OnFrame(Paint(title));
    unsigned const y = kHeight / 2;
    double const step = kEm * kAdvance;
    auto const at = [&](double letters) { return seen.At(static_cast<unsigned>(kWidth / 2 + letters * step), y); };
    EXPECT_THAT(at(-1.0), ElementsAre(0, 1, 0, 1));
    EXPECT_THAT(at(1.0), ElementsAre(1, 1, 1, 1));
    EXPECT_THAT(at(0.0)[3], 0.0);
    Picture const above = seen;
    EXPECT_THAT(above.At(static_cast<unsigned>(kWidth / 2 + step), y - 70), ElementsAre(0, 0, 1, 1)) << "behind it";
}

TEST(TitlePainterTest, EmojiHaveTheirColoursAndTheTextsOpacity) {
    Title title = Plain("\U0001F34E\U0001F966");  // an apple and broccoli
    title.color = Color{0, 0, 255, 128};
    title.animation = Title::Animation::Typewriter;
    title.entry = 1.0;
    std::string missing;
    TitlePainter painter(title, kWidth, kHeight, [&](std::string const& line) { missing = line; });
    auto const greens = [&](double time) {
        Picture const seen = OnFrame(*painter.At(time, 10.0));
        double highest = 0.0;
        for (Rgba const& pixel : seen.pixels) {
            highest = std::max(highest, pixel[3]);
        }
        EXPECT_NEAR(highest, 128 / 255.0, 1.5 / 255.0);
        return std::count_if(seen.pixels.begin(), seen.pixels.end(),
                             [](Rgba const& p) { return p[3] > 0.4 && p[1] > 1.3 * std::max(p[0], p[2]); });
    };
    if (!missing.empty()) {
        GTEST_SKIP() << "no font with emoji is installed (fonts-noto-color-emoji is one)";
    }
    EXPECT_LT(greens(0.0), 2000);
    EXPECT_GT(greens(2.0), 4000);
}

TEST(TitlePainterTest, SaysWhatIsMissingAndWhatIsWrong) {
    auto const warningsOf = [](Title const& title) {
        std::vector<std::string> lines;
        TitlePainter const painter(title, kWidth, kHeight, [&](std::string const& line) { lines.push_back(line); });
        return lines;
    };
    Title title = Plain("Text");
    EXPECT_THAT(warningsOf(title), ElementsAre());
    title.family = "dejavusansmono";
    EXPECT_THAT(warningsOf(title), ElementsAre());
    title.family = "No Such Font, DejaVu Sans";
    EXPECT_THAT(warningsOf(title), ElementsAre());
    title.family = "No Such Font";
    EXPECT_THAT(
        warningsOf(title),
        ElementsAre(testing::MatchesRegex("the font \"No Such Font\" is not installed; \".+\" is used instead")));
    title = Plain("<span font_family='Other Font'>Text</span>");
    title.hasMarkup = true;
    EXPECT_THAT(warningsOf(title), ElementsAre(HasSubstr("Other Font")));
    EXPECT_THAT(warningsOf(Plain("a\U000F1234b")), ElementsAre(HasSubstr("1 of the title's characters")));
    EXPECT_THAT(warningsOf(Plain("WWWWWWWWWWWWWWWW\n2\n3\n4\n5\n6")), ElementsAre(HasSubstr("larger than the frame")));

    auto const failureOf = [](std::function<void(Title&)> const& change) {
        Title wrong = Plain("Text");
        wrong.hasMarkup = true;
        change(wrong);
        std::string const line = Catch<std::invalid_argument>([&] { Paint(wrong); }).what;
        EXPECT_THAT(line, Not(HasSubstr("\n")));
        return line;
    };
    EXPECT_THAT(failureOf([](Title& t) { t.text = "<b>\n<i>open</b>"; }), HasSubstr("markup"));
    EXPECT_THAT(failureOf([](Title& t) { t.text = "a & b"; }), HasSubstr("markup"));
    EXPECT_THAT(failureOf([](Title& t) { t.text = "\xFF"; }), HasSubstr("UTF-8"));
    EXPECT_THAT(failureOf([](Title& t) { t.text = std::string("a\0b", 3); }), HasSubstr("UTF-8"));
    EXPECT_THAT(failureOf([](Title& t) { t.text.assign(16385, 'a'); }), HasSubstr("16385 bytes; the most is 16384"));
    EXPECT_THAT(failureOf([](Title& t) { t.text = "<span size='1900000000'>W</span>"; }), HasSubstr("too large"));
    std::string big;
    for (int i = 0; i < 200; ++i) {
        big += "<big>";
    }
    EXPECT_THAT(failureOf([&](Title& t) {
                    t.text = big + "W";
                    for (int i = 0; i < 200; ++i) {
                        t.text += "</big>";
                    }
                }),
                HasSubstr("too large"));
    EXPECT_THAT(failureOf([](Title& t) { t.text = "<span letter_spacing='2000000000'>WWW</span>"; }),
                HasSubstr("large"));
    EXPECT_THAT(failureOf([](Title& t) { t.size = 0.0; }), HasSubstr("size is 0; it can be above 0 to 1"));
    EXPECT_THAT(failureOf([](Title& t) { t.size = std::nan(""); }), HasSubstr("size"));
    EXPECT_THAT(failureOf([](Title& t) { t.outlineWidth = 0.6; }), HasSubstr("outline's width is 0.6"));
    EXPECT_THAT(failureOf([](Title& t) { t.entry = -1.0; }), HasSubstr("entry"));
    EXPECT_THROW(TitlePainter(title, 0, 10), std::invalid_argument);
    Title much = Plain(std::string(16384, '\n'));
    EXPECT_FALSE(TitlePainter(much, kWidth, kHeight).At(0.5, 1.0));
    EXPECT_FALSE(TitlePainter(Plain(""), kWidth, kHeight).At(0.5, 1.0));
    // However large, it is cut to the frame.
    Title huge = Plain(kBlock);
    huge.size = 1.0;
    huge.outlineWidth = 0.5;
    huge.shadowColor = Color{0, 0, 0, 255};
    huge.shadowBlur = 2.0;
    huge.shadowX = 1.0;
    TitlePicture const cut = Paint(huge);
    EXPECT_LE(cut.picture->GetFrameInfo().width, kWidth);
    EXPECT_LE(cut.picture->GetFrameInfo().height, kHeight);
}

/// Files of subtitles in a folder of their own.
class SubtitlePainterTest : public testing::Test {
protected:
    std::string Write(std::string const& name, std::string const& content) const {
        WriteText(folder / name, content);
        return (folder / name).string();
    }

    /// Of a painter that draws one moment; the warnings go to `warnings`.
    std::optional<TitlePicture> PaintFile(std::string const& path, double time, Title const* style = nullptr) {
        SubtitlePainter painter(path, kWidth, kHeight, style, [this](std::string const& w) { warnings.push_back(w); });
        return painter.At(time);
    }

    static std::string Script(std::string const& font, std::string const& text, std::string const& more = {}) {
        return fmt::format(
            "[Script Info]\nScriptType: v4.00+\nPlayResX: 400\nPlayResY: 250\n\n[V4+ Styles]\nFormat: Name, Fontname, "
            "Fontsize, PrimaryColour, OutlineColour, BackColour, BorderStyle, Outline, Shadow, Alignment\n"
            "Style: Default,{},40,&H000000FF,&H0,&H0,1,0,0,5\n\n{}[Events]\nFormat: Layer, Start, End, Style, Text\n"
            "Dialogue: 0,0:00:01.00,0:00:02.00,Default,{}\n",
            font, more, text);
    }

    Kaltor::Tests::TemporaryFolder temporary;
    fs::path const& folder = temporary.Get();
    std::vector<std::string> warnings;
};

TEST_F(SubtitlePainterTest, LinesShowInTheirTimeWithTheStylesLooks) {
    Title style = Plain("");
    style.style = Title::Style::Caption;
    style.color = Color{0, 255, 0, 255};
    style.outlineWidth = 0.0;
    style.margin = 0.1;
    std::string const srt = Write("a.srt", fmt::format("1\n00:00:01,000 --> 00:00:02,000\n{0}{0}\n\n2\n"
                                                       "00:00:03,500 --> 00:00:04,000\n{{\\an7}}{0}\n",
                                                       kSquare));
    std::string const vtt = Write("a.vtt", fmt::format("WEBVTT\n\n00:01.000 --> 00:02.000\n{0}{0}\n\n"
                                                       "00:03.500 --> 00:04.000\n{0}\n",
                                                       kSquare));
    for (std::string const& path : {srt, vtt}) {
        SubtitlePainter painter(path, kWidth, kHeight, &style);
        for (double const time : {-1.0, 0.0, 0.999, 2.0, 3.0, 3.499, 4.0, 1e12}) {
            EXPECT_FALSE(painter.At(time)) << time;
        }
        std::optional<TitlePicture> const first = painter.At(1.0);
        ASSERT_TRUE(first);
        EXPECT_EQ(painter.At(1.999)->picture, first->picture);
        ASSERT_TRUE(painter.At(3.5));
        EXPECT_NE(painter.At(3.5)->picture, first->picture);
        // The same size as a title's; at the bottom within the margin.
        Extent const seen = Measure(*first);
        EXPECT_NEAR(seen.right - seen.left, kEm * (kAdvance + 1221.0 / 2048.0), 1.0);
        EXPECT_NEAR((seen.left + seen.right) / 2.0, kWidth / 2.0, 1.0);
        EXPECT_NEAR(seen.bottom, 0.9 * kHeight - kEm * (483.0 - 79.0) / 2048.0, 2.0);
        for (Rgba const& pixel : Picture::FromFrame(*first->picture).pixels) {
            ASSERT_EQ(pixel[1], 1.0);
            ASSERT_EQ(pixel[0], 0.0);
        }
    }
    Extent const above = Measure(*PaintFile(srt, 3.6, &style));
    EXPECT_NEAR(above.top, 0.1 * kHeight + kEm * (1901.0 - 1143.0) / 2048.0, 2.0);
    EXPECT_LT(above.right, kWidth / 2.0);

    style.boxColor = Color{0, 0, 0, 255};
    Extent const box = Measure(*PaintFile(vtt, 1.5, &style));
    EXPECT_LE(box.bottom, 0.9 * kHeight + 1.0);
    EXPECT_GT(box.right - box.left, kEm * 2 * kAdvance);
    style.size = 2.0;
    EXPECT_THROW(PaintFile(vtt, 1.5, &style), std::invalid_argument);
}

TEST_F(SubtitlePainterTest, ScriptsHaveTheirOwnLooks) {
    // Half the frame's size: its middle and its lengths double.
    std::string const path = Write("a.ass", Script("DejaVu Sans Mono", fmt::format("{{\\pos(100,50)}}{}", kSquare)));
    std::optional<TitlePicture> const shown = PaintFile(path, 1.0);
    ASSERT_TRUE(shown);
    Extent const seen = Measure(*shown);
    double const em = 80.0 / kLine;
    EXPECT_NEAR((seen.left + seen.right) / 2.0, 200.0, 1.0);
    EXPECT_NEAR(seen.right - seen.left, em * 1221.0 / 2048.0, 1.0);
    EXPECT_THAT(Picture::FromFrame(*shown->picture).At(10, 10), ElementsAre(1, 0, 0, 1));
    EXPECT_FALSE(PaintFile(path, 2.0));
    EXPECT_THAT(warnings, ElementsAre());

    // Half transparent over opaque: the mean, straight alpha.
    std::string const twice =
        Write("b.ass",
              Script("DejaVu Sans Mono", fmt::format("{{\\pos(100,50)}}{}\nDialogue: 1,0:00:01.00,0:00:02.00,Default,"
                                                     "{{\\pos(100,50)\\1c&HFF0000&\\1a&H80&}}{}",
                                                     kSquare, kSquare)));
    Rgba const mixed = Picture::FromFrame(*PaintFile(twice, 1.0)->picture).At(10, 10);
    EXPECT_NEAR(mixed[0], 128 / 255.0, 0.6 / 255);
    EXPECT_NEAR(mixed[2], 127 / 255.0, 0.6 / 255);
    EXPECT_EQ(mixed[3], 1.0);
}

/// The form of attached fonts in ASS: three bytes are four characters of six bits.
std::string Attach(std::string const& bytes) {
    std::string text;
    std::size_t column = 0;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        std::size_t const count = std::min<std::size_t>(3, bytes.size() - i);
        unsigned value = 0;
        for (std::size_t k = 0; k < 3; ++k) {
            value = value << 8U | (k < count ? static_cast<unsigned char>(bytes[i + k]) : 0U);
        }
        for (std::size_t k = 0; k <= count; ++k) {
            text += static_cast<char>((value >> (18U - 6U * k) & 63U) + 33U);
            if (++column == 80) {
                text += '\n';
                column = 0;
            }
        }
    }
    return text + "\n";
}

/// DejaVu Sans Mono under another name.
std::string RenamedFont() {
    std::string font = ReadAll("/usr/share/fonts/truetype/dejavu/DejaVuSansMono.ttf");
    std::string const from = "DejaVu Sans Mono";
    std::string const to = "Kaltor Test Font";
    for (bool const isWide : {false, true}) {
        auto const spell = [&](std::string const& name) {
            std::string spelt;
            for (char const c : name) {
                spelt += isWide ? std::string{'\0', c} : std::string{c};
            }
            return spelt;
        };
        std::string const old = spell(from);
        for (std::size_t at = font.find(old); at != std::string::npos; at = font.find(old, at + 1)) {
            font.replace(at, old.size(), spell(to));
        }
    }
    return font;
}

TEST_F(SubtitlePainterTest, FontsComeFromTheSystemOrTheFileItselfAndNowhereElse) {
    std::string const font = RenamedFont();
    if (font.empty()) {
        GTEST_SKIP() << "fonts-dejavu-core is not in its usual place";
    }
    std::string const text = "mmiii";
    auto const paint = [&](std::string const& name, std::string const& family, std::string const& more) {
        return BytesOf(*PaintFile(Write(name, Script(family, text, more)), 1.0));
    };
    std::string const mono = paint("a.ass", "DejaVu Sans Mono", "");
    EXPECT_EQ(paint("b.ass", "Kaltor Test Font", "[Fonts]\nfontname: test.ttf\n" + Attach(font) + "\n"), mono);
    EXPECT_THAT(warnings, ElementsAre());

    std::string const path = Write("outside.ttf", font);
    std::string const usual = paint("c.ass", "sans-serif", "");
    for (std::string const& family : {std::string("Kaltor Test Font"), path, "file:" + path}) {
        warnings.clear();
        EXPECT_EQ(paint("d.ass", family, ""), usual) << family;
        EXPECT_THAT(warnings, ElementsAre(AllOf(HasSubstr("d.ass: the font"), HasSubstr(family)))) << family;
    }
    warnings.clear();
    EXPECT_EQ(paint("e.ass", "DejaVu Sans Mono", "[Fonts]\nfontname: bad.ttf\n" + Attach(font.substr(0, 3000)) + "\n"),
              mono)
        << "a damaged font is none";
    Title style = Plain("");
    style.family = "No Such Font";
    PaintFile(Write("f.srt", "1\n00:00:01,000 --> 00:00:02,000\nText\n"), 1.0, &style);
    EXPECT_THAT(warnings, ElementsAre(HasSubstr("\"No Such Font\" is not installed")));
}

TEST_F(SubtitlePainterTest, DamagedFilesAreOneLine) {
    std::string const line = "1\n00:00:01,000 --> 00:00:02,000\nText\n\n";
    auto const failureOf = [&](std::string const& path) {
        std::string const what = Catch<Media::MediaError>([&] { PaintFile(path, 1.0); }).what;
        EXPECT_THAT(what, AllOf(testing::StartsWith(path + ": "), Not(HasSubstr("\n"))));
        return what;
    };
    char const* const none = "no subtitles that can be read";
    EXPECT_THAT(failureOf(Write("a.srt", std::string("\x7F"
                                                     "ELF\0\1\2\3",
                                                     8) +
                                             std::string(500, '\0'))),
                HasSubstr(none));
    EXPECT_THAT(failureOf(Write("b.srt", "just text\nand more of it\n")), HasSubstr(none));
    EXPECT_THAT(failureOf(Write("c.srt", line.substr(0, 20))), HasSubstr(none));
    EXPECT_THAT(failureOf(Write("d.srt", "#EXTM3U\n#EXTINF:1,\nfile:///etc/passwd\n")), HasSubstr(none));
    EXPECT_THAT(failureOf(Write("e.srt", "")), HasSubstr("is empty"));
    EXPECT_THAT(failureOf(Write("f.vtt", "WEBVTT\n\n")), HasSubstr("has no subtitles"));
    EXPECT_THAT(failureOf(Write("g.ass", "[Script Info]\nScriptType: v4.00+\n\n[Events]\n")),
                HasSubstr("no subtitles"));
    EXPECT_THAT(failureOf(folder.string()), HasSubstr("is a directory"));
    EXPECT_THAT(failureOf((folder / "none.srt").string()), HasSubstr("no such file"));
    std::string const pipe = (folder / "pipe.srt").string();
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_THAT(failureOf(pipe), HasSubstr("not a plain file"));
    std::string const large = Write("large.srt", line);
    fs::resize_file(large, (std::uintmax_t{64} << 20U) + 1);
    EXPECT_THAT(failureOf(large), HasSubstr("too large"));

    // What follows damage is still there.
    EXPECT_TRUE(
        PaintFile(Write("h.srt", line + "2\n00:00:0x --> \nlost\n\n3\n00:00:05,000 --> 00:00:06,000\nText\n"), 5.5));
    EXPECT_THAT(warnings, ElementsAre());
    // Whatever the encoding, the same letters.
    std::string const utf8 = "1\n00:00:01,000 --> 00:00:02,000\n\u00E9t\u00E9 \u20AC\n\n";
    std::string latin = utf8;
    for (auto const& [from, to] : {std::pair{"\u00E9", "\xE9"}, {"\u20AC", "\x80"}}) {
        for (std::size_t at = latin.find(from); at != std::string::npos; at = latin.find(from)) {
            latin.replace(at, std::strlen(from), to);
        }
    }
    std::string wide = "\xFF\xFE";
    for (char const c : line) {
        wide += c;
        wide += '\0';
    }
    std::string const expected = BytesOf(*PaintFile(Write("i.srt", utf8), 1.0));
    EXPECT_EQ(BytesOf(*PaintFile(Write("j.srt", "\xEF\xBB\xBF" + utf8), 1.0)), expected);
    EXPECT_THAT(warnings, ElementsAre());
    EXPECT_EQ(BytesOf(*PaintFile(Write("k.srt", latin), 1.0)), expected);
    EXPECT_THAT(warnings, ElementsAre(HasSubstr("read as Windows-1252")));
    EXPECT_EQ(BytesOf(*PaintFile(Write("l.srt", wide), 1.0)), BytesOf(*PaintFile(Write("m.srt", line), 1.0)));
}

TEST_F(SubtitlePainterTest, PaintersOfSeveralThreadsDrawTheSame) {
    std::string const path = Write("a.ass", Script("DejaVu Sans Mono", "Some {\\b1}bold{\\b0} text"));
    auto const work = [&] {
        std::string bytes;
        for (int i = 0; i < 6; ++i) {
            Title title = Plain("<b>Bold</b> and <i>slanted</i> \u05D0\u05D1\u05D2 text");
            title.hasMarkup = true;
            title.size = 0.03 + 0.01 * i;
            title.outlineWidth = 0.05;
            title.animation = Title::Animation::Typewriter;
            TitlePainter painter(title, kWidth, kHeight);
            bytes += BytesOf(*painter.At(0.2, 4.0)) + BytesOf(*painter.At(2.0, 4.0));
            bytes += BytesOf(*SubtitlePainter(path, kWidth, kHeight).At(1.0));
        }
        return bytes;
    };
    std::string const expected = work();
    std::vector<std::future<std::string>> others;
    for (int i = 0; i < 4; ++i) {
        others.push_back(std::async(std::launch::async, work));
    }
    for (std::future<std::string>& other : others) {
        EXPECT_TRUE(other.get() == expected);
    }
}

}  // namespace
}  // namespace Kaltor::Edit::Tests
