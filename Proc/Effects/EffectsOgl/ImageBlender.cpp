#include "Proc/Effects/EffectsOgl/ImageBlender.h"

#include <algorithm>
#include <stdexcept>

#include "Conf/IPreset.h"
#include "Core/Interfaces/Exception.h"
#include "Ogl/DataVideoOGL.h"
#include "Ogl/GlState.h"
#include "Ogl/IOglTask.h"
#include "Proc/Effects/Shared/Algorithms.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Interfaces/SourceLocations.h"

namespace Kaltor::Ogl {
namespace {

using boost::intrusive_ptr;
using Proc::IDataVideo;

constexpr std::int32_t kOpaque = 255;

/// Copies the base into the output.
class DrawDst final : public IOglTask {
public:
    DrawDst(intrusive_ptr<TaskTimer> timer, Src source, DataVideoOGL& output)
        : IOglTask(OglCapability::Render, std::move(timer)), src(std::move(source)), dst(&output) {}

    void Run(OglCapability, ShaderStorage const& storage) override {
        DrawUnchanged(*dst, *src, storage);
        src.reset();
    }

private:
    Src src;
    DataVideoOGL* dst;  // owns this task
};

/// Where an overlay meets the output, along one axis. Lengths are in units: a pixel of the overlay is `sourceScale`
/// long, a pixel of the output `targetScale`.
struct Meeting {
    std::int64_t crop;    ///< the overlay's part before the output begins
    std::int64_t offset;  ///< the output's part before the overlay begins
    std::int64_t length;
    std::int64_t sourceLength;
    std::int64_t targetScale;

    Meeting(std::int32_t position, std::uint32_t source, std::uint32_t sourceScale, std::uint32_t target,
            std::uint32_t scale)
        : crop(std::max<std::int64_t>(0, -std::int64_t{position} * Known(sourceScale))),
          offset(std::max<std::int64_t>(0, position * Known(scale))),
          length(0),
          sourceLength(source * Known(sourceScale)),
          targetScale(Known(scale)) {
        length = std::min(std::max<std::int64_t>(0, sourceLength - crop),
                          std::max<std::int64_t>(0, target * Known(scale) - offset));
    }

    float First() const { return static_cast<float>(crop) / static_cast<float>(sourceLength); }
    float Last() const { return static_cast<float>(crop + length) / static_cast<float>(sourceLength); }
    GLint Place() const { return static_cast<GLint>(offset / targetScale); }
    GLsizei Pixels() const { return static_cast<GLsizei>(length / targetScale); }

private:
    static std::int64_t Known(std::uint32_t scale) { return std::max(scale, 1U); }
};

/// Lays one overlay over the output.
class DrawSrc final : public IOglTask {
public:
    DrawSrc(intrusive_ptr<TaskTimer> timer, Src source, DataVideoOGL& output,
            Proc::SettingsEffectImageBlender const& atThatTime)
        : IOglTask(OglCapability::Render, std::move(timer)),
          src(std::move(source)),
          dst(&output),
          settings(atThatTime) {}

    void Run(OglCapability, ShaderStorage const& storage) override {
        Conf::FrameInfo const& from = src->GetFrameInfo();
        Conf::FrameInfo const& to = dst->GetFrameInfo();
        Meeting const x(settings.x, from.width, from.pixelAspectX, to.width, to.pixelAspectX);
        Meeting const y(settings.y, from.height, from.pixelAspectY, to.height, to.pixelAspectY);
        Src const overlay = std::move(src);
        if (x.Pixels() == 0 || y.Pixels() == 0) {
            return;
        }
        Frame const picture = settings.opacity == kOpaque ? overlay->FrameData() : Fade(overlay->FrameData(), storage);

        AttachTarget(*dst, storage);
        Quad quad(GL_DYNAMIC_DRAW);
        quad.SetCorners({x.First(), y.First(), -1, -1, x.Last(), y.First(), 1, -1, x.Last(), y.Last(), 1, 1, x.First(),
                         y.Last(), -1, 1});
        glViewport(x.Place(), y.Place(), x.Pixels(), y.Pixels());
        EnableState const blend(GL_BLEND);
        glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
        picture.Draw(quad, storage);
    }

private:
    /// The overlay with its alpha multiplied by the opacity.
    Frame Fade(Frame const& overlay, ShaderStorage const& storage) const {
        Frame faded = Frame::Create();
        faded.Allocate(AlphaFormat(overlay.GetPixFmt()), overlay.GetWidth(), overlay.GetHeight());
        storage.FBO().Attach(faded.GetFirstTexture());
        EnableState const blend(GL_BLEND);
        glBlendColor(0.0F, 0.0F, 0.0F, static_cast<float>(settings.opacity / 255.0));
        glBlendFuncSeparate(GL_ONE, GL_ZERO, GL_CONSTANT_ALPHA, GL_ZERO);
        overlay.Draw(storage.Quad(), storage);
        return faded;
    }

    Src src;
    DataVideoOGL* dst;  // owns this task
    Proc::SettingsEffectImageBlender settings;
};

}  // namespace

intrusive_ptr<Proc::ITwoInputEffectVideo> ImageBlender::Create(
    intrusive_ptr<Proc::IEffectFactory const> const& factory) {
    return {new ImageBlender(factory)};
}

ImageBlender::ImageBlender(intrusive_ptr<Proc::IEffectFactory const> const& factory)
    : uploader(factory->CreateOneInputEffect(Proc::SettingsFrameUploader::CLASS_ID, Proc::ImplNames::OGL)),
      timer(TaskTimer::Create("OglBlender_blend")) {}

Core::Property ImageBlender::GetSettings() const {
    Core::Property property = Settings2Property(settings);
    property.SetChild(Conf::IPreset::KEY_TYPE_ID, Core::Property::Of(Proc::ImplNames::OGL));
    return property;
}

void ImageBlender::SetSettings(Core::Property const& property) {
    SetSettings(Property2Settings(property));
}

void ImageBlender::SetSettings(Proc::Settings const& value) {
    SetSettings(dynamic_cast<Proc::SettingsEffectImageBlender const&>(value));
}

void ImageBlender::SetSettings(Proc::SettingsEffectImageBlender const& value) {
    value.Validate();
    if (!(value == settings)) {
        Reset();
        settings = value;
    }
}

intrusive_ptr<Proc::IData> ImageBlender::ProcessData(Items const& items) {
    if (items.empty()) {
        Core::Throw(std::logic_error("invalid data count"));
    }
    if (items.size() > 1 && std::find(items.begin(), items.end(), nullptr) != items.end()) {
        Core::Throw(std::invalid_argument("All data must be present"), Proc::SourceLocations::kBlenderMissingItem);
    }
    if (settings.opacity == 0 || !items.front()) {
        return items.front();
    }
    std::vector<intrusive_ptr<IDataVideo>> pictures;
    for (intrusive_ptr<Proc::IData> const& item : items) {
        pictures.emplace_back(dynamic_cast<IDataVideo*>(item.get()));
        if (!pictures.back()) {
            Core::Throw(std::invalid_argument("only video frames can be laid over one another"));
        }
    }

    intrusive_ptr<IDataVideo>& base = pictures.front();
    intrusive_ptr<DataVideoOGL> dst = DataVideoOGL::Create(OutputFormat(base->GetPixFmt()), base->GetFrameInfo());
    dst->SetDuration(base->GetDuration());
    dst->SetTimestamp(base->GetTimestamp());
    for (intrusive_ptr<IDataVideo>& picture : pictures) {
        uploader->Process(picture);
        Src source(dynamic_cast<DataVideoOGL*>(picture.get()));
        dst->ConcatenateTasks(source);
        if (&picture == &base) {
            dst->AttachTask({new DrawDst(timer, std::move(source), *dst)});
        } else {
            dst->AttachTask({new DrawSrc(timer, std::move(source), *dst, settings)});
        }
    }
    ++counters.processedFrames;
    return dst;
}

void ImageBlender::Process(intrusive_ptr<IDataVideo>& first, intrusive_ptr<IDataVideo const> const& second) {
    // Overlays are only read; the list cannot hold constant items.
    intrusive_ptr<Proc::IData> const overlay(const_cast<IDataVideo*>(second.get()));
    intrusive_ptr<Proc::IData> const result = ProcessData(Items{first, overlay});
    first.reset(dynamic_cast<IDataVideo*>(result.get()));
}

void ImageBlender::UpdateFormatCodec(intrusive_ptr<Conf::IFormatCodecVideo>& codec) {
    codec->SetPixFmt(OutputFormat(codec->GetPixFmt()));
}

}  // namespace Kaltor::Ogl
