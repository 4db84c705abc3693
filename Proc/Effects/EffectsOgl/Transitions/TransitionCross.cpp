// The outgoing picture is cut along its diagonals into four triangles that fly apart. The cuts are faded out over 1/200
// of the picture, at the start too. Behind them the incoming picture stands, or scrolls up by one picture's height.

#include "Ogl/GlState.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Effects/Shared/QuadBuilders.h"
#include "Proc/Settings/SettingsWipeTransitions.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(#version 120
uniform sampler2D tex0;
varying vec2 TexCoord0;
void main() {
    float d1 = abs(TexCoord0.s - TexCoord0.t);
    float d2 = abs(TexCoord0.s + TexCoord0.t - 1.0);
    gl_FragColor = vec4(texture2D(tex0, TexCoord0).rgb, min(200.0 * min(d1, d2), 1.0));
}
)glsl";

/// Each piece is the part of its triangle that is still on the screen. Its corners: where one cut meets the screen's
/// edge, the apex, where the other cut meets the edge, the middle of the edge. `k` is how far it has moved, in clip
/// units.
PackedQuad MakePieces(float k) {
    float const h = k / 2.0F;
    float const g = 1.0F - k / 2.0F;
    float const m = 0.5F;
    PackedQuad pieces = ReserveQuads(4);
    int counter = 0;
    for (int piece = 0; piece < 4; ++piece) {
        MakeQuadIdx(counter, pieces.indices);
    }
    MakeQuad(h, h, -1.0F, k - 1.0F, m, m, -k, 0.0F, h, g, -1.0F, 1.0F - k, h, m, -1.0F, 0.0F, pieces.vertices);
    MakeQuad(h, h, k - 1.0F, -1.0F, m, m, 0.0F, -k, g, h, 1.0F - k, -1.0F, m, h, 0.0F, -1.0F, pieces.vertices);
    MakeQuad(h, g, k - 1.0F, 1.0F, m, m, 0.0F, k, g, g, 1.0F - k, 1.0F, m, g, 0.0F, 1.0F, pieces.vertices);
    MakeQuad(g, g, 1.0F, 1.0F - k, m, m, k, 0.0F, g, h, 1.0F, k - 1.0F, g, m, 1.0F, 0.0F, pieces.vertices);
    return pieces;
}

/// The picture twice, one above the other; they meet at `2 k - 1`.
PackedQuad MakeScroll(float k) {
    float const seam = 2.0F * k - 1.0F;
    return MakeLattice({{0.0F, 1.0F, -1.0F, 1.0F}}, {{0.0F, 1.0F, seam, seam + 2.0F}, {0.0F, 1.0F, seam - 2.0F, seam}});
}

}  // namespace

class TransitionCross final : public TransitionWithSettings<Proc::SettingsTransitionCross> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        auto const k = static_cast<float>(progress);
        Quad const pieces(MakePieces(k), GL_STREAM_DRAW);
        Frame const outgoing = first->FrameData().ConvertToRGBA(storage);
        if (settings.scroll && k != 1.0F) {
            AttachTarget(*dst, storage);
            second->FrameData().Draw(Quad(MakeScroll(k), GL_STREAM_DRAW), storage);
        } else {
            DrawUnchanged(*dst, *second, storage);
        }

        EnableState const blend(GL_BLEND);
        glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
        Pass(storage, "TransitionCross", kFragment).Texture("tex0", 0, outgoing).DrawTo(*dst, pieces);
    }
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionCross>();

}  // namespace Kaltor::Ogl
