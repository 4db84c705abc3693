#include "Render/EffectStage.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "Core/Interfaces/Exception.h"
#include "Ogl/DataVideoOGL.h"
#include "Proc/Interfaces/ISeeded.h"

namespace Kaltor::Render {
namespace {

/// Sides in units in which pixels of both axes have the same length.
double ShapeOf(Conf::FrameInfo const& frame) {
    auto const known = [](std::uint32_t aspect) { return static_cast<double>(std::max(aspect, 1U)); };
    return frame.width * known(frame.pixelAspectX) / (frame.height * known(frame.pixelAspectY));
}

Proc::SettingsResizer SizeTo(Conf::FrameInfo const& frame, Proc::SettingsResizer::Mode mode) {
    Proc::SettingsResizer settings;
    settings.width = frame.width;
    settings.height = frame.height;
    settings.pixelAspectX = frame.pixelAspectX;
    settings.pixelAspectY = frame.pixelAspectY;
    settings.mode = mode;
    return settings;
}

}  // namespace

FramePtr MakeFrame(Proc::AvFramePtr picture, Edit::TimeLine const& time, std::int64_t frame) {
    FramePtr data = Proc::DataVideoFF::Wrap(std::move(picture));
    Media::Microseconds const begin = time.TimeOf(frame);
    data->SetTimestamp(begin.count());
    data->SetDuration((time.TimeOf(frame + 1) - begin).count());
    return data;
}

PlannedEffect::PlannedEffect(Edit::TimeLine const& time, Edit::PlannedLook const& planned, Proc::IEffect& effect,
                             std::uint32_t seed, std::int64_t lead, Progress kind)
    : look(&planned) {
    Proc::Seed(effect, seed);
    effect.SetSettings(*look->settings);
    Proc::TimeToProgress progress;
    progress.start = time.TimeOf(look->first + lead).count();
    progress.stop = time.TimeOf(look->first + look->frames + lead).count();
    std::int64_t const begin = look->first + lead - (kind == Progress::ToEnd ? 1 : 0);
    progress.mapping = [look = look, frameTime = av_inv_q(time.frameRate), begin](long long const& t, long long const&,
                                                                                  long long const&) {
        std::int64_t const frame = av_rescale_q_rnd(t, {1, 1'000'000}, frameTime, AV_ROUND_NEAR_INF);
        return look->ProgressAt(static_cast<double>(frame - begin) / static_cast<double>(look->frames));
    };
    effect.SetProgress(progress);
}

PlannedEffect PlannedEffect::OneInput(FactoryPtr const& factory, Edit::TimeLine const& time,
                                      Edit::PlannedLook const& look, std::uint32_t seed) {
    auto made = factory->CreateOneInputEffect(look.settings->GetClassId(), Proc::ImplNames::OGL);
    PlannedEffect effect(time, look, *made, seed, 0, Progress::FromStart);
    effect.one = std::move(made);
    return effect;
}

PlannedEffect PlannedEffect::TwoInputs(FactoryPtr const& factory, Edit::TimeLine const& time,
                                       Edit::PlannedLook const& look, std::uint32_t seed, Progress progress) {
    auto made = factory->CreateTwoInputEffect(look.settings->GetClassId(), Proc::ImplNames::OGL);
    // Transitions map the end of a frame, where the next one begins.
    PlannedEffect effect(time, look, *made, seed, 1, progress);
    effect.two = std::move(made);
    return effect;
}

void PlannedEffect::SetFields(Proc::IEffect& effect, std::int64_t number) {
    std::unique_ptr<Proc::Settings> const now = look->SettingsAt(number);
    if (!now) {
        return;
    }
    // The frame before is drawn with the settings of its own time: they must not change until it has been.
    if (auto* const before = dynamic_cast<Ogl::DataVideoOGL*>(last.get())) {
        before->Execute();
    }
    effect.SetSettings(*now);
    if (now->KeepsLayout()) {
        effect.Reset();
    }
}

void PlannedEffect::Process(FramePtr& frame, std::int64_t number) {
    SetFields(*one, number);
    one->Process(frame);
    if (!look->keyed.empty()) {
        last = frame;
    }
}

void PlannedEffect::Process(FramePtr& outgoing, FramePtr const& incoming, std::int64_t number) {
    SetFields(*two, number);
    two->Process(outgoing, incoming);
    if (!look->keyed.empty()) {
        last = outgoing;
    }
}

EffectChain::EffectChain(FactoryPtr effectFactory, Edit::TimeLine const& timeLine,
                         std::vector<Edit::PlannedLook> const& plannedLooks,
                         std::function<std::uint32_t(std::size_t)> seeds)
    : factory(std::move(effectFactory)),
      time(timeLine),
      looks(plannedLooks),
      seedOf(std::move(seeds)),
      effects(plannedLooks.size()) {}

bool EffectChain::Covers(std::int64_t number, bool isOnFrame) const {
    return std::any_of(looks.begin(), looks.end(), [&](Edit::PlannedLook const& look) {
        return look.isOnFrame == isOnFrame && look.Covers(number);
    });
}

void EffectChain::Process(FramePtr& frame, std::int64_t number, bool isOnFrame) {
    for (std::size_t i = 0; i < looks.size(); ++i) {
        Edit::PlannedLook const& look = looks[i];
        if (look.isOnFrame != isOnFrame) {
            continue;
        }
        if (!look.Covers(number)) {
            effects[i].reset();
            continue;
        }
        if (!effects[i]) {
            effects[i] = std::make_unique<PlannedEffect>(PlannedEffect::OneInput(factory, time, look, seedOf(i)));
        }
        effects[i]->Process(frame, number);
    }
}

void Sizer::Process(FramePtr& frame, Proc::SettingsResizer const& settings) {
    if (!effect || !settings.HasSameValues(used)) {
        // Frames that are still to be drawn keep the one that they were made with.
        effect = factory->CreateOneInputEffect(Proc::SettingsResizer::CLASS_ID, Proc::ImplNames::OGL);
        effect->SetSettings(settings);
        used = settings;
    }
    effect->Process(frame);
}

bool NeedsSizing(Conf::FrameInfo const& frame, Media::VideoTarget const& target) {
    auto const across = [](Conf::FrameInfo const& one, Conf::FrameInfo const& other) {
        return std::uint64_t{one.pixelAspectX} * other.pixelAspectY;
    };
    return frame.width != target.frame.width || frame.height != target.frame.height ||
           across(frame, target.frame) != across(target.frame, frame);
}

Proc::SettingsResizer SizeWhole(Media::VideoTarget const& target, Proc::Color const& background) {
    Proc::SettingsResizer settings = SizeTo(target.frame, Proc::SettingsResizer::Mode::Fit);
    settings.background = background;
    return settings;
}

Proc::SettingsResizer SizeInner(Conf::FrameInfo const& frame, Media::VideoTarget const& target) {
    Proc::CropInfo source{};
    Proc::CropInfo bars{};
    SizeTo(target.frame, Proc::SettingsResizer::Mode::Fit).GetROI(frame, source, bars);
    Conf::FrameInfo inner = target.frame;
    inner.width = std::max(1U, inner.width - bars.left - bars.right);
    inner.height = std::max(1U, inner.height - bars.top - bars.bottom);
    return SizeTo(inner, Proc::SettingsResizer::Mode::Stretch);
}

Proc::SettingsResizer SizeFilling(Conf::FrameInfo const& frame, Media::VideoTarget const& target, double focusX,
                                  double focusY) {
    Proc::SettingsResizer settings = SizeStretched(target);
    double const ratio = ShapeOf(target.frame) / ShapeOf(frame);
    auto const cut = [](std::uint32_t side, double kept, double focus) {
        auto const whole = static_cast<std::uint32_t>(std::lround(side * std::clamp(1.0 - kept, 0.0, 1.0)));
        std::uint32_t const all = std::min(whole, side - 1);
        double const first = focus * side - (side - all) / 2.0;
        return std::pair(static_cast<std::uint32_t>(std::lround(std::clamp(first, 0.0, static_cast<double>(all)))),
                         all);
    };
    if (ratio < 1.0) {
        auto const [first, all] = cut(frame.width, ratio, focusX);
        settings.cropLeft = first;
        settings.cropRight = all - first;
    } else {
        auto const [first, all] = cut(frame.height, 1.0 / ratio, focusY);
        settings.cropTop = first;
        settings.cropBottom = all - first;
    }
    return settings;
}

Proc::SettingsResizer SizeStretched(Media::VideoTarget const& target) {
    return SizeTo(target.frame, Proc::SettingsResizer::Mode::Stretch);
}

Downloader::Downloader(FactoryPtr const& factory, Media::VideoTarget const& target)
    : effect(factory->CreateOneInputEffect(Proc::SettingsFrameDownloader::CLASS_ID, Proc::ImplNames::OGL)),
      conformer("the effects' output", target) {
    Proc::SettingsFrameDownloader settings;
    if (target.pixFmt == PixFmt::Yuv420p) {
        settings.downloadMode = Proc::SettingsFrameDownloader::Mode::Yuv420p;
    }
    effect->SetSettings(settings);
}

Proc::AvFramePtr Downloader::Process(FramePtr frame) {
    effect->Process(frame);
    auto const* const picture = dynamic_cast<Proc::DataVideoFF const*>(frame.get());
    if (picture == nullptr) {
        Core::Throw(std::logic_error("an effect's frame did not come back from the GPU"));
    }
    Proc::AvFramePtr shared = picture->Share();
    Media::VideoTarget const& target = conformer.GetTarget();
    shared->color_trc = target.transfer;
    shared->color_primaries = target.primaries;
    if (target.pixFmt != PixFmt::Yuv420p) {
        return shared;  // the encoder makes its own form of it
    }
    bool const isYuv = PixFmtDescription::Find(picture->GetPixFmt()).IsYuv();
    if (isYuv && picture->GetColorSpec() == ColorSpec{}) {
        Proc::SetColorSpec(*shared, conformer.GetTarget().colorSpec);  // what went in
    }
    return conformer.Convert(*shared);
}

}  // namespace Kaltor::Render
