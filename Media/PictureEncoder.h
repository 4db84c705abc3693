#pragma once

#include "Media/Conformer.h"
#include "Media/EncodedStream.h"
#include "Media/HardwareFrames.h"
#include "Media/MediaWriter.h"

namespace Kaltor::Media {

/// Takes pictures of one form into an encoder, converted where it has no such form.
class PictureEncoder {
public:
    /// Throws `std::invalid_argument` for options that are not valid, and `MediaError`.
    PictureEncoder(WriterOptions const& options, AVCodec const& encoder, AVFormatContext& file);

    /// What the encoder gets.
    VideoTarget const& GetForm() const { return form; }
    void Write(AVFrame const& picture);
    void Finish() { stream.Write(nullptr); }

private:
    static VideoTarget ChooseForm(WriterOptions const& options, AVCodec const& encoder);
    CodecContextPtr SetUp(WriterOptions const& options, AVCodec const& encoder);
    void BuildPaletteGraph();
    Proc::AvFramePtr ToPalette(AVFrame const& picture);

    std::string name;
    VideoTarget form;
    Conformer conformer;
    std::optional<HardwareFrames> hardware;
    EncodedStream stream;
    std::int64_t number = 0;
    FilterGraphPtr paletteGraph;
    AVFilterContext* paletteInput = nullptr;
    AVFilterContext* paletteOutput = nullptr;
};

}  // namespace Kaltor::Media
