#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Media/InputRules.h"

namespace Kaltor::Cli {

/// The command was used wrongly: one line for standard error, exit status 2.
class UsageError : public std::invalid_argument {
public:
    using std::invalid_argument::invalid_argument;
};

/// Parsers of what a user types. All throw `UsageError` with a line that says what would be right.

/// Seconds ("2", "1.5") or [HH:]MM:SS[.fff], in microseconds. Not negative.
std::int64_t ParseTime(std::string_view text);

/// "WxH", both at least 1.
struct Size {
    std::uint32_t width;
    std::uint32_t height;
};
Size ParseSize(std::string_view text);

/// Frames per second: "25", "29.97" (read as 30000/1001; 23.976 and so on likewise) or "30000/1001".
struct Rate {
    int numerator;
    int denominator;
};
Rate ParseRate(std::string_view text);

/// "field=value", or "@FILE": a file with a JSON object of fields and their values.
using Assignment = std::pair<std::string, std::string>;
std::vector<Assignment> ParseAssignments(std::string_view text);

/// "NAME[:field=value...]", with "@FILE" as above too.
struct NameSpec {
    std::string name;
    std::vector<Assignment> values;
};
NameSpec ParseNameSpec(std::string_view text);

/// "[INDEX:]NAME[:field=value...]".
struct IndexedSpec {
    std::optional<std::size_t> index;  ///< a clip or a joint, counted from 1; all of them where there is none
    NameSpec spec;
};
IndexedSpec ParseIndexedSpec(std::string_view text);

/// "PATH[@raw:FORM][@alpha:straight|premultiplied][@START-END]", where START or END may be left out. A file whose name really is the whole text wins.
struct ClipSpec {
    std::string path;
    std::string raw;                    ///< the form of raw frames
    std::optional<std::int64_t> start;  ///< microseconds
    std::optional<std::int64_t> end;
    Media::InputRules::Alpha alpha = Media::InputRules::Alpha::Auto;
};
ClipSpec ParseClip(std::string_view text);

}  // namespace Kaltor::Cli
