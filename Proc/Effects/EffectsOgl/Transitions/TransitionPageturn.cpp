// The outgoing picture is a page that is turned from one of its corners and uncovers the incoming one: a mesh along a
// curve, lit from the front, with a pale copy of the picture on its back under a light of its own. In the tilted type
// both pictures shrink and tilt on the way; their borders are then soft over a pixel, within the pictures, and the
// lower one ends a pixel before the page does, so that it does not show along it.

#include <algorithm>
#include <optional>
#include <vector>

#include "Ogl/GlState.h"
#include "Proc/Effects/EffectsOgl/Transitions/PageCurl.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Effects/Shared/QuadBuilders.h"
#include "Proc/Settings/SettingsMeshTransitions.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kVertex[] = R"glsl(#version 120
uniform mat3 NormalMatrix;
uniform mat4 MVP;
varying vec3 normal;
varying vec4 TexCoord0;
void main() {
    normal = normalize(NormalMatrix * gl_Normal);
    gl_Position = MVP * vec4(gl_Vertex.xyz, 1.0);
    TexCoord0 = gl_MultiTexCoord0;
}
)glsl";

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex;
uniform float opacity;
uniform vec3 specular_color;
uniform vec3 back_side_light;
varying vec3 normal;
varying vec4 TexCoord0;
#ifdef SMOOTH
uniform float inset;   // pixels
float Inside() {
    vec2 pixels = min(TexCoord0.xy, vec2(1.0) - TexCoord0.xy) / max(fwidth(TexCoord0.xy), vec2(1.0e-6));
    return clamp(min(pixels.x, pixels.y) - inset, 0.0, 1.0);
}
#endif
void main() {
    vec3 n = normalize(normal);
    vec4 color = texture2D(tex, TexCoord0.xy);
    vec4 front = vec4(color.rgb * dot(n, vec3(0.0, 0.0, 1.0)), color.a);
    float d = 0.2 + 0.8 * dot(n, back_side_light);
    vec3 pale = mix(color.rgb, vec3(0.6), opacity);
    vec4 back = vec4(d * (pale + specular_color / (30.0 * (1.0 - d) + d)), color.a);
    gl_FragColor = gl_FrontFacing ? front : back;
#ifdef SMOOTH
    gl_FragColor.a = Inside();
#endif
}
)glsl";

/// Detaches the depth buffer also when an exception passes.
class DepthBuffer {
public:
    explicit DepthBuffer(Surface& target) : surface(target) { surface.AttachDepth(); }
    ~DepthBuffer() { surface.DetachDepth(); }
    DepthBuffer(DepthBuffer const&) = delete;
    DepthBuffer& operator=(DepthBuffer const&) = delete;

private:
    Surface& surface;
};

}  // namespace

class TransitionPageturn final : public TransitionWithSettings<Proc::SettingsTransitionPageturn> {
public:
    OglCache* CreateCache() const override { return new CacheImpl; }

    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache* cache) const override {
        Frame const outgoing = first->FrameData().ConvertToRGBA(storage);
        Frame const incoming = second->FrameData().ConvertToRGBA(storage);
        auto& book = GetCache<CacheImpl>(cache);
        PageDirection const direction(static_cast<std::int32_t>(settings.GetDir()));
        auto const aspect = static_cast<float>(outgoing.GetWidth()) / static_cast<float>(outgoing.GetHeight());
        bool const isTilted = settings.GetType() != Proc::SettingsTransitionPageturn::Type::Plain;
        book.Reset(progress, aspect, direction, isTilted);
        bool const isUpright = book.pose.MVP == MakePagePose(0.0, aspect, false).MVP;

        AttachTarget(*dst, storage);  // clears it
        // Where alpha is the pictures' own there is none left for soft borders.
        bool const isSmooth = !isUpright && dst->FrameData().GetFirstTexture().IsOpaque();
        std::optional<EnableState> blend;
        if (isSmooth) {
            blend.emplace(GL_BLEND);
            glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
            // What lies flat first: the soft border of the curl is over it.
            ReverseTriangles(book.page.arrays.indices);
        }
        // One texel per pixel where the picture lies flat in place.
        MakePass("TransitionPageTurnDraw", book.pose, isSmooth ? 1 : kHard, storage)
            .Texture("tex", 0, incoming, isUpright ? TextureFilter::Nearest : TextureFilter::Linear)
            .Draw(LitMesh(book.background));

        DepthBuffer const depth(storage.FBO());
        MakePass("TransitionPageTurn", book.pose, isSmooth ? 0 : kHard, storage)
            .Set("opacity", 200.0F / 255.0F)
            .Set("specular_color", glm::vec3(100.0F / 255.0F))
            .Set("back_side_light", direction.backLight)
            .Texture("tex", 0, outgoing, progress <= 0.0 ? TextureFilter::Nearest : TextureFilter::Linear)
            .Draw(LitMesh(book.page.arrays), book.page.GetVertexCount());
    }

private:
    struct CacheImpl final : OglCache {
        CacheImpl() {
            int counter = 0;
            MakeQuadIdx(counter, background.indices);
            MakeQuad(-1.0F, -1.0F, 0.0F, 1.0F, 1.0F, 0.0F, background.positions);
            MakeQuad(0.0F, 0.0F, 1.0F, 1.0F, background.texCoords);
            MakeQuad(0.0F, 0.0F, 1.0F, 0.0F, 0.0F, 1.0F, background.normals);
        }

        void Reset(double progress, float aspect, PageDirection const& direction, bool isTilted) {
            pose = MakePagePose(progress, aspect, isTilted);
            curl.MakePage(progress, direction, page);
        }

        PageCurl curl;
        PagePose pose;
        PackedLitMesh background;
        SoftMesh page;
    };

    static constexpr int kHard = -1;

    /// `inset`: by how many pixels the soft border is within the picture's own.
    static Pass MakePass(std::string const& name, PagePose const& pose, int inset, ShaderStorage const& storage) {
        bool const isSmooth = inset != kHard;
        Pass pass(storage, isSmooth ? name + "_smooth" : name, kVertex,
                  {kGlslVersion, isSmooth ? "#define SMOOTH\n" : "", kFragment});
        if (isSmooth) {
            pass.Set("inset", static_cast<float>(inset));
        }
        pass.Set("NormalMatrix", pose.NormalMatrix).Set("MVP", pose.MVP);
        return pass;
    }

    static void ReverseTriangles(std::vector<unsigned>& indices) {
        std::reverse(indices.begin(), indices.end());
        for (std::size_t i = 0; i + 2 < indices.size(); i += 3) {
            std::swap(indices[i], indices[i + 2]);  // its corners in their own order again
        }
    }
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionPageturn>();

}  // namespace Kaltor::Ogl
