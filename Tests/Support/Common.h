#pragma once

/// What nearly every test uses: the standard library, texts, matchers and caught exceptions.

#include <algorithm>
#include <array>
#include <atomic>
#include <barrier>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <iterator>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <numbers>
#include <numeric>
#include <optional>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <typeinfo>
#include <utility>
#include <vector>

#include <boost/intrusive_ptr.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include "Tests/Support/Caught.h"

namespace Kaltor {

namespace fs = std::filesystem;

namespace Tests {

/// The content of a file; nothing where there is none.
inline std::string ReadAll(fs::path const& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

inline void WriteText(fs::path const& path, std::string const& content) {
    std::ofstream(path, std::ios::binary) << content;
}

/// Whether it comes to hold. Waits as long as it may take on a busy machine under a sanitizer: only what never comes
/// takes so long.
template <typename Condition>
bool WaitUntil(Condition const& holds) {
    constexpr std::chrono::minutes kPatience(10);
    auto const end = std::chrono::steady_clock::now() + kPatience;
    while (!holds()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

}  // namespace Tests

using boost::intrusive_ptr;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::Pair;
using testing::SizeIs;
using testing::StartsWith;
using Tests::Catch;
using Tests::ReadAll;
using Tests::WriteText;

}  // namespace Kaltor
