#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>

namespace Kaltor::Core {

/// Why a file could not be read; `what()` is the end of a sentence that begins with its name.
class FileFault : public std::runtime_error {
public:
    enum class Kind { Missing, NotPlain, TooLarge, System };

    FileFault(Kind faultKind, std::string const& why) : std::runtime_error(why), kind(faultKind) {}

    Kind GetKind() const { return kind; }

private:
    Kind kind;
};

/// The whole of a plain file of so many bytes at most. It is opened before it is looked at: what somebody puts in its
/// place meanwhile, a pipe or a larger file, neither blocks nor fills the memory. Throws `FileFault`.
std::string ReadPlainFile(std::string const& path, std::size_t most);

}  // namespace Kaltor::Core
