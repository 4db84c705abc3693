#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace Kaltor::Proc {

/// A piece of GLSL text. Directives of the preprocessor are one token each.
struct ShaderToken {
    enum class Kind : std::uint8_t { Word, Number, Sign, Comment, Directive };

    Kind kind;
    std::string_view text;  ///< of a comment: what stands in it
    int line;
    std::size_t begin;  ///< in the whole text

    bool Is(std::string_view what) const { return kind != Kind::Comment && text == what; }
};

/// Splits a text, which must outlive the tokens. Never fails: what is no GLSL is left to the compiler.
std::vector<ShaderToken> ScanShader(std::string_view text);

}  // namespace Kaltor::Proc
