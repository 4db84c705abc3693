#include "Ogl/ShaderStorage.h"

#include <array>
#include <functional>
#include <stdexcept>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Ogl/Noise.h"
#include "Ogl/OglManager.h"
#include "Ogl/PixelTransfer.h"
#include "Ogl/Processor.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kCopy[] = R"glsl(#version 120
uniform sampler2D tex;
varying vec2 TexCoord0;
void main() { gl_FragColor = texture2D(tex, TexCoord0); }
)glsl";

// CHROMA is the expression that reads chroma in the format's layout.
constexpr char kYuvToRgb[] = R"glsl(
uniform sampler2D tex0;
uniform sampler2D tex1;
uniform sampler2D tex2;
uniform mat3 matrix;
uniform vec3 offset;
uniform vec4 chroma;  // scale and shift from luma's texture coordinates to chroma's
uniform float neutral;
varying vec2 TexCoord0;
void main() {
    vec2 at = TexCoord0 * chroma.xy + chroma.zw;
    gl_FragColor = vec4(matrix * vec3(texture2D(tex0, TexCoord0).r, CHROMA) + offset, 1.0);
}
)glsl";

struct YuvProgram {
    char const* name;
    char const* chroma;
};
/// Indexed by the format's number of planes, starting at one.
constexpr std::array kYuvPrograms{YuvProgram{"Yuv2Rgb_gray", "vec2(neutral)"},
                                  YuvProgram{"Yuv2Rgb_semiplanar", "texture2D(tex1, at).rg"},
                                  YuvProgram{"Yuv2Rgb_planar", "vec2(texture2D(tex1, at).r, texture2D(tex2, at).r)"}};

// Two samples, `spread` to either side, weight luma columns 1 : 2 : 1 around a chroma sample that stands on the even
// one (the siting of MPEG-2 and H.264); with a spread of 0 it is a plain sample.
constexpr char kRgbToPlane[] = R"glsl(#version 120
uniform sampler2D tex;
uniform vec3 row;
uniform float offset;
uniform vec4 place;  // scale and shift from the plane's texture coordinates to the picture's
uniform float spread;
varying vec2 TexCoord0;
void main() {
    vec2 at = TexCoord0 * place.xy + place.zw;
    vec3 rgb = 0.5 * (texture2D(tex, at - vec2(spread, 0.0)).rgb + texture2D(tex, at + vec2(spread, 0.0)).rgb);
    gl_FragColor = vec4(dot(rgb, row) + offset);
}
)glsl";

}  // namespace

char const* const kQuadVertex = R"glsl(#version 120
varying vec2 TexCoord0;
void main() {
    gl_Position = vec4(gl_Vertex.z, gl_Vertex.w, 0.0, 1.0);
    TexCoord0 = gl_Vertex.xy;
}
)glsl";

ShaderStorage::ShaderStorage()
    : unitQuad(GL_STATIC_DRAW),
      transfer(std::make_unique<PixelTransfer>()),
      processor(std::make_unique<Ogl::Processor>()) {
    unitQuad.SetCorners(Ogl::Quad::kFull);
}

ShaderStorage::~ShaderStorage() = default;

Shader const& ShaderStorage::MakeShader(std::string_view name, GlslText const& vertexSource,
                                        GlslText const& fragmentSource, VertexLayout layout) const {
    OglManager::AssertOpenGLThread();
    auto const found = programs.find(name);
#ifdef NDEBUG
    if (found != programs.end()) {
        return *found->second.shader;
    }
    std::size_t const hash = 0;
#else
    std::size_t const hash =
        std::hash<std::string>()(vertexSource.Join()) ^ (std::hash<std::string>()(fragmentSource.Join()) << 1U);
    if (found != programs.end()) {
        if (found->second.sourceHash != hash) {
            Core::Throw(std::logic_error(fmt::format("program \"{}\" was already made from other sources", name)));
        }
        return *found->second.shader;
    }
#endif
    auto shader = std::make_unique<Shader>(std::string(name), vertexSource.Join(), fragmentSource.Join(), layout);
    return *programs.emplace(std::string(name), Entry{std::move(shader), hash}).first->second.shader;
}

Shader const* ShaderStorage::FindShader(std::string_view name) const {
    auto const found = programs.find(name);
    return found == programs.end() ? nullptr : found->second.shader.get();
}

Shader const& ShaderStorage::Copy() const {
    return MakeShader("Copy", kQuadVertex, kCopy);
}

Texture const& ShaderStorage::Noise() const {
    if (!noise) {
        noise = MakeNoiseTexture();
    }
    return noise;
}

Texture const& ShaderStorage::GreyNoise() const {
    if (!greyNoise) {
        greyNoise = MakeGreyNoiseTexture();
    }
    return greyNoise;
}

Shader const& ShaderStorage::Rgb2Yuv() const {
    return MakeShader("Rgb2Yuv", kQuadVertex, kRgbToPlane);
}

Shader const& ShaderStorage::Yuv2Rgb(PixFmt format) const {
    YuvProgram const& program = kYuvPrograms[PixFmtDescription::Find(format).planes - 1U];
    if (Shader const* const known = FindShader(program.name)) {
        return *known;
    }
    return MakeShader(program.name, kQuadVertex,
                      fmt::format("#version 120\n#define CHROMA {}{}", program.chroma, kYuvToRgb));
}

}  // namespace Kaltor::Ogl
