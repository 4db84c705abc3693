#pragma once

#include <memory>
#include <vector>

#include "Edit/Document.h"
#include "Media/Conformer.h"
#include "Ogl/DataVideoOGL.h"
#include "Proc/Interfaces/IEffectFactory.h"

namespace Kaltor::Render {

/// A picture that is laid over a frame.
struct Layer {
    /// On the GPU, RGB, with straight alpha where it has alpha.
    boost::intrusive_ptr<Ogl::DataVideoOGL> picture;
    /// The part of the picture that is shown: shares of its sides, from its upper left corner.
    double cropLeft = 0.0, cropTop = 0.0, cropRight = 0.0, cropBottom = 0.0;
    /// Middle and size of what is shown, before it is turned: pixels of the frame, from its upper left corner.
    double x = 0.0, y = 0.0, width = 0.0, height = 0.0;
    double rotation = 0.0;  ///< degrees clockwise about the middle
    double radius = 0.0;    ///< of the corners, pixels
    double opacity = 1.0;
    Edit::Overlay::Blend blend = Edit::Overlay::Blend::Normal;
};

/// Lays pictures over a frame, the later one above the earlier. Edges are smooth wherever they do not lie between two
/// pixels; a layer that lies on the frame's pixels unturned and at its own size is exact. A picture that is made
/// smaller is the mean of what each pixel covers.
///
/// Blend modes, for base b, layer s and the layer's alpha a: normal s; add b + s; multiply b s; screen b + s - b s;
/// overlay 2 b s where b <= 1/2 and 1 - 2 (1 - b) (1 - s) elsewhere (W3C, "Compositing and Blending Level 1"); each
/// mixed in by a.
class LayerPainter {
public:
    /// `target`: the form of the frames.
    LayerPainter(boost::intrusive_ptr<Proc::IEffectFactory const> const& factory, Media::VideoTarget const& target);
    ~LayerPainter();

    /// A frame in main memory that has the colours of SDR, such as a title, in those of the video; others stay as they
    /// are.
    boost::intrusive_ptr<Proc::IDataVideo> Conform(boost::intrusive_ptr<Proc::IDataVideo> frame) const;
    /// The same on the GPU.
    boost::intrusive_ptr<Ogl::DataVideoOGL> Upload(boost::intrusive_ptr<Proc::IDataVideo> frame) const;
    /// Replaces `frame` by one with the layers over it, which is drawn later.
    void Process(boost::intrusive_ptr<Proc::IDataVideo>& frame, std::vector<Layer> layers) const;

private:
    boost::intrusive_ptr<Proc::IOneInputEffectVideo> uploader;
    boost::intrusive_ptr<Ogl::TaskTimer> timer;
    std::unique_ptr<Media::Conformer> conformer;  ///< null where pictures have the video's colours
};

}  // namespace Kaltor::Render
