#include "Proc/Effects/ShaderFiles/ShaderScanner.h"

#include <algorithm>
#include <cctype>

namespace Kaltor::Proc {
namespace {

using Kind = ShaderToken::Kind;

bool IsWordPart(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}
bool IsDigit(char c) {
    return std::isdigit(static_cast<unsigned char>(c)) != 0;
}
bool IsSpace(char c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

class Scanner {
public:
    explicit Scanner(std::string_view whole) : text(whole) {}

    std::vector<ShaderToken> Scan() {
        bool beginsLine = true;
        while (at < text.size()) {
            char const c = text[at];
            if (IsSpace(c)) {
                beginsLine = beginsLine || c == '\n';
                Skip(1);
                continue;
            }
            if (c == '#' && beginsLine) {
                Add(Kind::Directive, DirectiveLength());
            } else if (text.substr(at).starts_with("//")) {
                AddComment(2, text.find('\n', at), 0);
            } else if (text.substr(at).starts_with("/*")) {
                AddComment(2, text.find("*/", at + 2), 2);
            } else if (IsDigit(c) || (c == '.' && at + 1 < text.size() && IsDigit(text[at + 1]))) {
                Add(Kind::Number, NumberLength());
            } else if (IsWordPart(c)) {
                auto const end =
                    std::find_if_not(text.begin() + static_cast<std::ptrdiff_t>(at), text.end(), IsWordPart);
                Add(Kind::Word, static_cast<std::size_t>(end - text.begin()) - at);
            } else {
                Add(Kind::Sign, 1);
            }
            beginsLine = false;
        }
        return std::move(tokens);
    }

private:
    void Skip(std::size_t count) {
        line += static_cast<int>(std::count(text.begin() + static_cast<std::ptrdiff_t>(at),
                                            text.begin() + static_cast<std::ptrdiff_t>(at + count), '\n'));
        at += count;
    }
    void Add(Kind kind, std::size_t length) {
        tokens.push_back({kind, text.substr(at, length), line, at});
        Skip(length);
    }
    /// `end` is where what stands in the comment ends.
    void AddComment(std::size_t opening, std::size_t end, std::size_t closing) {
        std::size_t const last = std::min(end, text.size());
        tokens.push_back({Kind::Comment, text.substr(at + opening, last - at - opening), line, at});
        Skip(std::min(last + closing, text.size()) - at);
    }
    /// To the end of the line, without a comment; a backslash continues it.
    std::size_t DirectiveLength() const {
        std::size_t end = at;
        while (end < text.size() && text[end] != '\n' && text.substr(end, 2) != "//" && text.substr(end, 2) != "/*") {
            end += text[end] == '\\' && end + 1 < text.size() ? 2 : 1;
        }
        return end - at;
    }
    std::size_t NumberLength() const {
        std::size_t end = at;
        while (end < text.size()) {
            bool const isSign =
                (text[end] == '+' || text[end] == '-') && (text[end - 1] == 'e' || text[end - 1] == 'E');
            if (!IsWordPart(text[end]) && text[end] != '.' && !(isSign && end > at)) {
                break;
            }
            ++end;
        }
        return end - at;
    }

    std::string_view text;
    std::size_t at = 0;
    int line = 1;
    std::vector<ShaderToken> tokens;
};

}  // namespace

std::vector<ShaderToken> ScanShader(std::string_view text) {
    return Scanner(text).Scan();
}

}  // namespace Kaltor::Proc
