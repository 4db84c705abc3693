#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Kaltor::Ogl {

/// The blur's taps along one axis: one at the centre and `size` pairs, the i-th 2 i texels to either side with the
/// weight norm * exp(sigma * i * i).
struct BlurKernel {
    int size;
    float sigma;
    double norm;

    /// The taps for a picture of this size. The radius is `scale` times its larger side; there is at least one pair.
    BlurKernel(std::uint32_t width, std::uint32_t height, double scale);
};

/// The same taps in three cheaper steps. Taps stand two texels apart, so the even and the odd texels of an axis never
/// mix: each of the two phases is reduced by `factor` with a quadratic B-spline, blurred with few taps, and brought
/// back to full size by B-spline interpolation.
struct BlurReduction {
    int factor;                  ///< texels of one phase per reduced sample
    int downPairs;               ///< pairs of taps of the reducing spline
    double downNorm;             ///< 1 / the sum of its weights
    int margin;                  ///< reduced samples before and behind each phase
    std::vector<float> weights;  ///< weights of the reduced blur, the centre first, then the pairs

    static constexpr int kPairs = 9;

    /// The weights are the least-squares fit to the kernel over the positions between reduced samples, with the
    /// constraint that they sum to 1.
    explicit BlurReduction(BlurKernel const& kernel);
};

/// The program of a symmetrical filter along one axis: the centre weighs `weights[0]`, the i-th of `pairs` pairs of
/// taps, i times `local_step` to either side, `weights[i]` each.
std::string MakeTapProgram(int pairs);

}  // namespace Kaltor::Ogl
