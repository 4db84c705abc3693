#include "Core/Interfaces/Exception.h"

namespace Kaltor::Core {

std::string Describe(std::exception const& error) {
    if (std::string const* const description = boost::get_error_info<TagDescription>(error)) {
        return *description;
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
