#include "Proc/Effects/ShaderFiles/ShaderFile.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <functional>
#include <optional>
#include <regex>
#include <stdexcept>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Core/ParseNumber.h"
#include "Core/PlainFile.h"
#include "Proc/Effects/ShaderFiles/PassReader.h"
#include "Proc/Effects/ShaderFiles/ShaderScanner.h"
#include "Proc/Effects/ShaderFiles/UniformReader.h"

namespace Kaltor::Proc {
namespace {

using Kind = ShaderToken::Kind;

// What stands before the file's own text. `#line 0` makes the next line the first one. Names that files may use
// themselves are functions or uniforms, never macros.
constexpr char kTransitionHead[] = R"glsl(uniform sampler2D kaltor_first;
uniform sampler2D kaltor_second;
varying vec2 TexCoord0;
vec4 getFromColor(vec2 uv) { return texture2D(kaltor_first, uv); }
vec4 getToColor(vec2 uv) { return texture2D(kaltor_second, uv); }
)glsl";
constexpr char kEffectHead[] = R"glsl(uniform sampler2D kaltor_first;
varying vec2 TexCoord0;
vec4 getColor(vec2 uv) { return texture2D(kaltor_first, uv); }
)glsl";

/// What the program is given besides; a file may declare them once more. In a transition, other names are its own.
struct Given {
    std::string_view name;
    std::string_view type;
    bool isForTransitions;
};
constexpr std::array kGiven{Given{"progress", "float", true}, Given{"ratio", "float", true},
                            Given{"time", "float", false}, Given{"resolution", "vec2", false}};

/// The sentence that says what a viewer sees: the first comment before the code that is a sentence, and neither a key
/// with its value ("Author: ...") nor a statement that is commented out; or what follows "Description: ".
std::string FindSummary(std::vector<ShaderToken> const& tokens) {
    for (ShaderToken const& token : tokens) {
        if (token.kind != Kind::Comment) {
            break;
        }
        std::string_view text = token.text;
        while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front())) != 0) {
            text.remove_prefix(1);
        }
        while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())) != 0) {
            text.remove_suffix(1);
        }
        constexpr std::size_t kLongest = 160;
        constexpr std::string_view kDescription = "Description: ";
        if (text.starts_with(kDescription) && text.size() <= kDescription.size() + kLongest) {
            return std::string(text.substr(kDescription.size()));
        }
        std::string_view const key = text.substr(0, std::min(text.find(':'), text.size()));
        bool const isKey = key.size() < text.size() && key.find(' ') == std::string_view::npos;
        bool const isSentence = text.size() > 3 && text.size() <= kLongest && text.ends_with('.') &&
                                std::isupper(static_cast<unsigned char>(text.front())) != 0 && !isKey &&
                                text.find('\n') == std::string_view::npos;
        if (isSentence) {
            return std::string(text);
        }
    }
    return {};
}

/// Lines end with "\n" alone, whatever wrote them, and no byte order mark stands in front.
std::string NormalizeLines(std::string_view text) {
    constexpr std::string_view kMark = "\xEF\xBB\xBF";
    text.remove_prefix(text.starts_with(kMark) ? kMark.size() : 0);
    std::string lines;
    lines.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        bool const isPair = text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n';
        if (!isPair) {
            lines += text[i] == '\r' ? '\n' : text[i];
        }
    }
    return lines;
}

/// Whether a directive begins with this word; spaces may follow its "#".
bool IsDirective(ShaderToken const& token, std::string_view word) {
    if (token.kind != Kind::Directive) {
        return false;
    }
    std::size_t const begin = token.text.find_first_not_of(" \t", 1);
    return begin != std::string_view::npos && token.text.substr(begin).starts_with(word);
}

void BlankPart(std::string& text, std::size_t begin, std::size_t length) {
    auto const first = text.begin() + static_cast<std::ptrdiff_t>(begin);
    std::replace_if(
        first, first + static_cast<std::ptrdiff_t>(length), [](char c) { return c != '\n'; }, ' ');
}

/// Blanks what is not GLSL 1.20 but harmless: "#version", the default precision of GLSL ES, and what comments say: a
/// backslash at a comment's end would take the next line into it on some drivers only. Lines stay.
std::string Blank(std::string_view text, std::vector<ShaderToken> const& tokens) {
    std::string blanked(text);
    for (std::size_t i = 0; i < tokens.size(); ++i) {
        ShaderToken const& token = tokens[i];
        if (token.kind == Kind::Comment) {
            constexpr std::size_t kOpening = 2;
            BlankPart(blanked, token.begin + kOpening, token.text.size());
        } else if (IsDirective(token, "version")) {
            BlankPart(blanked, token.begin, token.text.size());
        } else if (token.Is("precision")) {
            auto const end = std::find_if(tokens.begin() + static_cast<std::ptrdiff_t>(i), tokens.end(),
                                          [](ShaderToken const& one) { return one.Is(";"); });
            if (end == tokens.end()) {
                break;  // the compiler says what is wrong
            }
            BlankPart(blanked, token.begin, end->begin + 1 - token.begin);
            i = static_cast<std::size_t>(end - tokens.begin());
        }
    }
    // Characters beyond ASCII, which some compilers refuse.
    std::replace_if(
        blanked.begin(), blanked.end(), [](char c) { return static_cast<unsigned char>(c) >= 0x80; }, ' ');
    return blanked;
}

/// Takes the "#extension" lines out of the text: they have to stand before everything else. Those under a condition
/// stay. Derivatives are no extension in GLSL 1.20. Each keeps the number of its line.
std::string TakeExtensions(std::string& text, std::vector<ShaderToken> const& tokens) {
    std::string extensions;
    int conditions = 0;
    for (ShaderToken const& token : tokens) {
        conditions += IsDirective(token, "if") ? 1 : IsDirective(token, "endif") ? -1 : 0;
        if (!IsDirective(token, "extension")) {
            continue;
        }
        bool const isNeedless = token.text.find("GL_OES_standard_derivatives") != std::string_view::npos;
        if (isNeedless || conditions == 0) {
            BlankPart(text, token.begin, token.text.size());
            extensions += isNeedless ? "" : fmt::format("#line {}\n{}\n", token.line - 1, token.text);
        }
    }
    return extensions;
}

std::string FirstLine(std::string_view text) {
    return std::string(text.substr(0, text.find('\n')));
}

std::string ReadShaderText(std::string const& path) {
    try {
        return Core::ReadPlainFile(path, kMostShaderBytes);
    } catch (Core::FileFault const& fault) {
        Core::Throw(std::runtime_error(fmt::format("{}: {}", path,
                                                   fault.GetKind() == Core::FileFault::Kind::TooLarge
                                                       ? "is too large for a shader file, over 1 MiB"
                                                       : fault.what())));
    }
}

}  // namespace

bool IsGivenUniform(std::string_view name, bool isTransition) {
    return std::any_of(kGiven.begin(), kGiven.end(), [&](Given const& given) {
        return given.name == name && (given.isForTransitions || !isTransition);
    });
}

bool IsShaderFile(std::string_view name) {
    return name.size() > kShaderEnding.size() && name.ends_with(kShaderEnding);
}

std::string MakeReaderName(std::string_view pass) {
    std::string reader = "get" + std::string(pass);
    char& first = reader[3];
    first = first >= 'a' && first <= 'z' ? static_cast<char>(first - 'a' + 'A') : first;  // the same in any locale
    return reader;
}

ShaderFile::ShaderFile(std::string fileName, std::string_view whole) : name(std::move(fileName)) {
    std::string const lines = NormalizeLines(whole);
    std::vector<ShaderToken> const tokens = ScanShader(lines);
    auto const mentions = [&tokens](std::string_view word) {
        return std::any_of(tokens.begin(), tokens.end(), [word](ShaderToken const& one) { return one.Is(word); });
    };
    isTransition = DefinesFunction(tokens, "transition");
    // A transition may have a function of its own that is called so.
    bool const isEffect = DefinesFunction(tokens, "effect") && !(isTransition && !mentions("getColor"));
    if (isTransition == isEffect) {
        std::string const why = isEffect ? "it defines both \"vec4 transition(vec2 uv)\" and \"vec4 effect(vec2 uv)\""
                                         : "the function is missing: it needs \"vec4 transition(vec2 uv)\" for a "
                                           "transition or \"vec4 effect(vec2 uv)\" for an effect";
        Core::Throw(std::invalid_argument(fmt::format("{}: {}", name, why)));
    }
    usesProgress = mentions("progress");
    int depth = 0;
    for (std::size_t i = 0; i < tokens.size();) {
        depth += tokens[i].Is("{") ? 1 : tokens[i].Is("}") ? -1 : 0;
        if (depth == 0 && tokens[i].Is("uniform")) {
            ReadUniforms(name, tokens, i, isTransition, uniforms);
        } else {
            ++i;
        }
    }
    text = Blank(lines, tokens);
    head = "#version 120\n" + TakeExtensions(text, tokens) + "#define lowp\n#define mediump\n#define highp\n";
    for (Given const& given : kGiven) {
        bool const isDeclared = std::any_of(uniforms.begin(), uniforms.end(),
                                            [&](ShaderUniform const& own) { return own.name == given.name; });
        if (!isDeclared && (given.isForTransitions || isEffect)) {
            head += fmt::format("uniform {} {};\n", given.type, given.name);
        }
    }
    std::erase_if(uniforms, [&](ShaderUniform const& own) { return IsGivenUniform(own.name, isTransition); });
    head += isTransition ? kTransitionHead : kEffectHead;
    passes = ReadPasses(name, tokens, isTransition, uniforms);
    std::size_t const hash = std::hash<std::string>()(head + text);
    for (std::size_t i = 0; i <= passes.size(); ++i) {
        programNames.push_back(fmt::format("ShaderFile {} {:x} {}", name, hash, i));
    }

    summary = FindSummary(tokens);
    if (summary.empty()) {
        summary = fmt::format("{} from a shader file.", isTransition ? "A transition" : "An effect");
    }
}

std::string ShaderFile::MakeProgram(std::size_t pass) const {
    std::string program = head;
    for (std::size_t i = 0; i < passes.size(); ++i) {
        std::string const reader = MakeReaderName(passes[i].name);
        if (i >= pass) {
            program += fmt::format("vec4 {}(vec2 uv) {{ return vec4(0.0); }}\n", reader);  // not drawn yet
            continue;
        }
        program += fmt::format(
            "uniform sampler2D {0};\nvec4 {1}(vec2 uv) {{ vec4 c = texture2D({0}, uv); return {2}; }}\n",
            passes[i].sampler, reader,
            passes[i].kind == ShaderPass::Kind::Blurred ? "c.a < 0.002 ? vec4(0.0) : vec4(c.rgb / c.a, c.a)" : "c");
    }
    std::string const drawn = pass < passes.size() ? passes[pass].name : isTransition ? "transition" : "effect";
    return program + fmt::format("#line 0\n{}\nvoid main() {{ gl_FragColor = {}(TexCoord0); }}\n", text, drawn);
}

ShaderFile ShaderFile::Read(std::string const& path) {
    ShaderFile read(path, ReadShaderText(path));
    read.path = path;
    return read;
}

ShaderFile ShaderFile::Named(std::string const& classId) const {
    ShaderFile other = *this;
    other.name = classId;
    return other;
}

std::string DescribeShaderLog(std::string const& name, std::string_view log) {
    // "0:12(5): error: text", "0(12) : error C1503: text", "ERROR: 0:12: text"
    static std::regex const form(
        R"(^(?:ERROR: )?\d+(?::(\d+)(?:\(\d+\))?|\((\d+)\))\s*:\s*(?:error(?: C\d+)?\s*:\s*)?(.*))");
    constexpr std::size_t kLongest = 500;  // names may fill a file, and the expression takes stack for each character
    std::optional<std::string> first;
    while (!log.empty()) {
        std::string line = FirstLine(log);
        log.remove_prefix(std::min(line.size() + 1, log.size()));
        line.resize(std::min(line.size(), kLongest));
        std::smatch match;
        bool const isWarning = line.find("warning") != std::string::npos;
        if (!isWarning && std::regex_match(line, match, form)) {
            std::string number = match[1].matched ? match[1].str() : match[2].str();
            // To Mesa's preprocessor "#line 0" is the next line's own number, not that of the line before it.
            bool const isBefore = match[3].str().starts_with("preprocessor error");
            if (std::optional<int> const before = isBefore ? Core::ParseNumber<int>(number) : std::nullopt) {
                number = std::to_string(std::int64_t{*before} + 1);
            }
            return fmt::format("{}:{}: {}", name, number, match[3].str());
        }
        if (!first && !isWarning && !line.empty()) {
            first = line;
        }
    }
    return fmt::format("{}: {}", name, first.value_or("the compiler refuses it without a reason"));
}

}  // namespace Kaltor::Proc
