#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace Kaltor::Ogl {

/// A colour look-up table of a `.cube` file: one curve for each channel, or a lattice of colours.
class CubeLut {
public:
    /// Throws `std::invalid_argument` with the file, the line and the reason: what is no such table, a table without or
    /// with more than one size, values that are no numbers, too few or too many of them, sizes beyond 65536 (1D) or 128
    /// (3D), a file that is no plain file or larger than 64 MiB.
    static CubeLut Read(std::string const& path);
    /// The same from the file's text; `name` is for messages.
    static CubeLut Parse(std::string const& text, std::string const& name);

    bool Is3D() const { return is3D; }
    /// Points on a side.
    std::uint32_t GetSize() const { return size; }
    std::array<double, 3> const& GetMinimum() const { return minimum; }
    std::array<double, 3> const& GetMaximum() const { return maximum; }
    /// Red, green and blue in turn, red changing fastest; limited to 0 to 1.
    std::vector<float> const& GetValues() const { return values; }

private:
    bool is3D = false;
    std::uint32_t size = 0;
    std::array<double, 3> minimum{0.0, 0.0, 0.0};
    std::array<double, 3> maximum{1.0, 1.0, 1.0};
    std::vector<float> values;
};

}  // namespace Kaltor::Ogl
