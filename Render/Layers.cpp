#include "Render/Layers.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <optional>

#include "Ogl/GlState.h"
#include "Ogl/GlslText.h"
#include "Ogl/IOglTask.h"
#include "Proc/Data/DataVideoFF.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Effects/Shared/Premultiplied.h"
#include "Proc/Settings/SettingsServices.h"

namespace Kaltor::Render {
namespace {

using Edit::Overlay;
using Ogl::DataVideoOGL;
using Ogl::Frame;
using Ogl::Pass;

// The quad is a little larger than the layer, so that its edge can be smooth: `place` is in pixels of the layer from
// its middle, y up.
constexpr char kVertex[] = R"glsl(#version 120
uniform vec2 frameSize;
uniform vec2 middle;
uniform vec2 reach;
uniform vec2 turn;
varying vec2 place;
void main() {
    place = gl_Vertex.zw * reach;
    vec2 turned = vec2(turn.x * place.x + turn.y * place.y, turn.x * place.y - turn.y * place.x);
    gl_Position = vec4((middle + turned) / frameSize * 2.0 - 1.0, 0.0, 1.0);
}
)glsl";

// The layer's colour multiplied by its alpha, and its alpha. Coverage is the signed distance to the rounded rectangle's
// edge, a pixel wide.
constexpr char kLayer[] = R"glsl(#version 120
uniform sampler2D picture;
uniform vec2 half_;
uniform vec4 part;
uniform float radius;
uniform float opacity;
varying vec2 place;
vec4 Layer() {
    vec2 beyond = abs(place) - half_ + radius;
    float distance_ = length(max(beyond, 0.0)) + min(max(beyond.x, beyond.y), 0.0) - radius;
    vec2 at = clamp(place / half_ * 0.5 + 0.5, 0.0, 1.0);
    return texture2D(picture, mix(part.xy, part.zw, at)) * (clamp(0.5 - distance_, 0.0, 1.0) * opacity);
}
)glsl";
constexpr char kPlain[] = R"glsl(
void main() { gl_FragColor = Layer(); }
)glsl";
// Where there is no layer, the base is multiplied by 1.
constexpr char kMultiply[] = R"glsl(
void main() {
    vec4 layer = Layer();
    gl_FragColor = vec4(layer.rgb + 1.0 - layer.a, 1.0);
}
)glsl";
constexpr char kOverlay[] = R"glsl(
uniform sampler2D base;
uniform vec2 frameSize;
void main() {
    vec4 layer = Layer();
    vec4 below = texture2D(base, gl_FragCoord.xy / frameSize);
    vec3 color = layer.rgb / max(layer.a, 1.0 / 1024.0);
    vec3 low = 2.0 * below.rgb * color;
    vec3 high = 1.0 - 2.0 * (1.0 - below.rgb) * (1.0 - color);
    gl_FragColor = vec4(mix(below.rgb, mix(low, high, step(0.5, below.rgb)), layer.a), below.a);
}
)glsl";

void SetBlending(Overlay::Blend blend) {
    switch (blend) {
        case Overlay::Blend::Normal:
            glBlendFuncSeparate(GL_ONE, GL_ONE_MINUS_SRC_ALPHA, GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
            break;
        case Overlay::Blend::Add:
            glBlendFuncSeparate(GL_ONE, GL_ONE, GL_ZERO, GL_ONE);
            break;
        case Overlay::Blend::Multiply:
            glBlendFuncSeparate(GL_DST_COLOR, GL_ZERO, GL_ZERO, GL_ONE);
            break;
        case Overlay::Blend::Screen:
            glBlendFuncSeparate(GL_ONE_MINUS_DST_COLOR, GL_ONE, GL_ZERO, GL_ONE);
            break;
        case Overlay::Blend::Overlay:
            break;
    }
}

class LayersTask final : public Ogl::IOglTask {
public:
    LayersTask(boost::intrusive_ptr<Ogl::TaskTimer> taskTimer, boost::intrusive_ptr<DataVideoOGL> below,
               std::vector<Layer> above, DataVideoOGL& output)
        : IOglTask(Ogl::OglCapability::Render, std::move(taskTimer)),
          base(std::move(below)),
          layers(std::move(above)),
          dst(&output) {}

    void Run(Ogl::OglCapability, Ogl::ShaderStorage const& storage) override {
        DrawUnchanged(*dst, *base, storage);
        base.reset();
        for (Layer& layer : layers) {
            DrawLayer(layer, storage);
            layer.picture.reset();
        }
    }

private:
    /// The picture in the size in which it is shown, where that is smaller: samples between few texels would flicker.
    static Frame Shrink(Frame const& picture, Layer const& layer, Ogl::ShaderStorage const& storage) {
        auto const shown = [](double size, double first, double last) {
            return std::ceil(size / (1.0 - first - last));
        };
        double const width = std::max(1.0, shown(layer.width, layer.cropLeft, layer.cropRight));
        double const height = std::max(1.0, shown(layer.height, layer.cropTop, layer.cropBottom));
        if (width >= picture.GetWidth() && height >= picture.GetHeight()) {
            return picture;
        }
        return MakeScaled(picture, std::min(picture.GetWidth(), static_cast<std::uint32_t>(width)),
                          std::min(picture.GetHeight(), static_cast<std::uint32_t>(height)), storage);
    }

    void DrawLayer(Layer const& layer, Ogl::ShaderStorage const& storage) const {
        constexpr double kMargin = 1.0;  // for the smooth edge
        Conf::FrameInfo const& info = dst->GetFrameInfo();
        Frame const picture = Shrink(layer.picture->FrameData().ConvertToRGBA(storage), layer, storage);
        Ogl::Premultiplied const source(picture, storage);
        std::optional<Frame> below;
        if (layer.blend == Overlay::Blend::Overlay) {
            below = MakeScaled(dst->FrameData(), info.width, info.height, storage);
        }
        double const angle = layer.rotation * std::numbers::pi / 180.0;
        auto const number = [](double value) { return static_cast<float>(value); };

        Pass pass = MakePass(layer.blend, storage);
        pass.Texture("picture", 0, source.Get())
            .Set("frameSize", number(info.width), number(info.height))
            .Set("middle", number(layer.x), number(info.height - layer.y))
            .Set("reach", number(layer.width / 2.0 + kMargin), number(layer.height / 2.0 + kMargin))
            .Set("turn", number(std::cos(angle)), number(std::sin(angle)))
            .Set("half_", number(layer.width / 2.0), number(layer.height / 2.0))
            .Set("part", number(layer.cropLeft), number(layer.cropBottom), number(1.0 - layer.cropRight),
                 number(1.0 - layer.cropTop))
            .Set("radius", number(std::clamp(layer.radius, 0.0, std::min(layer.width, layer.height) / 2.0)))
            .Set("opacity", number(std::clamp(layer.opacity, 0.0, 1.0)));
        if (below) {
            pass.Texture("base", 1, *below);
        }
        AttachTarget(*dst, storage);
        std::optional<Ogl::EnableState> blending;
        if (!below) {
            blending.emplace(GL_BLEND);
            SetBlending(layer.blend);
        }
        pass.Draw();
    }

    static Pass MakePass(Overlay::Blend blend, Ogl::ShaderStorage const& storage) {
        switch (blend) {
            case Overlay::Blend::Multiply:
                return {storage, "LayerMultiply", kVertex, {kLayer, kMultiply}};
            case Overlay::Blend::Overlay:
                return {storage, "LayerOverlay", kVertex, {kLayer, kOverlay}};
            default:
                return {storage, "Layer", kVertex, {kLayer, kPlain}};
        }
    }

    boost::intrusive_ptr<DataVideoOGL> base;
    std::vector<Layer> layers;
    DataVideoOGL* dst;  // owns this task
};

}  // namespace

LayerPainter::LayerPainter(boost::intrusive_ptr<Proc::IEffectFactory const> const& factory,
                           Media::VideoTarget const& target)
    : uploader(factory->CreateOneInputEffect(Proc::SettingsFrameUploader::CLASS_ID, Proc::ImplNames::OGL)),
      timer(Ogl::TaskTimer::Create("Layers")) {
    if (Media::IsHdr(target.transfer)) {
        Media::VideoTarget form = target;
        form.pixFmt = AlphaFormat(target.pixFmt);
        form.keepsSize = true;
        conformer = std::make_unique<Media::Conformer>("an overlay", form);
    }
}

LayerPainter::~LayerPainter() = default;

boost::intrusive_ptr<Proc::IDataVideo> LayerPainter::Conform(boost::intrusive_ptr<Proc::IDataVideo> frame) const {
    auto const* const picture = dynamic_cast<Proc::DataVideoFF const*>(frame.get());
    if (conformer && picture != nullptr && !PixFmtDescription::Find(picture->GetPixFmt()).IsFloat()) {
        std::int64_t const timestamp = picture->GetTimestamp();
        std::int64_t const duration = picture->GetDuration();
        frame = Proc::DataVideoFF::Wrap(conformer->Convert(*picture->Share()));
        frame->SetTimestamp(timestamp);
        frame->SetDuration(duration);
    }
    return frame;
}

boost::intrusive_ptr<DataVideoOGL> LayerPainter::Upload(boost::intrusive_ptr<Proc::IDataVideo> frame) const {
    frame = Conform(std::move(frame));
    uploader->Process(frame);
    return {dynamic_cast<DataVideoOGL*>(frame.get())};
}

void LayerPainter::Process(boost::intrusive_ptr<Proc::IDataVideo>& frame, std::vector<Layer> layers) const {
    std::erase_if(layers, [](Layer const& layer) {
        return layer.opacity <= 0.0 || !(layer.width > 0.0) || !(layer.height > 0.0);
    });
    if (layers.empty()) {
        return;
    }
    std::int64_t const timestamp = frame->GetTimestamp();
    std::int64_t const duration = frame->GetDuration();
    boost::intrusive_ptr<DataVideoOGL> base = Upload(std::move(frame));
    boost::intrusive_ptr<DataVideoOGL> dst =
        DataVideoOGL::Create(OutputFormat(base->GetPixFmt()), base->GetFrameInfo());
    dst->SetTimestamp(timestamp);
    dst->SetDuration(duration);
    dst->ConcatenateTasks(base);
    for (Layer const& layer : layers) {
        // The base's colour tags are the frame's.
        dst->ConcatenateTasks(layer.picture);
    }
    dst->AttachTask({new LayersTask(timer, std::move(base), std::move(layers), *dst)});
    frame = std::move(dst);
}

}  // namespace Kaltor::Render
