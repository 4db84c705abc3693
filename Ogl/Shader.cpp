#include "Ogl/Shader.h"

#include <algorithm>
#include <array>
#include <stdexcept>

#include <fmt/format.h>
#include <glm/gtc/type_ptr.hpp>

#include "Core/Interfaces/Exception.h"
#include "Ogl/OglManager.h"

namespace Kaltor::Ogl {
namespace {

/// A compiled stage, kept until the program is linked.
class Stage {
public:
    Stage(GLenum type, std::string const& programName, std::string const& source) : shader(glCreateShader(type)) {
        char const* const text = source.c_str();
        glShaderSource(shader, 1, &text, nullptr);
        glCompileShader(shader);
        GLint isCompiled = GL_FALSE;
        glGetShaderiv(shader, GL_COMPILE_STATUS, &isCompiled);
        if (isCompiled != GL_TRUE) {
            std::string const log = GetLog();
            glDeleteShader(shader);
            Core::Throw(ShaderError(fmt::format("program \"{}\": the {} shader does not compile: ", programName,
                                                type == GL_VERTEX_SHADER ? "vertex" : "fragment"),
                                    log));
        }
    }
    ~Stage() { glDeleteShader(shader); }
    Stage(Stage const&) = delete;
    Stage& operator=(Stage const&) = delete;

    GLuint Get() const { return shader; }

private:
    std::string GetLog() const {
        GLint length = 0;
        glGetShaderiv(shader, GL_INFO_LOG_LENGTH, &length);
        std::string log(static_cast<std::size_t>(std::max(length, 1)), '\0');
        glGetShaderInfoLog(shader, length, nullptr, log.data());
        return log.c_str();
    }

    GLuint shader;
};

}  // namespace

Shader::Shader(std::string name, std::string const& vertexSource, std::string const& fragmentSource,
               VertexLayout layout)
    : programName(std::move(name)) {
    Stage const vertex(GL_VERTEX_SHADER, programName, vertexSource);
    Stage const fragment(GL_FRAGMENT_SHADER, programName, fragmentSource);
    program = GlObject(GlKind::Program);
    glAttachShader(program.Get(), vertex.Get());
    glAttachShader(program.Get(), fragment.Get());
    for (std::size_t i = 0; i < layout.size(); ++i) {
        glBindAttribLocation(program.Get(), static_cast<GLuint>(i), layout[i].name);
    }
    glLinkProgram(program.Get());
    glDetachShader(program.Get(), vertex.Get());
    glDetachShader(program.Get(), fragment.Get());
    GLint isLinked = GL_FALSE;
    glGetProgramiv(program.Get(), GL_LINK_STATUS, &isLinked);
    if (isLinked != GL_TRUE) {
        GLint length = 0;
        glGetProgramiv(program.Get(), GL_INFO_LOG_LENGTH, &length);
        std::string log(static_cast<std::size_t>(std::max(length, 1)), '\0');
        glGetProgramInfoLog(program.Get(), length, nullptr, log.data());
        Core::Throw(ShaderError(fmt::format("program \"{}\" does not link: ", programName), log.c_str()));
    }
#ifndef NDEBUG
    RequireAttributes(layout);
#endif
}

#ifndef NDEBUG
void Shader::RequireAttributes(VertexLayout layout) const {
    GLint count = 0;
    glGetProgramiv(program.Get(), GL_ACTIVE_ATTRIBUTES, &count);
    std::size_t own = 0;
    for (GLint i = 0; i < count; ++i) {
        std::array<GLchar, 64> name{};
        GLint size = 0;
        GLenum type = 0;
        glGetActiveAttrib(program.Get(), static_cast<GLuint>(i), static_cast<GLsizei>(name.size()), nullptr, &size,
                          &type, name.data());
        own += std::string_view(name.data()).starts_with("gl_") ? 0U : 1U;
    }
    for (VertexAttribute const& attribute : layout) {
        if (glGetAttribLocation(program.Get(), attribute.name) < 0) {
            Core::Throw(
                std::logic_error(fmt::format("program \"{}\" has no attribute \"{}\"", programName, attribute.name)));
        }
    }
    if (own != layout.size()) {
        Core::Throw(std::logic_error(
            fmt::format("program \"{}\" has {} attributes, its vertices {}", programName, own, layout.size())));
    }
}
#endif

void Shader::Use() const {
    OglManager::AssertOpenGLThread();
    glUseProgram(program.Get());
}

GLint Shader::Locate(std::string_view name) const {
    auto const found =
        std::find_if(locations.begin(), locations.end(), [name](auto const& known) { return known.first == name; });
    if (found != locations.end()) {
        return found->second;
    }
    std::string text(name);
    GLint const location = glGetUniformLocation(program.Get(), text.c_str());
    locations.emplace_back(std::move(text), location);
    return location;
}

bool Shader::Has(std::string_view name) const {
    return Locate(name) >= 0;
}

GLint Shader::Find(std::string_view name) const {
    GLint const location = Locate(name);
#ifndef NDEBUG
    if (location < 0) {
        Core::Throw(std::logic_error(fmt::format("program \"{}\" has no uniform \"{}\"", programName, name)));
    }
#endif
    return location;
}

void Shader::Uniform(std::string_view name, int value) const {
    glUniform1i(Find(name), value);
}
void Shader::Uniform(std::string_view name, float value) const {
    glUniform1f(Find(name), value);
}
void Shader::Uniform(std::string_view name, float x, float y) const {
    glUniform2f(Find(name), x, y);
}
void Shader::Uniform(std::string_view name, float x, float y, float z, float w) const {
    glUniform4f(Find(name), x, y, z, w);
}
void Shader::Uniform(std::string_view name, double value) const {
    glUniform1f(Find(name), static_cast<float>(value));
}
void Shader::Uniform(std::string_view name, glm::vec2 const& value) const {
    glUniform2fv(Find(name), 1, glm::value_ptr(value));
}
void Shader::Uniform(std::string_view name, glm::vec3 const& value) const {
    glUniform3fv(Find(name), 1, glm::value_ptr(value));
}
void Shader::Uniform(std::string_view name, glm::vec4 const& value) const {
    glUniform4fv(Find(name), 1, glm::value_ptr(value));
}
void Shader::Uniform(std::string_view name, glm::mat2 const& value, bool isTransposed) const {
    glUniformMatrix2fv(Find(name), 1, isTransposed ? GL_TRUE : GL_FALSE, glm::value_ptr(value));
}
void Shader::Uniform(std::string_view name, glm::mat3 const& value, bool isTransposed) const {
    glUniformMatrix3fv(Find(name), 1, isTransposed ? GL_TRUE : GL_FALSE, glm::value_ptr(value));
}
void Shader::Uniform(std::string_view name, glm::mat4 const& value, bool isTransposed) const {
    glUniformMatrix4fv(Find(name), 1, isTransposed ? GL_TRUE : GL_FALSE, glm::value_ptr(value));
}
void Shader::Uniform(std::string_view name, Proc::Color const& value) const {
    constexpr float kTop = 255.0F;
    glUniform4f(Find(name), static_cast<float>(value.red) / kTop, static_cast<float>(value.green) / kTop,
                static_cast<float>(value.blue) / kTop, static_cast<float>(value.alpha) / kTop);
}
void Shader::UniformVector(std::string_view name, std::vector<float> const& values) const {
    constexpr std::array kSetters{&glUniform1fv, &glUniform2fv, &glUniform3fv, &glUniform4fv};
    (*kSetters.at(values.size() - 1))(Find(name), 1, values.data());
}
void Shader::UniformIntegers(std::string_view name, std::vector<int> const& values) const {
    constexpr std::array kSetters{&glUniform1iv, &glUniform2iv, &glUniform3iv, &glUniform4iv};
    (*kSetters.at(values.size() - 1))(Find(name), 1, values.data());
}
void Shader::Uniform(std::string_view name, std::vector<float> const& values) const {
    glUniform1fv(Find(name), static_cast<GLsizei>(values.size()), values.data());
}

}  // namespace Kaltor::Ogl
