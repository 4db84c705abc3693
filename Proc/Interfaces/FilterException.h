#pragma once

#include <stdexcept>

#include "Core/Interfaces/Exception.h"

namespace Kaltor::Proc {

/// A failure of an effect as a graph node. Its text is under `TagDescription`.
class FilterException : public std::runtime_error {
public:
    FilterException() : std::runtime_error("FilterException") {}
};

[[noreturn]] inline void ThrowFilterException(std::string const& description, Core::SourceLocation const& where) {
    Core::Throw(boost::enable_error_info(FilterException()) << TagDescription(description), where);
}

}  // namespace Kaltor::Proc
