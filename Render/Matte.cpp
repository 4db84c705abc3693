#include "Render/Matte.h"

#include <array>
#include <optional>

#include "Ogl/GlslText.h"
#include "Ogl/IOglTask.h"
#include "Proc/Effects/Shared/Pass.h"

namespace Kaltor::Render {
namespace {

using Ogl::DataVideoOGL;
using Ogl::Frame;
using VideoPtr = boost::intrusive_ptr<DataVideoOGL>;

/// Over an even ground, opaque.
constexpr char kOnGround[] = R"glsl(#version 120
uniform sampler2D picture;
uniform float grey;
varying vec2 TexCoord0;
void main() {
    vec4 color = texture2D(picture, TexCoord0);
    gl_FragColor = vec4(mix(vec3(grey), color.rgb, color.a), 1.0);
}
)glsl";

// Where nothing was drawn, the ground is seen whole.
constexpr char kUnmix[] = R"glsl(#version 120
uniform sampler2D onBlack;
uniform sampler2D onWhite;
varying vec2 TexCoord0;
void main() {
    vec4 black = texture2D(onBlack, TexCoord0);
    vec4 white = texture2D(onWhite, TexCoord0);
    vec3 color = black.rgb * black.a;
    vec3 ground = mix(vec3(1.0), white.rgb, white.a) - color;
    float alpha = clamp(1.0 - dot(ground, vec3(1.0 / 3.0)), 0.0, 1.0);
    gl_FragColor = alpha > 0.001 ? vec4(color / alpha, alpha) : vec4(0.0);
}
)glsl";

/// Draws one pass from one or two frames.
class MatteTask final : public Ogl::IOglTask {
public:
    /// Over a ground, or where there is none, what the two frames have in common.
    MatteTask(boost::intrusive_ptr<Ogl::TaskTimer> taskTimer, std::array<VideoPtr, 2> from,
              std::optional<float> groundsGrey, DataVideoOGL& output)
        : IOglTask(Ogl::OglCapability::Render, std::move(taskTimer)),
          sources(std::move(from)),
          grey(groundsGrey),
          dst(&output) {}

    void Run(Ogl::OglCapability, Ogl::ShaderStorage const& storage) override {
        constexpr auto kExact = Ogl::TextureFilter::Nearest;
        Frame const first = sources[0]->FrameData().ConvertToRGBA(storage);
        if (grey) {
            Ogl::Pass(storage, "MatteOnGround", kOnGround)
                .Texture("picture", 0, first, kExact)
                .Set("grey", *grey)
                .DrawTo(*dst);
        } else {
            Frame const second = sources[1]->FrameData().ConvertToRGBA(storage);
            Ogl::Pass(storage, "MatteUnmix", kUnmix)
                .Texture("onBlack", 0, first, kExact)
                .Texture("onWhite", 1, second, kExact)
                .DrawTo(*dst);
        }
        sources = {};
    }

private:
    std::array<VideoPtr, 2> sources;
    std::optional<float> grey;
    DataVideoOGL* dst;  // owns this task
};

VideoPtr MakeVideo(VideoPtr const& first, VideoPtr const& second, std::optional<float> grey,
                   boost::intrusive_ptr<Ogl::TaskTimer> const& timer) {
    VideoPtr video = DataVideoOGL::Create(AlphaFormat(first->GetPixFmt()), first->GetFrameInfo());
    video->SetTimestamp(first->GetTimestamp());
    video->SetDuration(first->GetDuration());
    video->ConcatenateTasks(first);
    video->ConcatenateTasks(second);
    video->AttachTask({new MatteTask(timer, {first, second}, grey, *video)});
    return video;
}

PlannedEffect MakeTransition(FactoryPtr const& factory, Edit::TimeLine const& time, Edit::PlannedLook const& look,
                             std::uint32_t seed, bool isEntry) {
    return PlannedEffect::TwoInputs(factory, time, look, seed,
                                    isEntry ? PlannedEffect::Progress::FromStart : PlannedEffect::Progress::ToEnd);
}

}  // namespace

Matte::Matte(FactoryPtr const& factory, Edit::TimeLine const& time, Edit::PlannedLook const& look, std::uint32_t seed,
             bool isEntry, LayerPainter const& layerPainter)
    : painter(layerPainter),
      isEntering(isEntry),
      onBlack{MakeTransition(factory, time, look, seed, isEntry), 0.0F},
      onWhite{MakeTransition(factory, time, look, seed, isEntry), 1.0F},
      timer(Ogl::TaskTimer::Create("Matte")) {}

FramePtr Matte::Draw(Pass& pass, VideoPtr const& picture, std::int64_t number) const {
    FramePtr const shown = MakeVideo(picture, nullptr, pass.grey, timer);
    if (!pass.nothing || pass.nothing->GetFrameInfo() != picture->GetFrameInfo()) {
        // A frame that nobody draws on is transparent.
        pass.nothing = MakeVideo(DataVideoOGL::Create(AlphaFormat(picture->GetPixFmt()), picture->GetFrameInfo()),
                                 nullptr, pass.grey, timer);
    }
    pass.nothing->SetTimestamp(picture->GetTimestamp());
    pass.nothing->SetDuration(picture->GetDuration());
    FramePtr outgoing = isEntering ? FramePtr(pass.nothing) : shown;
    pass.transition.Process(outgoing, isEntering ? shown : FramePtr(pass.nothing), number);
    return outgoing;
}

void Matte::Process(FramePtr& frame, std::int64_t number) {
    VideoPtr const picture = painter.Upload(frame);
    VideoPtr const black = painter.Upload(Draw(onBlack, picture, number));
    VideoPtr const white = painter.Upload(Draw(onWhite, picture, number));
    frame = MakeVideo(black, white, std::nullopt, timer);
}

}  // namespace Kaltor::Render
