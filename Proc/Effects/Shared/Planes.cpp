#include "Proc/Effects/Shared/Planes.h"

namespace Kaltor::Ogl {

bool IsOnPlanes(DataVideoOGL& target) {
    return target.FrameData().IsOnPlanes();
}

Planes ToPlanes(Proc::DataVideoFF const& picture) {
    AVFrame const& frame = picture.GetFrame();
    int const width = frame.width;
    int const height = frame.height;
    return {Samples{frame.data[0], frame.linesize[0], width, height, 1},
            Samples{frame.data[1], frame.linesize[1], (width + 1) / 2, (height + 1) / 2, 1},
            Samples{frame.data[2], frame.linesize[2], (width + 1) / 2, (height + 1) / 2, 1}};
}

boost::intrusive_ptr<Proc::DataVideoFF> MakePlanes(Frame const& frame) {
    boost::intrusive_ptr<Proc::DataVideoFF> made =
        Proc::DataVideoFF::Create(PixFmt::Yuv420p, {frame.GetWidth(), frame.GetHeight(), 1, 1});
    made->SetColorSpec(frame.GetColorSpec());
    return made;
}

PlaneSource::PlaneSource(DataVideoOGL& frame) : picture(frame.FrameData().GetPlanes()), planes(ToPlanes(*picture)) {}

}  // namespace Kaltor::Ogl
