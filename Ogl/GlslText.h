#pragma once

#include <array>
#include <cstddef>
#include <initializer_list>
#include <stdexcept>
#include <string>

namespace Kaltor::Ogl {

/// The first line of every program text that is put together from pieces.
constexpr char kGlslVersion[] = "#version 120\n";

/// GLSL: `vec4 Straight(vec3 color, float alpha)` is the value to store in a frame with straight alpha: colour is 0
/// where alpha is stored as 0, since a tiny alpha is rounded to 0. `vec4 Unmultiply(vec4 color)` does the same for a
/// premultiplied colour.
constexpr char kStraightAlpha[] = R"glsl(
vec4 Straight(vec3 color, float alpha) {
    return alpha < 0.5 / 255.0 ? vec4(0.0) : vec4(color, alpha);
}
vec4 Unmultiply(vec4 color) {
    return Straight(color.rgb / color.a, color.a);
}
)glsl";

/// The text of one stage of a program, whole or in pieces that are joined when the program is compiled. Refers to the
/// pieces without copying them: for arguments only.
class GlslText {
public:
    GlslText(char const* whole) : pieces{whole}, count(1) {}
    GlslText(std::string const& whole) : GlslText(whole.c_str()) {}
    /// In the order given, up to `kMostPieces`; throws `std::length_error` for more.
    GlslText(std::initializer_list<char const*> parts) {
        for (char const* const part : parts) {
            if (count == kMostPieces) {
                throw std::length_error("too many pieces of program text");
            }
            pieces[count++] = part;
        }
    }

    std::string Join() const {
        std::string text;
        for (std::size_t i = 0; i < count; ++i) {
            text += pieces[i];
        }
        return text;
    }

private:
    static constexpr std::size_t kMostPieces = 8;

    std::array<char const*, kMostPieces> pieces{};
    std::size_t count = 0;
};

}  // namespace Kaltor::Ogl
