// Grain and similar noise, tested by their statistics; effects at a film's rate, tested by when they change.

#include "Tests/Support/TransitionFixture.h"

namespace Kaltor::Tests {
namespace {

using FilmEffects = GlTest;
constexpr double kTurn = 2.0 * std::numbers::pi;

struct Moments {
    double mean = 0.0;
    double deviation = 0.0;
    double kurtosis = 0.0;  ///< 3 of a normal distribution
};

Moments GetMoments(Picture const& picture, std::size_t channel) {
    auto const mean = [&](auto const& value) {
        double sum = 0.0;
        for (Rgba const& pixel : picture.pixels) {
            sum += value(pixel[channel]);
        }
        return sum / static_cast<double>(picture.pixels.size());
    };
    double const middle = mean([](double v) { return v; });
    double const variance = mean([middle](double v) { return std::pow(v - middle, 2.0); });
    double const fourth = mean([middle](double v) { return std::pow(v - middle, 4.0); });
    return {middle, std::sqrt(variance), fourth / (variance * variance)};
}

/// The correlation of one channel with a channel of another picture, `shift` pixels to the right.
double GetCorrelation(Picture const& a, std::size_t aChannel, Picture const& b, std::size_t bChannel, unsigned shift) {
    Moments const ofA = GetMoments(a, aChannel);
    Moments const ofB = GetMoments(b, bChannel);
    double sum = 0.0;
    for (unsigned y = 0; y < a.height; ++y) {
        for (unsigned x = 0; x + shift < a.width; ++x) {
            sum += (a.At(x, y)[aChannel] - ofA.mean) * (b.At(x + shift, y)[bChannel] - ofB.mean);
        }
    }
    return sum / (ofA.deviation * ofB.deviation * (a.width - shift) * a.height);
}

constexpr unsigned kWidth = 400;
constexpr unsigned kHeight = 240;

std::string Grain(double strength, double pixels) {
    return fmt::format("EffectAddNoize strength={} size={} ", strength, pixels / kWidth);
}

constexpr double kGrey = 128 / 255.0;  // which 8 bits hold

Picture Grey(double tone, unsigned width = kWidth, unsigned height = kHeight) {
    return Picture::Flat(width, height, {tone, tone, tone, 1});
}

TEST_F(FilmEffects, GrainIsNormalAndFollowsTone) {
    constexpr double kStrength = 0.5;
    // How far the deviation of this many grains may lie from the true one; 8-bit rounding is much smaller.
    constexpr double kTolerance = 0.04;
    for (double const pixels : {1.0, 1.7, 3.0}) {
        for (double const tone : {0.2, 0.5, 0.7}) {
            Moments const moments = GetMoments(Run(Grain(kStrength, pixels), Grey(tone)), 1);
            double const expected = 0.4 * kStrength * std::sqrt(tone * (1.0 - tone));
            EXPECT_NEAR(moments.deviation, expected, kTolerance * expected) << pixels << " pixels, tone " << tone;
            EXPECT_NEAR(moments.mean, tone, 0.003) << pixels << " pixels, tone " << tone;
            EXPECT_NEAR(moments.kurtosis, 3.0, 0.35) << pixels << " pixels, tone " << tone;
        }
    }
    // A quarter of a pixel would average away to a quarter; half is the least.
    EXPECT_NEAR(GetMoments(Run(Grain(kStrength, 0.25), Grey(0.5)), 0).deviation, 0.05, 0.002);
    for (double const end : {0.0, 1.0}) {
        EXPECT_TRUE(IsNear(Run(Grain(1.0, 2.0), Grey(end)), Grey(end), 0.0)) << end;
    }
}

TEST_F(FilmEffects, GrainHasItsSizeItsTimeAndIsGreyOrColoured) {
    Picture const mono = Run(Grain(0.4, 5.0), Grey(0.5));
    EXPECT_GT(GetCorrelation(mono, 0, mono, 0, 2), 0.4);
    EXPECT_NEAR(GetCorrelation(mono, 0, mono, 0, 10), 0.0, 0.05);
    EXPECT_NEAR(GetCorrelation(mono, 0, mono, 2, 0), 1.0, 1e-9);
    Picture const colored = Run(Grain(0.4, 5.0) + "monochrome=false", Grey(0.5));
    for (std::size_t channel = 0; channel < 3; ++channel) {
        EXPECT_NEAR(GetCorrelation(colored, channel, colored, (channel + 1) % 3, 0), 0.0, 0.06) << channel;
    }
    auto const at = [](double seconds, char const* more = "") {
        return Run(Grain(0.4, 1.5) + more, Grey(0.5), {.seconds = seconds});
    };
    Picture const first = at(0.283333);  // the 17th of 60 a second, in microseconds
    EXPECT_TRUE(IsNear(at(0.2999), first, 0.0));
    EXPECT_NEAR(GetCorrelation(at(0.3), 0, first, 0, 0), 0.0, 0.05);
    EXPECT_NEAR(GetCorrelation(at(0.2833), 0, first, 0, 0), 0.0, 0.05);
    EXPECT_TRUE(IsNear(at(0.32, "animated=false"), at(7.0, "animated=false"), 0.0));
}

TEST_F(FilmEffects, DiffusePicksEvenlyFromADisc) {
    constexpr unsigned kSide = 1920;  // from here on a pixel is one grain
    constexpr unsigned kRows = 200;
    constexpr unsigned kMargin = 40;
    constexpr double kReach = 0.02 * kSide;
    Picture const drawn =
        Run("EffectDiffuse size=0.02 cell=0", Picture::Make(kSide, kRows, false, [](unsigned x, unsigned y) {
                return Rgba{(x % 256) / 255.0, y / 255.0, x / 256 / 255.0, 1.0};
            }));
    std::vector<double> right;
    std::vector<double> down;
    for (unsigned y = kMargin; y < kRows - kMargin; ++y) {
        for (unsigned x = kMargin; x < kSide - kMargin; ++x) {
            Rgba const& pixel = drawn.At(x, y);
            right.push_back(std::round(255.0 * pixel[0]) + 256.0 * std::round(255.0 * pixel[2]) - x);
            down.push_back(std::round(255.0 * pixel[1]) - y);
            ASSERT_LT(std::hypot(right.back(), down.back()), kReach + std::sqrt(0.5)) << "to the pixel's centre";
        }
    }
    for (std::vector<double> const& axis : {right, down}) {
        auto const count = static_cast<double>(axis.size());
        EXPECT_NEAR(std::accumulate(axis.begin(), axis.end(), 0.0) / count, 0.0, 0.01 * kReach);
        double const squares = std::inner_product(axis.begin(), axis.end(), axis.begin(), 0.0);
        EXPECT_NEAR(squares / count, kReach * kReach / 4.0, 0.005 * kReach * kReach);
    }
}

TEST_F(FilmEffects, AnimatedGlassFlowsUnderGrainsThatAreNewInEachFrame) {
    Picture const ramp = Picture::Make(192, 108, false, [](unsigned x, unsigned y) {
        return Rgba{x / 191.0, y / 107.0, 0.5, 1.0};
    });
    for (char const* const settings :
         {"EffectDiffuse animated=true size=0.05 cell=0.1", "EffectDiffuse animated=true size=0.05 cell=0"}) {
        auto const draw = [&](int frame) { return Run(settings, ramp, {.seconds = frame / 30.0}); };
        // Of blocks that are large enough to even out the grains.
        auto const compare = [](Picture const& a, Picture const& b) {
            constexpr unsigned kBlock = 12;
            double off = 0.0;
            for (unsigned i = 0; i < 16 * 9; ++i) {
                double sum = 0.0;
                for (unsigned j = 0; j < kBlock * kBlock; ++j) {
                    unsigned const x = i % 16 * kBlock + j % kBlock;
                    unsigned const y = i / 16 * kBlock + j / kBlock;
                    sum += a.At(x, y)[0] - b.At(x, y)[0];
                }
                off += std::fabs(sum) / (kBlock * kBlock) / (16 * 9);
            }
            return off;
        };
        Picture const first = draw(0);
        Picture before = first;
        for (int frame = 1; frame <= 7; ++frame) {
            Picture now = draw(frame);
            EXPECT_FALSE(IsNear(now, before, 2.0 / 255.0)) << settings << ": frame " << frame << " repeats";
            EXPECT_LT(compare(now, before), 1.5 / 255.0) << settings << ": frame " << frame << " jumps";
            before = std::move(now);
        }
        if (std::string_view(settings).ends_with("cell=0.1")) {
            EXPECT_GT(compare(draw(60), first), 2.5 / 255.0) << "waves flow";
        }
    }
}

class OldFilm : public GlTest {
protected:
    /// With nothing on but these.
    static Picture Draw(std::string const& settings, Picture const& picture, double seconds) {
        return Run("EffectRetroArtefacts scratches=0 dust=0 flicker=0 weave=0 vignette=0 grain=0 fade=0 " + settings,
                   picture, {.seconds = seconds});
    }
};

TEST_F(OldFilm, ChangesWithItsFramesOnly) {
    Picture const picture = Picture::Noise(160, 90);
    auto const at = [&](double seconds) {
        return Run("EffectRetroArtefacts rate=12.5", picture, {.seconds = seconds});
    };
    Picture const frame = at(0.56);
    EXPECT_TRUE(IsNear(at(0.639), frame, 0.0));
    EXPECT_FALSE(IsNear(at(0.64), frame, kFiltered));
}

TEST_F(OldFilm, DarkensTowardsItsCorners) {
    for (auto const& [width, height] : {Size{64, 36}, Size{36, 64}}) {
        Picture const white = Grey(1.0, width, height);
        Picture const expected = ForEachPixel(white, [](double s, double t) {
            double const fall = SmoothStep(0.1, 1.15, 2 * ((s - 0.5) * (s - 0.5) + (t - 0.5) * (t - 0.5)));
            double const left = 1 - 0.6 * 0.8 * fall;
            return Rgba{left, left, left, 1};
        });
        EXPECT_TRUE(IsNear(Draw("vignette=0.6", white, 0.3), expected, kUnfiltered));
    }
}

TEST_F(OldFilm, FlickersAsABadShutterDoes) {
    // Exposure in the middle and its unevenness, by rows, over many frames.
    std::array<double, 4> sums{};
    constexpr int kFrames = 1000;
    for (int frame = 0; frame < kFrames; ++frame) {
        auto const draw = [frame](double flicker) {
            return Draw(fmt::format("rate=10 flicker={}", flicker), Grey(kGrey, 2, 9), (frame + 0.5) / 10);
        };
        Picture const drawn = draw(1);
        double const exposure = std::log(drawn.At(0, 4)[0] / kGrey);
        double const uneven = (drawn.At(0, 0)[0] - drawn.At(0, 8)[0]) * 9.0 / 8;
        sums = {sums[0] + exposure, sums[1] + exposure * exposure, sums[2] + uneven, sums[3] + uneven * uneven};
        if (frame % 20 == 0) {
            EXPECT_NEAR(std::log(draw(0.4).At(0, 4)[0] / kGrey), 0.4 * exposure, 0.008) << "it is no share of it";
        }
    }
    double const mean = sums[0] / kFrames;
    // Smooth noise, whose mean square is 0.2476, and the rest of each frame's own.
    EXPECT_NEAR(mean, -0.03, 0.006);
    EXPECT_NEAR(std::sqrt(sums[1] / kFrames - mean * mean), std::sqrt(0.11 * 0.11 * 0.2476 + 0.07 * 0.07 / 3), 0.003);
    EXPECT_NEAR(sums[2] / kFrames, 0.0, 0.003);
    EXPECT_NEAR(std::sqrt(sums[3] / kFrames), 0.05 * std::sqrt(0.2476), 0.0015);
}

TEST_F(OldFilm, DustIsDarkOrBrightAndAsMuchAsWanted) {
    // Parts of the picture that are covered, over many frames.
    auto const measure = [](double dust) {
        std::pair<double, double> covered;
        Picture const grey = Grey(kGrey, 200, 120);
        constexpr int kFrames = 100;
        for (int frame = 0; frame < kFrames; ++frame) {
            for (Rgba const& p : Draw(fmt::format("rate=10 dust={}", dust), grey, (frame + 0.5) / 10).pixels) {
                constexpr double kOpacity = 0.75;
                covered.first += std::max(kGrey - p[0], 0.0) / (kGrey - 0.07) / kOpacity / (200 * 120 * kFrames);
                covered.second += std::max(p[0] - kGrey, 0.0) / (0.91 - kGrey) / kOpacity / (200 * 120 * kFrames);
            }
        }
        return covered;
    };
    auto const [dark, bright] = measure(1.0);
    auto const [fewDark, fewBright] = measure(0.5);
    EXPECT_NEAR(dark / (dark + bright), 0.65, 0.05);
    EXPECT_NEAR((fewDark + fewBright) / (dark + bright), std::pow(0.5, 1.5), 0.04);
    // The mean of 48 specks and their clouds, of their sizes' squares. Flakes are less than their discs; crumbs,
    // fibres, hairs and stains make up for most of that.
    EXPECT_NEAR(dark + bright, 0.92 * 48 * 1.16 * 1.044e-5 * std::numbers::pi * 200 / 120, 0.0004);
}

TEST_F(OldFilm, ScratchesGoOnWhereTheFrameBeforeLeftThem) {
    constexpr unsigned kSide = 320;
    auto const draw = [](unsigned frame) { return Draw("scratches=1", Grey(0.5, kSide, kSide), frame / 16.0); };
    auto const multiply = [](Picture const& a, unsigned aRow, Picture const& b, unsigned bRow) {
        double sum = 0.0;
        for (unsigned x = 0; x < kSide; ++x) {
            sum += (a.At(x, aRow)[1] - 0.5) * (b.At(x, bRow)[1] - 0.5);
        }
        return sum;
    };
    double resumed = 0.0;
    double most = 0.0;
    double swapped = 0.0;
    Picture before = draw(0);
    for (unsigned i = 1; i < 24; ++i) {
        Picture const now = draw(i);
        resumed += multiply(before, kSide - 1, now, 0);
        most += std::sqrt(multiply(before, kSide - 1, before, kSide - 1) * multiply(now, 0, now, 0));
        swapped += multiply(before, 0, now, kSide - 1);
        before = now;
    }
    EXPECT_GT(most, 0.1) << "there are some";
    EXPECT_GT(resumed, 0.9 * most);
    EXPECT_LT(swapped, 0.8 * resumed) << "they waver on the way";
}

TEST_F(OldFilm, WeaveMovesThePictureAndShowsNoBorder) {
    constexpr unsigned kColumns = 64;
    constexpr unsigned kRows = 36;
    Picture const places = Picture::Make(kColumns, kRows, false, [](unsigned x, unsigned y) {
        return Rgba{(x + 0.5) / kColumns, (y + 0.5) / kRows, 0.0, 1.0};
    });
    constexpr double kAcross = 0.003;  // the most
    constexpr double kDown = 0.0042 * kColumns / kRows;
    double moved = 0.0;
    for (unsigned i = 0; i < 30; ++i) {
        Picture const drawn = Draw("weave=1", places, i / 16.0);
        EXPECT_GE(drawn.At(0, 0)[0], 0.5 / kColumns + kDown - kAcross - kUnfiltered);
        EXPECT_LE(drawn.At(kColumns - 1, 0)[0], 1.0 - 0.5 / kColumns - kDown + kAcross + kUnfiltered);
        EXPECT_NEAR(drawn.At(0, kRows - 1)[1] - drawn.At(0, 0)[1], (1.0 - 1.0 / kRows) * (1.0 - 2.0 * kDown),
                    kUnfiltered);
        EXPECT_LE(std::fabs(drawn.At(0, kRows / 2)[1] - 0.5 - 0.5 / kRows * (1.0 - 2.0 * kDown)), kDown + kUnfiltered);
        moved = std::max(moved, std::fabs(drawn.At(0, kRows / 2)[1] - 0.5 - 0.5 / kRows));
    }
    EXPECT_GT(moved, 0.3 * kDown);
}

class Tape : public GlTest {
protected:
    /// With nothing on but these.
    static Picture Draw(std::string const& settings, Picture const& picture, double seconds) {
        return Run("EffectVHS strength=0 noise=0 tracking=0 scanlines=0 " + settings, picture, {.seconds = seconds});
    }
};

TEST_F(Tape, SmearsAndDelaysChroma) {
    constexpr unsigned kColumns = 960;
    constexpr unsigned kRows = 240;
    constexpr unsigned kEdge = 480;
    Picture const input = Picture::Make(kColumns, kRows, false, [](unsigned x, unsigned) {
        return x < kEdge ? Rgba{0.2, 0.2, 0.2, 1.0} : Rgba{0.8, 0.5, 0.4, 1.0};
    });
    Picture const drawn = Draw("strength=1", input, 0.2);
    // The mean place of the rows' steps, and their width by how steep they are.
    auto const measure = [&](auto const& signal) {
        double place = 0.0;
        double slope = 0.0;
        for (unsigned y = 0; y < kRows; ++y) {
            double const height = signal(drawn.At(700, y)) - signal(drawn.At(300, y));
            double steepest = 0.0;
            for (unsigned x = 300; x < 700; ++x) {
                place += (signal(drawn.At(700, y)) - signal(drawn.At(x, y))) / height / kRows;
                steepest = std::max(steepest, (signal(drawn.At(x + 4, y)) - signal(drawn.At(x, y))) / (4.0 * height));
            }
            slope += steepest / kRows;
        }
        return std::pair{300.0 + place, 1.0 / (slope * std::sqrt(kTurn))};
    };
    auto const luma = [](Rgba const& c) { return 0.299 * c[0] + 0.587 * c[1] + 0.114 * c[2]; };
    auto const [lumaPlace, lumaWidth] = measure(luma);
    auto const [chromaPlace, chromaWidth] = measure([&](Rgba const& c) { return c[0] - luma(c); });
    EXPECT_NEAR(lumaPlace, kEdge, 4.0) << "jitter";
    EXPECT_NEAR(chromaPlace - lumaPlace, 0.008 * kColumns, 1.5);
    EXPECT_NEAR(chromaWidth, 6.0 * kColumns / 480.0, 1.5);
    EXPECT_LT(lumaWidth, 3.5);
}

TEST_F(Tape, LosesTrackInItsBandAndAtTheHeadSwitchOnly) {
    constexpr unsigned kRows = 240;
    Picture const picture = Picture::Noise(96, kRows);
    for (auto const& [seconds, band] : {std::pair{3.0, 0.333}, {5.0, 0.689}, {8.9, 1.38}}) {
        Picture const drawn = Draw("tracking=1", picture, seconds);
        double const middle = 1.0 - band;  // it drifts upwards; rows count from the top
        unsigned inBand = 0;
        unsigned atSwitch = 0;
        for (unsigned y = 0; y < kRows; ++y) {
            bool isLost = false;
            for (unsigned x = 0; x < picture.width; ++x) {
                isLost = isLost || std::fabs(drawn.At(x, y)[1] - picture.At(x, y)[1]) > kUnfiltered;
            }
            double const place = (y + 0.5) / kRows;
            inBand += isLost && std::fabs(place - middle) < 0.03;
            atSwitch += isLost && place > 0.975;
            EXPECT_FALSE(isLost && std::fabs(place - middle) > 0.16 && place < 0.95) << seconds << " s, row " << y;
        }
        EXPECT_GE(atSwitch, 5U) << seconds;
        EXPECT_EQ(inBand >= 13U, band < 1.0) << seconds;
    }
}

TEST_F(Tape, NoiseIsNewWithEachFieldAndDropsOut) {
    auto const draw = [](double seconds) { return Draw("noise=1", Grey(0.4, 480, 240), seconds); };
    Picture const field = draw(0.4);
    EXPECT_TRUE(IsNear(draw(0.4165), field, 0.0));
    EXPECT_LT(GetCorrelation(field, 1, draw(0.416666), 1, 0), 0.1);
    EXPECT_NEAR(GetMoments(field, 1).mean, 0.4, 0.015);
    EXPECT_GT(GetMoments(field, 1).deviation, 0.04);
    std::ptrdiff_t dashes = 0;
    for (unsigned i = 0; i < 10; ++i) {
        Picture const drawn = draw(i / 25.0);
        dashes += std::count_if(drawn.pixels.begin(), drawn.pixels.end(), [](Rgba const& c) { return c[1] > 0.8; });
    }
    EXPECT_GT(dashes, 100);
    EXPECT_LT(dashes, 5000);
}

TEST_F(Tape, ScanLinesAreTwoHundredAndFortyAndFadeWhereTheyAreFinerThanPixels) {
    for (unsigned const rows : {200U, 360U, 960U}) {
        double const pitch = kTurn / 2.0 * 240.0 / rows;
        double const seen = rows > 240 ? std::sin(pitch) / pitch : 0.0;
        Picture const expected = Picture::Make(8, rows, false, [&](unsigned, unsigned y) {
            double const v = 0.5 * (1.0 - 0.8 * (0.35 + 0.5 * seen * std::cos(kTurn * 240.0 * (y + 0.5) / rows)));
            return Rgba{v, v, v, 1.0};
        });
        EXPECT_TRUE(IsNear(Draw("scanlines=0.8", Grey(0.5, 8, rows), 0), expected, kUnfiltered)) << rows;
    }
}

}  // namespace
}  // namespace Kaltor::Tests
