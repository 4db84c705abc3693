#pragma once

#include <exception>
#include <string>

#if defined(__has_builtin)
#if __has_builtin(__builtin_source_location)
#include <source_location>
#endif
#endif

#include <boost/exception/all.hpp>

#include "Core/Interfaces/CallStack.h"

namespace Kaltor {

/// The call stack where the exception was thrown. Every exception of the system carries it.
using TagCallStack = boost::error_info<struct TagCallStackId, Core::CallStack>;
/// What went wrong, in words, where `what()` does not say it.
using TagDescription = boost::error_info<struct TagDescriptionId, std::string>;

namespace Core {

/// Where an exception is raised: the function's signature text, the source path from the repository's root (without the
/// file name's extension where a fixed text is part of an interface) and the line. The texts must outlive the
/// exception.
struct SourceLocation {
    char const* function;
    char const* file;
    int line;

#ifdef __cpp_lib_source_location
    static SourceLocation Current(std::source_location const& here = std::source_location::current()) {
        return {here.function_name(), here.file_name(), static_cast<int>(here.line())};
    }
#else
    static SourceLocation Current(char const* function = __builtin_FUNCTION(), char const* file = __builtin_FILE(),
                                  int line = __builtin_LINE()) {
        return {function, file, line};
    }
#endif
};

/// Throws `error`, a standard exception or one that already carries tags, with its place and the call stack.
template <typename Error>
[[noreturn]] void Throw(Error const& error, SourceLocation const& where = SourceLocation::Current()) {
    boost::throw_exception(boost::enable_error_info(error)
                           << boost::throw_function(where.function) << boost::throw_file(where.file)
                           << boost::throw_line(where.line) << TagCallStack(GetCallStack()));
}

/// One line for people: what(), or the description where there is one.
std::string Describe(std::exception_ptr const& error);
/// The same, from inside a handler's `std::exception`.
std::string Describe(std::exception const& error);

}  // namespace Core
}  // namespace Kaltor
