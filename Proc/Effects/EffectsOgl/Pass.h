#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "Ogl/DataVideoOGL.h"
#include "Ogl/ShaderStorage.h"

namespace Kaltor::Ogl {

/// One pass over the whole target: a program by name, its samplers and uniforms, the target, the unit quad.
class Pass {
public:
    Pass(ShaderStorage const& shaderStorage, std::string_view name, std::string_view fragment)
        : storage(shaderStorage), shader(shaderStorage.MakeShader(name, kQuadVertex, fragment)) {
        shader.Use();
    }
    /// The same with a program text that `generate()` makes when it is first needed.
    template <typename Generate>
    requires std::is_invocable_r_v<std::string, Generate> Pass(ShaderStorage const& shaderStorage,
                                                               std::string_view name, Generate const& generate)
        : storage(shaderStorage), shader(FindOrMake(shaderStorage, name, generate)) {
        shader.Use();
    }

    /// The sampler `name` reads the first texture of `frame`, which must live until the pass is drawn. Nearest is
    /// exact, and faster on software GL, where only the centres of texels are sampled.
    Pass& Texture(std::string_view name, int unit, Frame const& frame, TextureFilter filter = TextureFilter::Linear) {
        return Texture(name, unit, frame.GetFirstTexture(), filter);
    }
    Pass& Texture(std::string_view name, int unit, Ogl::Texture const& texture,
                  TextureFilter filter = TextureFilter::Linear) {
        shader.Uniform(name, unit);
        samplers.push_back({unit, &texture, filter});
        return *this;
    }
    /// Sets a uniform; as the overloads of `Shader::Uniform`.
    template <typename... Values>
    Pass& Set(std::string_view name, Values const&... values) {
        shader.Uniform(name, values...);
        return *this;
    }

    /// The part of a target that a pass draws to, texels from the lower left.
    struct Area {
        std::uint32_t x, y, width, height;
    };

    void DrawTo(Ogl::Texture const& target) const {
        DrawTo(target, {0, 0, target.GetForm().width, target.GetForm().height});
    }
    void DrawTo(Ogl::Texture const& target, Area const& area) const { Draw(target, area, storage.Quad()); }
    void DrawTo(Frame const& target) const { DrawTo(target.GetFirstTexture()); }
    void DrawTo(DataVideoOGL& target) const { DrawTo(target.FrameData()); }
    /// Through a mesh of (s, t, x, y) instead of the unit quad.
    void DrawTo(DataVideoOGL& target, Mesh const& mesh) const {
        Ogl::Texture const& texture = target.FrameData().GetFirstTexture();
        Draw(texture, {0, 0, texture.GetForm().width, texture.GetForm().height}, mesh);
    }

private:
    struct Sampler {
        int unit;
        Ogl::Texture const* texture;
        TextureFilter filter;
    };

    void Draw(Ogl::Texture const& target, Area const& area, Mesh const& mesh) const {
        storage.FBO().Attach(target);
        glViewport(static_cast<GLint>(area.x), static_cast<GLint>(area.y), static_cast<GLsizei>(area.width),
                   static_cast<GLsizei>(area.height));
        for (Sampler const& sampler : samplers) {
            sampler.texture->Use(sampler.unit, sampler.filter);
        }
        mesh.Activate();
        mesh.Draw();
    }

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
