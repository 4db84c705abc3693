#pragma once

#include <stdexcept>
#include <string>

namespace Kaltor::Media {

/// A file that cannot be read or written. The text is one line that begins with the file's name as it was given.
class MediaError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The system's fault rather than the content's: a file that is gone, too many open files, a disk that fails to read.
class SystemError : public MediaError {
public:
    using MediaError::MediaError;
};

/// The caller's cancel flag was seen.
class Cancelled : public std::runtime_error {
public:
    Cancelled() : std::runtime_error("cancelled") {}
};

/// Whoever read the output has gone.
class PipeClosed : public std::runtime_error {
public:
    PipeClosed() : std::runtime_error("nobody reads the output any more") {}
};

}  // namespace Kaltor::Media
