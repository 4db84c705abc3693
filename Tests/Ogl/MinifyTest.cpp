// What a frame shows through a quad that makes it smaller, or shows it as it is.

#include <cmath>
#include <set>
#include <string>

#include "Ogl/GlState.h"
#include "Ogl/Minify.h"
#include "Tests/Support/GlFixture.h"
#include "Tests/Support/GlTools.h"

namespace Kaltor::Tests {
namespace {

using namespace Ogl;
using MinifyTest = GlTest;

/// A rectangle, texture coordinates or pixels from the lower left.
struct Box {
    double left = 0.0, bottom = 0.0, right = 1.0, top = 1.0;
};

Mesh::Corners MakeCorners(Box const& from, Box const& to, unsigned width, unsigned height) {
    auto const x = [&](double pixel) { return static_cast<float>(2.0 * pixel / width - 1.0); };
    auto const y = [&](double pixel) { return static_cast<float>(2.0 * pixel / height - 1.0); };
    auto const f = [](double value) { return static_cast<float>(value); };
    return {f(from.left), f(from.bottom), x(to.left),    y(to.bottom), f(from.right), f(from.bottom),
            x(to.right),  y(to.bottom),   f(from.right), f(from.top),  x(to.right),   y(to.top),
            f(from.left), f(from.top),    x(to.left),    y(to.top)};
}

/// `picture`'s part `from` drawn on the pixels `to` of a target of this colour.
Picture DrawQuad(Picture const& picture, unsigned width, unsigned height, Box const& from, Box const& to,
                 Rgba const& background = {0, 0, 0, 0}) {
    Picture result;
    OnGl([&](ShaderStorage const& storage) {
        Frame source;
        source.Allocate(picture.hasAlpha ? PixFmt::Rgba : PixFmt::Rgb24, picture.width, picture.height);
        source.Upload(picture.ToFrame(), storage);
        Frame target;
        target.Allocate(PixFmt::Rgba, width, height);
        storage.FBO().Attach(target.GetFirstTexture());
        glClearColor(static_cast<float>(background[0]), static_cast<float>(background[1]),
                     static_cast<float>(background[2]), static_cast<float>(background[3]));
        glClear(GL_COLOR_BUFFER_BIT);
        Quad quad(GL_DYNAMIC_DRAW);
        quad.SetCorners(MakeCorners(from, to, width, height));
        source.Draw(quad, storage);
        result = ReadTexture(target.GetFirstTexture(), storage);
    });
    return result;
}

/// The mean over a part of a picture, in texels from the lower left, weighed by area and alpha.
Rgba Mean(Picture const& picture, Box const& part) {
    Rgba sum{};
    double area = 0.0;
    for (unsigned y = 0; y < picture.height; ++y) {
        double const high = std::min(y + 1.0, part.top) - std::max<double>(y, part.bottom);
        for (unsigned x = 0; x < picture.width && high > 0.0; ++x) {
            double const wide = std::min(x + 1.0, part.right) - std::max<double>(x, part.left);
            if (wide > 0.0) {
                Rgba const& texel = picture.At(x, picture.height - 1 - y);
                for (std::size_t i = 0; i < 3; ++i) {
                    sum[i] += texel[i] * texel[3] * wide * high;
                }
                sum[3] += texel[3] * wide * high;
                area += wide * high;
            }
        }
    }
    for (std::size_t i = 0; i < 3 && sum[3] > 0.0; ++i) {
        sum[i] /= sum[3];
    }
    sum[3] /= area;
    return sum;
}

/// Each pixel of a `width` x `height` picture as the mean of its share of `part`.
Picture Shrink(Picture const& picture, Box const& part, unsigned width, unsigned height) {
    double const stepX = (part.right - part.left) / width;
    double const stepY = (part.top - part.bottom) / height;
    return Picture::Make(width, height, true, [&](unsigned x, unsigned y) {
        double const left = part.left + x * stepX;
        double const bottom = part.bottom + (height - 1 - y) * stepY;
        return Mean(picture, {left, bottom, left + stepX, bottom + stepY});
    });
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
        Picture const picture = Picture::Noise(width, height);
        auto const columns = static_cast<double>(width);
        auto const rows = static_cast<double>(height);
        Picture const actual = DrawQuad(picture, smallWidth, smallHeight, {},
                                        {0, 0, static_cast<double>(smallWidth), static_cast<double>(smallHeight)});
        EXPECT_TRUE(IsNear(actual, Shrink(picture, {0, 0, columns, rows}, smallWidth, smallHeight), kFiltered))
            << width << "x" << height << " to " << smallWidth << "x" << smallHeight;
    }
}

TEST_F(MinifyTest, WhatIsTransparentLendsNoColor) {
    Picture const picture = Picture::Make(61, 43, true, [](unsigned x, unsigned y) {
        bool const isHidden = (x / 5 + y / 3) % 2 == 0;
        return isHidden ? Rgba{0, 1, 0, 0} : Rgba{1, 0, 0.2, (x % 4 + 1) / 4.0};
    });
    for (auto const& [width, height] : {std::pair{13U, 9U}, {61U, 43U / 2}, {50U, 40U}}) {
        Box const whole{0, 0, static_cast<double>(width), static_cast<double>(height)};
        EXPECT_TRUE(IsNear(DrawQuad(picture, width, height, {}, whole), Shrink(picture, {0, 0, 61, 43}, width, height),
                           2.5 / 255.0));  // the colour is divided by an alpha of few steps
    }
    // Two texels a pixel, where a linear sample is the mean of what is opaque.
    Picture const even = Picture::Make(60, 40, true, [&](unsigned x, unsigned y) { return picture.At(x, y); });
    EXPECT_TRUE(IsNear(DrawQuad(even, 30, 20, {}, {0, 0, 30, 20}), Shrink(even, {0, 0, 60, 40}, 30, 20), 2.5 / 255.0));
    Picture const hidden = DrawQuad(Picture::Flat(40, 40, {0, 1, 0, 0}, true), 10, 10, {}, {0, 0, 10, 10});
    EXPECT_EQ(hidden.At(5, 5), (Rgba{0, 0, 0, 0}));
}

TEST_F(MinifyTest, PartsAndPlacesAndMirrorsKeepTheirEdges) {
    Picture const picture = Picture::Noise(120, 80);
    Rgba const gray{0.4, 0.4, 0.4, 1};
    // Texels 24..96 x 8..56 on pixels 3..27 x 2..14 of 40 x 20: the source's edges are pixels' edges.
    Picture const small = Shrink(picture, {24, 8, 96, 56}, 24, 12);
    for (bool const mirrored : {false, true}) {
        Picture const expected = Picture::Make(40, 20, true, [&](unsigned x, unsigned y) {
            unsigned const up = 19 - y;
            bool const isInside = x >= 3 && x < 27 && up >= 2 && up < 14;
            return isInside ? small.At(mirrored ? 26 - x : x - 3, 11 - (up - 2)) : gray;
        });
        Box const from{24 / 120.0, 8 / 80.0, 96 / 120.0, 56 / 80.0};
        Box const to = mirrored ? Box{27, 2, 3, 14} : Box{3, 2, 27, 14};
        EXPECT_TRUE(IsNear(DrawQuad(picture, 40, 20, from, to, gray), expected, kFiltered)) << mirrored;
    }
    // Between pixels: linear between the means, so that nothing jumps while a picture moves.
    Picture const flat = DrawQuad(Picture::Flat(120, 80, {1, 0.5, 0, 1}), 40, 20, {}, {3.3, 2.1, 27.6, 14.9}, gray);
    EXPECT_NEAR(flat.At(10, 10)[1], 0.5, kFiltered);
}

TEST_F(MinifyTest, WhatIsShownAsItIsIsShownToTheByte) {
    Picture const picture = Picture::Noise(57, 31, true);
    Picture const actual = DrawQuad(picture, 90, 50, {7 / 57.0, 4 / 31.0, 51 / 57.0, 29 / 31.0}, {20, 3, 64, 28});
    Picture const expected = Picture::Make(90, 50, true, [&](unsigned x, unsigned y) {
        unsigned const up = 49 - y;
        bool const isInside = x >= 20 && x < 64 && up >= 3 && up < 28;
        return isInside ? picture.At(x - 20 + 7, 30 - (up - 3 + 4)) : Rgba{0, 0, 0, 0};
    });
    EXPECT_TRUE(IsNear(actual, expected, 0.0));
}

TEST_F(MinifyTest, EnlargingIsLinear) {
    Picture const picture = Picture::Noise(9, 7);
    Picture const expected = Picture::Make(
        40, 33, true, [&](unsigned x, unsigned y) { return picture.Sample((x + 0.5) / 40, (33 - y - 0.5) / 33); });
    EXPECT_TRUE(IsNear(DrawQuad(picture, 40, 33, {}, {0, 0, 40, 33}), expected, kFiltered));
}

TEST_F(MinifyTest, YuvIsMadeSmallerAsItsRgbIs) {
    boost::intrusive_ptr<Proc::DataVideoFF> const yuv = Proc::DataVideoFF::Create(PixFmt::Yuv444p, {90, 60, 1, 1});
    AVFrame& samples = yuv->GetWritableFrame();
    for (int plane = 0; plane < 3; ++plane) {
        for (int i = 0; i < samples.linesize[plane] * 60; ++i) {
            samples.data[plane][i] = static_cast<std::uint8_t>(64 + (i * (37 + plane * 20)) % 128);
        }
    }
    OnGl([&](ShaderStorage const& storage) {
        Frame source;
        source.Allocate(PixFmt::Yuv444p, 90, 60);
        source.Upload(yuv, storage);
        Picture const whole = ReadTexture(source.ConvertToRGBA(storage).GetFirstTexture(), storage);
        Frame target;
        target.Allocate(PixFmt::Rgb24, 25, 20);
        storage.FBO().Attach(target.GetFirstTexture());
        Quad quad(GL_DYNAMIC_DRAW);
        quad.SetCorners(Quad::kFull);
        source.Draw(quad, storage);
        EXPECT_TRUE(
            IsNear(ReadTexture(target.GetFirstTexture(), storage), Shrink(whole, {0, 0, 90, 60}, 25, 20), kFiltered));
    });
}

TEST_F(MinifyTest, TheCallersStateStays) {
    OnGl([&](ShaderStorage const& storage) {
        Frame source;
        source.Allocate(PixFmt::Rgb24, 64, 64);
        source.Upload(Picture::Flat(64, 64, {1, 1, 1, 1}).ToFrame(), storage);
        Frame target;
        target.Allocate(PixFmt::Rgba, 32, 32);
        storage.FBO().Attach(target.GetFirstTexture());
        glClearColor(0.25F, 0.5F, 0.75F, 1.0F);
        glClear(GL_COLOR_BUFFER_BIT);
        // A quarter of the target, cut to its left half, at half opacity, without red.
        glViewport(16, 16, 16, 16);
        EnableState const scissor(GL_SCISSOR_TEST);
        glScissor(16, 16, 8, 16);
        EnableState const blend(GL_BLEND);
        glBlendColor(0, 0, 0, 0.5F);
        glBlendFunc(GL_CONSTANT_ALPHA, GL_ONE_MINUS_CONSTANT_ALPHA);
        glColorMask(GL_FALSE, GL_TRUE, GL_TRUE, GL_TRUE);
        Quad quad(GL_DYNAMIC_DRAW);
        quad.SetCorners(Quad::kFull);
        GlState const before = QueryGlState();
        source.Draw(quad, storage);
        GlState const after = QueryGlState();
        std::set<std::string> const tools{"program", "array buffer", "index buffer", "vertex array"};
        for (std::size_t i = 0; i < before.size(); ++i) {
            EXPECT_TRUE(before[i] == after[i] || tools.count(before[i].first) != 0) << before[i].first;
        }
        Picture const expected = Picture::Make(32, 32, true, [](unsigned x, unsigned y) {
            bool const isCovered = x >= 16 && x < 24 && y < 16;
            return isCovered ? Rgba{0.25, 0.75, 0.875, 1} : Rgba{0.25, 0.5, 0.75, 1};
        });
        glDisable(GL_SCISSOR_TEST);
        EXPECT_TRUE(IsNear(ReadTexture(target.GetFirstTexture(), storage), expected, kUnfiltered));
    });
}

TEST(FootprintTest, CountsTexelsAlongTheTexturesOwnAxes) {
    // A quarter turn: the picture's rows run up the target.
    Mesh::Corners const turned{0, 0, 1, -1, 1, 0, 1, 1, 1, 1, -1, 1, 0, 1, -1, -1};
    Footprint const footprint(turned, 300, 80, {0, 0, 40, 100});
    EXPECT_DOUBLE_EQ(footprint.s, 3.0);
    EXPECT_DOUBLE_EQ(footprint.t, 2.0);
    EXPECT_TRUE(footprint.isMinified);
    EXPECT_FALSE(footprint.isOnTexels);
    EXPECT_FALSE(footprint.isExact);
    // Half a pixel aside, and empty.
    Mesh::Corners aside = Quad::kFull;
    for (std::size_t i = 2; i < aside.size(); i += 4) {
        aside[i] += 1.0F / 40.0F;
    }
    EXPECT_FALSE(Footprint(aside, 40, 100, {0, 0, 40, 100}).isExact);
    EXPECT_FALSE(Footprint(aside, 40, 100, {0, 0, 40, 100}).isMinified);
    EXPECT_TRUE(Footprint(Quad::kFull, 40, 100, {0, 0, 40, 100}).isExact);
    EXPECT_FALSE(Footprint(Mesh::Corners{}, 40, 100, {0, 0, 40, 100}).isMinified);
}

}  // namespace
}  // namespace Kaltor::Tests
