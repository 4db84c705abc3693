#pragma once

#include <cstddef>
#include <exception>
#include <string>

#include <gtest/gtest.h>

#include "Core/Interfaces/Exception.h"

namespace Kaltor::Tests {

/// All that can be read from a caught exception. Empty where a tag is missing.
struct Caught {
    std::string what;
    std::string description;
    std::string function;
    std::string file;
    int line = 0;
    std::size_t stackDepth = 0;
};

/// Runs `action`, which has to throw an `Error`. If it does not, the test fails and the result is empty.
template <typename Error, typename Action>
Caught Catch(Action&& action) {
    Caught caught;
    try {
        action();
        ADD_FAILURE() << "nothing was thrown";
    } catch (Error const& error) {
        auto const text = [](auto const* tag) { return tag != nullptr ? std::string(*tag) : std::string(); };
        caught.what = dynamic_cast<std::exception const&>(error).what();
        caught.description = text(boost::get_error_info<TagDescription>(error));
        caught.function = text(boost::get_error_info<boost::throw_function>(error));
        caught.file = text(boost::get_error_info<boost::throw_file>(error));
        if (int const* const line = boost::get_error_info<boost::throw_line>(error)) {
            caught.line = *line;
        }
        if (Core::CallStack const* const stack = boost::get_error_info<TagCallStack>(error)) {
            caught.stackDepth = stack->frames.size();
        }
    } catch (std::exception const& error) {
        ADD_FAILURE() << "another exception was thrown: " << error.what();
    }
    return caught;
}

}  // namespace Kaltor::Tests
