#include "Proc/Effects/EffectsOgl/Transitions/SpaceScene.h"

#include "Proc/Effects/Shared/Blend.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kDivide[] = R"glsl(
uniform sampler2D tex;
varying vec2 TexCoord0;
void main() {
    gl_FragColor = Unmultiply(texture2D(tex, TexCoord0));
}
)glsl";

}  // namespace

// Surfaces that face the viewer get no gloss, so that nothing jumps where a turn begins or ends.
char const* const kShineFunction = R"glsl(
vec2 shine(vec3 normal, vec3 toEye) {
    const vec3 lamp = vec3(-0.27216553, 0.54433105, 0.79349205);
    float light = 0.4 + 0.6 * max(dot(normal, lamp), 0.0) / lamp.z;
    float gloss = pow(max(dot(normal, normalize(lamp + toEye)), 0.0), 28.0);
    float turned = 1.0 - normal.z * normal.z;
    return vec2(min(light, 1.15), 0.4 * gloss * min(6.0 * turned, 1.0));
}
)glsl";

char const* const kStretchFunctions = R"glsl(
uniform vec2 picture_size;
vec2 stretch(vec2 coord) {
    vec2 across = dFdx(coord);
    vec2 up = dFdy(coord);
    float across_texels = length(across * picture_size);
    float up_texels = length(up * picture_size);
    vec2 longest = across_texels > up_texels ? across : up;
    float texels = max(across_texels, up_texels);
    return longest * clamp(1.0 - 1.0 / max(texels, 1.0), 0.0, 16.0 / max(texels, 1.0));
}
vec4 filtered(sampler2D tex, vec2 coord, vec2 reach) {
    return 0.25 * (texture2D(tex, coord - 0.375 * reach) + texture2D(tex, coord - 0.125 * reach) +
                   texture2D(tex, coord + 0.125 * reach) + texture2D(tex, coord + 0.375 * reach));
}
)glsl";

SpaceScene::SpaceScene(DataVideoOGL& output, DataVideoOGL& first, DataVideoOGL& second,
                       ShaderStorage const& shaderStorage)
    : dst(output),
      storage(shaderStorage),
      outgoing(first.FrameData().ConvertToRGBA(storage), storage),
      incoming(second.FrameData().ConvertToRGBA(storage), storage) {
    TextureForm const& form = dst.FrameData().GetFirstTexture().GetForm();
    if (dst.FrameData().GetFirstTexture().IsOpaque()) {
        AttachTarget(dst, storage);
    } else {
        layers.emplace(TextureForm{form.width, form.height, FinerWithAlpha(form.format), false});
        storage.FBO().Attach(layers->Get());
    }
    blend.emplace(GL_BLEND);
    glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
}

void SpaceScene::UsePictures(Pass& pass) const {
    TextureForm const& form = GetOutgoing().GetForm();
    pass.Texture("tex1", 0, GetOutgoing())
        .Texture("tex2", 1, GetIncoming())
        .Set("picture_size", static_cast<float>(form.width), static_cast<float>(form.height));
}

void SpaceScene::DrawFlat(Texture const& picture, glm::vec2 const& from, glm::vec2 const& to) const {
    glm::vec2 const low = 2.0F * from - 1.0F;
    glm::vec2 const high = 2.0F * to - 1.0F;
    Quad part(GL_STREAM_DRAW);
    part.SetCorners({from.x, from.y, low.x, low.y, to.x, from.y, high.x, low.y,  //
                     to.x, to.y, high.x, high.y, from.x, to.y, low.x, high.y});
    Pass(storage, storage.Copy()).Texture("tex", 0, picture, TextureFilter::Nearest).Draw(part);
}

void SpaceScene::Finish() {
    blend.reset();
    if (layers) {
        Pass(storage, "SpaceScene", {kGlslVersion, kStraightAlpha, kDivide})
            .Texture("tex", 0, layers->Get(), TextureFilter::Nearest)
            .DrawTo(dst);
    }
}

}  // namespace Kaltor::Ogl
