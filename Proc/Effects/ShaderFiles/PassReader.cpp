#include "Proc/Effects/ShaderFiles/PassReader.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <map>
#include <optional>
#include <sstream>
#include <stdexcept>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Core/ParseNumber.h"

namespace Kaltor::Proc {
namespace {

using Kind = ShaderToken::Kind;

constexpr std::size_t kMostPasses = 8;  // each takes a texture unit; drivers have 16 at least
constexpr double kLargestRadius = 2.0;

struct Directive {
    bool isBlurred = false;
    std::string name;
    std::map<std::string, std::string> values;
};

/// "pass: NAME key=value ..."; nothing for other comments.
std::optional<Directive> ParseDirective(std::string_view comment) {
    std::istringstream words{std::string(comment)};
    std::string word;
    words >> word;
    Directive directive;
    directive.isBlurred = word == "blurred:";
    if ((word != "pass:" && !directive.isBlurred) || !(words >> directive.name)) {
        return std::nullopt;
    }
    while (words >> word) {
        std::size_t const equals = word.find('=');
        if (equals == std::string::npos) {
            return std::nullopt;
        }
        directive.values[word.substr(0, equals)] = word.substr(equals + 1);
    }
    return directive;
}

bool IsIdentifier(std::string_view name) {
    return std::isalpha(static_cast<unsigned char>(name.front())) != 0 &&
           std::all_of(name.begin(), name.end(), [](unsigned char c) { return std::isalnum(c) != 0 || c == '_'; }) &&
           name.find("__") == std::string_view::npos;
}

class Reader {
public:
    Reader(std::string const& fileName, std::vector<ShaderToken> const& allTokens, bool isOfTransition,
           std::vector<ShaderUniform> const& allUniforms)
        : file(fileName), tokens(allTokens), isTransition(isOfTransition), uniforms(allUniforms) {}

    void Add(Directive const& directive, int directiveLine) {
        line = directiveLine;
        RequireName(directive.name);
        if (passes.size() == kMostPasses) {
            Refuse(fmt::format("a file has {} passes and blurred copies at most", kMostPasses));
        }
        ShaderPass pass;
        pass.name = directive.name;
        pass.sampler = "kaltor_pass_" + directive.name;
        if (directive.isBlurred) {
            ReadBlurred(directive, pass);
        } else {
            ReadDrawn(directive, pass);
        }
        passes.push_back(std::move(pass));
    }

    std::vector<ShaderPass> passes;

private:
    [[noreturn]] void Refuse(std::string const& why) const {
        Core::Throw(std::invalid_argument(fmt::format("{}:{}: {}", file, line, why)));
    }

    void RequireName(std::string const& name) const {
        if (!IsIdentifier(name)) {
            Refuse(fmt::format("\"{}\" is no name for a pass: letters, digits and _ make one", name));
        }
        bool const isTaken = std::any_of(passes.begin(), passes.end(), [&](ShaderPass const& earlier) {
            return MakeReaderName(earlier.name) == MakeReaderName(name);
        });
        std::string const reader = MakeReaderName(name);
        if (isTaken || reader == "getColor" || reader == "getFromColor" || reader == "getToColor") {
            Refuse(fmt::format("the name {} is taken", name));
        }
    }

    void AcceptOnly(Directive const& directive, std::initializer_list<std::string_view> keys) const {
        for (auto const& [key, value] : directive.values) {
            if (std::find(keys.begin(), keys.end(), key) == keys.end()) {
                Refuse(fmt::format("{} has no \"{}\"", directive.isBlurred ? "blurred:" : "pass:", key));
            }
        }
    }

    void ReadDrawn(Directive const& directive, ShaderPass& pass) const {
        AcceptOnly(directive, {"scale"});
        if (!DefinesFunction(tokens, pass.name)) {
            Refuse(fmt::format("the pass needs the function \"vec4 {}(vec2 uv)\"", pass.name));
        }
        auto const scale = directive.values.find("scale");
        if (scale != directive.values.end()) {
            std::optional<double> const number = Core::ParseNumber<double>(scale->second);
            if (!number || *number <= 0.0 || *number > 1.0) {
                Refuse(fmt::format("scale is a number above 0, up to 1, not {}", scale->second));
            }
            pass.scale = *number;
        }
    }

    void ReadBlurred(Directive const& directive, ShaderPass& pass) const {
        AcceptOnly(directive, {"of", "radius"});
        pass.kind = ShaderPass::Kind::Blurred;
        auto const of = directive.values.find("of");
        pass.source = FindSource(of == directive.values.end() ? std::nullopt : std::optional(of->second));
        auto const radius = directive.values.find("radius");
        if (radius == directive.values.end()) {
            Refuse("a blurred copy needs a radius: radius=0.05, in heights of the frame");
        }
        std::optional<double> const number = Core::ParseNumber<double>(radius->second);
        if (number && *number >= 0.0 && *number <= kLargestRadius) {
            pass.radius = *number;
            return;
        }
        auto const uniform = std::find_if(uniforms.begin(), uniforms.end(), [&](ShaderUniform const& one) {
            return one.type == ShaderUniform::Type::Float && one.name == radius->second;
        });
        if (uniform == uniforms.end()) {
            Refuse(fmt::format("radius is a number from 0 to {}, in heights of the frame, or a uniform float, not {}",
                               kLargestRadius, radius->second));
        }
        pass.radiusUniform = static_cast<std::size_t>(uniform - uniforms.begin());
    }

    /// The sampler that `of` means.
    std::string FindSource(std::optional<std::string> const& of) const {
        auto const earlier =
            std::find_if(passes.begin(), passes.end(), [&](ShaderPass const& pass) { return of && pass.name == *of; });
        if (earlier != passes.end()) {
            return earlier->sampler;
        }
        if (isTransition && of == "to") {
            return kSecondSampler;
        }
        if (isTransition ? of == "from" : !of || of == "color") {
            return kFirstSampler;
        }
        Refuse(fmt::format("of={} is nothing that can be blurred here: {}an earlier pass can", of.value_or(""),
                           isTransition ? "from, to, or " : "color or "));
    }

    std::string const& file;
    std::vector<ShaderToken> const& tokens;
    bool isTransition;
    std::vector<ShaderUniform> const& uniforms;
    int line = 0;
};

}  // namespace

bool DefinesFunction(std::vector<ShaderToken> const& tokens, std::string_view name) {
    int depth = 0;
    bool isDeclared = false;  // a body or a semicolon comes next
    ShaderToken const* type = nullptr;
    for (ShaderToken const& token : tokens) {
        if (isDeclared && token.Is("{")) {
            return true;
        }
        depth += token.Is("{") ? 1 : token.Is("}") ? -1 : 0;
        bool const isName = depth == 0 && type != nullptr && type->Is("vec4") && token.Is(name);
        isDeclared = (isDeclared || isName) && !token.Is(";");
        type = token.kind == Kind::Comment ? type : &token;
    }
    return false;
}

std::vector<ShaderPass> ReadPasses(std::string const& file, std::vector<ShaderToken> const& tokens, bool isTransition,
                                   std::vector<ShaderUniform> const& uniforms) {
    Reader reader(file, tokens, isTransition, uniforms);
    int depth = 0;
    for (ShaderToken const& token : tokens) {
        depth += token.Is("{") ? 1 : token.Is("}") ? -1 : 0;
        if (depth == 0 && token.kind == Kind::Comment) {
            if (std::optional<Directive> const directive = ParseDirective(token.text)) {
                reader.Add(*directive, token.line);
            }
        }
    }
    return std::move(reader.passes);
}

}  // namespace Kaltor::Proc
