#include "Edit/Easing.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <optional>
#include <stdexcept>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Core/ParseNumber.h"
#include "Core/Text.h"
#include "Proc/Settings/Settings.h"

namespace Kaltor::Edit {
namespace {

constexpr double kPi = std::numbers::pi;

// Penner's functions "in"; "out" and "in-out" follow from them by symmetry.
double Sine(double x) {
    return 1.0 - std::cos(x * kPi / 2.0);
}
template <int N>
double Power(double x) {
    return std::pow(x, N);
}
double Exponential(double x) {
    return x <= 0.0 ? 0.0 : std::exp2(10.0 * x - 10.0);
}
double Circle(double x) {
    return 1.0 - std::sqrt(1.0 - x * x);
}
double Back(double x) {
    constexpr double kOvershoot = 1.70158;  // goes 10 % below 0
    return (kOvershoot + 1.0) * x * x * x - kOvershoot * x * x;
}
double Elastic(double x) {
    if (x <= 0.0 || x >= 1.0) {
        return x;
    }
    return -std::exp2(10.0 * x - 10.0) * std::sin((x * 10.0 - 10.75) * 2.0 * kPi / 3.0);
}
double BounceOut(double x) {
    constexpr double kHeight = 7.5625;
    constexpr double kWidth = 2.75;
    double const at = x < 1.0 / kWidth ? 0.0 : x < 2.0 / kWidth ? 1.5 : x < 2.5 / kWidth ? 2.25 : 2.625;
    double const rest = x < 1.0 / kWidth ? 0.0 : x < 2.0 / kWidth ? 0.75 : x < 2.5 / kWidth ? 0.9375 : 0.984375;
    double const t = x - at / kWidth;
    return kHeight * t * t + rest;
}
double Bounce(double x) {
    return 1.0 - BounceOut(1.0 - x);
}

template <double (*In)(double)>
double Out(double x) {
    return 1.0 - In(1.0 - x);
}
template <double (*In)(double)>
double InOut(double x) {
    return x < 0.5 ? In(2.0 * x) / 2.0 : 1.0 - In(2.0 - 2.0 * x) / 2.0;
}
/// Its period is longer than that of "in" and "out": 4.5 instead of 3 tenths.
double ElasticInOut(double x) {
    if (x <= 0.0 || x >= 1.0) {
        return x;
    }
    double const wave = std::sin((20.0 * x - 11.125) * 2.0 * kPi / 4.5);
    return x < 0.5 ? -std::exp2(20.0 * x - 10.0) * wave / 2.0 : std::exp2(-20.0 * x + 10.0) * wave / 2.0 + 1.0;
}
/// Its overshoot is larger by 1.525, so that it is 10 % again.
double BackInOut(double x) {
    constexpr double kOvershoot = 1.70158 * 1.525;
    auto const in = [](double t) { return t * t * ((kOvershoot + 1.0) * t - kOvershoot); };
    return x < 0.5 ? in(2.0 * x) / 2.0 : 1.0 - in(2.0 - 2.0 * x) / 2.0;
}

struct Named {
    char const* name;
    double (*function)(double);
};

constexpr std::array<Named, 30> kPenner{
    {{"easeInSine", Sine},        {"easeOutSine", Out<Sine>},        {"easeInOutSine", InOut<Sine>},
     {"easeInQuad", Power<2>},    {"easeOutQuad", Out<Power<2>>},    {"easeInOutQuad", InOut<Power<2>>},
     {"easeInCubic", Power<3>},   {"easeOutCubic", Out<Power<3>>},   {"easeInOutCubic", InOut<Power<3>>},
     {"easeInQuart", Power<4>},   {"easeOutQuart", Out<Power<4>>},   {"easeInOutQuart", InOut<Power<4>>},
     {"easeInQuint", Power<5>},   {"easeOutQuint", Out<Power<5>>},   {"easeInOutQuint", InOut<Power<5>>},
     {"easeInExpo", Exponential}, {"easeOutExpo", Out<Exponential>}, {"easeInOutExpo", InOut<Exponential>},
     {"easeInCirc", Circle},      {"easeOutCirc", Out<Circle>},      {"easeInOutCirc", InOut<Circle>},
     {"easeInBack", Back},        {"easeOutBack", Out<Back>},        {"easeInOutBack", BackInOut},
     {"easeInElastic", Elastic},  {"easeOutElastic", Out<Elastic>},  {"easeInOutElastic", ElasticInOut},
     {"easeInBounce", Bounce},    {"easeOutBounce", Out<Bounce>},    {"easeInOutBounce", InOut<Bounce>}}};

struct NamedBezier {
    char const* name;
    std::array<double, 4> points;
};
// CSS Easing Functions Level 1, section 2.2.
constexpr std::array<NamedBezier, 4> kBezier{{{"ease", {0.25, 0.1, 0.25, 1.0}},
                                              {"ease-in", {0.42, 0.0, 1.0, 1.0}},
                                              {"ease-out", {0.0, 0.0, 0.58, 1.0}},
                                              {"ease-in-out", {0.42, 0.0, 0.58, 1.0}}}};

std::string LowerWithoutBlanks(std::string_view text) {
    std::string lower = Core::ToLower(text);
    std::erase(lower, ' ');
    return lower;
}

/// One coordinate of the curve from (0, 0) to (1, 1) at the parameter `t`.
double Bernstein(double p1, double p2, double t) {
    double const u = 1.0 - t;
    return 3.0 * u * u * t * p1 + 3.0 * u * t * t * p2 + t * t * t;
}

/// The curve's y at x. Its x grows with the parameter, since x1 and x2 lie in 0 to 1: halving finds it.
double SolveBezier(std::array<double, 4> const& points, double x) {
    constexpr int kHalvings = 52;
    double low = 0.0;
    double high = 1.0;
    for (int i = 0; i < kHalvings; ++i) {
        double const middle = (low + high) / 2.0;
        (Bernstein(points[0], points[2], middle) < x ? low : high) = middle;
    }
    return Bernstein(points[1], points[3], (low + high) / 2.0);
}

/// What stands in the parentheses of NAME(...), separated by commas; empty where the text is of another form.
std::vector<std::string> GetArguments(std::string const& text, std::string_view name) {
    std::vector<std::string> arguments;
    if (!text.starts_with(std::string(name) + "(") || !text.ends_with(")")) {
        return arguments;
    }
    std::string rest = text.substr(name.size() + 1, text.size() - name.size() - 2) + ",";
    for (std::size_t at = rest.find(','); at != std::string::npos; at = rest.find(',')) {
        arguments.push_back(rest.substr(0, at));
        rest.erase(0, at + 1);
    }
    return arguments;
}

[[noreturn]] void Refuse(std::string_view text, std::string const& hint) {
    Core::Throw(std::invalid_argument(fmt::format("\"{}\" is not an easing; {}", text, hint)));
}

}  // namespace

std::vector<std::string> Easing::ListNames() {
    std::vector<std::string> names{"hold", "linear", "smooth", "step-start", "step-end"};
    for (NamedBezier const& bezier : kBezier) {
        names.emplace_back(bezier.name);
    }
    for (Named const& penner : kPenner) {
        names.emplace_back(penner.name);
    }
    return names;
}

Easing Easing::Parse(std::string_view text) {
    constexpr std::size_t kLongest = 100;
    if (text.size() > kLongest) {
        Refuse(Core::BeginningOf(text, kLongest), "the text is too long");
    }
    std::string const wanted = LowerWithoutBlanks(text);
    Easing easing;
    if (wanted == "linear") {
        return easing;
    }
    if (wanted == "hold" || wanted == "smooth") {
        easing.kind = wanted == "hold" ? Kind::Hold : Kind::Smooth;
        easing.name = wanted;
        return easing;
    }
    for (Named const& penner : kPenner) {
        if (LowerWithoutBlanks(penner.name) == wanted) {
            easing.kind = Kind::Penner;
            easing.name = penner.name;
            easing.function = penner.function;
            return easing;
        }
    }
    for (NamedBezier const& bezier : kBezier) {
        if (bezier.name == wanted) {
            easing.kind = Kind::Bezier;
            easing.name = wanted;
            easing.points = bezier.points;
            return easing;
        }
    }
    if (wanted == "step-start" || wanted == "step-end") {
        easing.kind = Kind::Steps;
        easing.name = wanted;
        easing.jump = wanted == "step-start" ? Jump::Start : Jump::End;
        return easing;
    }
    if (std::vector<std::string> const arguments = GetArguments(wanted, "cubic-bezier"); !arguments.empty()) {
        bool isGood = arguments.size() == easing.points.size();
        for (std::size_t i = 0; isGood && i < arguments.size(); ++i) {
            std::optional<double> const value = Core::ParseNumber<double>(arguments[i]);
            bool const isTime = i % 2 == 0;
            isGood = value && std::isfinite(*value) && std::abs(*value) <= 100.0 &&
                     (!isTime || (*value >= 0.0 && *value <= 1.0));
            easing.points[i] = value.value_or(0.0);
        }
        if (!isGood) {
            Refuse(text, "cubic-bezier takes x1, y1, x2, y2, with x1 and x2 from 0 to 1");
        }
        easing.kind = Kind::Bezier;
        easing.name = fmt::format("cubic-bezier({:g}, {:g}, {:g}, {:g})", easing.points[0], easing.points[1],
                                  easing.points[2], easing.points[3]);
        return easing;
    }
    if (std::vector<std::string> const arguments = GetArguments(wanted, "steps"); !arguments.empty()) {
        constexpr int kMostSteps = 10'000;
        struct NamedJump {
            char const* name;
            Jump jump;
        };
        constexpr std::array<NamedJump, 6> kJumps{{{"jump-end", Jump::End},
                                                   {"jump-start", Jump::Start},
                                                   {"jump-none", Jump::None},
                                                   {"jump-both", Jump::Both},
                                                   {"end", Jump::End},
                                                   {"start", Jump::Start}}};
        std::optional<int> const steps = Core::ParseNumber<int>(arguments[0]);
        auto const jump = std::find_if(kJumps.begin(), kJumps.end(), [&](NamedJump const& one) {
            return arguments.size() < 2 ? one.jump == Jump::End : arguments[1] == one.name;
        });
        if (arguments.size() > 2 || !steps || *steps < 1 || *steps > kMostSteps || jump == kJumps.end() ||
            (jump->jump == Jump::None && *steps < 2)) {
            Refuse(text, "steps takes a number of steps, and jump-start, jump-end, jump-none or jump-both");
        }
        easing.kind = Kind::Steps;
        easing.count = *steps;
        easing.jump = jump->jump;
        easing.name =
            arguments.size() < 2 ? fmt::format("steps({})", *steps) : fmt::format("steps({}, {})", *steps, jump->name);
        return easing;
    }
    std::string const nearest = Proc::FindNearest(std::string(text), ListNames());
    Refuse(text, nearest.empty() ? "for example linear, ease-in-out, easeOutCubic, smooth, hold, steps(4) or "
                                   "cubic-bezier(0.3, 0, 0.2, 1)"
                                 : fmt::format("did you mean {}?", nearest));
}

double Easing::Steps(double x) const {
    // CSS Easing Functions Level 1, section 2.3.
    int const jumps = jump == Jump::None ? count - 1 : jump == Jump::Both ? count + 1 : count;
    double step = std::floor(x * count);
    if (jump == Jump::Start || jump == Jump::Both) {
        step += 1.0;
    }
    return std::clamp(step, 0.0, static_cast<double>(jumps)) / jumps;
}

double Easing::operator()(double x) const {
    x = std::isnan(x) ? 0.0 : std::clamp(x, 0.0, 1.0);
    switch (kind) {
        case Kind::Hold:
            return x < 1.0 ? 0.0 : 1.0;
        case Kind::Bezier:
            return x <= 0.0 ? 0.0 : x >= 1.0 ? 1.0 : SolveBezier(points, x);
        case Kind::Steps:
            return Steps(x);
        case Kind::Penner:
            return function(x);
        case Kind::Linear:
        case Kind::Smooth:
            break;
    }
    return x;
}

}  // namespace Kaltor::Edit
