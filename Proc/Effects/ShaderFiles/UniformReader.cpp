#include "Proc/Effects/ShaderFiles/UniformReader.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <limits>
#include <optional>
#include <stdexcept>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Core/ParseNumber.h"
#include "Core/Text.h"

namespace Kaltor::Proc {
namespace {

using Kind = ShaderToken::Kind;
using Type = ShaderUniform::Type;

struct TypeName {
    std::string_view name;
    Type type;
    std::size_t size;
};
constexpr std::array kTypes{TypeName{"float", Type::Float, 1},     TypeName{"int", Type::Int, 1},
                            TypeName{"bool", Type::Bool, 1},       TypeName{"vec2", Type::Vector, 2},
                            TypeName{"vec3", Type::Vector, 3},     TypeName{"vec4", Type::Vector, 4},
                            TypeName{"ivec2", Type::IntVector, 2}, TypeName{"ivec3", Type::IntVector, 3},
                            TypeName{"ivec4", Type::IntVector, 4}, TypeName{"sampler2D", Type::Sampler, 1}};

constexpr std::size_t kMostUniforms = 1000;  // OpenGL has some thousand numbers for them
constexpr std::size_t kLongestHelp = 2000;   // all names of a declaration take a copy

bool IsPrecision(ShaderToken const& token) {
    return token.Is("lowp") || token.Is("mediump") || token.Is("highp");
}

std::string_view Trim(std::string_view text) {
    constexpr std::string_view kSpaces = " \t\r\n";
    std::size_t const first = text.find_first_not_of(kSpaces);
    return first == std::string_view::npos ? std::string_view()
                                           : text.substr(first, text.find_last_not_of(kSpaces) - first + 1);
}

/// A number as GLSL writes it, with a sign: "-.7", "5.", "1e-3". Takes it from the front of the text.
std::optional<double> TakeNumber(std::string_view& text) {
    std::string_view rest = Trim(text);
    bool const isNegative = rest.starts_with('-');
    if (isNegative || rest.starts_with('+')) {
        rest = Trim(rest.substr(1));
    }
    constexpr std::size_t kLongest = 64;
    std::string_view const front = rest.substr(0, kLongest);
    std::vector<ShaderToken> const tokens = ScanShader(front.substr(0, front.find_first_of(" \t\r\n,();*/")));
    if (tokens.empty() || tokens.front().kind != Kind::Number) {
        return std::nullopt;
    }
    std::string digits(tokens.front().text);
    std::size_t const length = digits.size();
    if (digits.back() == 'f' || digits.back() == 'F') {
        digits.pop_back();
    }
    if (digits.back() == '.') {
        digits.pop_back();
    }
    std::size_t const pointless = digits.find(".e");
    if (pointless != std::string::npos) {
        digits.erase(pointless, 1);
    }
    std::optional<double> const number = Core::ParseNumber<double>(digits.starts_with('.') ? "0" + digits : digits);
    if (number) {
        text = rest.substr(length);
    }
    return number && isNegative ? std::optional(-*number) : number;
}

/// The value of a constant expression, such as "0.5", "vec3(vec2(0.5), 1.0)" or "-2.0 / (3.0 * 4.0)".
class ConstantExpression {
public:
    /// Takes as much from the front of the text as is one; nothing where none stands there.
    static std::optional<Numbers> Take(std::string_view& text) {
        ConstantExpression expression(text);
        std::optional<Numbers> const value = expression.TakeSum();
        if (value) {
            text = expression.rest;
        }
        return value;
    }

private:
    explicit ConstantExpression(std::string_view text) : rest(text) {}

    std::optional<Numbers> TakeSum() {
        return TakeChain("+-", [this] { return TakeChain("*/", [this] { return TakeOperand(); }); });
    }

    /// Operands with one of the two signs between them. What follows a sign that no operand follows is help.
    template <typename TakeOne>
    std::optional<Numbers> TakeChain(std::string_view signs, TakeOne const& takeOne) {
        std::optional<Numbers> left = takeOne();
        while (left) {
            std::string_view const before = rest;
            rest = Trim(rest);
            bool const isSign = !rest.empty() && signs.find(rest.front()) != std::string_view::npos;
            char const sign = isSign ? rest.front() : ' ';
            rest.remove_prefix(isSign ? 1 : 0);
            std::optional<Numbers> const right = isSign ? takeOne() : std::nullopt;
            if (!right || (right->size() != left->size() && right->size() != 1 && left->size() != 1)) {
                rest = before;
                break;
            }
            left = Combine(*left, sign, *right);
        }
        return left;
    }

    static Numbers Combine(Numbers left, char sign, Numbers right) {
        left.resize(std::max(left.size(), right.size()), left.front());
        right.resize(left.size(), right.front());
        for (std::size_t i = 0; i < left.size(); ++i) {
            left[i] = sign == '+'   ? left[i] + right[i]
                      : sign == '-' ? left[i] - right[i]
                      : sign == '*' ? left[i] * right[i]
                                    : left[i] / right[i];
        }
        return left;
    }

    std::optional<Numbers> TakeOperand() {
        constexpr int kDeepest = 16;
        ++depth;
        std::optional<Numbers> value = depth <= kDeepest ? TakeOperandWithin() : std::nullopt;
        --depth;
        return value;
    }

    std::optional<Numbers> TakeOperandWithin() {
        rest = Trim(rest);
        if (rest.starts_with('(')) {
            return TakeList(1);
        }
        std::size_t const length = static_cast<std::size_t>(
            std::find_if_not(rest.begin(), rest.end(), [](unsigned char c) { return std::isalnum(c) != 0; }) -
            rest.begin());
        std::string_view const word = rest.substr(0, length);
        if (word == "true" || word == "false") {
            rest.remove_prefix(length);
            return Numbers{word == "true" ? 1.0 : 0.0};
        }
        auto const type =
            std::find_if(kTypes.begin(), kTypes.end(), [&](TypeName const& one) { return one.name == word; });
        if (type != kTypes.end()) {
            rest = Trim(rest.substr(length));
            return TakeList(type->size);
        }
        if (std::optional<double> const number = TakeNumber(rest)) {
            return Numbers{*number};
        }
        if (!rest.starts_with('-')) {
            return std::nullopt;
        }
        rest.remove_prefix(1);
        std::optional<Numbers> const value = TakeOperand();
        return value ? std::optional(Combine({0.0}, '-', *value)) : std::nullopt;
    }

    /// "(x, y)" as `size` numbers; a single one stands for all. Longer lists than any type has are none: each sign in
    /// a long comment would take them all once more.
    std::optional<Numbers> TakeList(std::size_t size) {
        constexpr std::size_t kMostNumbers = 64;
        if (!rest.starts_with('(')) {
            return std::nullopt;
        }
        Numbers numbers;
        do {
            rest.remove_prefix(1);
            std::optional<Numbers> const part = TakeSum();
            if (!part) {
                return std::nullopt;
            }
            numbers.insert(numbers.end(), part->begin(), part->end());
            if (numbers.size() > kMostNumbers) {
                return std::nullopt;
            }
            rest = Trim(rest);
        } while (rest.starts_with(','));
        if (!rest.starts_with(')')) {
            return std::nullopt;
        }
        rest.remove_prefix(1);
        if (numbers.size() == 1) {
            numbers.resize(size, numbers.front());
        }
        return numbers;
    }

    std::string_view rest;
    int depth = 0;
};

/// What the comments of a uniform say.
struct Notes {
    std::optional<Numbers> initial;
    std::optional<std::pair<double, double>> range;
    std::string help;

    void Read(std::string_view comment) {
        std::string_view rest = Trim(comment);
        if (rest.starts_with('=')) {
            rest.remove_prefix(1);
            std::optional<Numbers> const value = ConstantExpression::Take(rest);
            if (value && !initial) {
                initial = value;
            }
            rest = Trim(rest);
            while (rest.starts_with(';') || rest.starts_with('/')) {
                rest = Trim(rest.substr(1));
            }
        }
        ReadHelp(rest);
    }

    /// "LEAST to MOST: what it does", where the range may be missing.
    void ReadHelp(std::string_view text) {
        std::string_view rest = text;
        std::optional<double> const least = TakeNumber(rest);
        rest = Trim(rest);
        if (least && rest.starts_with("to ")) {
            rest.remove_prefix(3);
            std::optional<double> const most = TakeNumber(rest);
            rest = Trim(rest);
            if (most && *most > *least && (rest.empty() || rest.starts_with(':'))) {
                range = {*least, *most};
                text = Trim(rest.substr(std::min<std::size_t>(rest.size(), 1)));
            }
        }
        if (!text.empty() && help.size() + text.size() <= kLongestHelp) {
            help.append(help.empty() ? "" : "; ").append(text);
        }
    }
};

class Declaration {
public:
    Declaration(std::string const& fileName, std::vector<ShaderToken> const& allTokens, std::size_t first,
                bool isOfTransition)
        : file(fileName), tokens(allTokens), at(first), isTransition(isOfTransition) {}

    std::size_t Read(std::vector<ShaderUniform>& uniforms) {
        int const line = tokens[at++].line;
        while (at < tokens.size() && (IsPrecision(tokens[at]) || tokens[at].kind == Kind::Comment)) {
            ++at;
        }
        if (at >= tokens.size()) {
            return at;
        }
        ShaderToken const& word = tokens[at++];
        auto const type =
            std::find_if(kTypes.begin(), kTypes.end(), [&](TypeName const& known) { return word.Is(known.name); });
        if (type == kTypes.end()) {
            Refuse(line,
                   fmt::format("uniforms of the type {} cannot be set; float, int, bool, vec2, vec3, vec4, ivec2, "
                               "ivec3, ivec4 and sampler2D can",
                               word.text));
        }
        std::vector<Found> const found = ReadNames(line);
        for (Found const& one : found) {
            ShaderUniform uniform = Make(*type, one);
            // A preprocessor's other branch may declare it again.
            auto const same = std::find_if(uniforms.begin(), uniforms.end(), [&uniform](ShaderUniform const& known) {
                return known.name == uniform.name;
            });
            if (same == uniforms.end()) {
                LimitCount(uniforms.size(), one.line);
                uniforms.push_back(std::move(uniform));
            } else if (same->type != uniform.type || same->size != uniform.size) {
                Refuse(one.line, fmt::format("{} is declared twice, as different types", one.name));
            }
        }
        return at;
    }

private:
    struct Found {
        std::string name;
        int line;
        Notes notes;
    };

    [[noreturn]] void Refuse(int line, std::string const& why) const {
        Core::Throw(std::invalid_argument(fmt::format("{}:{}: {}", file, line, why)));
    }

    void LimitCount(std::size_t count, int line) const {
        if (count == kMostUniforms) {
            Refuse(line, fmt::format("a file has {} uniforms at most", kMostUniforms));
        }
    }

    std::vector<Found> ReadNames(int line) {
        std::vector<Found> found;
        std::vector<std::string_view> early;
        for (; at < tokens.size() && !tokens[at].Is(";"); ++at) {
            ShaderToken const& token = tokens[at];
            if (token.kind == Kind::Comment) {
                if (found.empty()) {
                    early.push_back(token.text);
                } else {
                    found.back().notes.Read(token.text);
                }
            } else if (token.kind == Kind::Word && (found.empty() || IsAfterComma())) {
                LimitCount(found.size(), token.line);
                found.push_back({std::string(token.text), token.line, {}});
                for (std::string_view const comment : early) {
                    found.back().notes.Read(comment);
                }
                early.clear();
            } else if (token.Is("[")) {
                Refuse(token.line, "an array cannot be set");
            } else if (token.Is("=") && !found.empty()) {
                ReadInitializer(found.back().notes);
            } else if (!token.Is(",")) {
                return found;  // the compiler says what is wrong
            }
        }
        if (at >= tokens.size()) {
            Refuse(line, "the uniform's declaration has no end");
        }
        Notes shared;
        int const last = tokens[at].line;
        for (++at; at < tokens.size() && tokens[at].kind == Kind::Comment && tokens[at].line == last; ++at) {
            shared.Read(tokens[at].text);
        }
        for (Found& one : found) {
            one.notes.initial = one.notes.initial ? one.notes.initial : shared.initial;
            one.notes.range = one.notes.range ? one.notes.range : shared.range;
            one.notes.help = one.notes.help.empty() ? shared.help : one.notes.help;
        }
        return found;
    }

    /// Comments do not count.
    bool IsAfterComma() const {
        std::size_t before = at;
        while (before > 0 && tokens[before - 1].kind == Kind::Comment) {
            --before;
        }
        return before > 0 && tokens[before - 1].Is(",");
    }

    /// "= 0.5", which GLSL 1.20 knows, too. Leaves the last token of the value to the caller.
    void ReadInitializer(Notes& notes) {
        std::string text;
        int depth = 0;
        std::size_t next = at + 1;
        for (; next < tokens.size(); ++next) {
            ShaderToken const& token = tokens[next];
            depth += token.Is("(") ? 1 : token.Is(")") ? -1 : 0;
            if (token.Is(";") || (token.Is(",") && depth == 0)) {
                break;
            }
            if (token.kind != Kind::Comment) {
                text += token.text;
            } else {
                notes.Read(token.text);
            }
        }
        std::string_view rest = text;
        notes.initial = ConstantExpression::Take(rest);
        at = next - 1;
    }

    ShaderUniform Make(TypeName const& type, Found const& found) const {
        ShaderUniform uniform;
        uniform.name = found.name;
        uniform.type = type.type;
        uniform.size = type.size;
        uniform.line = found.line;
        uniform.help = found.notes.help.empty() ? fmt::format("the file's {}", found.name) : found.notes.help;
        if (type.type == Type::Sampler || IsGivenUniform(found.name, isTransition)) {
            uniform.initial = std::string();
            return uniform;
        }
        if (!found.notes.initial) {
            Refuse(found.line,
                   fmt::format("the uniform {} has no default: write // = VALUE behind its declaration", found.name));
        }
        uniform.exact = *found.notes.initial;
        if (uniform.exact.size() == 1) {
            uniform.exact.resize(type.size, uniform.exact.front());
        }
        bool const isWhole = type.type == Type::Int || type.type == Type::IntVector;
        bool const fits = uniform.exact.size() == type.size &&
                          std::all_of(uniform.exact.begin(), uniform.exact.end(),
                                      [isWhole](double number) { return !isWhole || number == std::floor(number); });
        if (!fits) {
            Refuse(found.line, fmt::format("the default of {} is no {}", found.name, type.name));
        }
        SetRange(uniform, found.notes.range);
        SetInitial(uniform);
        return uniform;
    }

    void SetRange(ShaderUniform& uniform, std::optional<std::pair<double, double>> const& range) const {
        bool const isWhole = uniform.type == Type::Int || uniform.type == Type::IntVector;
        using Whole = std::numeric_limits<std::int32_t>;
        constexpr double kLargest = std::numeric_limits<float>::max();
        uniform.minimum = isWhole ? Whole::min() : -kLargest;
        uniform.maximum = isWhole ? Whole::max() : kLargest;
        if (range) {
            uniform.minimum = std::max(uniform.minimum, range->first);
            uniform.maximum = std::min(uniform.maximum, range->second);
        }
        bool const isInside = std::all_of(uniform.exact.begin(), uniform.exact.end(), [&](double number) {
            return number >= uniform.minimum && number <= uniform.maximum;
        });
        if (!isInside && uniform.type != Type::Bool) {
            Refuse(uniform.line, fmt::format("the default of {} is not within {} to {}", uniform.name, uniform.minimum,
                                             uniform.maximum));
        }
    }

    static void SetInitial(ShaderUniform& uniform) {
        std::string const words = Core::ToLower(uniform.name + " " + uniform.help);
        bool const isNamedColor = words.find("color") != std::string::npos || words.find("colour") != std::string::npos;
        bool const isInUnit = std::all_of(uniform.exact.begin(), uniform.exact.end(),
                                          [](double channel) { return channel >= 0.0 && channel <= 1.0; });
        uniform.isColor = uniform.type == Type::Vector && uniform.size >= 3 && isNamedColor && isInUnit;
        if (uniform.isColor) {
            auto const channel = [&uniform](std::size_t i) {
                constexpr double kMost = 255.0;
                return i < uniform.size ? static_cast<std::uint8_t>(std::lround(uniform.exact[i] * kMost))
                                        : std::uint8_t{255};
            };
            uniform.initial = Color{channel(0), channel(1), channel(2), channel(3)};
            return;
        }
        switch (uniform.type) {
            case Type::Float:
                uniform.initial = static_cast<float>(uniform.exact.front());
                break;
            case Type::Int:
                uniform.initial = static_cast<std::int32_t>(uniform.exact.front());
                break;
            case Type::Bool:
                uniform.initial = uniform.exact.front() != 0.0;
                break;
            case Type::Vector:
            case Type::IntVector:
                uniform.initial = uniform.exact;
                break;
            case Type::Sampler:
                break;
        }
    }

    std::string const& file;
    std::vector<ShaderToken> const& tokens;
    std::size_t at;
    bool isTransition;
};

}  // namespace

void ReadUniforms(std::string const& file, std::vector<ShaderToken> const& tokens, std::size_t& at, bool isTransition,
                  std::vector<ShaderUniform>& uniforms) {
    at = Declaration(file, tokens, at, isTransition).Read(uniforms);
}

}  // namespace Kaltor::Proc
