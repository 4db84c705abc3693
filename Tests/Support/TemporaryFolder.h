#pragma once

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

#include <gtest/gtest.h>

namespace Kaltor::Tests {

/// A new folder, which is removed with all that lies in it.
class TemporaryFolder {
public:
    TemporaryFolder() {
        constexpr std::size_t kFilledIn = 6;  // letters, by mkdtemp
        std::string name =
            (std::filesystem::path(testing::TempDir()) / ("kaltor-" + std::string(kFilledIn, 'X'))).string();
        if (::mkdtemp(name.data()) == nullptr) {
            throw std::system_error(errno, std::generic_category(), name);
        }
        path = name;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    TemporaryFolder(TemporaryFolder const&) = delete;
    TemporaryFolder& operator=(TemporaryFolder const&) = delete;

    std::filesystem::path const& Get() const { return path; }

private:
    std::filesystem::path path;
};

}  // namespace Kaltor::Tests
