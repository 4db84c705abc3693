// Pictures of whole documents, drawn by the plug-in's effects.

#include <atomic>
#include <chrono>
#include <ctime>
#include <thread>

#include "Edit/DocumentReader.h"
#include "Edit/DocumentWriter.h"
#include "Host/Catalog.h"
#include "Media/Picture.h"
#include "RenderFixture.h"

namespace Kaltor::Render::Tests {
namespace {

using Media::Tests::ClipSpec;
using Media::Tests::MeanLuma;
using Media::Tests::ReadPlanes;
using Media::Tests::Shows;

/// BT.601, limited: R'G'B' of 0 to 1 to codes.
Codes ToCodes(double r, double g, double b) {
    double const y = 0.299 * r + 0.587 * g + 0.114 * b;
    return {16.0 + 219.0 * y, 128.0 + 224.0 * (b - y) / 1.772, 128.0 + 224.0 * (r - y) / 1.402};
}

Codes const kRed = ToCodes(1, 0, 0);
Codes const kBlack = ToCodes(0, 0, 0);

/// Whether each luma is within 2 of the expected one, but for `margin` pixels at the frame's sides. Chroma is filtered
/// across edges where it is made smaller.
testing::AssertionResult ShowsLuma(AVFrame const& picture, CodesAt const& expected, int margin = 0) {
    for (int y = margin; y < picture.height - margin; ++y) {
        for (int x = margin; x < picture.width - margin; ++x) {
            int const luma = picture.data[0][y * picture.linesize[0] + x];
            double const wanted = expected(x + 0.5, y + 0.5)[0];
            if (std::abs(luma - wanted) > 2.0) {
                return testing::AssertionFailure()
                       << "x " << x << " y " << y << ": " << luma << ", expected " << wanted;
            }
        }
    }
    return testing::AssertionSuccess();
}

class EditRenderTest : public MediaTest {
protected:
    /// What shows at a time of a document that is written as JSON without its version.
    Proc::AvFramePtr Show(std::string const& text, double seconds = 0.0) {
        Watchdog const watchdog;
        return RenderPicture(MakeJob(text), seconds, catalog.GetFactory());
    }

    RenderJob MakeJob(std::string const& text) {
        RenderJob job;
        job.document = Edit::ReadDocument(Edit::ParseJson("{\"version\": 1, " + text + "}", "test"), catalog);
        Edit::ResolvePaths(job.document, folder.string(), Edit::Trust::OwnFolder);
        job.output = At("out.mkv");
        job.overwrite = true;
        return job;
    }

    std::vector<std::vector<std::uint8_t>> RenderAll(std::string const& text,
                                                     std::optional<RenderJob::Range> range = {}) {
        Watchdog const watchdog;
        RenderJob job = MakeJob(text);
        job.document.output.codec = "ffv1";
        job.range = range;
        Render::Render(job, catalog.GetFactory());
        return ReadPlanes(job.output);
    }

    /// A picture of one colour, or what `color` says, as a PNG file.
    void MakePng(std::string const& name, std::uint32_t width, std::uint32_t height,
                 std::function<std::array<std::uint8_t, 4>(std::uint32_t x, std::uint32_t y)> const& color) {
        auto const picture = Proc::DataVideoFF::Create(PixFmt::Rgba, {width, height, 1, 1});
        AVFrame& frame = picture->GetWritableFrame();
        for (std::uint32_t y = 0; y < height; ++y) {
            std::uint8_t* pixel = frame.data[0] + static_cast<std::ptrdiff_t>(y) * frame.linesize[0];
            for (std::uint32_t x = 0; x < width; ++x) {
                for (std::uint8_t const channel : color(x, y)) {
                    *pixel++ = channel;
                }
            }
        }
        Media::WritePng(At(name), *picture, true);
    }

    Host::Catalog catalog = Host::Catalog::Load();
};

constexpr char kBlue[] = R"("output": {"size": "64x48"}, "clips": [{"color": "#0000FF"}])";

/// A red quarter of the frame, on blue.
CodesAt RedBox(double left, double top, double right, double bottom, Codes const& box = kRed) {
    return
        [=](double x, double y) { return x >= left && x < right && y >= top && y < bottom ? box : ToCodes(0, 0, 1); };
}

TEST_F(EditRenderTest, OverlaysThatCrossFadeKeepTheirColours) {
    std::string const edges = R"("enter": {"transition": "dissolve", "duration": "10f"},
                                 "leave": {"transition": "dissolve", "duration": "10f", "easing": "easeInQuad"})";
    std::string const text = fmt::format(R"({}, "overlays": [{{"color": "#FF0000", "to": "40f", {}}}])", kBlue, edges);
    for (auto const& [frame, part] : {std::pair{0, 0.0}, {5, 0.5}, {9, 0.9}, {20, 1.0}, {34, 0.75}, {39, 0.0}}) {
        EXPECT_TRUE(ShowsLuma(*Show(text, frame / 30.0), [share = part](double, double) {
            return ToCodes(share, 0, 1 - share);
        })) << frame;
    }
}

TEST_F(EditRenderTest, OverlaysThatEnterAndLeaveShowNoOtherColour) {
    // White, opaque inside and half transparent around, over blue: every pixel lies between the two colours.
    MakePng("soft.png", 64, 48, [](std::uint32_t x, std::uint32_t y) {
        bool const isInside = x >= 16 && x < 48 && y >= 12 && y < 36;
        return std::array<std::uint8_t, 4>{255, 255, 255, static_cast<std::uint8_t>(isInside ? 255 : 128)};
    });
    Codes const blue = ToCodes(0, 0, 1);
    for (std::string const transition :
         {R"("Wipe")", R"("Circle")", R"("Slide", "direction": "from-left")", R"("Zoom")"}) {
        std::string const edge = fmt::format(R"({{"transition": {}, "duration": "10f"}})", transition);
        double least = 1.0;
        for (int const frame : {3, 6, 20, 33, 36}) {
            Proc::AvFramePtr const picture =
                Show(fmt::format(R"({}, "overlays": [{{"file": "soft.png", "to": "40f", "enter": {}, "leave": {}}}])",
                                 kBlue, edge, edge),
                     frame / 30.0);
            for (int y = 1; y < 23; ++y) {
                for (int x = 1; x < 31; ++x) {
                    int low = 255, high = 0, sum = 0;
                    for (int k = 0; k < 36; ++k) {
                        int const row = k / 6;
                        int const column = k % 6;
                        int const luma =
                            picture->data[0][(2 * y - 2 + row) * picture->linesize[0] + 2 * x - 2 + column];
                        low = std::min(low, luma);
                        high = std::max(high, luma);
                        bool const isOwn = row / 2 == 1 && column / 2 == 1;
                        sum += isOwn ? luma : 0;
                    }
                    double const share = (sum / 4.0 - blue[0]) / (235.0 - blue[0]);
                    int const chroma = picture->data[1][y * picture->linesize[1] + x];
                    // Across edges chroma is filtered.
                    ASSERT_TRUE(high - low > 30 || std::abs(chroma - (blue[1] + share * (128.0 - blue[1]))) < 4.0)
                        << transition << " " << frame << ", x " << x << " y " << y << ": " << chroma << ", " << share;
                    least = std::min(least, frame == 20 ? 1.0 : share);
                    ASSERT_GT(share, -0.02) << transition << " " << frame << ", x " << x << " y " << y;
                }
            }
            if (frame == 20) {
                EXPECT_NEAR(picture->data[0][24 * picture->linesize[0] + 32], 235, 2);
            }
        }
        EXPECT_LT(least, 0.3) << transition << " is seen";
    }
}

TEST_F(EditRenderTest, OverlaysLieWhereTheyAreAnchored) {
    MakePng("red.png", 16, 12, [](auto, auto) { return std::array<std::uint8_t, 4>{255, 0, 0, 255}; });
    struct Case {
        char const* how;
        double left, top, right, bottom;
    };
    for (Case const& c :
         std::initializer_list<Case>{{R"("anchor": "top-left")", 0, 0, 16, 12},
                                     {R"("anchor": "bottom-right")", 48, 36, 64, 48},
                                     {R"("anchor": "top")", 24, 0, 40, 12},
                                     {R"("anchor": "left")", 0, 18, 16, 30},
                                     {R"("anchor": "center", "x": 0.125, "y": -0.25)", 32, 6, 48, 18},
                                     {R"("anchor": "top-left", "x": 10, "y": 20, "inPixels": true)", 10, 20, 26, 32},
                                     {R"("anchor": "top-left", "width": 0.5)", 0, 0, 32, 24},
                                     {R"("anchor": "bottom", "height": "24px")", 16, 24, 48, 48},
                                     {R"("anchor": "top-left", "width": "32px", "height": 0.25)", 0, 0, 32, 12},
                                     {R"("anchor": "top-left", "scale": 0.5)", 0, 0, 8, 6},
                                     {R"("anchor": "top-left", "cropRight": 0.5, "cropBottom": 0.5)", 0, 0, 8, 6},
                                     {R"("anchor": "center", "rotation": 90)", 26, 16, 38, 32}}) {
        Proc::AvFramePtr const picture =
            Show(std::string(kBlue) + R"(, "overlays": [{"file": "red.png", )" + c.how + "}]");
        EXPECT_TRUE(ShowsLuma(*picture, RedBox(c.left, c.top, c.right, c.bottom))) << c.how;
    }
}

TEST_F(EditRenderTest, WhatIsCutOffAndTurnedIsThatOfThePicture) {
    // Quarters of four colours; turned clockwise, the upper left one comes to the upper right.
    auto const quarter = [](double x, double y, double width, double height) {
        return x < width / 2 ? (y < height / 2 ? ToCodes(1, 0, 0) : ToCodes(1, 1, 0))
                             : (y < height / 2 ? ToCodes(0, 1, 0) : ToCodes(1, 1, 1));
    };
    MakePng("four.png", 32, 32, [](std::uint32_t x, std::uint32_t y) {
        return std::array<std::uint8_t, 4>{static_cast<std::uint8_t>(x < 16 || y >= 16 ? 255 : 0),
                                           static_cast<std::uint8_t>(x >= 16 || y >= 16 ? 255 : 0),
                                           static_cast<std::uint8_t>(x >= 16 && y >= 16 ? 255 : 0), 255};
    });
    auto const overlay = [](std::string const& how) {
        return std::string(kBlue) + R"(, "overlays": [{"file": "four.png", "anchor": "top-left")" + how + "}]";
    };
    auto const expect = [&](std::string const& how, CodesAt const& inside, double width, double height) {
        EXPECT_TRUE(ShowsLuma(*Show(overlay(how)), [&](double x, double y) {
            return x < width && y < height ? inside(x, y) : ToCodes(0, 0, 1);
        })) << how;
    };
    expect(
        "", [&](double x, double y) { return quarter(x, y, 32, 32); }, 32, 32);
    expect(R"(, "rotation": 90)", [&](double x, double y) { return quarter(y, 32 - x, 32, 32); }, 32, 32);
    expect(R"(, "cropLeft": 0.5)", [&](double x, double y) { return quarter(x + 16, y, 32, 32); }, 16, 32);
    expect(R"(, "cropTop": 0.5)", [&](double x, double y) { return quarter(x, y + 16, 32, 32); }, 32, 16);
}

TEST_F(EditRenderTest, LayersBlendByTheirFormulas) {
    MakePng("layer.png", 64, 48, [](auto, auto) { return std::array<std::uint8_t, 4>{204, 102, 51, 204}; });
    double const base[3]{0.2, 0.6, 0.8};
    double const layer[3]{0.8, 0.4, 0.2};
    auto const hard = [](double b, double s) { return b <= 0.5 ? 2 * b * s : 1 - 2 * (1 - b) * (1 - s); };
    struct Case {
        char const* blend;
        std::function<double(double, double)> formula;
    };
    for (Case const &c : std::initializer_list<Case>{{"normal", [](double, double s) { return s; }},
                                                     {"add", [](double b, double s) { return b + s; }},
                                                     {"multiply", [](double b, double s) { return b * s; }},
                                                     {"screen", [](double b, double s) { return b + s - b * s; }},
                                                     {"overlay", hard}}) {
        for (double const opacity : {1.0, 0.5}) {
            double const alpha = 0.8 * opacity;
            double mixed[3];
            for (int i = 0; i < 3; ++i) {
                mixed[i] = std::min(1.0, base[i] + alpha * (c.formula(base[i], layer[i]) - base[i]));
                if (std::string(c.blend) == "add") {
                    mixed[i] = std::min(1.0, base[i] + alpha * layer[i]);
                }
            }
            Proc::AvFramePtr const picture = Show(
                R"("output": {"size": "64x48"}, "clips": [{"color": "#3399CC"}], "overlays": [{"file": "layer.png", "blend": ")" +
                std::string(c.blend) + R"(", "opacity": )" + std::to_string(opacity) + "}]");
            Codes const expected = ToCodes(mixed[0], mixed[1], mixed[2]);
            EXPECT_TRUE(Shows(
                *picture, [&](double, double) { return expected; }, 2))
                << c.blend << ", " << opacity;
        }
    }
}

TEST_F(EditRenderTest, CornersAreRound) {
    MakePng("red.png", 48, 48, [](auto, auto) { return std::array<std::uint8_t, 4>{255, 0, 0, 255}; });
    Proc::AvFramePtr const picture =
        Show(std::string(kBlue) + R"(, "overlays": [{"file": "red.png", "anchor": "left", "radius": 0.5}])");
    // A disc of radius 24: its area by the mean of luma.
    double sum = 0.0;
    for (int y = 0; y < 48; ++y) {
        for (int x = 0; x < 64; ++x) {
            sum += picture->data[0][y * picture->linesize[0] + x];
        }
    }
    double const blue = ToCodes(0, 0, 1)[0];
    double const area = (sum / (64.0 * 48.0) - blue) / (kRed[0] - blue) * 64.0 * 48.0;
    EXPECT_NEAR(area, std::numbers::pi * 24.0 * 24.0, 25.0) << "the rim is 150 pixels long, and smooth";
    EXPECT_NEAR(picture->data[0][0], blue, 2.0);
    EXPECT_NEAR(picture->data[0][24 * picture->linesize[0] + 24], kRed[0], 2.0);
}

TEST_F(EditRenderTest, ClipsFillTheFrameAsTheyAreTold) {
    // 96 x 24: red on the left third, green, white on the right; the frame is 64 x 48.
    MakePng("wide.png", 96, 24, [](std::uint32_t x, auto) {
        return x < 32   ? std::array<std::uint8_t, 4>{255, 0, 0, 255}
               : x < 64 ? std::array<std::uint8_t, 4>{0, 255, 0, 255}
                        : std::array<std::uint8_t, 4>{255, 255, 255, 255};
    });
    auto const show = [&](std::string const& how) {
        return Show(R"("output": {"size": "64x48"}, "clips": [{"file": "wide.png", )" + how + "}]");
    };
    auto const third = [](double x, double width) {
        return x < width / 3 ? kRed : x < 2 * width / 3 ? ToCodes(0, 1, 0) : ToCodes(1, 1, 1);
    };
    auto const in = [](Proc::AvFramePtr const& picture, int x, int y) {
        return static_cast<double>(picture->data[0][y * picture->linesize[0] + x]);
    };
    Proc::AvFramePtr const whole = show(R"("fit": "whole", "background": "#0000FF")");
    EXPECT_NEAR(in(whole, 32, 4), ToCodes(0, 0, 1)[0], 2);
    EXPECT_NEAR(in(whole, 8, 24), kRed[0], 2);
    EXPECT_NEAR(in(whole, 56, 24), 235, 2);
    Proc::AvFramePtr const stretched = show(R"("fit": "stretch")");
    EXPECT_NEAR(in(stretched, 8, 2), kRed[0], 2);
    EXPECT_NEAR(in(stretched, 56, 45), 235, 2);
    // Filled, a third of the width is in view.
    for (auto const& [focus, expected] : {std::pair{"0", kRed}, {"0.5", ToCodes(0, 1, 0)}, {"1", ToCodes(1, 1, 1)}}) {
        Proc::AvFramePtr const filled = show(std::string(R"("fit": "fill", "focusX": )") + focus);
        EXPECT_TRUE(ShowsLuma(
            *filled, [&, e = expected](double, double) { return e; }, 2))
            << focus;
    }
    // Bars of the picture itself: sharp in the middle, blurred and not black above.
    Proc::AvFramePtr const blurred = show(R"("fit": "blur", "focusX": 0)");
    for (int const x : {4, 32, 60}) {
        EXPECT_NEAR(in(blurred, x, 24), third(x, 64)[0], 2) << x;
        EXPECT_NEAR(in(blurred, x, 3), kRed[0], 6) << "enlarged from the left, " << x;
    }
    // Effects see the picture in its own shape, or the frame with its bars.
    Proc::AvFramePtr const own = show(R"("effects": [{"effect": "Invert"}])");
    EXPECT_NEAR(in(own, 32, 4), 16, 2) << "bars stay black";
    EXPECT_NEAR(in(own, 56, 24), 16, 2);
    Proc::AvFramePtr const onFrame = show(R"("effects": [{"effect": "Invert", "on": "frame"}])");
    EXPECT_NEAR(in(onFrame, 32, 4), 235, 2);
}

TEST_F(EditRenderTest, ClipsPlayAsTheyAreTold) {
    Make("a.mkv", {.frames = 24, .color = [](int k) { return Grey(20 + 8 * k); }});
    auto const lumas = [&](std::string const& how) {
        std::vector<int> result;
        for (auto const& plane : RenderAll(R"("clips": [{"file": "a.mkv", )" + how + "}]")) {
            result.push_back((plane[plane.size() / 2] - 20 + 4) / 8);
        }
        return result;
    };
    auto const expect = [](int count, std::function<int(int)> const& frame) {
        std::vector<int> result;
        for (int i = 0; i < count; ++i) {
            result.push_back(frame(i));
        }
        return result;
    };
    EXPECT_EQ(lumas(R"("speed": 2)"), expect(12, [](int i) { return 2 * i; }));
    EXPECT_EQ(lumas(R"("speed": 0.5, "to": 0.2)"), expect(12, [](int i) { return i / 2; }));
    EXPECT_EQ(lumas(R"("reversed": true)"), expect(24, [](int i) { return 23 - i; }));
    EXPECT_EQ(lumas(R"("reversed": true, "from": "6f", "to": "18f", "speed": 2)"),
              expect(6, [](int i) { return 6 + 2 * (5 - i); }));
    EXPECT_EQ(lumas(R"("from": "4f", "to": "8f", "holdFirst": "2f", "holdLast": "3f")"),
              expect(9, [](int i) { return std::clamp(i - 2, 0, 3) + 4; }));
}

TEST_F(EditRenderTest, PicturesInNumberedFilesAreASequence) {
    for (int i = 0; i < 6; ++i) {
        auto const grey = static_cast<std::uint8_t>(40 * i);
        MakePng(fmt::format("s{:03}.png", i + 8), 16, 16, [grey](auto, auto) {
            return std::array<std::uint8_t, 4>{grey, grey, grey, 255};
        });
    }
    auto const numbers = [&](std::string const& how) {
        std::vector<int> result;
        for (auto const& plane : RenderAll(R"("output": {"fps": 30}, "clips": [{"file": "s%03d.png")" + how + "}]")) {
            result.push_back(static_cast<int>(std::lround((plane[0] - 16.0) * 255.0 / 219.0 / 40.0)));
        }
        return result;
    };
    EXPECT_EQ(numbers(""), (std::vector{0, 1, 2, 3, 4, 5}));
    EXPECT_EQ(numbers(R"(, "fps": 15)"), (std::vector{0, 0, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5}));
    EXPECT_EQ(numbers(R"(, "speed": 2, "reversed": true)"), (std::vector{4, 2, 0}));
    EXPECT_EQ(numbers(R"(, "from": "2f", "to": "4f")"), (std::vector{2, 3}));
    std::filesystem::remove(At("s010.png"));
    auto const fail = [&](std::string const& text) { return Catch<Media::MediaError>([&] { RenderAll(text); }).what; };
    EXPECT_THAT(fail(R"("clips": [{"file": "s%03d.png"}])"), testing::HasSubstr("s010.png is missing"));
    EXPECT_THAT(fail(R"("clips": [{"file": "t%03d.png"}])"), testing::HasSubstr("no such picture"));
}

TEST_F(EditRenderTest, FieldsFollowTheirKeysFrameByFrame) {
    Make("a.mkv", {.frames = 30, .color = [](int) { return Codes{180, 128, 128}; }});
    auto const mean = [](std::vector<std::uint8_t> const& plane) {
        return static_cast<double>(plane[plane.size() / 2]);
    };
    // Opacity over black: luma falls with it.
    auto const faded = RenderAll(
        R"("output": {"size": "64x48"}, "clips": [{"color": "#FFFFFF", "duration": 1,
            "effects": [{"effect": "ColorMixExchange", "color": {"keys": [[0, "#000000"], ["20f", "#FFFFFF"]]}, "from": "5f"}]}])");
    ASSERT_THAT(faded, SizeIs(30));
    for (int i = 0; i < 30; ++i) {
        // The effect inverts each channel by its amount: white becomes 1 - amount.
        double const amount = std::round(255.0 * std::clamp((i - 5) / 20.0, 0.0, 1.0)) / 255.0;
        EXPECT_NEAR(mean(faded[static_cast<std::size_t>(i)]), 235.0 - 219.0 * (i < 5 ? 0.0 : amount), 1.5) << i;
    }
    // Progress of a transition.
    auto const joined = RenderAll(
        R"("output": {"size": "64x48"}, "clips": [{"color": "#FFFFFF", "duration": 1, "joint": {"transition": "fade",
            "duration": "20f", "easing": "easeInCubic"}}, {"color": "#000000", "duration": 1}])");
    ASSERT_THAT(joined, SizeIs(40));
    for (int i = 0; i < 20; ++i) {
        EXPECT_NEAR(mean(joined[static_cast<std::size_t>(10 + i)]), 235.0 - 219.0 * std::pow(i / 20.0, 3), 1.5) << i;
    }
    auto const keyed = RenderAll(
        R"("output": {"size": "64x48"}, "clips": [{"color": "#FFFFFF", "duration": 1, "joint": {"transition": "fade",
            "duration": "20f", "progress": {"keys": [[0, 1], ["10f", 0], ["20f", 1]]}}}, {"color": "#000000", "duration": 1}])");
    for (int i = 0; i < 20; ++i) {
        EXPECT_NEAR(mean(keyed[static_cast<std::size_t>(10 + i)]), 16.0 + 219.0 * (1.0 - std::abs(i - 10) / 10.0), 1.5)
            << i;
    }
}

TEST_F(EditRenderTest, TheVideoComesFromAColourAndGoesToOne) {
    auto const frames = RenderAll(
        R"("output": {"size": "64x48"}, "clips": [{"color": "#FFFFFF", "duration": 1}],
           "opening": {"transition": "fade", "duration": "10f"}, "closing": {"transition": "fade", "duration": "10f"})");
    ASSERT_THAT(frames, SizeIs(30));
    for (int i = 0; i < 30; ++i) {
        double const part = i < 10 ? i / 10.0 : i < 20 ? 1.0 : 1.0 - (i - 19) / 10.0;
        EXPECT_NEAR(frames[static_cast<std::size_t>(i)][100], 16.0 + 219.0 * part, 1.5) << i;
    }
    // In a short video both show at once: one fade dims what the other one has left.
    auto const both = RenderAll(
        R"("output": {"size": "64x48"}, "clips": [{"color": "#FFFFFF", "duration": 1}],
           "opening": {"transition": "fade", "duration": "20f"}, "closing": {"transition": "fade", "duration": "20f"})");
    ASSERT_THAT(both, SizeIs(30));
    for (int i = 0; i < 30; ++i) {
        double const part = std::min(1.0, i / 20.0) * std::min(1.0, (29 - i) / 20.0);
        EXPECT_NEAR(both[static_cast<std::size_t>(i)][100], 16.0 + 219.0 * part, 2.5) << i;  // each fade rounds
    }
}

/// Everything that moves: what a part of a video shows must not depend on where rendering began.
constexpr char kBusy[] = R"("output": {"size": "96x64", "seed": 5}, "clips": [
    {"file": "a.mkv", "effects": [{"effect": "CameraShake"}, {"effect": "blur", "scale": {"from": 0, "to": 0.05}}],
     "joint": {"transition": "Shatter", "duration": 0.4}},
    {"file": "b.mkv", "reversed": true, "fit": "blur", "holdFirst": 0.2,
     "effects": [{"effect": "RetroArtefacts", "on": "frame", "from": "25%"}]}],
  "opening": {"transition": "Circle", "duration": 0.3}, "effects": [{"effect": "AddNoize", "to": 1}],
  "overlays": [{"file": "noise.png", "width": 0.3, "anchor": "left"},
               {"file": "red.png", "anchor": "top-right", "rotation": {"from": 0, "to": 200},
                "enter": {"transition": "Wipe", "duration": 0.3}, "leave": {"transition": "Puzzle", "duration": 0.3}},
               {"file": "b.mkv", "from": 0.5, "width": 0.3, "anchor": "bottom-left", "loop": true, "speed": 3,
                "effects": [{"effect": "Invert", "from": 0.2}]}])";

TEST_F(EditRenderTest, APieceIsThatOfTheWhole) {
    MakePng("red.png", 16, 12, [](auto, auto) { return std::array<std::uint8_t, 4>{255, 0, 0, 200}; });
    auto const draw = [](AVFrame& picture, int k) { Media::Tests::DrawNoise(picture, k); };
    Make("a.mkv", {.frame = {96, 64, 1, 1}, .frames = 30, .draw = draw});
    MakePng("noise.png", 100, 70, [](std::uint32_t x, std::uint32_t y) {
        auto const value = static_cast<std::uint8_t>(x * 37 + y * 101);
        return std::array<std::uint8_t, 4>{value, 90, static_cast<std::uint8_t>(255 - value), 255};
    });
    Make("b.mkv", {.frame = {32, 64, 1, 1}, .frames = 24, .draw = draw});
    auto const whole = RenderAll(kBusy);
    ASSERT_THAT(whole, SizeIs(30 + 24 + 6 - 12));
    EXPECT_TRUE(RenderAll(kBusy) == whole) << "again";
    auto const piece = RenderAll(kBusy, RenderJob::Range{0.7, 1.3});
    ASSERT_THAT(piece, SizeIs(18));
    for (std::size_t i = 0; i < piece.size(); ++i) {
        EXPECT_TRUE(piece[i] == whole[21 + i]) << i;
    }
    for (int const i : {0, 5, 20, 26, 33, 47}) {
        Proc::AvFramePtr const one = Show(kBusy, i / 30.0);
        bool isSame = true;
        for (int y = 0; y < 64; ++y) {
            isSame = isSame && std::equal(one->data[0] + std::ptrdiff_t{y} * one->linesize[0],
                                          one->data[0] + std::ptrdiff_t{y} * one->linesize[0] + 96,
                                          whole[static_cast<std::size_t>(i)].begin() + std::ptrdiff_t{y} * 96);
        }
        EXPECT_TRUE(isSame) << i;
    }
    RenderJob job = MakeJob(kBusy);
    job.range = RenderJob::Range{9.0, {}};
    EXPECT_THAT(Catch<std::invalid_argument>([&] { Render::Render(job, catalog.GetFactory()); }).what,
                testing::HasSubstr("the video lasts 1.6 s"));
}

TEST_F(EditRenderTest, AStopIsHeededBetweenTheTitlesOfOneFrame) {
    Watchdog const watchdog;
    Edit::Json overlays = Edit::Json::array();
    for (int i = 0; i < 6000; ++i) {
        overlays.push_back({{"title", {{"text", "Title"}}}});
    }
    RenderJob job = MakeJob(std::string(kBlue) + ", \"overlays\": " + overlays.dump());
    std::atomic<bool> cancel = false;
    job.cancel = &cancel;
    // Before it starts it only plans, which takes its time under a sanitizer.
    std::atomic<bool> hasStarted = false;
    job.onStart = [&hasStarted](AVRational) { hasStarted = true; };
    std::atomic<std::clock_t> stopped = 0;
    std::jthread const user([&] {
        Kaltor::Tests::WaitUntil([&hasStarted] { return hasStarted.load(); });
        std::this_thread::sleep_for(std::chrono::seconds(1));
        stopped = std::clock();
        cancel = true;
    });
    EXPECT_THROW(Render::Render(job, catalog.GetFactory()), Media::Cancelled);
    // Of the processor's time; all titles would take about ten seconds of it.
    EXPECT_LT(static_cast<double>(std::clock() - stopped) / CLOCKS_PER_SEC, 4.0);
}

TEST_F(EditRenderTest, SpansLieWithinWhatTheyAreIn) {
    Make("a.mkv", {.frames = 30, .sound = Media::SoundFormat{}});
    std::ifstream rows(fs::path(KALTOR_SOURCE_DIR) / "Tests/Render/refusals.txt");
    int count = 0;
    for (std::string row; std::getline(rows, row); ++count) {
        if (row.starts_with('#')) {
            continue;
        }
        RenderJob job = MakeJob(row.substr(row.find(" | ") + 3));
        job.documentName = "e.json";
        std::string error;
        try {
            Render::Render(job, catalog.GetFactory());
        } catch (std::exception const& thrown) {
            error = thrown.what();
        }
        EXPECT_THAT(error, StartsWith(row.substr(0, row.find(" | "))));
        EXPECT_FALSE(fs::exists(job.output));
    }
    EXPECT_GE(count, 10);
}

}  // namespace
}  // namespace Kaltor::Render::Tests
