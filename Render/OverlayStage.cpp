#include "Render/OverlayStage.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "Proc/Settings/SettingsBlendTransitions.h"

namespace Kaltor::Render {
namespace {

using Edit::Overlay;
using Edit::PlannedOverlay;

/// Where an anchor lies: shares of width and height.
std::pair<double, double> PlaceOf(Overlay::Anchor anchor) {
    auto const number = static_cast<int>(anchor);
    constexpr double kHalf = 0.5;
    return {kHalf * (number % 3), kHalf * (number / 3)};
}

/// Overlays keep their own size and their alpha.
Media::VideoTarget MakeTarget(Media::VideoTarget const& output) {
    Media::VideoTarget target = output;
    target.pixFmt = AlphaFormat(output.pixFmt);
    target.keepsSize = true;
    return target;
}

/// A cross-fade from or to nothing is the opacity, which costs less.
bool IsFade(Edit::PlannedLook const& look) {
    return look.settings->GetClassId() == Proc::SettingsTransitionCrossfade::CLASS_ID;
}

/// Whether a transition has to be drawn on a frame.
bool IsDrawn(std::optional<Edit::PlannedLook> const& look, std::int64_t number) {
    return look && look->Covers(number) && !IsFade(*look);
}

bool IsSamePicture(AVFrame const& a, AVFrame const& b) {
    return a.data[0] == b.data[0] && a.width == b.width && a.height == b.height;
}

}  // namespace

Layer TitleLayers::Make(Edit::TitlePicture const& title) {
    if (title.picture != last) {
        last = title.picture;
        uploaded = painter.Upload(title.picture);
    }
    Conf::FrameInfo const& info = title.picture->GetFrameInfo();
    Layer layer;
    layer.picture = uploaded;
    layer.width = info.width;
    layer.height = info.height;
    layer.x = title.x + layer.width / 2.0;
    layer.y = title.y + layer.height / 2.0;
    layer.opacity = title.opacity;
    return layer;
}

OverlayStage::OverlayStage(PlannedOverlay const& planned, Edit::Plan const& wholePlan, FactoryPtr const& effectFactory,
                           LayerPainter const& layerPainter, Seeds placeSeeds, std::int64_t first, Pipeline& pipeline)
    : overlay(planned),
      plan(wholePlan),
      factory(effectFactory),
      painter(layerPainter),
      seeds(std::move(placeSeeds)),
      target(MakeTarget(wholePlan.target)),
      titleLayers(layerPainter),
      effects(effectFactory, wholePlan.time, planned.effects, seeds.ofEffect),
      sizer(effectFactory) {
    if (overlay.title) {
        title.emplace(*overlay.title, plan.target.frame.width, plan.target.frame.height,
                      [&pipeline](std::string const& message) { pipeline.Warn(message); });
    } else {
        feed.emplace(overlay.feed, target, first - overlay.first, overlay.GetEnd() - first, pipeline);
    }
}

double OverlayStage::FadeAt(std::int64_t number) const {
    auto const progress = [number](Edit::PlannedLook const& look, int lead) {
        return look.ProgressAt(static_cast<double>(number - look.first + lead) / static_cast<double>(look.frames));
    };
    double opacity = 1.0;
    if (overlay.enter && overlay.enter->Covers(number) && IsFade(*overlay.enter)) {
        opacity *= std::clamp(progress(*overlay.enter, 0), 0.0, 1.0);
    }
    if (overlay.leave && overlay.leave->Covers(number) && IsFade(*overlay.leave)) {
        opacity *= 1.0 - std::clamp(progress(*overlay.leave, 1), 0.0, 1.0);
    }
    return opacity;
}

boost::intrusive_ptr<Ogl::DataVideoOGL> OverlayStage::TakePicture(std::int64_t number, bool& isStopped) {
    Proc::AvFramePtr picture = feed->Next();
    if (!picture) {
        isStopped = true;
        return nullptr;
    }
    bool const isChanged = effects.Covers(number) || IsDrawn(overlay.enter, number) || IsDrawn(overlay.leave, number);
    if (!isChanged && lastPicture && lastUpload && IsSamePicture(*lastPicture, *picture)) {
        return lastUpload;
    }
    lastPicture = Proc::ShareAvFrame(*picture);
    FramePtr frame = MakeFrame(std::move(picture), plan.time, number);
    lastUpload.reset();
    if (!isChanged) {
        lastUpload = painter.Upload(std::move(frame));
        return lastUpload;
    }
    effects.Process(frame, number, false);
    effects.Process(frame, number, true);
    DrawEdges(frame, number);
    return painter.Upload(std::move(frame));
}

void OverlayStage::DrawEdges(FramePtr& frame, std::int64_t number) {
    auto const draw = [&](std::optional<Edit::PlannedLook> const& look, std::optional<Matte>& matte, std::uint32_t seed,
                          bool isEntry) {
        if (IsDrawn(look, number)) {
            if (!matte) {
                matte.emplace(factory, plan.time, *look, seed, isEntry, painter);
            }
            matte->Process(frame, number);
        }
    };
    draw(overlay.enter, enter, seeds.ofEnter, true);
    draw(overlay.leave, leave, seeds.ofLeave, false);
}

void OverlayStage::Place(Layer& layer, Conf::FrameInfo const& picture, double seconds) const {
    Conf::FrameInfo const& frame = plan.target.frame;
    layer.cropLeft = overlay.cropLeft;
    layer.cropTop = overlay.cropTop;
    layer.cropRight = overlay.cropRight;
    layer.cropBottom = overlay.cropBottom;
    auto const aspect = [](Conf::FrameInfo const& info) {
        return static_cast<double>(std::max(info.pixelAspectX, 1U)) / std::max(info.pixelAspectY, 1U);
    };
    // In pixels of the frame, whose pixels may have another shape.
    double width = picture.width * (1.0 - layer.cropLeft - layer.cropRight) * aspect(picture) / aspect(frame);
    double height = picture.height * (1.0 - layer.cropTop - layer.cropBottom);
    double const shape = width / height;
    if (overlay.width || overlay.height) {
        std::optional<double> const w =
            overlay.width ? std::optional(overlay.width->Resolve(frame.width)) : std::nullopt;
        std::optional<double> const h =
            overlay.height ? std::optional(overlay.height->Resolve(frame.height)) : std::nullopt;
        width = w.value_or(h.value_or(0.0) * shape);
        height = h.value_or(width / shape);
    }
    double const scale = std::max(0.0, overlay.scale.At(seconds));
    layer.width = width * scale;
    layer.height = height * scale;
    auto const [alongX, alongY] = PlaceOf(overlay.anchor);
    double const unitX = overlay.isInPixels ? 1.0 : frame.width;
    double const unitY = overlay.isInPixels ? 1.0 : frame.height;
    layer.x = alongX * frame.width + (0.5 - alongX) * layer.width + overlay.x.At(seconds) * unitX;
    layer.y = alongY * frame.height + (0.5 - alongY) * layer.height + overlay.y.At(seconds) * unitY;
}

void OverlayStage::KeepSmall(Layer& layer) {
    Conf::FrameInfo const& info = layer.picture->GetFrameInfo();
    auto const shown = [](double size, double first, double last, std::uint32_t whole) {
        return static_cast<std::uint32_t>(
            std::clamp(std::ceil(size / (1.0 - first - last)), 1.0, static_cast<double>(whole)));
    };
    Proc::SettingsResizer size;
    size.width = shown(layer.width, layer.cropLeft, layer.cropRight, info.width);
    size.height = shown(layer.height, layer.cropTop, layer.cropBottom, info.height);
    size.pixelAspectX = size.pixelAspectY = 1;
    if (size.width == info.width && size.height == info.height) {
        return;
    }
    bool const isKnown = small && smallOf == layer.picture && small->GetFrameInfo().width == size.width &&
                         small->GetFrameInfo().height == size.height;
    if (!isKnown) {
        smallOf = layer.picture;
        FramePtr frame = layer.picture;
        sizer.Process(frame, size);
        small = painter.Upload(std::move(frame));
    }
    layer.picture = small;
}

std::optional<Layer> OverlayStage::Make(std::int64_t number, bool& isStopped) {
    double const seconds = plan.time.SecondsOf(number - overlay.first);
    Layer layer;
    if (title) {
        std::optional<Edit::TitlePicture> const picture = title->At(seconds, plan.time.SecondsOf(overlay.frames));
        if (!picture) {
            return std::nullopt;
        }
        layer = titleLayers.Make(*picture);
        double const scale = std::max(0.0, overlay.scale.At(seconds));
        layer.width *= scale;
        layer.height *= scale;
        layer.x += overlay.x.At(seconds) * (overlay.isInPixels ? 1.0 : plan.target.frame.width);
        layer.y += overlay.y.At(seconds) * (overlay.isInPixels ? 1.0 : plan.target.frame.height);
        FramePtr frame = layer.picture;
        if (effects.Covers(number) || IsDrawn(overlay.enter, number) || IsDrawn(overlay.leave, number)) {
            frame = painter.Conform(MakeFrame(picture->picture->Share(), plan.time, number));
            effects.Process(frame, number, false);
            effects.Process(frame, number, true);
            DrawEdges(frame, number);
            layer.picture = painter.Upload(std::move(frame));
        }
    } else {
        layer.picture = TakePicture(number, isStopped);
        if (!layer.picture) {
            return std::nullopt;
        }
        Place(layer, layer.picture->GetFrameInfo(), seconds);
        if (overlay.feed.info.isStill && layer.picture == lastUpload) {
            KeepSmall(layer);
        }
    }
    layer.opacity *= std::clamp(overlay.opacity.At(seconds), 0.0, 1.0) * FadeAt(number);
    layer.rotation = overlay.rotation.At(seconds);
    layer.radius = overlay.radius.Resolve(std::min(layer.width, layer.height));
    layer.blend = overlay.blend;
    return layer;
}

}  // namespace Kaltor::Render
