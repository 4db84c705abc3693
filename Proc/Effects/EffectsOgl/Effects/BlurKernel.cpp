#include "Proc/Effects/EffectsOgl/Effects/BlurKernel.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <utility>

#include <fmt/format.h>

namespace Kaltor::Ogl {
namespace {

double QuadraticSpline(double x) {
    x = std::fabs(x);
    return x < 0.5 ? 0.75 - x * x : x < 1.5 ? 0.5 * (1.5 - x) * (1.5 - x) : 0.0;
}

constexpr std::size_t kUnknowns = BlurReduction::kPairs + 2;  // the weights and the constraint's multiplier

struct LinearSystem {
    std::array<std::array<double, kUnknowns>, kUnknowns> matrix{};
    std::array<double, kUnknowns> right{};

    /// Gaussian elimination with pivoting; the solution replaces the right side.
    void Solve() {
        for (std::size_t i = 0; i < kUnknowns; ++i) {
            std::size_t pivot = i;
            for (std::size_t k = i + 1; k < kUnknowns; ++k) {
                pivot = std::fabs(matrix[k][i]) > std::fabs(matrix[pivot][i]) ? k : pivot;
            }
            std::swap(matrix[i], matrix[pivot]);
            std::swap(right[i], right[pivot]);
            for (std::size_t k = i + 1; k < kUnknowns; ++k) {
                double const ratio = matrix[k][i] / matrix[i][i];
                for (std::size_t j = i; j < kUnknowns; ++j) {
                    matrix[k][j] -= ratio * matrix[i][j];
                }
                right[k] -= ratio * right[i];
            }
        }
        for (std::size_t i = kUnknowns; i-- > 0;) {
            for (std::size_t j = i + 1; j < kUnknowns; ++j) {
                right[i] -= matrix[i][j] * right[j];
            }
            right[i] /= matrix[i][i];
        }
    }
};

}  // namespace

BlurKernel::BlurKernel(std::uint32_t width, std::uint32_t height, double scale) {
    // Rounding to single precision can decide `size` and is part of the definition.
    constexpr float kLeastRadius = 0.34F;
    constexpr double kPairsPerRadius = 3.0;
    auto const radius = static_cast<float>(std::max(width, height) * scale / 3.0);
    size = static_cast<int>(static_cast<double>(std::max(radius, kLeastRadius)) * kPairsPerRadius);
    float const s = static_cast<float>(size) * 0.333333F;
    sigma = -0.5F / (s * s);
    double sum = 1.0;
    for (int i = 1; i <= size; ++i) {
        sum += 2.0 * static_cast<double>(std::exp(sigma * static_cast<float>(i) * static_cast<float>(i)));
    }
    norm = 1.0 / sum;
}

BlurReduction::BlurReduction(BlurKernel const& kernel) {
    constexpr double kTexelsPerPair = 7.0;  // sigma is then 2.3 reduced samples: 9 pairs reach 4 sigma
    constexpr int kLeastFactor = 3;
    factor = std::max(kLeastFactor, static_cast<int>(std::lround(kernel.size / kTexelsPerPair)));
    downPairs = (3 * factor + 1) / 2 - 1;
    margin = kPairs + 2;

    std::vector<double> down(static_cast<std::size_t>(2 * downPairs + 1));
    double downSum = 0.0;
    for (int j = -downPairs; j <= downPairs; ++j) {
        downSum += down[static_cast<std::size_t>(j + downPairs)] = QuadraticSpline(static_cast<double>(j) / factor);
    }
    downNorm = 1.0 / downSum;
    for (double& weight : down) {
        weight *= downNorm;
    }
    std::vector<double> wanted(static_cast<std::size_t>(kernel.size + 1));
    for (int i = 0; i <= kernel.size; ++i) {
        wanted[static_cast<std::size_t>(i)] = kernel.norm * std::exp(static_cast<double>(kernel.sigma) * i * i);
    }

    // The normal equations: `spread` is what one reduced sample adds to the output texel at sub-position f, over the
    // texels around that one. Sixteen sub-positions give as good a fit as hundreds.
    constexpr int kMostPositions = 16;
    int const half = 2 * factor + downPairs;
    std::vector<double> spread(static_cast<std::size_t>(2 * half + 1));
    std::array<double, 2 * kPairs + 1> correlation{};
    LinearSystem system;
    for (int f = 0; f < factor; f += std::max(1, factor / kMostPositions)) {
        std::fill(spread.begin(), spread.end(), 0.0);
        for (int k = -1; k <= 2; ++k) {
            double const up = QuadraticSpline(k - static_cast<double>(f) / factor);
            for (int j = -downPairs; up != 0.0 && j <= downPairs; ++j) {
                spread[static_cast<std::size_t>(factor * k - f + j + half)] +=
                    up * down[static_cast<std::size_t>(j + downPairs)];
            }
        }
        for (std::size_t lag = 0; lag < correlation.size(); ++lag) {
            std::size_t const shift = lag * static_cast<std::size_t>(factor);
            for (std::size_t t = shift; t < spread.size(); ++t) {
                correlation[lag] += spread[t] * spread[t - shift];
            }
        }
        for (int i = -kPairs; i <= kPairs; ++i) {
            for (int t = -half; t <= half; ++t) {
                int const tap = std::abs(t + factor * i);
                if (tap <= kernel.size) {
                    system.right[static_cast<std::size_t>(std::abs(i))] +=
                        spread[static_cast<std::size_t>(t + half)] * wanted[static_cast<std::size_t>(tap)];
                }
            }
        }
    }
    constexpr std::size_t kConstraint = kPairs + 1;
    for (std::size_t i = 0; i <= kPairs; ++i) {
        for (std::size_t j = 0; j <= kPairs; ++j) {
            double const both = correlation[i > j ? i - j : j - i] + correlation[i + j];
            system.matrix[i][j] = i == 0 && j == 0 ? correlation[0] : i == 0 || j == 0 ? both : 2.0 * both;
        }
        system.matrix[kConstraint][i] = system.matrix[i][kConstraint] = i == 0 ? 1.0 : 2.0;
    }
    system.right[kConstraint] = 1.0;
    system.Solve();
    weights.assign(system.right.begin(), system.right.begin() + kConstraint);
}

std::string MakeTapProgram(int pairs) {
    std::string source = fmt::format(R"glsl(#version 120
uniform sampler2D tex;
uniform vec2 local_step;
uniform float weights[{}];
varying vec2 TexCoord0;
void main() {{
    vec4 sum = texture2D(tex, TexCoord0) * weights[0];
    vec2 d;
)glsl",
                                     pairs + 1);
    for (int i = 1; i <= pairs; ++i) {
        source += fmt::format(
            "    d = local_step * {0}.0;\n"
            "    sum += (texture2D(tex, TexCoord0 + d) + texture2D(tex, TexCoord0 - d)) * weights[{0}];\n",
            i);
    }
    return source + "    gl_FragColor = sum;\n}\n";
}

}  // namespace Kaltor::Ogl
