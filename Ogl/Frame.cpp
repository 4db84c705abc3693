#include "Ogl/Frame.h"

#include <array>
#include <cstring>
#include <stdexcept>
#include <vector>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Ogl/GlState.h"
#include "Ogl/Minify.h"
#include "Ogl/OglManager.h"
#include "Ogl/PixelTransfer.h"
#include "Ogl/ShaderStorage.h"
#include "Proc/Data/DataVideoFF.h"

extern "C" {
#include <libavutil/imgutils.h>
}

namespace Kaltor::Ogl {
namespace {

bool IsRgb(PixFmt format) {
    return !PixFmtDescription::Find(format).IsYuv();
}

glm::mat3 ToMat3(ColorTransform const& transform) {
    glm::mat3 result;
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 3; ++column) {
            result[column][row] =
                static_cast<float>(transform.matrix[static_cast<std::size_t>(row)][static_cast<std::size_t>(column)]);
        }
    }
    return result;
}

/// Fills the part of a picture (four bytes per pixel) beyond `width` and `height` with its last column and row.
void RepeatEdges(AVFrame& frame, std::uint32_t width, std::uint32_t height) {
    constexpr std::ptrdiff_t kPixel = 4;
    auto const row = [&frame](std::ptrdiff_t y) { return frame.data[0] + frame.linesize[0] * y; };
    for (std::ptrdiff_t y = 0; y < static_cast<std::ptrdiff_t>(height); ++y) {
        for (std::ptrdiff_t x = width; x < frame.width; ++x) {
            std::memcpy(row(y) + kPixel * x, row(y) + kPixel * (x - 1), kPixel);
        }
    }
    for (std::ptrdiff_t y = height; y < frame.height; ++y) {
        std::memcpy(row(y), row(y - 1), static_cast<std::size_t>(kPixel * frame.width));
    }
}

/// An opaque picture: `rgb` over black.
Frame Flatten(Frame const& rgb, ShaderStorage const& storage) {
    Frame flat;
    flat.Allocate(OpaqueFormat(rgb.GetPixFmt()), rgb.GetWidth(), rgb.GetHeight());
    storage.FBO().Attach(flat.GetFirstTexture());
    EnableState const blend(GL_BLEND);
    glBlendFuncSeparate(GL_SRC_ALPHA, GL_ZERO, GL_ONE, GL_ZERO);
    rgb.Draw(storage.Quad(), storage);
    return flat;
}

glm::vec3 ToVec3(std::array<double, 3> const& values) {
    return {static_cast<float>(values[0]), static_cast<float>(values[1]), static_cast<float>(values[2])};
}

}  // namespace

struct Frame::Picture {
    PixFmt format;
    std::uint32_t width;
    std::uint32_t height;
    ColorSpec colorSpec;
    std::vector<std::shared_ptr<PooledTexture const>> textures;
    /// The format is YUV, but the texture still holds RGB: the download converts.
    bool isConvertedLater = false;

    bool HoldsRgb() const { return isConvertedLater || IsRgb(format); }
    Texture const& GetTexture(std::size_t plane) const { return textures[plane]->Get(); }
};

void Frame::Allocate(PixFmt format, std::uint32_t width, std::uint32_t height) {
    PixFmtDescription const& description = PixFmtDescription::Find(format);
    bool const isBlueFirst =
        !description.IsYuv() && !description.IsFloat() && OglManager::GetInstance().GetStrategy().isBlueFirst;
    auto made = std::make_shared<Picture>(Picture{format, width, height, {}, {}});
    for (std::size_t plane = 0; plane < description.planes; ++plane) {
        PlaneLayout const layout = GetPlaneLayout(format, plane, width, height);
        made->textures.push_back(std::make_shared<PooledTexture const>(
            TextureForm{layout.width, layout.height, layout.texels, isBlueFirst}));
    }
    picture = std::move(made);
}

PixFmt Frame::GetPixFmt() const {
    return picture->format;
}
std::uint32_t Frame::GetWidth() const {
    return picture->width;
}
std::uint32_t Frame::GetHeight() const {
    return picture->height;
}
ColorSpec Frame::GetColorSpec() const {
    return picture->colorSpec;
}
void Frame::SetColorSpec(ColorSpec const& spec) {
    picture->colorSpec = spec;
}
Texture const& Frame::GetFirstTexture() const {
    return picture->GetTexture(0);
}

void Frame::Upload(boost::intrusive_ptr<Proc::IDataVideo> const& source, ShaderStorage const& storage) {
    auto const* const cpu = dynamic_cast<Proc::DataVideoFF const*>(source.get());
    bool const fits = cpu != nullptr && cpu->GetPixFmt() == picture->format &&
                      cpu->GetFrameInfo().width == picture->width && cpu->GetFrameInfo().height == picture->height;
    if (!fits) {
        Core::Throw(std::invalid_argument("only a frame in main memory of the same format and size can be uploaded"));
    }
    bool const usesPixelBuffer = OglManager::GetInstance().GetStrategy().usesPixelBuffers;
    AVFrame const& frame = cpu->GetFrame();
    for (std::size_t plane = 0; plane < picture->textures.size(); ++plane) {
        storage.Transfer().Upload(picture->GetTexture(plane),
                                  GetPlaneLayout(picture->format, plane, picture->width, picture->height),
                                  frame.data[plane], frame.linesize[plane], usesPixelBuffer);
    }
    picture->colorSpec = cpu->GetColorSpec();
}

void Frame::Download(boost::intrusive_ptr<Proc::DataVideoFF> const& target, ShaderStorage const& storage) const {
    PixFmt const format = target->GetPixFmt();
    bool const isSameKind = format == picture->format || (IsRgb(format) && IsRgb(picture->format));
    bool const fits = isSameKind && target->GetFrameInfo().width == picture->width &&
                      target->GetFrameInfo().height == picture->height;
    if (!fits) {
        Core::Throw(std::invalid_argument(fmt::format("a {}x{} frame of format {} cannot be downloaded into this one",
                                                      picture->width, picture->height,
                                                      PixFmtDescription::Find(picture->format).name)));
    }
    bool const usesPixelBuffer = OglManager::GetInstance().GetStrategy().usesPixelBuffers;
    PixelTransfer& transfer = storage.Transfer();
    auto const download = [&](PixFmt readFormat, AVFrame& frame, std::size_t plane) {
        transfer.Download(picture->GetTexture(plane), storage.FBO(),
                          GetPlaneLayout(readFormat, plane, picture->width, picture->height), frame.data[plane],
                          frame.linesize[plane], usesPixelBuffer);
    };
    if (picture->isConvertedLater) {
        constexpr int kThreads = 2;
        // With odd sides libswscale would read beyond the last column and squeeze chroma a little along the rows. So
        // the picture is converted with even sides.
        Conf::FrameInfo const info = target->GetFrameInfo();
        Conf::FrameInfo const even{info.width + info.width % 2, info.height + info.height % 2, 1, 1};
        bool const isEven = info.width == even.width && info.height == even.height;
        boost::intrusive_ptr<Proc::DataVideoFF> const rgb = Proc::DataVideoFF::Create(PixFmt::Bgrx, even);
        download(PixFmt::Bgrx, rgb->GetWritableFrame(), 0);
        RepeatEdges(rgb->GetWritableFrame(), info.width, info.height);
        boost::intrusive_ptr<Proc::DataVideoFF> const yuv =
            isEven ? target : Proc::DataVideoFF::Create(PixFmt::Yuv420p, even);
        transfer.GetConverter().Convert(rgb->GetFrame(), {}, yuv->GetWritableFrame(), picture->colorSpec, kThreads);
        if (!isEven) {
            AVFrame& to = target->GetWritableFrame();
            std::array<std::uint8_t const*, 4> from{yuv->GetFrame().data[0], yuv->GetFrame().data[1],
                                                    yuv->GetFrame().data[2], nullptr};
            av_image_copy(to.data, to.linesize, from.data(), yuv->GetFrame().linesize, AV_PIX_FMT_YUV420P, to.width,
                          to.height);
        }
    } else {
        for (std::size_t plane = 0; plane < picture->textures.size(); ++plane) {
            download(format, target->GetWritableFrame(), plane);
        }
    }
    target->SetColorSpec(picture->colorSpec);
}

Frame Frame::ConvertToRGBA(ShaderStorage const& storage) const {
    if (picture->HoldsRgb()) {
        return *this;
    }
    return DrawAsRgb(storage.FBO(), storage);
}

Frame Frame::DrawAsRgb(Surface& surface, ShaderStorage const& storage) const {
    Frame result;
    result.Allocate(kOpaqueFormat, picture->width, picture->height);
    result.SetColorSpec(picture->colorSpec);
    surface.Attach(result.GetFirstTexture());
    Draw(storage.Quad(), storage);
    return result;
}

Frame Frame::ConvertToYUV420(ShaderStorage const& storage) const {
    if (picture->format == PixFmt::Yuv420p) {
        return *this;
    }
    ColorSpec const spec = picture->colorSpec.Resolved(picture->height);
    Frame rgb = ConvertToRGBA(storage);
    if (PixFmtDescription::Find(rgb.GetPixFmt()).HasAlpha()) {
        // Done before chroma is averaged: colours under transparent pixels must not bleed.
        rgb = Flatten(rgb, storage);
    }
    if (OglManager::GetInstance().GetStrategy().convertsOnCpu) {
        Frame result;
        result.picture = std::make_shared<Picture>(
            Picture{PixFmt::Yuv420p, picture->width, picture->height, spec, rgb.picture->textures, true});
        return result;
    }

    Frame result;
    result.Allocate(PixFmt::Yuv420p, picture->width, picture->height);
    result.SetColorSpec(spec);
    ColorTransform const transform = RgbToYuv(spec);
    Shader const& shader = storage.Rgb2Yuv();
    shader.Use();
    shader.Uniform("tex", 0);
    auto const width = static_cast<float>(picture->width);
    auto const height = static_cast<float>(picture->height);
    for (std::size_t plane = 0; plane < 3; ++plane) {
        Texture const& target = result.picture->GetTexture(plane);
        bool const isChroma = plane != 0;
        // A chroma sample stands on luma column 2 i and between the rows 2 j and 2 j + 1, counted from the top.
        float const scaleX = isChroma ? 2.0F * static_cast<float>(target.GetForm().width) / width : 1.0F;
        float const scaleY = isChroma ? 2.0F * static_cast<float>(target.GetForm().height) / height : 1.0F;
        shader.Uniform("place", scaleX, scaleY, isChroma ? -0.5F / width : 0.0F, 1.0F - scaleY);
        shader.Uniform("spread", isChroma ? 0.5F / width : 0.0F);
        std::array<double, 3> const& row = transform.matrix[plane];
        shader.Uniform("row", ToVec3(row));
        shader.Uniform("offset", transform.offset[plane]);
        storage.FBO().Attach(target);
        rgb.GetFirstTexture().Use(0);
        storage.Quad().Activate();
        storage.Quad().Draw();
    }
    return result;
}

void Frame::Draw(Mesh const& mesh, ShaderStorage const& storage) const {
    bool isExact = false;
    if (Mesh::Corners const* const corners = mesh.GetCorners()) {
        std::array<GLint, 4> viewport{};
        glGetIntegerv(GL_VIEWPORT, viewport.data());
        Footprint const footprint(*corners, picture->width, picture->height, viewport);
        bool const isOpaque = !PixFmtDescription::Find(picture->format).HasAlpha();
        if (footprint.isMinified && !(footprint.isLinear && isOpaque)) {
            Frame rgb = *this;
            if (!picture->HoldsRgb()) {
                Interlude const interlude;
                rgb = DrawAsRgb(storage.Aside(), storage);
            }
            DrawMean(rgb.GetFirstTexture(), footprint, mesh, storage);
            return;
        }
        isExact = footprint.isExact;
    }
    if (picture->HoldsRgb()) {
        Shader const& shader = storage.Copy();
        shader.Use();
        shader.Uniform("tex", 0);
        picture->GetTexture(0).Use(0, isExact ? TextureFilter::Nearest : TextureFilter::Linear);
        mesh.Activate();
        mesh.Draw();
        return;
    }
    PixFmtDescription const& description = PixFmtDescription::Find(picture->format);
    ColorTransform transform = YuvToRgb(picture->colorSpec.Resolved(picture->height), description.bits);
    // Samples of more than 8 bits lie in the lower bits of 16.
    constexpr unsigned kByte = 8;
    if (description.bits > kByte) {
        double const scale = 65535.0 / static_cast<double>((1U << description.bits) - 1U);
        for (std::array<double, 3>& row : transform.matrix) {
            for (double& entry : row) {
                entry *= scale;
            }
        }
    }
    Shader const& shader = storage.Yuv2Rgb(picture->format);
    shader.Use();
    static constexpr std::array kSamplers{"tex0", "tex1", "tex2"};
    for (std::size_t plane = 0; plane < picture->textures.size(); ++plane) {
        shader.Uniform(kSamplers[plane], static_cast<int>(plane));
    }
    shader.Uniform("matrix", ToMat3(transform));
    shader.Uniform("offset", ToVec3(transform.offset));
    if (picture->textures.size() == 1) {
        constexpr float kNeutral = 128.0F / 255.0F;
        shader.Uniform("neutral", kNeutral);
    } else {
        TextureForm const& chroma = picture->GetTexture(1).GetForm();
        auto const chromaWidth = static_cast<float>(chroma.width);
        // As in ConvertToYUV420, the other way; chroma that is not halved stands on its luma sample.
        bool const isHalvedX = description.chromaXLog2 != 0;
        float const stepX = isHalvedX ? 2.0F : 1.0F;
        float const stepY = description.chromaYLog2 != 0 ? 2.0F : 1.0F;
        float const scaleX = static_cast<float>(picture->width) / (stepX * chromaWidth);
        float const scaleY = static_cast<float>(picture->height) / (stepY * static_cast<float>(chroma.height));
        shader.Uniform("chroma", scaleX, scaleY, isHalvedX ? 0.25F / chromaWidth : 0.0F, 1.0F - scaleY);
    }
    for (std::size_t plane = 0; plane < picture->textures.size(); ++plane) {
        picture->GetTexture(plane).Use(static_cast<int>(plane));
    }
    mesh.Activate();
    mesh.Draw();
}

}  // namespace Kaltor::Ogl
