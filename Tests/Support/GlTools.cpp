#include "Tests/Support/GlTools.h"

#include <epoxy/gl.h>

#include "Ogl/Surface.h"

namespace Kaltor::Tests {
namespace {

struct IntegerState {
    char const* name;
    GLenum key;
    GLint initial;
};

constexpr std::array kIntegers{
    IntegerState{"program", GL_CURRENT_PROGRAM, 0},
    IntegerState{"framebuffer", GL_DRAW_FRAMEBUFFER_BINDING, 0},
    IntegerState{"framebuffer to read", GL_READ_FRAMEBUFFER_BINDING, 0},
    IntegerState{"array buffer", GL_ARRAY_BUFFER_BINDING, 0},
    IntegerState{"index buffer", GL_ELEMENT_ARRAY_BUFFER_BINDING, 0},
    IntegerState{"pixel pack buffer", GL_PIXEL_PACK_BUFFER_BINDING, 0},
    IntegerState{"pixel unpack buffer", GL_PIXEL_UNPACK_BUFFER_BINDING, 0},
    IntegerState{"pack alignment", GL_PACK_ALIGNMENT, 4},
    IntegerState{"unpack alignment", GL_UNPACK_ALIGNMENT, 4},
    IntegerState{"pack row length", GL_PACK_ROW_LENGTH, 0},
    IntegerState{"unpack row length", GL_UNPACK_ROW_LENGTH, 0},
    IntegerState{"active texture", GL_ACTIVE_TEXTURE, GL_TEXTURE0},
    IntegerState{"blend source", GL_BLEND_SRC_RGB, GL_ONE},
    IntegerState{"blend source, alpha", GL_BLEND_SRC_ALPHA, GL_ONE},
    IntegerState{"blend destination", GL_BLEND_DST_RGB, GL_ZERO},
    IntegerState{"blend destination, alpha", GL_BLEND_DST_ALPHA, GL_ZERO},
    IntegerState{"blend equation", GL_BLEND_EQUATION_RGB, GL_FUNC_ADD},
    IntegerState{"cull face mode", GL_CULL_FACE_MODE, GL_BACK},
    IntegerState{"front face", GL_FRONT_FACE, GL_CCW},
    IntegerState{"depth mask", GL_DEPTH_WRITEMASK, GL_TRUE},
};

struct Switch {
    char const* name;
    GLenum key;
};

constexpr std::array kSwitches{
    Switch{"blend", GL_BLEND},
    Switch{"cull face", GL_CULL_FACE},
    Switch{"depth test", GL_DEPTH_TEST},
    Switch{"scissor test", GL_SCISSOR_TEST},
    Switch{"stencil test", GL_STENCIL_TEST},
    Switch{"vertex array", GL_VERTEX_ARRAY},
    Switch{"texture coordinate array", GL_TEXTURE_COORD_ARRAY},
    Switch{"normal array", GL_NORMAL_ARRAY},
    Switch{"colour array", GL_COLOR_ARRAY},
};

}  // namespace

Picture ReadTexture(Ogl::Texture const& texture, Ogl::ShaderStorage const& storage) {
    unsigned const width = texture.GetForm().width;
    unsigned const height = texture.GetForm().height;
    std::vector<std::uint8_t> bytes(std::size_t{4} * width * height);
    storage.FBO().Attach(texture);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glReadPixels(0, 0, static_cast<GLsizei>(width), static_cast<GLsizei>(height), GL_RGBA, GL_UNSIGNED_BYTE,
                 bytes.data());
    glPixelStorei(GL_PACK_ALIGNMENT, 4);
    constexpr double kTop = 255.0;
    return Picture::Make(width, height, true, [&](unsigned x, unsigned y) {
        std::uint8_t const* const texel = &bytes[(std::size_t{height - 1 - y} * width + x) * 4];
        return Rgba{texel[0] / kTop, texel[1] / kTop, texel[2] / kTop, texel[3] / kTop};
    });
}

Picture ReadSampled(Ogl::Texture const& texture, Ogl::ShaderStorage const& storage) {
    Ogl::Frame copy;
    copy.Allocate(PixFmt::Rgba, texture.GetForm().width, texture.GetForm().height);
    storage.FBO().Attach(copy.GetFirstTexture());
    Ogl::Shader const& shader = storage.Copy();
    shader.Use();
    shader.Uniform("tex", 0);
    texture.Use(0, Ogl::TextureFilter::Nearest);
    storage.Quad().Activate();
    storage.Quad().Draw();
    return ReadTexture(copy.GetFirstTexture(), storage);
}

GlState QueryGlState() {
    GlState state;
    for (IntegerState const& integer : kIntegers) {
        GLint value = -1;
        glGetIntegerv(integer.key, &value);
        state.emplace_back(integer.name, std::to_string(value));
    }
    for (Switch const& one : kSwitches) {
        state.emplace_back(one.name, glIsEnabled(one.key) == GL_TRUE ? "on" : "off");
    }
    GLint attributesOn = 0;
    for (GLuint i = 0; i < Ogl::kMostAttributes; ++i) {
        GLint isOn = 0;
        glGetVertexAttribiv(i, GL_VERTEX_ATTRIB_ARRAY_ENABLED, &isOn);
        attributesOn += isOn;
    }
    state.emplace_back("vertex attributes", std::to_string(attributesOn));
    std::array<GLboolean, 4> mask{};
    glGetBooleanv(GL_COLOR_WRITEMASK, mask.data());
    state.emplace_back("colour mask", fmt::format("{}", mask));
    std::array<GLfloat, 4> color{};
    glGetFloatv(GL_BLEND_COLOR, color.data());
    state.emplace_back("blend colour", fmt::format("{}", color));
    glGetFloatv(GL_COLOR_CLEAR_VALUE, color.data());
    state.emplace_back("clear colour", fmt::format("{}", color));
    return state;
}

GlState GetInitialGlState() {
    GlState state;
    for (IntegerState const& integer : kIntegers) {
        state.emplace_back(integer.name, std::to_string(integer.initial));
    }
    for (Switch const& one : kSwitches) {
        state.emplace_back(one.name, "off");
    }
    state.emplace_back("vertex attributes", "0");
    state.emplace_back("colour mask", fmt::format("{}", std::array<GLboolean, 4>{1, 1, 1, 1}));
    state.emplace_back("blend colour", fmt::format("{}", std::array<GLfloat, 4>{}));
    state.emplace_back("clear colour", fmt::format("{}", std::array<GLfloat, 4>{}));
    return state;
}

}  // namespace Kaltor::Tests
