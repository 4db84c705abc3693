// Blocks of 16 x 16 samples are transposed in vectors: dealing the samples of both halves of a block in turn, like
// cards, moves the uppermost bit of each sample's number to the lowest place, and four times exchange row and column.

#include "Proc/Effects/EffectsOgl/Effects/ProcessorTranspose.h"

#include <array>
#include <cstring>

#include "Proc/Effects/EffectsOgl/Effects/ProcessorRows.h"

namespace Kaltor::Ogl {
namespace {

constexpr int kSide = 16;

using Block = std::array<std::uint8_t, kSide * kSide>;

void Deal(Block const& from, Block& to) {
    constexpr std::size_t kHalfBlock = kSide * kSide / 2;
    for (std::size_t i = 0; i < kHalfBlock; ++i) {
        to[2 * i] = from[i];
        to[2 * i + 1] = from[kHalfBlock + i];
    }
}

/// A whole row of a block is a vector.
void CopySamples(std::uint8_t const* from, int count, bool isWhole, std::uint8_t* to) {
    isWhole ? std::memcpy(to, from, kSide) : std::memcpy(to, from, static_cast<std::size_t>(count));
}

/// The rows of `to` from `first` on, at most as many as a block has.
void TransposeRows(Samples const& from, Samples const& to, int first) {
    int const rows = std::min(kSide, to.height - first);
    Block block{};
    Block other{};
    for (int x = 0; x < to.width; x += kSide) {
        int const columns = std::min(kSide, to.width - x);
        bool const isWhole = rows == kSide && columns == kSide;
        for (int i = 0; i < columns; ++i) {
            CopySamples(from.Row(x + i) + first, rows, isWhole, block.data() + kSide * i);
        }
        Deal(block, other);
        Deal(other, block);
        Deal(block, other);
        Deal(other, block);
        for (int i = 0; i < rows; ++i) {
            CopySamples(block.data() + kSide * i, columns, isWhole, to.Row(first + i) + x);
        }
    }
}

}  // namespace

void TransposeOnProcessor(Samples const& from, Samples const& to, Processor& processor) {
    auto const strips = static_cast<std::size_t>((to.height + kSide - 1) / kSide);
    processor.ForEach(strips, [&](std::size_t i) { TransposeRows(from, to, kSide * static_cast<int>(i)); });
}

}  // namespace Kaltor::Ogl
