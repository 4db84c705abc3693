#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <glm/mat2x2.hpp>
#include <glm/mat3x3.hpp>
#include <glm/mat4x4.hpp>
#include <glm/vec2.hpp>
#include <glm/vec3.hpp>
#include <glm/vec4.hpp>

#include "Ogl/GlObject.h"
#include "Ogl/VertexLayout.h"
#include "Proc/Settings/Settings.h"

namespace Kaltor::Ogl {

/// A program does not compile or link.
class ShaderError : public std::runtime_error {
public:
    ShaderError(std::string const& what, std::string compilersLog)
        : std::runtime_error(what + compilersLog), log(std::move(compilersLog)) {}

    /// What the compiler or linker wrote.
    std::string const& GetLog() const { return log; }

private:
    std::string log;
};

/// A linked GLSL 1.20 program. GL thread only.
class Shader {
public:
    /// The attributes of `layout` get their indices in it as locations. Throws `ShaderError` with the program's name
    /// and the compiler's or linker's log; debug builds throw `std::logic_error` if the program's own attributes
    /// are not those of `layout`.
    Shader(std::string programName, std::string const& vertexSource, std::string const& fragmentSource,
           VertexLayout layout = {});

    /// Makes the program current. The setters of uniforms expect it to be.
    void Use() const;

    // Debug builds throw `std::logic_error` for a uniform that the program does not have, because the text does not
    // declare it or because nothing depends on it. Release builds ignore it.

    void Uniform(std::string_view name, int value) const;
    void Uniform(std::string_view name, float value) const;
    void Uniform(std::string_view name, float x, float y) const;
    void Uniform(std::string_view name, float x, float y, float z, float w) const;
    /// Converted to single precision, like everything in GLSL 1.20.
    void Uniform(std::string_view name, double value) const;
    void Uniform(std::string_view name, glm::vec2 const& value) const;
    void Uniform(std::string_view name, glm::vec3 const& value) const;
    void Uniform(std::string_view name, glm::vec4 const& value) const;
    void Uniform(std::string_view name, glm::mat2 const& value, bool isTransposed = false) const;
    void Uniform(std::string_view name, glm::mat3 const& value, bool isTransposed = false) const;
    void Uniform(std::string_view name, glm::mat4 const& value, bool isTransposed = false) const;
    /// Each channel divided by 255.
    void Uniform(std::string_view name, Proc::Color const& value) const;
    /// An array of floats.
    void Uniform(std::string_view name, std::vector<float> const& values) const;

    /// One to four numbers, for a uniform of as many.
    void UniformVector(std::string_view name, std::vector<float> const& values) const;
    void UniformIntegers(std::string_view name, std::vector<int> const& values) const;

    /// Whether the program has this uniform: its text declares it, and something depends on it.
    bool Has(std::string_view name) const;

    std::string const& GetName() const { return programName; }

private:
    GLint Locate(std::string_view name) const;
    GLint Find(std::string_view name) const;
#ifndef NDEBUG
    void RequireAttributes(VertexLayout layout) const;
#endif

    std::string programName;
    GlObject program;
    mutable std::vector<std::pair<std::string, GLint>> locations;
};

}  // namespace Kaltor::Ogl
