// Frames drawn through a quad that makes them smaller or keeps their size.

#include "Ogl/GlState.h"
#include "Ogl/Minify.h"
#include "Tests/Support/FrameSamples.h"
#include "Tests/Support/FrameTools.h"

namespace Kaltor::Tests {
namespace {

using namespace Ogl;
using MinifyTest = GlTest;

/// A part of a picture or target: texels or pixels from the left and the TOP.
struct Box {
    double left, top, right, bottom;
};

Box Whole(Picture const& picture) {
    return {0, 0, static_cast<double>(picture.width), static_cast<double>(picture.height)};
}

/// `picture`'s part `from` drawn on the pixels `to` of a target of this colour.
Picture DrawQuad(Picture const& picture, Box const& from, unsigned width, unsigned height, Box const& to,
                 Rgba const& background = {0, 0, 0, 0}) {
    return Drawn(width, height, [&](ShaderStorage const& storage) {
        auto const f = [](double value) { return static_cast<float>(value); };
        glClearColor(f(background[0]), f(background[1]), f(background[2]), f(background[3]));
        glClear(GL_COLOR_BUFFER_BIT);
        auto const s = [&](double texel) { return f(texel / picture.width); };
        auto const t = [&](double texel) { return f(1.0 - texel / picture.height); };
        auto const x = [&](double pixel) { return f(2.0 * pixel / width - 1.0); };
        auto const y = [&](double pixel) { return f(1.0 - 2.0 * pixel / height); };
        Quad quad(GL_DYNAMIC_DRAW);
        quad.SetCorners({s(from.left), t(from.bottom), x(to.left), y(to.bottom), s(from.right), t(from.bottom),
                         x(to.right), y(to.bottom), s(from.right), t(from.top), x(to.right), y(to.top), s(from.left),
                         t(from.top), x(to.left), y(to.top)});
        ToGpu(picture, storage).Draw(quad, storage);
    });
}

/// Each pixel of a `width` x `height` picture as the mean of its share of `part`, weighted by area and alpha.
Picture Shrink(Picture const& picture, Box const& part, unsigned width, unsigned height) {
    double const stepX = (part.right - part.left) / width;
    double const stepY = (part.bottom - part.top) / height;
    auto const overlap = [](double low, double high, unsigned texel) {
        return std::max(0.0, std::min(high, texel + 1.0) - std::max<double>(low, texel));
    };
    Picture const premultiplied = Premultiply(picture);
    return Picture::Make(width, height, true, [&](unsigned column, unsigned row) {
        double const left = part.left + column * stepX;
        double const top = part.top + row * stepY;
        Rgba mean{};
        for (unsigned y = 0; y < picture.height; ++y) {
            double const high = overlap(top, top + stepY, y) / stepY;
            for (unsigned x = 0; x < picture.width && high > 0.0; ++x) {
                double const weight = high * overlap(left, left + stepX, x) / stepX;
                for (std::size_t c = 0; c < mean.size(); ++c) {
                    mean[c] += premultiplied.At(x, y)[c] * weight;
                }
            }
        }
        for (std::size_t c = 0; c < 3 && mean[3] > 0.0; ++c) {
            mean[c] /= mean[3];
        }
        return mean;
    });
}

/// A whole picture made smaller, against its mean.
void ExpectMean(Picture const& picture, unsigned width, unsigned height, double tolerance) {
    Box const all{0, 0, static_cast<double>(width), static_cast<double>(height)};
    EXPECT_TRUE(IsNear(DrawQuad(picture, Whole(picture), width, height, all),
                       Shrink(picture, Whole(picture), width, height), tolerance))
        << picture.width << "x" << picture.height << " to " << width << "x" << height;
}

TEST_F(MinifyTest, EachPixelIsTheMeanOfItsFootprint) {
    // Whole and broken ratios, odd and tiny sizes, one axis alone, one axis larger.
    for (auto const& [width, height, smallWidth, smallHeight] : {std::array{96U, 64U, 32U, 16U},
                                                                 {97U, 61U, 31U, 17U},
                                                                 {50U, 90U, 33U, 61U},
                                                                 {64U, 48U, 64U, 10U},
                                                                 {64U, 48U, 9U, 48U},
                                                                 {37U, 5U, 1U, 1U},
                                                                 {1U, 40U, 1U, 7U}}) {
        ExpectMean(Picture::Noise(width, height), smallWidth, smallHeight, kFiltered);
    }
}

TEST_F(MinifyTest, OfWhatIsSmallerThanAPixelItShowsTheWhole) {
    Picture const picture = Picture::Noise(64, 48);
    Picture const actual = DrawQuad(picture, Whole(picture), 5, 5, {2.49, 2.48, 2.51, 2.52}, {0, 0, 1, 1});
    Picture expected = Picture::Flat(5, 5, {0, 0, 1, 1});
    expected.At(2, 2) = Shrink(picture, Whole(picture), 1, 1).At(0, 0);
    EXPECT_TRUE(IsNear(actual, expected, kFiltered));
}

TEST_F(MinifyTest, WhatIsTransparentLendsNoColor) {
    auto const colored = [](unsigned x, unsigned y) {
        bool const isHidden = (x / 5 + y / 3) % 2 == 0;
        return isHidden ? Rgba{0, 1, 0, 0} : Rgba{1, 0, 0.2, (x % 4 + 1) / 4.0};
    };
    constexpr double kDivided = 2.5 / 255.0;  // the colour is divided by an alpha of few steps
    for (auto const& [width, height] : {std::pair{13U, 9U}, {61U, 21U}, {50U, 40U}}) {
        ExpectMean(Picture::Make(61, 43, true, colored), width, height, kDivided);
    }
    // Two texels per pixel, where a linear sample is the mean of opaque texels.
    ExpectMean(Picture::Make(60, 40, true, colored), 30, 20, kDivided);
    ExpectMean(Picture::Flat(40, 40, {0, 1, 0, 0}, true), 10, 10, 0.0);
}

TEST_F(MinifyTest, PartsAndPlacesAndMirrorsKeepTheirEdges) {
    Picture const picture = Picture::Noise(120, 80);
    Rgba const gray{0.4, 0.4, 0.4, 1};
    // The source's edges are pixels' edges.
    Box const from{24, 24, 96, 72};
    Picture const small = Shrink(picture, from, 24, 12);
    EXPECT_TRUE(
        IsNear(DrawQuad(picture, from, 40, 20, {3, 6, 27, 18}, gray), Placed(small, 40, 20, 3, 6, gray), kFiltered));
    EXPECT_TRUE(IsNear(DrawQuad(picture, from, 40, 20, {27, 6, 3, 18}, gray),
                       Placed(Mirrored(small), 40, 20, 3, 6, gray), kFiltered))
        << "mirrored";
}

TEST_F(MinifyTest, WhatIsShownAsItIsIsShownToTheByteAndEnlargingIsLinear) {
    Picture const picture = Picture::Noise(57, 31, true);
    Picture const part = Picture::Make(44, 25, true, [&](unsigned x, unsigned y) { return picture.At(x + 7, y + 2); });
    EXPECT_TRUE(IsNear(DrawQuad(picture, {7, 2, 51, 27}, 90, 50, {20, 22, 64, 47}), Placed(part, 90, 50, 20, 22), 0.0));

    Picture const few = Picture::Noise(9, 7);
    Picture const linear = Picture::Make(
        40, 33, true, [&](unsigned x, unsigned y) { return few.Sample((x + 0.5) / 40, (33 - y - 0.5) / 33); });
    EXPECT_TRUE(IsNear(DrawQuad(few, Whole(few), 40, 33, {0, 0, 40, 33}), linear, kFiltered));
}

TEST_F(MinifyTest, TheCallersStateStays) {
    Rgba const clear{0.25, 0.5, 0.75, 1.0};
    // A quarter of the target, cut to its left half, at half opacity, without red.
    Picture const seen = Drawn(32, 32, [&](ShaderStorage const& storage) {
        glClearColor(0.25F, 0.5F, 0.75F, 1.0F);
        glClear(GL_COLOR_BUFFER_BIT);
        Frame const source = ToGpu(Picture::Flat(64, 64, {1, 1, 1, 1}), storage);
        glViewport(16, 16, 16, 16);
        EnableState const scissor(GL_SCISSOR_TEST);
        glScissor(16, 16, 8, 16);
        EnableState const blend(GL_BLEND);
        glBlendColor(0, 0, 0, 0.5F);
        glBlendFunc(GL_CONSTANT_ALPHA, GL_ONE_MINUS_CONSTANT_ALPHA);
        glColorMask(GL_FALSE, GL_TRUE, GL_TRUE, GL_TRUE);
        GlState const before = QueryGlState();
        source.Draw(storage.Quad(), storage);
        GlState const after = QueryGlState();
        std::set<std::string> const tools{"program", "array buffer", "index buffer", "vertex array"};
        for (std::size_t i = 0; i < before.size(); ++i) {
            EXPECT_TRUE(before[i] == after[i] || tools.count(before[i].first) != 0) << before[i].first;
        }
    });
    EXPECT_TRUE(IsNear(seen, Placed(Picture::Flat(8, 16, {0.25, 0.75, 0.875, 1}), 32, 32, 16, 0, clear), kUnfiltered));
}

}  // namespace
}  // namespace Kaltor::Tests
