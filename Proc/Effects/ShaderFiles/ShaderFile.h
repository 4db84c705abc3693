#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Proc/Settings/Settings.h"

namespace Kaltor::Proc {

/// The ending of the files' names.
constexpr std::string_view kShaderEnding = ".glsl";

/// Whether this is the name of a shader file rather than of a class.
bool IsShaderFile(std::string_view name);

/// A uniform variable of a shader file, which is a field of its settings.
struct ShaderUniform {
    enum class Type : std::uint8_t { Float, Int, Bool, Vector, IntVector, Sampler };

    std::string name;
    Type type = Type::Float;
    std::size_t size = 1;  ///< of a vector
    bool isColor = false;
    Numbers exact;  ///< the default as the file has it: a field holds colours in 8 bits only
    FieldValue initial;
    double minimum = 0.0;
    double maximum = 0.0;
    std::string help;
    int line = 0;
};

/// The samplers of a program that read what goes in.
constexpr char kFirstSampler[] = "kaltor_first";
constexpr char kSecondSampler[] = "kaltor_second";

/// A picture besides the one that a file draws. A line of comment asks for it, and programs read it by
/// `MakeReaderName`. A pass is drawn by a function of its name; a blurred copy is made of an input or an earlier pass.
struct ShaderPass {
    enum class Kind : std::uint8_t { Drawn, Blurred };

    std::string name;
    std::string sampler;  ///< by which programs read it
    Kind kind = Kind::Drawn;
    double scale = 1.0;                        ///< of a pass: its sides in sides of the frame
    std::string source;                        ///< of a copy: the sampler of what is blurred
    double radius = 0.0;                       ///< of a copy: two deviations of the Gaussian, in heights of the frame
    std::optional<std::size_t> radiusUniform;  ///< the number of the uniform that gives the radius instead
};

/// The function that reads the pass "lights": "getLights".
std::string MakeReaderName(std::string_view pass);

constexpr std::size_t kMostShaderBytes = std::size_t{1} << 20U;

/// What a shader file says: its text, its kind, its uniforms and its passes.
///
/// A transition defines `vec4 transition(vec2 uv)` and is given `progress`, `ratio`, `getFromColor(uv)` and
/// `getToColor(uv)`. An effect defines `vec4 effect(vec2 uv)` and is given `getColor(uv)`, `progress`, `time`, `ratio`
/// and `resolution`. uv is (0, 0) at the lower left and (1, 1) at the upper right.
class ShaderFile {
public:
    /// Reads a file of 1 MiB at most. Throws `std::runtime_error` where that fails, and as below.
    static ShaderFile Read(std::string const& path);
    /// `name` stands for the file in messages and is its class id. Throws `std::invalid_argument` with one line,
    /// "NAME:LINE: what is wrong", for a text that is neither a transition nor an effect, and for a uniform that
    /// cannot be a field.
    ShaderFile(std::string name, std::string_view whole);

    std::string const& GetName() const { return name; }
    /// The file that it was read from; empty for a text.
    std::string const& GetPath() const { return path; }
    bool IsTransition() const { return isTransition; }
    bool RunsOnProgress() const { return isTransition || usesProgress; }
    std::string const& GetSummary() const { return summary; }
    std::vector<ShaderUniform> const& GetUniforms() const { return uniforms; }

    /// The same file under another class id.
    ShaderFile Named(std::string const& classId) const;

    /// In the order in which they are drawn; the frame comes after the last one.
    std::vector<ShaderPass> const& GetPasses() const { return passes; }

    /// The whole program of GLSL 1.20 that draws this pass, or the frame for the number after the last pass.
    std::string MakeProgram(std::size_t pass) const;
    /// A name for it that no other text has.
    std::string const& GetProgramName(std::size_t pass) const { return programNames[pass]; }

private:
    std::string name;
    std::string path;
    std::string summary;
    std::string text;  ///< between what stands before and behind it in a program
    std::string head;
    std::vector<std::string> programNames;
    std::vector<ShaderUniform> uniforms;
    std::vector<ShaderPass> passes;
    bool isTransition = false;
    bool usesProgress = false;
};

/// A compiler's log as one line: its first error, with the file's name and its own line where the log gives one
/// ("wave.glsl:12: ..."). Knows the forms of Mesa, NVIDIA and those that begin with "ERROR:".
std::string DescribeShaderLog(std::string const& name, std::string_view log);

}  // namespace Kaltor::Proc
