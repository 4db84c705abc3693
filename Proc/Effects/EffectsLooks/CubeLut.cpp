#include "Proc/Effects/EffectsLooks/CubeLut.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <stdexcept>
#include <string_view>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Core/PlainFile.h"

namespace Kaltor::Ogl {
namespace {

constexpr std::uint32_t kLargest1D = 65536;
// Values beyond black and white count between two points. What is far beyond would leave few steps to the others.
constexpr double kMostValue = 16.0;
constexpr std::uint32_t kLargest3D = 128;
constexpr std::size_t kLargestFile = std::size_t{64} << 20U;

/// The words of a file, line by line.
class CubeReader {
public:
    CubeReader(std::string_view fileText, std::string fileName) : text(fileText), name(std::move(fileName)) {}

    [[noreturn]] void Fail(std::string const& reason) const {
        Core::Throw(std::invalid_argument(fmt::format("{}, line {}: {}", name, line, reason)));
    }

    /// Goes to the next line that holds anything; false at the end.
    bool NextLine() {
        while (!text.empty()) {
            std::size_t const end = std::min(text.find('\n'), text.size());
            rest = text.substr(0, end);
            text.remove_prefix(std::min(end + 1, text.size()));
            ++line;
            rest = rest.substr(0, rest.find('#'));
            SkipSpace();
            if (!rest.empty()) {
                return true;
            }
        }
        return false;
    }

    bool StartsWithNumber() const { return rest.find_first_of("0123456789+-.") == 0; }

    std::string_view TakeWord() {
        std::size_t const end = std::min(rest.find_first_of(" \t\r"), rest.size());
        std::string_view const word = rest.substr(0, end);
        rest.remove_prefix(end);
        SkipSpace();
        return word;
    }

    double TakeNumber() {
        std::string_view word = TakeWord();
        word.remove_prefix(word.starts_with('+') ? 1 : 0);
        double value = 0.0;
        auto const [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
        if (error != std::errc() || end != word.data() + word.size() || !std::isfinite(value)) {
            Fail("a number is missing");
        }
        return value;
    }

    void RequireEnd() const {
        if (!rest.empty()) {
            Fail("there is more than was expected");
        }
    }

private:
    void SkipSpace() {
        std::size_t const begin = rest.find_first_not_of(" \t\r");
        rest.remove_prefix(std::min(begin, rest.size()));
    }

    std::string_view text;
    std::string_view rest;
    std::string name;
    int line = 0;
};

}  // namespace

CubeLut CubeLut::Read(std::string const& path) {
    using Kind = Core::FileFault::Kind;
    try {
        return Parse(Core::ReadPlainFile(path, kLargestFile), path);
    } catch (Core::FileFault const& fault) {
        char const* const reason = fault.GetKind() == Kind::Missing    ? "does not exist"
                                   : fault.GetKind() == Kind::TooLarge ? "is larger than 64 MiB"
                                                                       : fault.what();
        Core::Throw(std::invalid_argument(fmt::format("the look-up table {} {}", path, reason)));
    }
}

CubeLut CubeLut::Parse(std::string const& text, std::string const& name) {
    CubeReader reader(text, name);
    CubeLut lut;
    std::size_t wanted = 0;
    while (reader.NextLine()) {
        if (reader.StartsWithNumber()) {
            if (wanted == 0) {
                reader.Fail("there are values before LUT_1D_SIZE or LUT_3D_SIZE");
            }
            if (lut.values.size() == wanted) {
                reader.Fail("there are more values than its size says");
            }
            for (int channel = 0; channel < 3; ++channel) {
                lut.values.push_back(static_cast<float>(std::clamp(reader.TakeNumber(), -kMostValue, kMostValue)));
            }
            reader.RequireEnd();
            continue;
        }
        std::string_view const word = reader.TakeWord();
        if (word == "TITLE") {
            continue;
        }
        if (word == "DOMAIN_MIN" || word == "DOMAIN_MAX") {
            for (double& value : word == "DOMAIN_MIN" ? lut.minimum : lut.maximum) {
                value = reader.TakeNumber();
            }
        } else if (word == "LUT_1D_INPUT_RANGE" || word == "LUT_3D_INPUT_RANGE") {
            lut.minimum.fill(reader.TakeNumber());
            lut.maximum.fill(reader.TakeNumber());
        } else if (word == "LUT_1D_SIZE" || word == "LUT_3D_SIZE") {
            if (wanted != 0) {
                reader.Fail("it has a size already");
            }
            lut.is3D = word == "LUT_3D_SIZE";
            double const side = reader.TakeNumber();
            std::uint32_t const largest = lut.is3D ? kLargest3D : kLargest1D;
            if (side < 2.0 || side > largest || side != std::floor(side)) {
                reader.Fail(fmt::format("a size is a whole number from 2 to {}", largest));
            }
            lut.size = static_cast<std::uint32_t>(side);
            std::size_t const points = lut.is3D ? std::size_t{lut.size} * lut.size * lut.size : lut.size;
            wanted = 3 * points;
            lut.values.reserve(wanted);
        } else {
            reader.Fail("it is no look-up table of the form .cube");
        }
        reader.RequireEnd();
    }
    if (wanted == 0 || lut.values.size() != wanted) {
        reader.Fail(wanted == 0 ? "it has no LUT_1D_SIZE or LUT_3D_SIZE" : "there are fewer values than its size says");
    }
    for (std::size_t channel = 0; channel < 3; ++channel) {
        if (lut.maximum[channel] - lut.minimum[channel] < 1e-6) {
            reader.Fail("DOMAIN_MAX is not above DOMAIN_MIN");
        }
    }
    return lut;
}

}  // namespace Kaltor::Ogl
