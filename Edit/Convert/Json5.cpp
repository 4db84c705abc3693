#include "Edit/Convert/Json5.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>

#include <fmt/format.h>

namespace Kaltor::Edit {
namespace {

constexpr char32_t kEnd = 0xFFFFFFFF;
constexpr std::size_t kLongestText = std::size_t{16} << 20U;

bool IsLineEnd(char32_t c) {
    return c == '\n' || c == '\r' || c == 0x2028 || c == 0x2029;
}
/// White space of ECMAScript: its own, line ends, the byte order mark and Unicode's space separators.
bool IsSpace(char32_t c) {
    return c == ' ' || c == '\t' || c == '\v' || c == '\f' || IsLineEnd(c) || c == 0xA0 || c == 0xFEFF || c == 0x1680 ||
           (c >= 0x2000 && c <= 0x200A) || c == 0x202F || c == 0x205F || c == 0x3000;
}
bool IsDigit(char32_t c) {
    return c >= '0' && c <= '9';
}
/// Letters beyond ASCII are not told from other characters there.
bool IsNameStart(char32_t c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '$' || c == '_' ||
           (c >= 0x80 && c != kEnd && !IsSpace(c));
}
bool IsNamePart(char32_t c) {
    return IsNameStart(c) || IsDigit(c);
}
std::optional<unsigned> HexDigit(char32_t c) {
    if (IsDigit(c)) {
        return c - '0';
    }
    char32_t const lower = c | 0x20U;
    return lower >= 'a' && lower <= 'f' ? std::optional<unsigned>(lower - 'a' + 10) : std::nullopt;
}

void AppendUtf8(std::string& text, char32_t c) {
    auto const put = [&text](char32_t byte) { text.push_back(static_cast<char>(byte)); };
    if (c < 0x80) {
        put(c);
    } else if (c < 0x800) {
        put(0xC0 | c >> 6U);
        put(0x80 | (c & 0x3FU));
    } else if (c < 0x10000) {
        put(0xE0 | c >> 12U);
        put(0x80 | (c >> 6U & 0x3FU));
        put(0x80 | (c & 0x3FU));
    } else {
        put(0xF0 | c >> 18U);
        put(0x80 | (c >> 12U & 0x3FU));
        put(0x80 | (c >> 6U & 0x3FU));
        put(0x80 | (c & 0x3FU));
    }
}

class Parser {
public:
    Parser(std::string const& document, std::string const& fileName) : text(document), name(fileName) {
        if (text.size() > kLongestText) {
            throw std::runtime_error(fmt::format("{}: is larger than {} MiB", name, kLongestText >> 20U));
        }
        Next();
    }

    Json Parse() {
        SkipSpace();
        Json json = ParseValue(0);
        SkipSpace();
        if (now != kEnd) {
            Fail("there is more after the end of the document");
        }
        return json;
    }

private:
    [[noreturn]] void Fail(std::string const& why) const {
        throw std::runtime_error(fmt::format("{}: line {}, column {}: {}", name, line, column, why));
    }

    /// Goes on to the next character. Throws for what is no UTF-8.
    void Next() {
        if (at > 0 && now != kEnd) {
            bool const isInCrLf = now == '\r' && at < text.size() && text[at] == '\n';
            if (IsLineEnd(now) && !isInCrLf) {
                ++line;
                column = 0;
            }
        }
        ++column;
        if (at >= text.size()) {
            now = kEnd;
            return;
        }
        auto const byte = [this](std::size_t i) { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U; };
        unsigned const first = byte(at);
        std::size_t const length = first < 0x80   ? 1
                                   : first < 0xC2 ? 0
                                   : first < 0xE0 ? 2
                                   : first < 0xF0 ? 3
                                   : first < 0xF5 ? 4
                                                  : 0;
        constexpr std::array<char32_t, 5> kLeast{0, 0, 0x80, 0x800, 0x10000};
        constexpr std::array<unsigned, 5> kMask{0, 0x7F, 0x1F, 0x0F, 0x07};
        now = first & kMask[length];
        bool isRight = length > 0;
        for (std::size_t i = 1; i < length; ++i) {
            isRight = isRight && (byte(at + i) & 0xC0U) == 0x80U;
            now = now << 6U | (byte(at + i) & 0x3FU);
        }
        if (!isRight || now < kLeast[length] || now > 0x10FFFF || (now >= 0xD800 && now < 0xE000)) {
            Fail("the text is not UTF-8 here");
        }
        at += length;
    }
    /// The byte after the present character.
    char Peek() const { return at < text.size() ? text[at] : '\0'; }

    void SkipSpace() {
        for (;;) {
            if (IsSpace(now)) {
                Next();
            } else if (now == '/' && Peek() == '/') {
                while (now != kEnd && !IsLineEnd(now)) {
                    Next();
                }
            } else if (now == '/' && Peek() == '*') {
                SkipComment();
            } else {
                return;
            }
        }
    }
    void SkipComment() {
        Next();
        Next();
        while (now != '*' || Peek() != '/') {
            if (now == kEnd) {
                Fail("a comment has no end");
            }
            Next();
        }
        Next();
        Next();
    }

    Json ParseValue(std::size_t depth) {
        if (now == '{' || now == '[') {
            if (depth >= kMostJsonLevels) {
                Fail(fmt::format("more than {} levels of brackets", kMostJsonLevels));
            }
            return now == '{' ? ParseObject(depth + 1) : ParseArray(depth + 1);
        }
        if (now == '"' || now == '\'') {
            return ParseString();
        }
        if (IsDigit(now) || now == '+' || now == '-' || now == '.') {
            return ParseNumber();
        }
        if (IsNameStart(now)) {
            std::string const word = ParseName();
            if (word == "true" || word == "false") {
                return word == "true";
            }
            if (word == "null") {
                return nullptr;
            }
            if (std::optional<double> const number = FindSpecialNumber(word)) {
                return *number;
            }
            Fail(fmt::format("{} is no value; texts stand in quotes", word));
        }
        Fail(now == kEnd ? "the document ends where a value should follow" : "there should be a value");
    }

    Json ParseObject(std::size_t depth) {
        Json object = Json::object();
        Next();
        for (SkipSpace(); now != '}'; SkipSpace()) {
            if (object.size() >= kMostJsonMembers) {
                Fail(fmt::format("an object has more than {} members", kMostJsonMembers));
            }
            if (now != '"' && now != '\'' && !IsNameStart(now) && now != '\\') {
                Fail("there should be a key or \"}\"");
            }
            std::string key = now == '"' || now == '\'' ? ParseString() : ParseName();
            SkipSpace();
            if (now != ':') {
                Fail("there should be a \":\" after the key");
            }
            Next();
            SkipSpace();
            comparisons += object.size();
            if (comparisons > kMostJsonComparisons) {
                Fail("there are too many objects with thousands of members");
            }
            object[std::move(key)] = ParseValue(depth);
            if (!TakeComma('}')) {
                break;
            }
        }
        Next();
        return object;
    }
    Json ParseArray(std::size_t depth) {
        Json array = Json::array();
        Next();
        for (SkipSpace(); now != ']'; SkipSpace()) {
            array.push_back(ParseValue(depth));
            if (!TakeComma(']')) {
                break;
            }
        }
        Next();
        return array;
    }
    /// Whether a comma follows; otherwise the closing bracket has to.
    bool TakeComma(char bracket) {
        SkipSpace();
        if (now == ',') {
            Next();
            return true;
        }
        if (now != static_cast<unsigned char>(bracket)) {
            Fail(fmt::format("there should be a \",\" or \"{}\"", bracket));
        }
        return false;
    }

    std::string ParseName() {
        std::string word;
        bool isFirst = true;
        while (IsNamePart(now) || now == '\\') {
            char32_t c = now;
            if (c == '\\') {
                Next();
                if (now != 'u') {
                    Fail("a key takes only \\u and four hexadecimal digits");
                }
                c = ParseHex(4);
            } else {
                Next();
            }
            if (isFirst ? !IsNameStart(c) : !IsNamePart(c)) {
                Fail("a key without quotes cannot have this character");
            }
            AppendUtf8(word, c);
            isFirst = false;
        }
        return word;
    }

    /// The digits after the present character, and on beyond them.
    char32_t ParseHex(int digits) {
        Next();
        char32_t value = 0;
        for (int i = 0; i < digits; ++i) {
            std::optional<unsigned> const digit = HexDigit(now);
            if (!digit) {
                Fail(fmt::format("there should be {} hexadecimal digits", digits));
            }
            value = value << 4U | *digit;
            Next();
        }
        return value;
    }

    std::string ParseString() {
        char32_t const quote = now;
        std::string result;
        Next();
        while (now != quote) {
            if (now == kEnd || now == '\n' || now == '\r') {
                Fail("a text has no end on its line");
            }
            if (now == '\\') {
                Next();
                ParseEscape(result);
            } else {
                AppendUtf8(result, now);
                Next();
            }
        }
        Next();
        return result;
    }
    void ParseEscape(std::string& result) {
        constexpr std::string_view kLetters = "bfnrtv0";
        constexpr std::string_view kMeant("\b\f\n\r\t\v\0", 7);
        std::size_t const letter = now < 0x80 ? kLetters.find(static_cast<char>(now)) : std::string_view::npos;
        if (now == kEnd) {
            Fail("a text has no end");
        }
        if (IsLineEnd(now)) {
            bool const isCrLf = now == '\r' && Peek() == '\n';
            Next();
            if (isCrLf) {
                Next();
            }
        } else if (now == 'x') {
            AppendUtf8(result, ParseHex(2));
        } else if (now == 'u') {
            AppendUtf8(result, ParseUnit());
        } else if (letter != std::string_view::npos) {
            result.push_back(kMeant[letter]);
            Next();
            if (result.back() == '\0' && IsDigit(now)) {
                Fail("octal numbers are not taken");
            }
        } else if (IsDigit(now)) {
            Fail("there is no such escape");
        } else {
            AppendUtf8(result, now);
            Next();
        }
    }
    /// What \u stands for: one character, or the first half of a pair, whose second half follows.
    char32_t ParseUnit() {
        char32_t const high = ParseHex(4);
        if (high < 0xD800 || high >= 0xE000) {
            return high;
        }
        if (high < 0xDC00 && now == '\\' && Peek() == 'u') {
            Next();
            char32_t const low = ParseHex(4);
            if (low >= 0xDC00 && low < 0xE000) {
                return 0x10000 + ((high - 0xD800) << 10U) + (low - 0xDC00);
            }
        }
        Fail("half of a surrogate pair stands alone");
    }

    static std::optional<double> FindSpecialNumber(std::string_view word) {
        if (word == "Infinity") {
            return std::numeric_limits<double>::infinity();
        }
        return word == "NaN" ? std::optional(std::numeric_limits<double>::quiet_NaN()) : std::nullopt;
    }

    Json ParseNumber() {
        bool const isNegative = now == '-';
        if (now == '+' || now == '-') {
            Next();
        }
        std::string word;
        while (IsNamePart(now) || now == '.' ||
               ((now == '+' || now == '-') && (word.ends_with('e') || word.ends_with('E')) && !word.starts_with("0x") &&
                !word.starts_with("0X"))) {
            AppendUtf8(word, now);
            Next();
        }
        if (std::optional<double> const special = FindSpecialNumber(word)) {
            return isNegative ? -*special : *special;
        }
        std::optional<Json> const number = word.starts_with("0x") || word.starts_with("0X")
                                               ? Whole(word.substr(2), 16, isNegative)
                                               : Decimal(word, isNegative);
        if (!number) {
            Fail(fmt::format("{}{} is no number", isNegative ? "-" : "", word));
        }
        return *number;
    }
    static std::optional<Json> Whole(std::string_view digits, int base, bool isNegative) {
        std::uint64_t value = 0;
        auto const [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, base);
        if (digits.empty() || error != std::errc() || end != digits.data() + digits.size()) {
            return std::nullopt;
        }
        if (value > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
            return isNegative ? Json(-static_cast<double>(value)) : Json(value);
        }
        auto const whole = static_cast<std::int64_t>(value);
        return Json(isNegative ? -whole : whole);
    }
    static std::optional<Json> Decimal(std::string const& word, bool isNegative) {
        std::size_t const point = word.find_first_of(".eE");
        std::string const whole = word.substr(0, point);
        bool const hasLeadingZero = whole.size() > 1 && whole.front() == '0';
        if (hasLeadingZero || word.find_first_not_of("0123456789.eE+-") != std::string::npos) {
            return std::nullopt;
        }
        if (point == std::string::npos) {
            if (std::optional<Json> exact = Whole(word, 10, isNegative)) {
                return exact;
            }
        }
        bool const hasDigit =
            !whole.empty() || (point != std::string::npos && word[point] == '.' && point + 1 < word.size() &&
                               IsDigit(static_cast<unsigned char>(word[point + 1])));
        double value = 0.0;
        auto const [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
        if (!hasDigit || end != word.data() + word.size() || error != std::errc()) {
            return std::nullopt;
        }
        return Json(isNegative ? -value : value);
    }

    std::string const& text;
    std::string const& name;
    std::size_t at = 0;  ///< after the present character
    char32_t now = kEnd;
    std::size_t line = 1;
    std::size_t column = 0;
    std::size_t comparisons = 0;  ///< of keys
};

}  // namespace

Json ReadJson5(std::string const& path) {
    return ParseJson5(ReadJsonText(path), path);
}

Json ParseJson5(std::string const& text, std::string const& name) {
    return Parser(text, name).Parse();
}

}  // namespace Kaltor::Edit
