// Turns the picture by a quarter turn or reflects it across a diagonal. Every pixel is moved unchanged. Width and
// height are exchanged, and so are those of a pixel.

#include <array>
#include <utility>

#include "Proc/Effects/EffectsOgl/Effects/ProcessorTranspose.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Effects/Shared/Planes.h"
#include "Proc/Settings/SettingsGeometryEffects.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(#version 120
uniform sampler2D tex;
uniform vec2 reversed;  // 1 where the picture is read from right to left, from top to bottom
varying vec2 TexCoord0;
void main() {
    gl_FragColor = texture2D(tex, abs(TexCoord0.yx - reversed));
}
)glsl";

Conf::FrameInfo Turn(Conf::FrameInfo const& info) {
    return {info.height, info.width, info.pixelAspectY, info.pixelAspectX};
}

Samples UpsideDown(Samples const& samples) {
    return {samples.Row(samples.height - 1), -samples.stride, samples.width, samples.height, samples.channels};
}

}  // namespace

class EffectTranspose final : public EffectWithSettings<Proc::SettingsEffectTranspose> {
public:
    bool WorksOnPlanes() const override { return true; }
    /// From the far end, an odd number of pixels is paired in another way.
    bool SuitsPlanes(PlaneCase const& drawn) const override {
        auto const [fromRight, fromTop] = FindReversed();
        return (fromRight || drawn.info.width % 2 == 0) && (fromTop || drawn.info.height % 2 == 0);
    }

    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        if (IsOnPlanes(*dst)) {
            TurnPlanes(*dst, *src, storage);
            return;
        }
        auto const [s, t] = FindReversed();
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        Pass(storage, "EffectTranspose", kFragment)
            .Texture("tex", 0, picture, TextureFilter::Nearest)
            .Set("reversed", s ? 1.0F : 0.0F, t ? 1.0F : 0.0F)
            .DrawTo(*dst);
    }

    void UpdateFormatCodec(boost::intrusive_ptr<Conf::IFormatCodecVideo> const& codec) override {
        Conf::FrameInfo const turned = Turn(codec->GetFrameInfo());
        codec->InitByPixelAspect(turned.width, turned.height, turned.pixelAspectX, turned.pixelAspectY);
        IEffectAlgorithm::UpdateFormatCodec(codec);
    }
    boost::intrusive_ptr<DataVideoOGL> CreateDst(PixFmt srcFormat, Conf::FrameInfo const& info) override {
        return IEffectAlgorithm::CreateDst(srcFormat, Turn(info));
    }

private:
    /// The shader's `reversed`. The main diagonal runs from the upper left to the lower right, texture coordinates from
    /// the lower left.
    std::pair<bool, bool> FindReversed() const {
        static constexpr std::array<std::pair<bool, bool>, 4> kReversed{
            {{true, true}, {true, false}, {false, true}, {false, false}}};
        return kReversed[static_cast<std::size_t>(settings.mode)];
    }

    void TurnPlanes(DataVideoOGL& dst, DataVideoOGL& src, ShaderStorage const& storage) const {
        // Rows are counted from the top here; both reversed is therefore neither.
        auto const [keepsRows, keepsColumns] = FindReversed();
        PlaneSource const picture(src);
        DrawPlanes(dst, [&, keepsRows = keepsRows, keepsColumns = keepsColumns](Planes const& to) {
            for (std::size_t plane = 0; plane < to.size(); ++plane) {
                Samples const& from = picture.Get()[plane];
                TransposeOnProcessor(keepsColumns ? from : UpsideDown(from),
                                     keepsRows ? to[plane] : UpsideDown(to[plane]), storage.Processor());
            }
        });
    }
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectTranspose>();

}  // namespace Kaltor::Ogl
