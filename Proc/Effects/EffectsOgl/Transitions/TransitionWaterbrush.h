#pragma once

#include <glm/mat2x2.hpp>
#include <glm/vec2.hpp>

#include "Ogl/Texture.h"
#include "Proc/Effects/Shared/Algorithms.h"
#include "Proc/Settings/SettingsMeshTransitions.h"

namespace Kaltor::Ogl {

/// Brush strokes, back and forth, paint the incoming picture over the outgoing one. Embedded by effects that paint,
/// with its cache.
class TransitionWaterbrush final : public TransitionWithSettings<Proc::SettingsTransitionWaterbrush> {
public:
    /// The strokes on a picture of one size. They lie along y in the picture's pixels turned by the angle:
    /// x' = x cos + y sin, y' = y cos - x sin, from the lower left corner.
    struct CacheImpl final : public OglCache {
        /// One stroke: from the lower end to the upper one, and the length of the brush's path before it.
        struct segment {
            glm::vec2 begin;
            glm::vec2 end;
            double start;
        };

        /// Lays out `strokes` strokes for a picture of width * height pixels. `angle` in radians; `margin` is what the
        /// brush leaves free along each side, as a part of that side (below 0: how far it goes beyond the side);
        /// `rough` is 0 to 1. Throws `std::length_error` "vector::reserve" for a negative number of strokes, and then
        /// keeps the former strokes.
        void Reset(int pictureWidth, int pictureHeight, double angle, int strokes, double margin, double rough);

        int width = 0;  ///< of the picture
        int height = 0;
        int columns = 0;          ///< of the table: the picture's diagonal in pixels, rounded up
        float rectex_offset = 0;  ///< from x' to columns
        double pathLength = 0;    ///< of all strokes, pixels
        /// For each column, from t = 0: where its stroke begins and ends (-1, -1 without one), its offset and sign in
        /// time, its density.
        Texture table;
        glm::mat2 rot_mat{};  ///< from texture coordinates to (x', y'), by rows
    };

    OglCache* CreateCache() const override { return new CacheImpl; }
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double time, double progress,
                    ShaderStorage const& storage, OglCache* cache) const override;
};

}  // namespace Kaltor::Ogl
