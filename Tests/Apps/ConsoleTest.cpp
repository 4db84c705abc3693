#include <array>
#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <termios.h>
#include <unistd.h>

#include "Apps/Kaltor/Console.h"

namespace Kaltor::Cli {
namespace {

using testing::HasSubstr;
using testing::Not;

TEST(Console, TextOfOthersIsMadePrintable) {
    for (auto const& [text, expected] : {std::pair<std::string, std::string>{"Grün 東京 🎬.mp4", "Grün 東京 🎬.mp4"},
                                         {"\x1b[2J\a\r\b\x7f", "\\x1b[2J\\x07\\x0d\\x08\\x7f"},
                                         {std::string("a\0b", 3), "a\\x00b"},
                                         {"two\nlines\n", "two lines"},
                                         {"\xc2\x9b"
                                          "31m",
                                          "\\xc2\\x9b31m"},  // the C1 way to begin a sequence
                                         {"\xe2\x80\xae"
                                          "gpj",
                                          "\\xe2\\x80\\xaegpj"},  // from right to left
                                         {"\xff\xc3(\xe6\x9d", "\\xff\\xc3(\\xe6\\x9d"},
                                         {"\xc0\x9b\xed\xa0\x80", "\\xc0\\x9b\\xed\\xa0\\x80"}}) {
        EXPECT_EQ(MakePrintable(text), expected);
    }
    // What is long keeps its beginning and its end, and whole characters.
    for (std::size_t const length : {400U, 100'000U}) {
        std::string text = "begin";
        for (std::size_t i = 0; i < length; ++i) {
            text += "京";
        }
        std::string const cut = MakePrintable(text + "end", 300);
        EXPECT_LE(cut.size(), 310U);
        EXPECT_TRUE(cut.starts_with("begin京") && cut.ends_with("京end")) << cut;
        EXPECT_THAT(cut, Not(HasSubstr("\\x")));
    }
}

/// A terminal of its own as standard error.
class ErrorTerminal {
public:
    ErrorTerminal() : master(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK)), before(dup(STDERR_FILENO)) {
        EXPECT_EQ(grantpt(master) + unlockpt(master), 0);
        int const slave = open(ptsname(master), O_RDWR | O_NOCTTY);
        termios settings{};
        tcgetattr(slave, &settings);
        settings.c_oflag &= ~static_cast<tcflag_t>(OPOST);
        tcsetattr(slave, TCSANOW, &settings);
        dup2(slave, STDERR_FILENO);
        close(slave);
    }
    ~ErrorTerminal() {
        dup2(before, STDERR_FILENO);
        close(before);
        close(master);
    }
    ErrorTerminal(ErrorTerminal const&) = delete;
    ErrorTerminal& operator=(ErrorTerminal const&) = delete;

    std::string Read() const {
        std::string text;
        std::array<char, 256> block{};
        for (ssize_t count = 0; (count = read(master, block.data(), block.size())) > 0;) {
            text.append(block.data(), static_cast<std::size_t>(count));
        }
        return text;
    }

private:
    int master;
    int before;
};

TEST(Console, WhatLibrariesPrintReachesATerminalPrintable) {
    std::string shown;
    {
        ErrorTerminal const terminal;
        {
            LibraryOutput const output;
            ShowLibraryOutput(true);
            std::fprintf(stderr, "driver \x1b]0;title\a\nand more");
            std::fflush(stderr);
            EXPECT_TRUE(ProgressBar(true).IsShown() || std::getenv("TERM") == nullptr ||
                        std::string(std::getenv("TERM")) == "dumb");
        }
        WriteError("done");
        shown = terminal.Read();
    }
    std::string const clear = "\r\x1b[K";
    EXPECT_EQ(shown, clear + "kaltor: a library says: driver \\x1b]0;title\\x07\n" + clear +
                         "kaltor: a library says: and more\nkaltor: done\n");
}

}  // namespace
}  // namespace Kaltor::Cli
