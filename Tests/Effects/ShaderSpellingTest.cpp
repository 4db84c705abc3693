// Shader files as others write them for other players and other dialects of GLSL.
#include <fmt/format.h>
#include <gmock/gmock.h>

#include "ShaderFileDrawing.h"
#include "Tests/Support/Caught.h"

namespace Kaltor {
namespace {

using Proc::SettingsShaderFile;
using Proc::ShaderFile;
using Tests::IsNear;
using Tests::Picture;
using Tests::ShaderFileDrawing;

constexpr char kFading[] = "vec4 transition(vec2 uv) { return mix(getFromColor(uv), getToColor(uv), progress); }\n";

SettingsShaderFile ParseSpelling(std::string const& text) {
    return SettingsShaderFile(std::make_shared<ShaderFile const>("spelt.glsl", text));
}

TEST(ShaderSpellings, DefaultsAreConstantExpressions) {
    struct Case {
        char const* declaration;
        char const* value;
        char const* help;
    };
    for (Case const& one : {
             Case{"uniform float x; // = 1.0/4.0", "0.25", "the file's x"},
             {"uniform float x; // = 2.0 - 3.0 * (1. + .5) - 1.0; // how far", "-3.5", "how far"},
             {"uniform float x; // = 0.5 // how far", "0.5", "how far"},
             {"uniform float x; // = 0.5 - how far", "0.5", "- how far"},
             {"uniform vec3 x; // = vec3(vec2(0.5), 1.0 / 4.0) * 2.0", "1,1,0.5", "the file's x"},
             {"uniform vec2 x /* = -vec2(.5, 1.) */;", "-0.5,-1", "the file's x"},
             {"uniform int x; // = 2*3; // 1 to 9: how many", "6", "how many"},
             {"uniform bool x; // = false // or true", "false", "or true"},
         }) {
        SCOPED_TRACE(one.declaration);
        SettingsShaderFile const settings = ParseSpelling(std::string(one.declaration) + "\n" + kFading);
        Proc::Field const& field = settings.FindField("x");
        EXPECT_EQ(field.Format(field.get(settings)), one.value);
        EXPECT_EQ(field.help, one.help);
    }
    // None of these ends the program, or takes more than an instant; each is refused with its line.
    std::string const many(200'000, '-');
    std::string sum = "1";
    for (int i = 0; i < 50'000; ++i) {
        sum += "*1";
    }
    for (std::string const& value : {many, std::string(200'000, '('), many + "1", std::string("1.0 / 0.0"), sum + "e99",
                                     std::string("vec2(1.0, 2.0, 3.0)"), std::string("vec2(1.0")}) {
        EXPECT_THAT(Tests::Catch<std::invalid_argument>([&] {
                        ParseSpelling("uniform vec2 x; // = " + value + "\n" + kFading);
                    }).what,
                    testing::StartsWith("spelt.glsl:1: "))
            << value.substr(0, 20);
    }
    EXPECT_EQ(ParseSpelling(std::string("// Author: me\n// Description: Fades slowly, twice\n") + kFading).GetSummary(),
              "Fades slowly, twice");
}

TEST_F(ShaderFileDrawing, OtherDialectsDrawTheSame) {
    Picture const first = Picture::Corners(9, 6);
    Picture const second = Picture::Noise(9, 6);
    std::string const fading = kFading;
    for (std::string const& text : std::vector<std::string>{
             "\xEF\xBB\xBF#version 120\n" + fading,  // a byte order mark
             " # version 300 es\n" + fading,
             std::string("// One line end for all.\runiform float x; // = 0.5\rvec4 transition(vec2 uv) {\r"
                         "return x == 0.5 ? mix(getFromColor(uv), getToColor(uv), progress) : vec4(0.5); }\r"),
             // A backslash that ends a comment continues it for some compilers, not for players on the web.
             std::string("// /\\\n//(drawing)\\\nvec4 transition(vec2 uv) { // begins \\\n"
                         "return mix(getFromColor(uv), getToColor(uv), progress); }"),
             "#define BLOCK(x) { \\\r\n x; }\r\nuniform float x; // = 0.5\r\nvec4 transition(vec2 uv) {\r\n"
             "BLOCK(if (x != 0.5) return vec4(0.5)) return mix(getFromColor(uv), getToColor(uv), progress); }",
             "#extension GL_OES_standard_derivatives : require\n#extension GL_NONE_there : enable\n"
             "vec4 transition(vec2 uv) {\n"
             "return mix(getFromColor(uv), getToColor(uv), progress) * (dFdx(uv.x) > 0.0 ? 1.0 : 0.5); }",
             "#ifdef GL_ES\n#extension GL_NONE_there : require\nprecision highp float;\n#endif\n" + fading,
             // Its own functions and uniforms, by names that effects have.
             std::string(
                 "vec4 effect(vec2 uv) { return getFromColor(uv); }\nuniform float time; // = 2.0\n"
                 "uniform vec2 resolution; // = vec2(40.0, 30.0)\nvec4 transition(vec2 uv) {\n"
                 "return time * resolution.y == 60.0 ? mix(effect(uv), getToColor(uv), progress) : vec4(0.5);}"),
         }) {
        for (double const progress : {0.0, 1.0}) {
            EXPECT_TRUE(IsNear(Draw(text, {first, second}, {}, {progress}), progress == 0.0 ? first : second,
                               Tests::kUnfiltered))
                << text;
        }
    }
}

}  // namespace
}  // namespace Kaltor
