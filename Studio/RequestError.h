#pragma once

#include <stdexcept>
#include <string>

namespace Kaltor::Studio {

/// A request that is refused, with the HTTP status that says so.
class RequestError : public std::runtime_error {
public:
    RequestError(int httpStatus, std::string const& message) : std::runtime_error(message), status(httpStatus) {}
    int GetStatus() const { return status; }

private:
    int status;
};

constexpr int kBadRequest = 400;
constexpr int kForbidden = 403;
constexpr int kNotFound = 404;
constexpr int kConflict = 409;
constexpr int kLengthRequired = 411;
constexpr int kTooLarge = 413;
constexpr int kWrongType = 415;
constexpr int kUnprocessable = 422;
constexpr int kTooMany = 429;
constexpr int kInternal = 500;
constexpr int kGone = 503;

}  // namespace Kaltor::Studio
