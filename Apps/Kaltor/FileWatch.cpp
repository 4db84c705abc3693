#include "Apps/Kaltor/FileWatch.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stdexcept>

#include <fmt/format.h>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include "Apps/Kaltor/Console.h"
#include "Apps/Kaltor/Interrupt.h"
#include "Core/Interfaces/Exception.h"
#include "Render/Isolation/MakeApart.h"

namespace Kaltor::Cli {
namespace {

namespace fs = std::filesystem;

/// The file that the name stands for, also while there is a fault in it.
std::string FindShaderPath(PictureOptions const& options) {
    std::error_code error;
    if (Proc::IsShaderFile(options.name) && fs::exists(options.name, error)) {
        return options.name;
    }
    Catalog const catalog = LoadCatalog();
    std::string path = catalog.Find(options.name, options.inputs.size()).defaults->GetOrigin();
    if (path.empty()) {
        throw UsageError(fmt::format("--watch is for shader files; {} is none", options.name));
    }
    return path;
}

}  // namespace

FileWatch::FileWatch(std::string const& path) : queue(::inotify_init1(IN_CLOEXEC)) {
    std::error_code error;
    fs::path const file = fs::canonical(path, error);
    name = file.filename().string();
    constexpr std::uint32_t kEvents = IN_CLOSE_WRITE | IN_MOVED_TO;
    if (error || queue < 0 || ::inotify_add_watch(queue, file.parent_path().c_str(), kEvents) < 0) {
        std::string const why = error ? error.message() : std::strerror(errno);
        if (queue >= 0) {
            ::close(queue);
        }
        throw std::runtime_error(fmt::format("{}: cannot be watched ({})", path, why));
    }
}

FileWatch::~FileWatch() {
    ::close(queue);
}

bool FileWatch::Poll(int milliseconds) {
    pollfd wait{queue, POLLIN, 0};
    if (::poll(&wait, 1, milliseconds) <= 0) {
        return false;
    }
    alignas(inotify_event) std::array<char, 4096> events{};
    ::ssize_t const size = ::read(queue, events.data(), events.size());
    bool isOurs = false;
    for (::ssize_t at = 0; at < size;) {
        auto const* const event = reinterpret_cast<inotify_event const*>(events.data() + at);
        isOurs = isOurs || (event->len > 0 && name == event->name);
        at += static_cast<::ssize_t>(sizeof(inotify_event) + event->len);
    }
    return isOurs;
}

bool FileWatch::Wait(std::atomic<bool> const& cancel) {
    constexpr int kLook = 500;  // milliseconds; a signal may come just before the wait
    constexpr int kRest = 50;
    while (!cancel) {
        if (Poll(kLook)) {
            while (Poll(kRest)) {
            }
            return true;
        }
    }
    return false;
}

int DrawAndWatch(PictureOptions const& options, std::function<std::vector<std::uint8_t>()> const& makeFile) {
    std::optional<Render::Isolation> const isolation = options.isolation.Get();
    auto const warn = [](std::string const& message) { WriteError("warning: " + message); };
    auto const draw = [&] {
        std::vector<std::uint8_t> const file = isolation ? Render::MakeApart(*isolation, makeFile, warn) : makeFile();
        WriteFile(options.output, {reinterpret_cast<char const*>(file.data()), file.size()});
    };
    if (!options.watches) {
        draw();
        return 0;
    }
    std::string const path = FindShaderPath(options);
    FileWatch watch(path);
    std::atomic<bool> const& cancel = CatchInterrupts();
    do {
        try {
            draw();
            WriteMessage(fmt::format("{}: drawn; waiting for changes of {}, Ctrl-C ends\n",
                                     MakePrintable(options.output), MakePrintable(path)));
        } catch (std::exception const& error) {
            WriteError(Core::Describe(error));
        }
    } while (watch.Wait(cancel));
    return 0;
}

}  // namespace Kaltor::Cli
