#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "Ogl/DataVideoOGL.h"
#include "Ogl/ShaderStorage.h"

namespace Kaltor::Ogl {

/// One pass: a program by name, its samplers and uniforms, the mesh and the target. Blending, culling and depth test
/// stay as the caller set them. Between the pass's construction and its last draw, no other program may be used.
class Pass {
public:
    /// Over the whole target.
    Pass(ShaderStorage const& shaderStorage, std::string_view name, GlslText const& fragment)
        : Pass(shaderStorage, name, kQuadVertex, fragment) {}
    /// With a vertex program of its own, for meshes whose vertices have this layout.
    Pass(ShaderStorage const& shaderStorage, std::string_view name, GlslText const& vertex, GlslText const& fragment,
         VertexLayout layout = {})
        : Pass(shaderStorage, shaderStorage.MakeShader(name, vertex, fragment, layout)) {}
    /// Over the whole target, with a program text that `generate()` makes when it is first needed.
    template <typename Generate>
    requires std::is_invocable_r_v<std::string, Generate> Pass(ShaderStorage const& shaderStorage,
                                                               std::string_view name, Generate const& generate)
        : Pass(shaderStorage, FindOrMake(shaderStorage, name, generate)) {}
    /// With a program that was made before.
    Pass(ShaderStorage const& shaderStorage, Shader const& program) : storage(shaderStorage), shader(program) {
        shader.Use();
    }

    /// The sampler `name` reads the first texture of `frame`, which must live until the pass is drawn. Nearest is
    /// exact, and faster on software GL, where only the centres of texels are sampled. Between draws another texture
    /// can take the unit.
    Pass& Texture(std::string_view name, int unit, Frame const& frame, TextureFilter filter = TextureFilter::Linear) {
        return Texture(name, unit, frame.GetFirstTexture(), filter);
    }
    Pass& Texture(std::string_view name, int unit, Ogl::Texture const& texture,
                  TextureFilter filter = TextureFilter::Linear) {
        shader.Uniform(name, unit);
        auto const same = [unit](Sampler const& sampler) { return sampler.unit == unit; };
        samplers.erase(std::remove_if(samplers.begin(), samplers.end(), same), samplers.end());
        samplers.push_back({unit, &texture, filter});
        return *this;
    }
    /// Sets a uniform, like the overloads of `Shader::Uniform`. It can change between draws.
    template <typename... Values>
    Pass& Set(std::string_view name, Values const&... values) {
        shader.Uniform(name, values...);
        return *this;
    }

    /// The part of a target that a pass draws to, texels from the lower left.
    struct Area {
        std::uint32_t x, y, width, height;
    };

    /// Attaches the target and draws the unit quad.
    void DrawTo(Ogl::Texture const& target) const {
        storage.FBO().Attach(target);
        Draw();
    }
    void DrawTo(Ogl::Texture const& target, Area const& area) const {
        storage.FBO().Attach(target);
        glViewport(static_cast<GLint>(area.x), static_cast<GLint>(area.y), static_cast<GLsizei>(area.width),
                   static_cast<GLsizei>(area.height));
        Draw();
    }
    void DrawTo(Frame const& target) const { DrawTo(target.GetFirstTexture()); }
    void DrawTo(DataVideoOGL& target) const { DrawTo(target.FrameData()); }
    /// Attaches the target and draws a mesh.
    void DrawTo(DataVideoOGL& target, Mesh const& mesh) const {
        storage.FBO().Attach(target.FrameData().GetFirstTexture());
        Draw(mesh);
    }

    /// Draws the unit quad to the target that is attached.
    void Draw() const { Draw(storage.Quad()); }
    /// The same with another mesh; see `Mesh::Draw`.
    void Draw(Mesh const& mesh, int count = Mesh::kAll) const {
        for (Sampler const& sampler : samplers) {
            sampler.texture->Use(sampler.unit, sampler.filter);
        }
        mesh.Activate();
        mesh.Draw(count);
    }

private:
    struct Sampler {
        int unit;
        Ogl::Texture const* texture;
        TextureFilter filter;
    };

    template <typename Generate>
    static Shader const& FindOrMake(ShaderStorage const& storage, std::string_view name, Generate const& generate) {
        Shader const* const known = storage.FindShader(name);
        return known != nullptr ? *known : storage.MakeShader(name, kQuadVertex, generate());
    }

    ShaderStorage const& storage;
    Shader const& shader;
    std::vector<Sampler> samplers;
};

}  // namespace Kaltor::Ogl
