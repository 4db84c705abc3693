#include "Core/Interfaces/CallStack.h"

#include <ostream>

#include <boost/stacktrace.hpp>

namespace Kaltor::Core {

CallStack GetCallStack() {
    constexpr std::size_t kSkip = 1;
    constexpr std::size_t kMaxDepth = 64;
    CallStack stack;
    for (boost::stacktrace::frame const& frame : boost::stacktrace::stacktrace(kSkip, kMaxDepth)) {
        stack.frames.push_back(frame.address());
    }
    return stack;
}

std::ostream& operator<<(std::ostream& out, CallStack const& stack) {
    std::size_t number = 0;
    for (void const* address : stack.frames) {
        out << number++ << "# " << boost::stacktrace::frame(address) << '\n';
    }
    return out;
}

}  // namespace Kaltor::Core
