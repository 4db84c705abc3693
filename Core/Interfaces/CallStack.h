#pragma once

#include <iosfwd>
#include <vector>

namespace Kaltor::Core {

/// Return addresses, innermost first. Capturing is cheap; names are looked up only when it is printed.
struct CallStack {
    std::vector<void const*> frames;
};

/// The stack of the calling thread, without this function.
CallStack GetCallStack();

/// One line for each frame.
std::ostream& operator<<(std::ostream& out, CallStack const& stack);

}  // namespace Kaltor::Core
