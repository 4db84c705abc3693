// Shader files: how their uniforms are read, what they draw, what they are refused for.
#include <atomic>
#include <chrono>
#include <ctime>
#include <thread>

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "Proc/Effects/ShaderFiles/TimeLimit.h"
#include "ShaderFileDrawing.h"
#include "Tests/Support/Caught.h"

namespace Kaltor {
namespace {

using Proc::SettingsShaderFile;
using Proc::ShaderFile;
using testing::AllOf;
using testing::HasSubstr;
using Tests::Catch;
using Tests::IsNear;
using Tests::Picture;
using Tests::ShaderFileDrawing;

constexpr char kMixing[] = "vec4 transition(vec2 uv) { return mix(getFromColor(uv), getToColor(uv), progress); }\n";

SettingsShaderFile Parse(std::string const& text) {
    return SettingsShaderFile(std::make_shared<ShaderFile const>("my.glsl", text));
}

TEST(ShaderFileUniforms, AreReadInAllSpellings) {
    struct Case {
        char const* declaration;
        char const* fields;  ///< key:type=value
    };
    for (Case const& one : {
             Case{"uniform float x; // = 30.0", "x:float=30"},
             {"uniform float x /* = 30.5 */;", "x:float=30.5"},
             {"uniform float x; // = 3", "x:float=3"},
             {"uniform float x;// = .7", "x:float=0.7"},
             {"uniform float x; //=5.", "x:float=5"},
             {"uniform float x; //= -1e-3  \r", "x:float=-0.001"},
             {"uniform float x ; // = 0.25; // how far", "x:float=0.25"},
             {"uniform highp float x = 0.5;", "x:float=0.5"},
             {"uniform vec2 x; // = vec2(0.5)", "x:reals[2]=0.5,0.5"},
             {"uniform vec2 x; // = vec2(10, 4.5)", "x:reals[2]=10,4.5"},
             {"uniform vec4 x; // = 0.5", "x:reals[4]=0.5,0.5,0.5,0.5"},
             {"uniform vec3 bgcolor; // = vec3(1.0, 0.5, 0.0)", "bgcolor:colour=#FF8000"},
             {"uniform vec4 x; // = vec4(0.0, 0.2, 1.0, 0.0); // the colour of smoke", "x:colour=#0033FF00"},
             {"uniform vec3 color_gain; // = vec3(2.0)", "color_gain:reals[3]=2,2,2"},  // brighter than a colour
             {"uniform ivec2 x; // = ivec2(10, -2)", "x:ints[2]=10,-2"},
             {"uniform int x; // = 4; // 1 to 12: how many", "x:int=4"},
             {"uniform bool x; // = 1", "x:flag=true"},
             {"uniform bool x; // = false", "x:flag=false"},
             {"uniform sampler2D x;", "x:file="},
             {"uniform float x /* = 1.0 */, y /* = 2.0 */;", "x:float=1 y:float=2"},
             {"uniform float x, y; // = 0.5", "x:float=0.5 y:float=0.5"},
             {"uniform vec2 x, // = vec2(1, 2)\n  y; // = vec2(3.0, 4.0)", "x:reals[2]=1,2 y:reals[2]=3,4"},
             {"#ifdef GL_ES\nprecision mediump float;\n#endif\nuniform float progress; uniform float x; // = 1",
              "x:float=1"},
             {"float f() { return 1.0; } // uniform float no;\n/* uniform float no; */", ""},
         }) {
        SCOPED_TRACE(one.declaration);
        SettingsShaderFile const settings = Parse(std::string(one.declaration) + "\n" + kMixing);
        std::string fields;
        for (Proc::Field const& field : settings.GetFields()) {
            fields += fmt::format("{}{}:{}={}", fields.empty() ? "" : " ", field.key, field.GetTypeName(),
                                  field.Format(field.get(settings)));
        }
        EXPECT_EQ(fields, one.fields);
    }
    SettingsShaderFile settings = Parse(std::string("// Author: Me.\n// It mixes: slowly.\n"
                                                    "uniform int n; // = 4; // 1 to 12: how many\n") +
                                        kMixing);
    EXPECT_EQ(settings.GetSummary(), "It mixes: slowly.");
    EXPECT_EQ(settings.FindField("n").help, "how many");
    EXPECT_THAT(Catch<std::invalid_argument>([&] { settings.Set("n", "13"); }).what, HasSubstr("1 to 12"));
    settings.Set("n", "12");
    EXPECT_FALSE(settings.HasSameValues(*settings.MakeDefault()));
    EXPECT_TRUE(settings.HasSameValues(*settings.Clone()));
}

TEST(ShaderFileUniforms, RefusalsNameTheLine) {
    auto const refusal = [](std::string const& text) {
        return Catch<std::invalid_argument>([&] { Parse(text); }).what;
    };
    EXPECT_THAT(refusal("void f();\nvec4 transition(vec2 uv);\n"), AllOf(HasSubstr("my.glsl"), HasSubstr("missing")));
    EXPECT_THAT(refusal(std::string(kMixing) + "vec4 effect(vec2 uv) { return getColor(uv); }"), HasSubstr("both"));
    EXPECT_THAT(refusal(std::string("\nuniform float speed;\n") + kMixing),
                AllOf(HasSubstr("my.glsl:2:"), HasSubstr("speed has no default")));
    EXPECT_THAT(refusal(std::string("uniform vec3 v; // = vec2(1.0, 2.0)\n") + kMixing), HasSubstr("v is no vec3"));
    // A sum that would take all of a long list for each of its signs.
    std::string const many = fmt::format("({})", fmt::join(std::vector<int>(100, 1), ","));
    EXPECT_THAT(refusal(fmt::format("uniform vec3 v; // = {} + 1 + 1\n{}", many, kMixing)),
                HasSubstr("v has no default"));
    EXPECT_THAT(refusal(std::string("uniform float v; // = 3.0; // 0 to 1: much\n") + kMixing), HasSubstr("0 to 1"));
    EXPECT_THAT(refusal(std::string("uniform int v; // = 100000000000; // 0 to 1e12: much\n") + kMixing),
                HasSubstr("0 to 2147483647"));
    EXPECT_THAT(refusal(std::string("uniform float v[3];\n") + kMixing), HasSubstr("array"));
    EXPECT_THAT(refusal(std::string("uniform mat3 v;\n") + kMixing), HasSubstr("mat3"));

    // Files that fill their 1 MiB with one thing, which took minutes or all memory.
    auto const fill = [](std::string_view text) {
        std::string filled;
        while (filled.size() < 1'000'000U) {
            filled += text;
        }
        return filled;
    };
    EXPECT_THAT(refusal("uniform int n" + fill(", n") + "; // = 1: " + std::string(1000, 'x') + "\n" + kMixing),
                HasSubstr("1000 uniforms"));
    std::clock_t const began = std::clock();
    EXPECT_THAT(refusal(fill("vec4 transition ")), HasSubstr("missing"));
    EXPECT_NO_THROW(Parse(kMixing + fill("precision ")));
    EXPECT_THAT(refusal(kMixing + ("uniform int n" + fill("/**/"))), HasSubstr("no end"));
    EXPECT_LT((std::clock() - began) / CLOCKS_PER_SEC, 10);  // of the processor

    EXPECT_EQ(Proc::DescribeShaderLog("a.glsl", "0:3(1): warning: w\n0:12(5): error: no `x'\n0:13(1): error: y\n"),
              "a.glsl:12: no `x'");
    EXPECT_EQ(Proc::DescribeShaderLog("a.glsl", "0(7) : warning C7: w\n0(12) : error C1503: undefined \"x\"\n"),
              "a.glsl:12: undefined \"x\"");
    EXPECT_EQ(Proc::DescribeShaderLog("a.glsl", "ERROR: 0:12: 'x' : undeclared\n"), "a.glsl:12: 'x' : undeclared");
    EXPECT_EQ(Proc::DescribeShaderLog("a.glsl", "error: it does not link\n"), "a.glsl: error: it does not link");
    EXPECT_LT(Proc::DescribeShaderLog("a.glsl", "0:12(5): error: no `" + std::string(1U << 20U, 'x')).size(), 1000U);
}

TEST_F(ShaderFileDrawing, PicturesStandUprightAndAreNotSwapped) {
    Picture const first = Picture::Corners(9, 6, true);
    Picture const second = Picture::Noise(9, 6, true);
    std::string const text =
        "#version 330\r\n// Locals may be called from, to and texture: \xC3\xA4.\r\nprecision highp float;\r\n"
        "vec4 transition(vec2 uv) {\r\n  vec4 from = getFromColor(uv), to = getToColor(1.0 - uv);\r\n"
        "  return uv.y < 0.5 ? from : to * vec4(1.0, progress, ratio / 3.0, 1.0);\r\n}";
    Picture const expected = Picture::Make(9, 6, true, [&](unsigned x, unsigned y) {
        Tests::Rgba const to = second.At(8 - x, 5 - y);
        return y >= 3 ? first.At(x, y) : Tests::Rgba{to[0], to[1] * 0.25, to[2] * 0.5, to[3]};
    });
    EXPECT_TRUE(IsNear(Draw(text, {first, second}, {}, {0.25}), expected, Tests::kUnfiltered));
    for (auto const& [progress, limited] : {std::pair{-3.0, 0.0}, {7.0, 1.0}, {std::nan(""), 0.0}}) {
        Picture const& end = limited == 0.0 ? first : second;
        EXPECT_TRUE(IsNear(Draw(kMixing, {first, second}, {}, {progress}), end, Tests::kUnfiltered)) << progress;
    }
}

TEST_F(ShaderFileDrawing, EveryTypeOfUniformArrives) {
    std::string const text =
        "uniform float f; // = 0.1\nuniform int n; // = 1\nuniform bool b; // = false\nuniform vec2 v; // = vec2(0.9)\n"
        "uniform ivec3 w; // = ivec3(1)\nuniform vec3 paint_color; // = vec3(0.503, 0.5, 0.5)\n"
        "uniform vec4 unused; // = vec4(1.0)\n"
        "vec4 effect(vec2 uv) {\n"
        "  if (uv.x < 0.25) return vec4(f, float(n) / 10.0, b ? 1.0 : 0.0, 1.0);\n"
        "  if (uv.x < 0.5) return vec4(v, float(w.y) / 10.0, float(w.z) / 10.0);\n"
        "  if (uv.x < 0.75) return vec4(paint_color, (paint_color.r - 0.5) * 200.0);\n"
        "  return vec4(time / 10.0, resolution.x / 10.0, resolution.y / 10.0, getColor(uv).a * progress);\n}\n";
    Picture const input = Picture::Flat(4, 2, {1, 0, 0, 0.8}, true);
    auto const expect = [&](std::array<Tests::Rgba, 4> const& columns) {
        return Picture::Make(4, 2, true, [&](unsigned x, unsigned) { return columns[x]; });
    };
    // The default of a colour is as exact as the file has it: 0.503 lies between two steps of 8 bits.
    EXPECT_TRUE(IsNear(Draw(text, {input}, {}, {0.5, 3.0}),
                       expect({{{0.1, 0.1, 0, 1}, {0.9, 0.9, 0.1, 0.1}, {0.503, 0.5, 0.5, 0.6}, {0.3, 0.4, 0.2, 0.4}}}),
                       Tests::kUnfiltered));
    EXPECT_TRUE(IsNear(
        Draw(text, {input},
             {{"f", "0.7"}, {"n", "5"}, {"b", "true"}, {"v", "0.2,0.4"}, {"w", "2,3,4"}, {"paint_color", "#804020"}},
             {1.0, 0.0}),
        expect({{{0.7, 0.5, 1, 1},
                 {0.2, 0.4, 0.3, 0.4},
                 {128 / 255.0, 64 / 255.0, 32 / 255.0, 0.392},
                 {0, 0.4, 0.2, 0.8}}}),
        Tests::kUnfiltered));
}

TEST_F(ShaderFileDrawing, SamplersShowTheirPictureAndMustBeGiven) {
    std::string const text =
        "uniform sampler2D map;\nvec4 transition(vec2 uv) { return texture2D(map, uv) + 0.0 * getFromColor(uv); }\n";
    Picture const black = Picture::Flat(6, 4, {0, 0, 0, 1});
    Picture const map = Picture::Corners(6, 4);
    EXPECT_TRUE(IsNear(Draw(text, {black, black}, {{"map", "map.png"}}, {}, map), map, Tests::kUnfiltered));
    EXPECT_THAT(Catch<std::invalid_argument>([&] {
                    Draw(text, {black, black});
                }).what,
                AllOf(HasSubstr("my.glsl"), HasSubstr("--set map=PICTURE.png")));
}

TEST_F(ShaderFileDrawing, CompilersErrorsHaveTheFilesLine) {
    Picture const black = Picture::Flat(2, 2, {0, 0, 0, 1});
    std::string const text = "// one\r\n\r\nuniform float x; // = 1.0\nvec4 effect(vec2 uv) {\n  return nothing;\n}\n";
    EXPECT_THAT(Catch<std::runtime_error>([&] { Draw(text, {black}); }).what, testing::StartsWith("my.glsl:5: "));
    std::string const whole = "vec4 effect(vec2 uv) { return getColor(uv); }\n";
    EXPECT_THAT(Catch<std::runtime_error>([&] { Draw("\n\n#error so\n" + whole, {black}); }).what,
                testing::StartsWith("my.glsl:3: "));
    EXPECT_THAT(
        Catch<std::runtime_error>([&] { Draw("\n\n\n#extension GL_KALTOR_none : require\n" + whole, {black}); }).what,
        testing::StartsWith("my.glsl:4: "));
}

TEST(TimeLimits, EndQuietlyOrReport) {
    using std::chrono::milliseconds;
    std::atomic<int> reports{0};
    auto const count = [&reports](std::string const& what) { reports += what == "slow.glsl" ? 1 : 100; };
    { Proc::TimeLimit const inTime(std::chrono::minutes(5), "slow.glsl", count); }
    { Proc::TimeLimit const none(milliseconds(0), "slow.glsl", count); }
    EXPECT_EQ(reports, 0);
    {
        Proc::TimeLimit const over(milliseconds(1), "slow.glsl", count);
        Tests::WaitUntil([&reports] { return reports != 0; });
    }
    EXPECT_EQ(reports, 1);
}

}  // namespace
}  // namespace Kaltor
