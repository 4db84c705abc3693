#include "Media/EffectStage.h"

#include <stdexcept>

#include "Core/Interfaces/Exception.h"
#include "Proc/Interfaces/ISeeded.h"
#include "Proc/Settings/SettingsServices.h"

namespace Kaltor::Media {

FramePtr MakeFrame(Proc::AvFramePtr picture, Timeline const& timeline, std::int64_t frame) {
    FramePtr data = Proc::DataVideoFF::Wrap(std::move(picture));
    Microseconds const time = timeline.TimeOf(frame);
    data->SetTimestamp(time.count());
    data->SetDuration((timeline.TimeOf(frame + 1) - time).count());
    return data;
}

Proc::TimeToProgress MakeProgress(Timeline const& timeline, std::int64_t first, std::int64_t count, std::int64_t lead) {
    Proc::TimeToProgress progress;
    progress.start = timeline.TimeOf(first + lead).count();
    progress.stop = timeline.TimeOf(first + count + lead).count();
    AVRational const frameTime = av_inv_q(timeline.target.frameRate);
    progress.mapping = [frameTime, begin = first + lead, count](long long const& t, long long const&,
                                                                long long const&) {
        std::int64_t const frame = av_rescale_q_rnd(t, {1, 1'000'000}, frameTime, AV_ROUND_NEAR_INF);
        return static_cast<double>(frame - begin) / static_cast<double>(count);
    };
    return progress;
}

ClipEffects::ClipEffects(FactoryPtr const& factory, Timeline const& timeline, PlannedClip const& clip,
                         std::vector<Proc::Settings const*> const& settings,
                         std::function<std::uint32_t(std::size_t)> const& seedOf) {
    for (Proc::Settings const* const one : settings) {
        effects.push_back(factory->CreateOneInputEffect(one->GetClassId(), Proc::ImplNames::OGL));
        Proc::Seed(*effects.back(), seedOf(effects.size() - 1));
        effects.back()->SetSettings(*one);
        effects.back()->SetProgress(MakeProgress(timeline, clip.first, clip.frames, 0));
    }
}

void ClipEffects::Process(FramePtr& frame) {
    for (auto const& effect : effects) {
        effect->Process(frame);
    }
}

JointEffect::JointEffect(FactoryPtr const& factory, Timeline const& timeline, PlannedClip const& incoming,
                         Proc::Settings const& settings, std::uint32_t seed)
    : effect(factory->CreateTwoInputEffect(settings.GetClassId(), Proc::ImplNames::OGL)) {
    Proc::Seed(*effect, seed);
    effect->SetSettings(settings);
    // Transitions map the end of a frame, where the next one begins.
    effect->SetProgress(MakeProgress(timeline, incoming.first, incoming.fadeIn, 1));
}

void JointEffect::Process(FramePtr& outgoing, FramePtr const& incoming) {
    effect->Process(outgoing, incoming);
}

bool NeedsSizing(Conf::FrameInfo const& frame, VideoTarget const& target) {
    auto const across = [](Conf::FrameInfo const& one, Conf::FrameInfo const& other) {
        return std::uint64_t{one.pixelAspectX} * other.pixelAspectY;
    };
    return frame.width != target.frame.width || frame.height != target.frame.height ||
           across(frame, target.frame) != across(target.frame, frame);
}

SizeEffect::SizeEffect(FactoryPtr const& factory, VideoTarget const& wanted)
    : target(wanted.frame),
      effect(factory->CreateOneInputEffect(Proc::SettingsResizer::CLASS_ID, Proc::ImplNames::OGL)) {
    Proc::SettingsResizer settings;
    settings.width = target.width;
    settings.height = target.height;
    settings.pixelAspectX = target.pixelAspectX;
    settings.pixelAspectY = target.pixelAspectY;
    settings.mode = Proc::SettingsResizer::Mode::Fit;
    effect->SetSettings(settings);
}

void SizeEffect::Process(FramePtr& frame) {
    effect->Process(frame);
}

Downloader::Downloader(FactoryPtr const& factory, VideoTarget const& target)
    : effect(factory->CreateOneInputEffect(Proc::SettingsFrameDownloader::CLASS_ID, Proc::ImplNames::OGL)),
      conformer("the effects' output", target) {
    Proc::SettingsFrameDownloader settings;
    settings.downloadMode = Proc::SettingsFrameDownloader::Mode::Yuv420p;
    effect->SetSettings(settings);
}

Proc::AvFramePtr Downloader::Process(FramePtr frame) {
    effect->Process(frame);
    auto const* const picture = dynamic_cast<Proc::DataVideoFF const*>(frame.get());
    if (picture == nullptr) {
        Core::Throw(std::logic_error("an effect's frame did not come back from the GPU"));
    }
    Proc::AvFramePtr shared = picture->Share();
    bool const isYuv = PixFmtDescription::Find(picture->GetPixFmt()).IsYuv();
    if (isYuv && picture->GetColorSpec() == ColorSpec{}) {
        Proc::SetColorSpec(*shared, conformer.GetTarget().colorSpec);  // what went in
    }
    return conformer.Convert(*shared);
}

}  // namespace Kaltor::Media
