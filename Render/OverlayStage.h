#pragma once

#include <memory>
#include <optional>

#include "Edit/Plan.h"
#include "Edit/Titles/TitlePainter.h"
#include "Render/ClipFeed.h"
#include "Render/EffectStage.h"
#include "Render/Layers.h"
#include "Render/Matte.h"

namespace Kaltor::Render {

/// Titles as layers: each picture comes to the GPU once.
class TitleLayers {
public:
    explicit TitleLayers(LayerPainter const& layerPainter) : painter(layerPainter) {}
    /// The layer of a title's picture at its place on the frame.
    Layer Make(Edit::TitlePicture const& title);

private:
    LayerPainter const& painter;
    boost::intrusive_ptr<Proc::DataVideoFF> last;
    boost::intrusive_ptr<Ogl::DataVideoOGL> uploaded;
};

/// Makes the layers of one overlay, frame by frame.
class OverlayStage {
public:
    struct Seeds {
        std::function<std::uint32_t(std::size_t)> ofEffect;
        std::uint32_t ofEnter = 0;
        std::uint32_t ofLeave = 0;
    };

    /// Its first frame will be `first`. What is given by reference must outlive it.
    OverlayStage(Edit::PlannedOverlay const& overlay, Edit::Plan const& plan, FactoryPtr const& factory,
                 LayerPainter const& painter, Seeds seeds, std::int64_t first, Pipeline& pipeline);

    /// The layer on a frame; empty where nothing shows. `isStopped` becomes true where the pipeline was stopped.
    std::optional<Layer> Make(std::int64_t number, bool& isStopped);

private:
    boost::intrusive_ptr<Ogl::DataVideoOGL> TakePicture(std::int64_t number, bool& isStopped);
    void Place(Layer& layer, Conf::FrameInfo const& picture, double seconds) const;
    /// A picture that stands is made smaller once, not for each frame.
    void KeepSmall(Layer& layer);
    void DrawEdges(FramePtr& frame, std::int64_t number);
    double FadeAt(std::int64_t number) const;

    Edit::PlannedOverlay const& overlay;
    Edit::Plan const& plan;
    FactoryPtr factory;
    LayerPainter const& painter;
    Seeds seeds;
    Media::VideoTarget target;
    std::optional<ClipFeed> feed;
    std::optional<Edit::TitlePainter> title;
    TitleLayers titleLayers;
    EffectChain effects;
    std::optional<Matte> enter;
    std::optional<Matte> leave;
    Proc::AvFramePtr lastPicture;
    boost::intrusive_ptr<Ogl::DataVideoOGL> lastUpload;
    Sizer sizer;
    boost::intrusive_ptr<Ogl::DataVideoOGL> smallOf;  ///< what `small` was made of
    boost::intrusive_ptr<Ogl::DataVideoOGL> small;
};

}  // namespace Kaltor::Render
