#pragma once

#include <optional>

#include "Proc/Effects/Shared/Algorithms.h"
#include "Proc/Settings/SettingsServices.h"

namespace Kaltor::Ogl {

/// Draws a rectangle of the input onto a rectangle of an output of another size, over a background colour.
class EffectResizer final : public EffectWithSettings<Proc::SettingsResizer> {
public:
    class CacheImpl;

    bool WorksOnPlanes() const override { return true; }
    void Processing(DataVideoOGL* dst, Src const& src, double time, double progress, ShaderStorage const& storage,
                    OglCache* cache) const override;
    OglCache* CreateCache() const override;
    /// Has alpha also if the background is translucent. The codec still follows the common rule for formats: it is
    /// rewritten from the input's format, not from the settings.
    boost::intrusive_ptr<DataVideoOGL> CreateDst(PixFmt srcFormat, Conf::FrameInfo const& info) override;
};

/// The quad between the rectangles, kept as long as they stay.
class EffectResizer::CacheImpl final : public OglCache {
public:
    /// Rewrites the quad if the placement of such an input under these settings has changed. GL thread.
    void Initialize(Conf::FrameInfo const& info, Proc::SettingsResizer const& settings);
    Quad& GetQuad() { return *quad; }

private:
    struct Geometry {
        Proc::CropInfo source;
        Proc::CropInfo destination;
        std::uint32_t inputWidth = 0;
        std::uint32_t inputHeight = 0;
        Conf::FrameInfo output;

        bool operator==(Geometry const&) const = default;
    };

    Geometry geometry;
    std::optional<Quad> quad;
};

}  // namespace Kaltor::Ogl
