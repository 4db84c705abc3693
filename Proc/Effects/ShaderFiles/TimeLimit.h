#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace Kaltor::Proc {

/// Watches over what may never end: runs `onOver(what)` on a thread of its own if the object lives longer than `limit`.
/// A limit of 0 watches over nothing. The destructor waits for `onOver` if that has begun.
class TimeLimit {
public:
    TimeLimit(std::chrono::milliseconds limit, std::string what, std::function<void(std::string const&)> onOver);
    ~TimeLimit();
    TimeLimit(TimeLimit const&) = delete;
    TimeLimit& operator=(TimeLimit const&) = delete;

private:
    struct Watch;
    std::unique_ptr<Watch> watch;
};

}  // namespace Kaltor::Proc
