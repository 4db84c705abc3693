#pragma once

#include <string>
#include <string_view>

namespace Kaltor::Edit {

/// The path that an address of a file means: a `file:` address or a plain path, relative or not. Plain paths are taken
/// as they are, or with their percent escapes resolved. Throws `std::invalid_argument` for other addresses, other
/// computers' files and drive letters.
std::string ParseFileAddress(std::string_view address, bool isEscaped);

/// The address of a path: a relative one stays plain, an absolute one becomes a `file:` address.
std::string FormatFileAddress(std::string const& path);

/// Whether a file's name ends as a still picture's does.
bool IsStillName(std::string_view path);

}  // namespace Kaltor::Edit
