// Passes and blurred copies of shader files, and what published files contain besides their uniforms.
#include <cmath>

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "ShaderFileDrawing.h"
#include "Tests/Support/Caught.h"

namespace Kaltor {
namespace {

using testing::HasSubstr;
using Tests::Catch;
using Tests::IsNear;
using Tests::Picture;
using Tests::Rgba;
using ShaderPasses = Tests::ShaderFileDrawing;

TEST_F(ShaderPasses, AreDrawnInOrderAndReadAsTheyWereDrawn) {
    // Straight alpha goes through both as it is; the second one turns the first one's picture upside down.
    std::string const text =
        "uniform float gain; // = 0.5; // 0 to 1: how bright\n"
        "// pass: first\n// pass: upside_down scale=1.0\n// pass: the passes are read below, as any other remark\n"
        "vec4 first(vec2 uv) { return getUpside_down(uv) + vec4(getFromColor(uv).gb, gain, getToColor(uv).a); }\n"
        "vec4 upside_down(vec2 uv) { return getFirst(vec2(uv.x, 1.0 - uv.y)); }\n"
        "vec4 transition(vec2 uv) { vec4 c = getUpside_down(uv); return uv.x < 0.5 ? c : c * vec4(progress, 1.0, 1.0, "
        "1.0); }\n";
    Picture const from = Picture::Noise(12, 7, true, 1);
    Picture const to = Picture::Noise(12, 7, true, 2);
    Picture const expected = Picture::Make(12, 7, true, [&](unsigned x, unsigned y) {
        Rgba const read = from.At(x, 6 - y);
        return Rgba{read[1] * (x < 6 ? 1.0 : 0.25), read[2], 0.75, to.At(x, 6 - y)[3]};
    });
    EXPECT_TRUE(IsNear(Draw(text, {from, to}, {{"gain", "0.75"}}, {0.25}), expected, Tests::kUnfiltered));
    // A pass of a third of the size has 4 x 2 pixels of one colour each.
    std::string const small =
        "// pass: cells scale=0.3333\nvec4 cells(vec2 uv) { return vec4(floor(uv * vec2(4.0, 2.0)) / 4.0, 0.0, 1.0); "
        "}\n"
        "vec4 effect(vec2 uv) { return getCells((floor(uv * vec2(4.0, 2.0)) + 0.5) / vec2(4.0, 2.0)); }\n";
    EXPECT_TRUE(IsNear(Draw(small, {Picture::Flat(12, 6, {1, 0, 1, 1})}),
                       Picture::Make(12, 6, false,
                                     [](unsigned x, unsigned y) {
                                         return Rgba{x / 3 / 4.0, y < 3 ? 0.25 : 0.0, 0, 1};
                                     }),
                       Tests::kUnfiltered));
}

/// The same on the processor, pixel by pixel. `deviation` is in pixels.
Picture BlurAlong(Picture const& picture, double deviation, bool isAcross) {
    int const reach = static_cast<int>(4 * deviation) + 1;
    return Picture::Make(picture.width, picture.height, true, [&](unsigned x, unsigned y) {
        Rgba sum{};
        double weights = 0.0;
        for (int i = -reach; i <= reach; ++i) {
            auto const place = [&](unsigned at, unsigned side, bool isMoved) {
                return static_cast<unsigned>(
                    std::clamp(static_cast<int>(at) + (isMoved ? i : 0), 0, static_cast<int>(side) - 1));
            };
            double const weight = std::exp(-0.5 * i * i / (deviation * deviation));
            Rgba const one = picture.At(place(x, picture.width, isAcross), place(y, picture.height, !isAcross));
            for (std::size_t c = 0; c < 4; ++c) {
                sum[c] += weight * one[c];
            }
            weights += weight;
        }
        for (double& channel : sum) {
            channel /= weights;
        }
        return sum;
    });
}

TEST_F(ShaderPasses, BlurredCopiesFollowTheGaussian) {
    // Colours under nothing must not show: green is where there is no alpha.
    auto const make = [](unsigned width, unsigned height) {
        return Picture::Make(width, height, true, [&](unsigned x, unsigned y) {
            bool const isIn = 2 * x > width && 3 * y > height;
            return isIn ? Rgba{1.0, 0.0, 2 * y < height ? 1.0 : 0.2, 1.0} : Rgba{0.0, 1.0, 0.0, 0.0};
        });
    };
    std::string const text =
        "uniform float radius; // = 0.1; // 0 to 1: how far\n// blurred: soft of=to radius=radius\n"
        "vec4 transition(vec2 uv) { return getSoft(uv) + 0.0 * getFromColor(uv); }\n";
    for (auto const& [width, height] : {std::pair{120U, 67U}, {61U, 120U}}) {
        Picture const picture = make(width, height);
        Picture const other = Picture::Flat(width, height, {1, 1, 1, 1}, true);
        Picture multiplied = picture;
        for (Rgba& p : multiplied.pixels) {
            p = {p[0] * p[3], p[1] * p[3], p[2] * p[3], p[3]};
        }
        for (double const radius : {0.01, 0.08, 0.2}) {
            double const deviation = 0.5 * radius * height;
            Picture expected = BlurAlong(BlurAlong(multiplied, deviation, true), deviation, false);
            Picture drawn = Draw(text, {other, picture}, {{"radius", fmt::format("{}", radius)}});
            for (Rgba& p : drawn.pixels) {
                p = {p[0] * p[3], p[1] * p[3], p[2] * p[3], p[3]};
            }
            // Small pictures stand for the wide ones: two steps of 8 bits. Colours are divided by alpha on the way.
            EXPECT_TRUE(IsNear(drawn, expected, 2.0 / 255.0)) << width << " x " << height << ", " << radius;
        }
        EXPECT_TRUE(IsNear(Draw(text, {other, other}, {{"radius", "0.4"}}), other, Tests::kUnfiltered));
    }
    // Of an earlier pass, which is smaller; the copy of the input is another one.
    std::string const chained =
        "// pass: red scale=0.5\n// blurred: glow of=red radius=0.2\n// blurred: plain radius=0\n"
        "vec4 red(vec2 uv) { return vec4(step(0.5, uv.x), 0.0, 0.0, 1.0); }\n"
        "vec4 effect(vec2 uv) { return vec4(getGlow(uv).r, getPlain(uv).gb, 1.0); }\n";
    Picture const input = Picture::Noise(80, 40, false, 3);
    Picture const expected = Picture::Make(80, 40, false, [&](unsigned x, unsigned y) {
        double const edge = 0.5 * (1.0 + std::erf((x + 0.5 - 40.0) / (0.1 * 40.0) / std::sqrt(2.0)));
        return Rgba{edge, input.At(x, y)[1], input.At(x, y)[2], 1.0};
    });
    EXPECT_TRUE(IsNear(Draw(chained, {input}), expected, 2.0 / 255.0));
}

TEST_F(ShaderPasses, RefusalsNameTheLine) {
    auto const refusal = [](std::string const& lines) {
        return Catch<std::invalid_argument>([&] {
                   Proc::ShaderFile("my.glsl", "\n" + lines + "\nvec4 effect(vec2 uv) { return getColor(uv); }\n");
               })
            .what;
    };
    for (auto const& [lines, reason] : {
             std::pair{"// pass: lights", "\"vec4 lights(vec2 uv)\""},
             {"// pass: effect scale=0", "scale is a number above 0"},
             {"// pass: effect size=0.5", "no \"size\""},
             {"// pass: color", "color is taken"},
             {"// pass: a-b", "no name"},
             {"// blurred: soft", "needs a radius"},
             {"// blurred: soft radius=wide", "not wide"},
             {"// blurred: soft radius=3", "from 0 to 2"},
             {"// blurred: soft of=to radius=0.1", "of=to"},
             {"// blurred: soft of=soft radius=0.1", "of=soft"},
         }) {
        EXPECT_THAT(refusal(lines), testing::AllOf(testing::StartsWith("my.glsl:2: "), HasSubstr(reason))) << lines;
    }
    EXPECT_THAT(refusal("// blurred: soft radius=0.1\n// blurred: Soft radius=0.2"),
                testing::StartsWith("my.glsl:3: "));
    // The compiler's lines are the file's in each program.
    EXPECT_THAT(Catch<std::runtime_error>([] {
                    Draw(
                        "// pass: one\nvec4 one(vec2 uv) {\n return vec4(x);\n}\n"
                        "vec4 effect(vec2 uv) { return getOne(uv); }\n",
                        {Picture::Flat(2, 2, {0, 0, 0, 1})});
                }).what,
                testing::StartsWith("my.glsl:3: "));
}

TEST_F(ShaderPasses, WhatPublishedFilesContainCompiles) {
    // Functions and locals of any name, globals whose values are no constants, guards for another GLSL, "lowp", lines
    // that end as on Windows, comments that are not ASCII.
    std::string const text =
        "// Author: J\xC3\xB6rg \xE2\x80\x94 2016\r\n// license: none\r\n#ifdef GL_ES\r\nprecision mediump "
        "float;\r\n#endif\r\n"
        "uniform lowp float amount;// =  .25 ;\r\nuniform ivec2 cells /* = ivec2(4, 2) */;\r\n"
        "uniform bool on ; //= 1 \r\nfloat half_way = progress * 2.0;\r\nvec2 pixel = 1.0 / vec2(cells);\r\n"
        "const float PI = 3.1415926;\r\n"
        "vec4 texture(vec2 p) { return getFromColor(p); }\r\nfloat noise(vec2 p) { return p.x; }\r\n"
        "float rand(vec2 co) { return fract(sin(dot(co.xy, vec2(12.9898, 78.233))) * 43758.5453); }\r\n"
        "vec4 transition(vec2 p) {\r\n  vec4 from = texture(p), to = getToColor(p);\r\n"
        "  if (p.y > 0.5 && on) { return vec4(half_way, noise(vec2(amount)), pixel.x, 1.0); }\r\n"
        "  return mix(from, to, step(0.5, pixel.y));\r\n}\r\n";
    Picture const from = Picture::Noise(8, 6, false, 1);
    Picture const to = Picture::Noise(8, 6, false, 2);
    EXPECT_TRUE(IsNear(Draw(text, {from, to}, {}, {0.3}),
                       Picture::Make(8, 6, false,
                                     [&](unsigned x, unsigned y) {
                                         return y < 3 ? Rgba{0.6, 0.25, 0.25, 1.0} : to.At(x, y);
                                     }),
                       Tests::kUnfiltered));
}

}  // namespace
}  // namespace Kaltor
