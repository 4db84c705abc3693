#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include <boost/intrusive_ptr.hpp>

#include "Conf/PixFmt.h"
#include "Ogl/Mesh.h"
#include "Ogl/Texture.h"

namespace Kaltor::Proc {
class DataVideoFF;
class IDataVideo;
}  // namespace Kaltor::Proc

namespace Kaltor::Ogl {

class PlanarPicture;
class ShaderStorage;
class Surface;

/// A picture on the GPU: a reference to its textures, cheap to copy. The textures go back to the manager's pool with
/// the last reference. The picture stands upright: its top row is at t = 1. GL thread only, except for copies and the
/// destructor.
class Frame {
public:
    /// A frame without a picture.
    Frame() = default;
    static Frame Create() { return {}; }

    /// Makes room for a picture, transparent black (opaque black without alpha) until it is drawn. Throws
    /// `std::runtime_error` for sizes beyond the GL's limit.
    void Allocate(PixFmt format, std::uint32_t width, std::uint32_t height);
    /// The same for planar 4:2:0 of 8 bits that stays in main memory: it takes up a CPU frame without a copy, and
    /// becomes a texture where a program needs one.
    void AllocateInMemory(std::uint32_t width, std::uint32_t height);
    /// The same for a picture without alpha that will be drawn by `Frame::Draw` alone, on planes with these tags, from
    /// pictures that lie on such planes.
    void AllocateOnPlanes(std::uint32_t width, std::uint32_t height, ColorSpec const& spec);
    /// The same for an opaque picture that the processor's own threads write as R'G'B' (`PixFmt::Bgrx`), which becomes
    /// a texture where a program needs one. `spec`: the tags for a conversion to YUV.
    void AllocateRgbInMemory(std::uint32_t width, std::uint32_t height, ColorSpec const& spec);
    /// Whether the picture lies on planes in main memory.
    bool IsOnPlanes() const;
    bool IsValid() const { return picture != nullptr; }

    /// The samples of a picture on planes, as they are now.
    boost::intrusive_ptr<Proc::DataVideoFF const> GetPlanes() const;
    /// Makes a picture on planes this one, of the same size, which must stay as it is.
    void ShowPlanes(boost::intrusive_ptr<Proc::DataVideoFF const> const& samples) const;
    /// The R'G'B' picture in main memory, to be written before anything reads the frame; else null.
    Proc::DataVideoFF* GetRgbInMemory() const;

    PixFmt GetPixFmt() const;
    std::uint32_t GetWidth() const;
    std::uint32_t GetHeight() const;
    /// The tags of YUV samples. On RGB: the tags for a conversion to YUV.
    ColorSpec GetColorSpec() const;
    void SetColorSpec(ColorSpec const& spec);

    /// Fills the frame with a CPU frame of its own format and size.
    void Upload(boost::intrusive_ptr<Proc::IDataVideo> const& source, ShaderStorage const& storage);
    /// Fills and tags a CPU frame of the same size: an RGB one from an RGB frame, a YUV one from a frame of the same
    /// format. Blocks until the GL has drawn the frame.
    void Download(boost::intrusive_ptr<Proc::DataVideoFF> const& target, ShaderStorage const& storage) const;

    /// The same picture as one RGBA texture; the frame itself if it is one already.
    Frame ConvertToRGBA(ShaderStorage const& storage) const;
    /// The same picture in planar 4:2:0, with the frame's colour tags (resolved as is usual); transparent parts are
    /// laid over black. Where conversions run on the processor, the conversion happens during the download.
    Frame ConvertToYUV420(ShaderStorage const& storage) const;

    /// The texture of an RGB frame, the luma plane of a YUV one. Throws `std::logic_error` where the picture lies on
    /// planes in main memory.
    Texture const& GetFirstTexture() const;
    /// Makes the frame the target of `surface`: its first texture, or its planes.
    void AttachTo(Surface& surface) const;
    /// Makes all of a frame without alpha one colour (R'G'B', 0 to 1) and attaches it.
    void Fill(std::array<double, 3> const& color, Surface& surface) const;
    /// Draws the picture, whatever its format, through `mesh` of (s, t, x, y) into the attached target, under the
    /// current blend state. With a quad whose corners are known, the result is exact to the byte where texels and
    /// pixels coincide; where the picture is made smaller, each pixel is the mean of the texels that it covers.
    void Draw(Mesh const& mesh, ShaderStorage const& storage) const;

private:
    struct Picture;
    Frame DrawAsRgb(Surface& surface, ShaderStorage const& storage) const;
    Frame UploadAsRgb(ShaderStorage const& storage) const;
    void DownloadFromMemory(boost::intrusive_ptr<Proc::DataVideoFF> const& target, ShaderStorage const& storage) const;

    std::shared_ptr<Picture> picture;
};

}  // namespace Kaltor::Ogl
