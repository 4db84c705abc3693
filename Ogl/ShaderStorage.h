#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "Conf/PixFmt.h"
#include "Ogl/GlslText.h"
#include "Ogl/Mesh.h"
#include "Ogl/Shader.h"
#include "Ogl/Surface.h"
#include "Ogl/Texture.h"

namespace Kaltor::Ogl {

class PixelTransfer;
class Processor;

/// What all drawing on the one context shares: programs by name, the framebuffer object, the unit quad, the tools of
/// transfers. Made by the manager and passed to tasks. GL thread only.
class ShaderStorage {
public:
    ShaderStorage();
    ~ShaderStorage();
    ShaderStorage(ShaderStorage const&) = delete;
    ShaderStorage& operator=(ShaderStorage const&) = delete;

    /// The program of this name, compiled and linked on first use. The name is the program's identity: debug builds
    /// throw `std::logic_error` if a name is used again with other sources. Throws `std::runtime_error` with the log if
    /// it does not compile or link. `layout`: see `Shader`.
    Shader const& MakeShader(std::string_view name, GlslText const& vertexSource, GlslText const& fragmentSource,
                             VertexLayout layout = {}) const;

    /// The program that was made before under this name, or null. Avoids generating a program's text again.
    Shader const* FindShader(std::string_view name) const;

    Surface& FBO() const { return surface; }
    /// A second framebuffer object, for intermediate pictures of a step that leaves the attached target as it is.
    Surface& Aside() const { return asideSurface; }
    /// The quad that covers the target: texture coordinates 0 to 1, clip positions -1 to 1.
    Ogl::Quad const& Quad() const { return unitQuad; }

    /// The program that turns one plane of R'G'B' into one of Y'CbCr: the sampler "tex", the row "row" and "offset".
    Shader const& Rgb2Yuv() const;
    /// The program that shows planes of this YUV layout as R'G'B'.
    Shader const& Yuv2Rgb(PixFmt format) const;
    /// The plain textured program.
    Shader const& Copy() const;

    /// Shared white noise; see `MakeNoiseTexture`.
    Texture const& Noise() const;
    /// The mean of its channels; see `MakeGreyNoiseTexture`.
    Texture const& GreyNoise() const;

    PixelTransfer& Transfer() const { return *transfer; }
    /// For what the processor does itself where the strategy says so.
    Ogl::Processor& Processor() const { return *processor; }

private:
    struct Entry {
        std::unique_ptr<Shader> shader;
        std::size_t sourceHash;
    };

    mutable std::map<std::string, Entry, std::less<>> programs;
    mutable Surface surface;
    mutable Surface asideSurface;
    Ogl::Quad unitQuad;
    mutable Texture noise;
    mutable Texture greyNoise;
    std::unique_ptr<PixelTransfer> transfer;
    std::unique_ptr<Ogl::Processor> processor;
};

/// The vertex program of every full-frame pass: `gl_Vertex` is (s, t, x, y).
extern char const* const kQuadVertex;

}  // namespace Kaltor::Ogl
