#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Kaltor::Edit {

/// How a value goes from one key to the next.
///
/// Names, in any case of letters: `hold`; `linear`; those of CSS Easing Functions Level 1 (`ease`, `ease-in`,
/// `ease-out`, `ease-in-out`, `step-start`, `step-end`, `cubic-bezier(x1, y1, x2, y2)`, `steps(n[, POSITION])` with
/// `jump-start`, `jump-end`, `jump-none`, `jump-both`, `start` and `end`); the thirty of R. Penner, "Motion, Tweening
/// and Easing" (2002) as `easeInSine` ... `easeInOutBounce`; and `smooth`, which is a monotone cubic through the keys
/// (see `Curve`).
class Easing {
public:
    /// Linear.
    Easing() = default;
    /// Throws `std::invalid_argument` with the text and the nearest name.
    static Easing Parse(std::string_view text);

    /// 0 at 0 and 1 at 1, except steps; may leave 0 to 1 on the way. `x` is limited to 0 to 1.
    double operator()(double x) const;

    bool IsSmooth() const { return kind == Kind::Smooth; }
    bool IsLinear() const { return kind == Kind::Linear; }
    /// The text that reads as this easing.
    std::string const& GetName() const { return name; }

    /// All names without parentheses, in the order of their families.
    static std::vector<std::string> ListNames();

    bool operator==(Easing const& other) const { return name == other.name; }

private:
    enum class Kind : std::uint8_t { Hold, Linear, Bezier, Steps, Penner, Smooth };
    enum class Jump : std::uint8_t { Start, End, None, Both };

    double Steps(double x) const;

    Kind kind = Kind::Linear;
    std::string name = "linear";
    std::array<double, 4> points{};        ///< of the Bezier curve: x1, y1, x2, y2
    int count = 1;                         ///< of the steps
    Jump jump = Jump::End;                 ///< of the steps
    double (*function)(double) = nullptr;  ///< of Penner's
};

}  // namespace Kaltor::Edit
