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
    PictureEncoder(WriterOptions const& options, AVCodec const& encoder, AVFormatContext& file, PacketSink sink = {});

    /// The form in which the encoder gets the pictures.
    static VideoTarget ChooseForm(WriterOptions const& options, AVCodec const& encoder);

    /// What the encoder gets.
    VideoTarget const& GetForm() const { return form; }
    /// FFmpeg's name for the pictures' format, in main memory.
    std::string GetPixelFormat() const;
    void Write(AVFrame const& picture);
    void Finish();

private:
    /// `isPicture`: each picture is a file of its own.
    CodecContextPtr SetUp(WriterOptions const& options, bool isPicture);
    void WriteAvif(AVFrame const& picture) const;
    void TryAvif() const;
    void BuildPaletteGraph();
    Proc::AvFramePtr ToPalette(AVFrame const& picture);

    std::string name;
    VideoTarget form;
    Conformer conformer;
    std::optional<HardwareFrames> hardware;
    std::optional<EncodedStream> stream;  ///< none for AVIF pictures, of which each is encoded on its own
    AVCodec const& encoder;
    EncoderSettings settings;
    PacketSink pictureSink;
    std::int64_t number = 0;
    FilterGraphPtr paletteGraph;
    AVFilterContext* paletteInput = nullptr;
    AVFilterContext* paletteOutput = nullptr;
};

}  // namespace Kaltor::Media
