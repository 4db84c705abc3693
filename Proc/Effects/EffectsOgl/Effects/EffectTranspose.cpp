// Turns the picture by a quarter turn or reflects it across a diagonal. Every pixel is moved unchanged. Width and
// height are exchanged, and so are those of a pixel.

#include <array>
#include <utility>

#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
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

}  // namespace

class EffectTranspose final : public EffectWithSettings<Proc::SettingsEffectTranspose> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        // The main diagonal runs from the upper left to the lower right, texture coordinates from the lower left.
        static constexpr std::array<std::pair<float, float>, 4> kReversed{{{1, 1}, {1, 0}, {0, 1}, {0, 0}}};
        auto const [s, t] = kReversed[static_cast<std::size_t>(settings.mode)];
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        Pass(storage, "EffectTranspose", kFragment)
            .Texture("tex", 0, picture, TextureFilter::Nearest)
            .Set("reversed", s, t)
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
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectTranspose>();

}  // namespace Kaltor::Ogl
