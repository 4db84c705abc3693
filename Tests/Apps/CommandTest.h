#pragma once

#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include "Media/Picture.h"
#include "Tests/Support/Picture.h"
#include "Tests/Support/TemporaryFolder.h"

namespace Kaltor::Tests {

struct Outcome {
    int status;
    std::string out;
    std::string err;
};

/// A program that runs beside a test, and no longer: also a test that fails half-way leaves none behind.
class Child {
public:
    explicit Child(std::vector<std::string> words) {
        std::vector<char*> pointers;
        for (std::string& word : words) {
            pointers.push_back(word.data());
        }
        pointers.push_back(nullptr);
        EXPECT_EQ(posix_spawn(&process, pointers[0], nullptr, nullptr, pointers.data(), environ), 0);
    }
    ~Child() {
        if (process > 0) {
            Send(SIGKILL);
            Wait();
        }
    }
    Child(Child const&) = delete;
    Child& operator=(Child const&) = delete;

    pid_t GetId() const { return process; }
    bool HasEnded() const {
        siginfo_t ended{};
        return waitid(P_PID, static_cast<id_t>(process), &ended, WEXITED | WNOHANG | WNOWAIT) != 0 || ended.si_pid != 0;
    }
    void Send(int signal) const {
        if (process > 0) {  // 0 would be the whole group, this program in it
            kill(process, signal);
        }
    }
    /// The status that it ends with, as `wait` has it.
    int Wait(rusage* used = nullptr) {
        int status = -1;
        EXPECT_GT(wait4(std::exchange(process, 0), &status, 0, used), 0);
        return status;
    }

private:
    pid_t process = 0;
};

/// Ten seconds of a tone as a WAV file.
inline void WriteTone(fs::path const& path) {
    constexpr std::uint32_t kRate = 8000;
    constexpr std::uint32_t kSamples = 10 * kRate;
    std::ofstream file(path, std::ios::binary);
    auto const put = [&file](auto number) { file.write(reinterpret_cast<char const*>(&number), sizeof number); };
    file << "RIFF";
    put(std::uint32_t{36 + 2 * kSamples});
    file << "WAVEfmt ";
    put(std::uint32_t{16});
    put(std::uint16_t{1});  // PCM
    put(std::uint16_t{1});
    put(kRate);
    put(2 * kRate);
    put(std::uint16_t{2});
    put(std::uint16_t{16});
    file << "data";
    put(2 * kSamples);
    for (std::uint32_t i = 0; i < kSamples; ++i) {
        put(static_cast<std::int16_t>(i % 20 < 10 ? 3000 : -3000));
    }
}

/// The command as a process, in a folder of its own with small pictures.
class CommandTest : public testing::Test {
protected:
    CommandTest() {
        fs::create_directory(folder / "work");
        fs::create_directory(folder / "log");
        for (auto const& [name, picture] :
             {std::pair{"a.png", &first}, {"b.png", &second}, {"c.png", &translucent}, {"small.png", &small}}) {
            Media::WritePng(In(name), *picture->ToFrame(), true);
        }
    }

    /// Runs it in the folder of the pictures; `line` and `environment` are a shell's words.
    Outcome Run(std::string const& line, std::string const& environment = "") const {
        fs::path const out = folder / "log" / "out";
        fs::path const err = folder / "log" / "err";
        std::string const command =
            fmt::format("cd '{}' && env NO_COLOR=1 {} '{}' {} > '{}' 2> '{}'", (folder / "work").string(), environment,
                        KALTOR_COMMAND, line, out.string(), err.string());
        int const status = std::system(command.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadAll(out), ReadAll(err)};
    }
    /// Another program's output, which has to succeed, from the same folder.
    std::string Shell(std::string const& line) const {
        fs::path const out = folder / "log" / "shell";
        int const status = std::system(
            fmt::format("cd '{}' && ({}) > '{}' 2>&1 < /dev/null", (folder / "work").string(), line, out.string())
                .c_str());
        EXPECT_EQ(status, 0) << line << "\n" << ReadAll(out);
        return ReadAll(out);
    }
    /// Its output when it succeeds. Standard error must stay empty: no progress bar without a terminal.
    std::string Succeed(std::string const& line) const {
        Outcome const outcome = Run(line);
        EXPECT_EQ(outcome.status, 0) << line;
        EXPECT_EQ(outcome.err, "") << line;
        return outcome.out;
    }
    /// Its message when it fails: exactly one line.
    std::string Fail(std::string const& line, int status, std::string const& environment = "") const {
        std::vector<std::string> const before = Files();
        Outcome const outcome = Run(line, environment);
        EXPECT_EQ(outcome.status, status) << line << "\n" << outcome.err;
        EXPECT_EQ(outcome.out, "") << line;
        EXPECT_TRUE(outcome.err.starts_with("kaltor: ")) << outcome.err;
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
        EXPECT_EQ(Files(), before) << line;
        return outcome.err;
    }

    void Write(std::string const& name, std::string const& text) const { WriteText(In(name), text); }
    std::string In(std::string const& name) const { return (folder / "work" / name).string(); }
    Picture Read(std::string const& name) const { return Picture::FromFrame(*Media::ReadPicture(In(name))); }

    std::vector<std::string> Files() const {
        std::vector<std::string> names;
        for (fs::directory_entry const& entry : fs::directory_iterator(folder / "work")) {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    Picture first = Picture::Corners(24, 14);
    Picture second = Picture::Noise(24, 14);
    Picture translucent = Picture::Noise(24, 14, true);
    Picture small = Picture::Noise(8, 8);
    TemporaryFolder temporary;
    fs::path const& folder = temporary.Get();
};

}  // namespace Kaltor::Tests
