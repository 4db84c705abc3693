#include <cctype>
#include <clocale>
#include <filesystem>

#include "Core/Interfaces/Exception.h"
#include "Core/Text.h"
#include "Tests/Support/Common.h"
#include "Tests/Support/TemporaryFolder.h"

namespace Kaltor::Tests {
namespace {

TEST(Text, SmallLettersAreTheSameInATurkishHost) {
    TemporaryFolder const temporary;
    std::filesystem::path const& folder = temporary.Get();
    std::string const make =
        "localedef -i tr_TR -f ISO-8859-9 '" + (folder / "tr_TR.ISO-8859-9").string() + "' > /dev/null 2>&1";
    [[maybe_unused]] int const status = std::system(make.c_str());
    setenv("LOCPATH", folder.c_str(), 1);
    bool const isTurkish = std::setlocale(LC_ALL, "tr_TR.ISO-8859-9") != nullptr;
    bool const isOther = std::tolower('I') != 'i';
    std::string const lower = Core::ToLower("EffectINVERT \xc3\x84 Z[@");
    std::setlocale(LC_ALL, "C");
    unsetenv("LOCPATH");
    if (!isTurkish) {
        GTEST_SKIP() << "there are no sources of locales";
    }
    EXPECT_TRUE(isOther) << "the locale is in force";
    EXPECT_EQ(lower, "effectinvert \xc3\x84 z[@");
}

TEST(Text, ABeginningEndsBetweenCharacters) {
    std::string const text = "a\xc3\xbc\xe2\x82\xac\xf0\x9f\x98\x80z";  // 1, 2, 3, 4 and 1 bytes
    std::vector<std::size_t> lengths;
    for (std::size_t most = 0; most <= text.size() + 1; ++most) {
        lengths.push_back(Core::BeginningOf(text, most).size());
    }
    EXPECT_THAT(lengths, testing::ElementsAre(0, 1, 1, 3, 3, 3, 6, 6, 6, 6, 10, 11, 11));
    EXPECT_EQ(Core::BeginningOf("\x80\x80\x80", 2), "") << "no character begins";
}

TEST(Exceptions, ErrorsOfTheFileSystemNameTheFileAndNotTheCall) {
    std::error_code const code = std::make_error_code(std::errc::file_exists);
    std::filesystem::filesystem_error const named("cannot rename", "some/file", "other", code);
    EXPECT_EQ(Core::Describe(named), "some/file: File exists");
    EXPECT_EQ(Core::Describe(std::filesystem::filesystem_error("cannot get current path", code)), "File exists");
}

}  // namespace
}  // namespace Kaltor::Tests
