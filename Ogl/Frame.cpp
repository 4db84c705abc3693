#include "Ogl/Frame.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>
#include <vector>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Ogl/GlState.h"
#include "Ogl/Minify.h"
#include "Ogl/OglManager.h"
#include "Ogl/PixelTransfer.h"
#include "Ogl/PlanarPicture.h"
#include "Ogl/ShaderStorage.h"
#include "Proc/Data/DataVideoFF.h"
#include "Proc/Data/RgbToYuv.h"
#include "Proc/Data/YuvToRgb.h"

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

/// The present state of the GL's blending, which `Frame::Draw` heeds.
PlaneBlend ReadBlend() {
    using Kind = PlaneBlend::Kind;
    if (glIsEnabled(GL_BLEND) == GL_FALSE) {
        return {};
    }
    std::array<GLint, 2> factors{};
    glGetIntegerv(GL_BLEND_SRC_RGB, &factors[0]);
    glGetIntegerv(GL_BLEND_DST_RGB, &factors[1]);
    std::array<GLfloat, 4> color{};
    glGetFloatv(GL_BLEND_COLOR, color.data());
    double const alpha = std::isnan(color[3]) ? 0.0 : std::clamp(double{color[3]}, 0.0, 1.0);
    if (factors == std::array<GLint, 2>{GL_CONSTANT_ALPHA, GL_ONE_MINUS_CONSTANT_ALPHA}) {
        return {Kind::Mix, alpha};
    }
    if (factors == std::array<GLint, 2>{GL_ONE_MINUS_CONSTANT_ALPHA, GL_CONSTANT_ALPHA}) {
        return {Kind::Mix, 1.0 - alpha};
    }
    if (factors == std::array<GLint, 2>{GL_CONSTANT_ALPHA, GL_ZERO}) {
        return {Kind::FromBlack, alpha};
    }
    if (factors == std::array<GLint, 2>{GL_ZERO, GL_ONE_MINUS_SRC_COLOR}) {
        return {Kind::Inverse, 1.0};
    }
    Core::Throw(std::logic_error("there is no such blending on planes"));
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
    /// Instead of textures, where the picture lies in main memory; null until it is uploaded.
    std::shared_ptr<PlanarPicture> planes{};
    /// Or this one, of R'G'B'.
    boost::intrusive_ptr<Proc::DataVideoFF> memory{};
    bool isInMemory = false;
    Frame rgb{};  ///< the same as a texture, once it was needed

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

void Frame::AllocateInMemory(std::uint32_t width, std::uint32_t height) {
    auto made = std::make_shared<Picture>(Picture{PixFmt::Yuv420p, width, height, {}, {}});
    made->isInMemory = true;
    picture = std::move(made);
}

void Frame::AllocateOnPlanes(std::uint32_t width, std::uint32_t height, ColorSpec const& spec) {
    auto made = std::make_shared<Picture>(Picture{kOpaqueFormat, width, height, spec, {}});
    made->isInMemory = true;
    made->planes = std::make_shared<PlanarPicture>(width, height, spec);
    picture = std::move(made);
}

void Frame::AllocateRgbInMemory(std::uint32_t width, std::uint32_t height, ColorSpec const& spec) {
    auto made = std::make_shared<Picture>(Picture{kOpaqueFormat, width, height, spec, {}});
    made->isInMemory = true;
    made->memory = Proc::DataVideoFF::Create(PixFmt::Bgrx, {width, height, 1, 1});
    picture = std::move(made);
}

bool Frame::IsOnPlanes() const {
    return picture->planes != nullptr;
}

boost::intrusive_ptr<Proc::DataVideoFF const> Frame::GetPlanes() const {
    if (!IsOnPlanes()) {
        Core::Throw(std::logic_error("the picture does not lie on planes"));
    }
    return picture->planes->Get();
}

void Frame::ShowPlanes(boost::intrusive_ptr<Proc::DataVideoFF const> const& samples) const {
    if (!IsOnPlanes()) {
        Core::Throw(std::logic_error("the picture does not lie on planes"));
    }
    picture->planes->Show(samples);
}

Proc::DataVideoFF* Frame::GetRgbInMemory() const {
    return picture->memory.get();
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
    if (picture->isInMemory) {
        Core::Throw(std::logic_error("a picture in main memory has no texture"));
    }
    return picture->GetTexture(0);
}

void Frame::AttachTo(Surface& surface) const {
    if (picture->isInMemory) {
        surface.Attach(picture->planes);
    } else {
        surface.Attach(GetFirstTexture());
    }
}

void Frame::Fill(std::array<double, 3> const& color, Surface& surface) const {
    AttachTo(surface);
    if (picture->isInMemory) {
        picture->planes->Fill(color);
        return;
    }
    glClearColor(static_cast<float>(color[0]), static_cast<float>(color[1]), static_cast<float>(color[2]), 1.0F);
    glClear(GL_COLOR_BUFFER_BIT);
}

void Frame::Upload(boost::intrusive_ptr<Proc::IDataVideo> const& source, ShaderStorage const& storage) {
    auto const* const cpu = dynamic_cast<Proc::DataVideoFF const*>(source.get());
    bool const fits = cpu != nullptr && cpu->GetPixFmt() == picture->format &&
                      cpu->GetFrameInfo().width == picture->width && cpu->GetFrameInfo().height == picture->height;
    if (!fits) {
        Core::Throw(std::invalid_argument("only a frame in main memory of the same format and size can be uploaded"));
    }
    picture->colorSpec = cpu->GetColorSpec();
    if (picture->isInMemory) {
        picture->planes = std::make_shared<PlanarPicture>(boost::intrusive_ptr<Proc::DataVideoFF const>(cpu));
        picture->rgb = Frame();
        return;
    }
    bool const usesPixelBuffer = OglManager::GetInstance().GetStrategy().usesPixelBuffers;
    AVFrame const& frame = cpu->GetFrame();
    for (std::size_t plane = 0; plane < picture->textures.size(); ++plane) {
        storage.Transfer().Upload(picture->GetTexture(plane),
                                  GetPlaneLayout(picture->format, plane, picture->width, picture->height),
                                  frame.data[plane], frame.linesize[plane], usesPixelBuffer);
    }
}

void Frame::Download(boost::intrusive_ptr<Proc::DataVideoFF> const& target, ShaderStorage const& storage) const {
    PixFmt const format = target->GetPixFmt();
    bool const isSameKind = format == picture->format || (IsRgb(format) && IsRgb(picture->format)) ||
                            (picture->isInMemory && format == PixFmt::Yuv420p);
    bool const fits = isSameKind && target->GetFrameInfo().width == picture->width &&
                      target->GetFrameInfo().height == picture->height;
    if (!fits) {
        Core::Throw(std::invalid_argument(fmt::format("a {}x{} frame of format {} cannot be downloaded into this one",
                                                      picture->width, picture->height,
                                                      PixFmtDescription::Find(picture->format).name)));
    }
    if (picture->isInMemory) {
        DownloadFromMemory(target, storage);
        return;
    }
    bool const usesPixelBuffer = OglManager::GetInstance().GetStrategy().usesPixelBuffers;
    PixelTransfer& transfer = storage.Transfer();
    if (picture->isConvertedLater) {
        transfer.DownloadYuv(picture->GetTexture(0), storage.FBO(), target->GetWritableFrame(), picture->colorSpec);
    } else {
        for (std::size_t plane = 0; plane < picture->textures.size(); ++plane) {
            AVFrame& frame = target->GetWritableFrame();
            transfer.Download(picture->GetTexture(plane), storage.FBO(),
                              GetPlaneLayout(format, plane, picture->width, picture->height), frame.data[plane],
                              frame.linesize[plane], usesPixelBuffer);
        }
    }
    target->SetColorSpec(picture->colorSpec);
}

void Frame::DownloadFromMemory(boost::intrusive_ptr<Proc::DataVideoFF> const& target,
                               ShaderStorage const& storage) const {
    bool const isYuv = target->GetPixFmt() == PixFmt::Yuv420p;
    ColorSpec const spec = picture->colorSpec.Resolved(picture->height);
    if (picture->memory && !isYuv) {
        UploadAsRgb(storage).Download(target, storage);
    } else if (picture->memory) {
        AVFrame const& rgb = picture->memory->GetFrame();
        Proc::RgbToYuvConverter(spec).Convert(rgb.data[0], rgb.linesize[0], 0, rgb.height, target->GetWritableFrame());
    } else if (isYuv) {
        target->ShareSamples(*picture->planes->Get());
    } else {
        Proc::YuvToRgbConverter(PixFmt::Yuv420p, target->GetPixFmt(), spec)
            .Convert(picture->planes->Get()->GetFrame(), target->GetWritableFrame());
    }
    target->SetColorSpec(picture->memory ? spec : picture->colorSpec);
}

Frame Frame::UploadAsRgb(ShaderStorage const& storage) const {
    if (!picture->rgb.IsValid()) {
        Frame result;
        result.Allocate(kOpaqueFormat, picture->width, picture->height);
        ColorSpec const spec = picture->colorSpec.Resolved(picture->height);
        if (picture->planes) {
            boost::intrusive_ptr<Proc::DataVideoFF const> const planes = picture->planes->Get();
            storage.Transfer().UploadYuv(result.GetFirstTexture(), planes->GetFrame(), spec);
        } else if (picture->memory) {
            AVFrame const& rgb = picture->memory->GetFrame();
            storage.Transfer().Upload(result.GetFirstTexture(),
                                      GetPlaneLayout(PixFmt::Bgrx, 0, picture->width, picture->height), rgb.data[0],
                                      rgb.linesize[0], false);
        }
        result.SetColorSpec(spec);
        picture->rgb = result;
    }
    return picture->rgb;
}

Frame Frame::ConvertToRGBA(ShaderStorage const& storage) const {
    if (picture->isInMemory) {
        return UploadAsRgb(storage);
    }
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
    if (picture->format == PixFmt::Yuv420p || picture->isInMemory) {
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
    if (std::shared_ptr<PlanarPicture> const target = storage.FBO().GetPlanes()) {
        if (!picture->planes || mesh.GetRectangles().empty()) {
            Core::Throw(std::logic_error("only pictures on planes are drawn on planes, through rectangles"));
        }
        target->Draw(*picture->planes, mesh.GetRectangles(), ReadBlend(), mesh.GetCorners() != nullptr);
        return;
    }
    if (picture->isInMemory) {
        UploadAsRgb(storage).Draw(mesh, storage);
        return;
    }
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
