#include "Core/Interfaces/Exception.h"

#include <filesystem>

namespace Kaltor::Core {

std::string Describe(std::exception const& error) {
    if (std::string const* const description = boost::get_error_info<TagDescription>(error)) {
        return *description;
    }
    // The C++ library's own text speaks of calls, not of what a user did.
    if (auto const* const file = dynamic_cast<std::filesystem::filesystem_error const*>(&error)) {
        std::string const name = file->path1().string();
        return (name.empty() ? "" : name + ": ") + file->code().message();
    }
    return error.what();
}

std::string Describe(std::exception_ptr const& error) {
    try {
        std::rethrow_exception(error);
    } catch (std::exception const& e) {
        return Describe(e);
    } catch (...) {
        return "unknown error";
    }
}

}  // namespace Kaltor::Core
