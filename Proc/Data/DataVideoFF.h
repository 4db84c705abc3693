#pragma once

#include "Proc/Data/AvFrame.h"
#include "Proc/Interfaces/IData.h"

namespace Kaltor::Proc {

/// A video frame in main memory, held as a frame of FFmpeg; the top row comes first.
class DataVideoFF final : public DataVideoBase<IDataVideo> {
public:
    /// A frame with buffers of its own, whose content is undefined.
    static boost::intrusive_ptr<DataVideoFF> Create(PixFmt format, Conf::FrameInfo const& info);
    /// Takes over a picture with its format, size, pixel aspect and colour tags. The timestamp and duration are not
    /// read from it. Throws `std::invalid_argument` for pixel formats outside `PixFmt`.
    static boost::intrusive_ptr<DataVideoFF> Wrap(AvFramePtr frame);

    AVFrame const& GetFrame() const { return *frame; }
    /// For writing the samples of a frame that has no other reference.
    AVFrame& GetWritableFrame() { return *frame; }
    /// Refers to the samples of a picture of the same format and size instead of its own, which are then not to be
    /// written to.
    void ShareSamples(DataVideoFF const& source);
    /// A new reference to the picture, tagged as this frame is.
    AvFramePtr Share() const;

private:
    DataVideoFF(PixFmt format, Conf::FrameInfo const& info, AvFramePtr picture)
        : DataVideoBase(format, info), frame(std::move(picture)) {}

    AvFramePtr frame;
};

}  // namespace Kaltor::Proc
