#include "Host/OtherPlugins.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>
#include <functional>
#include <set>
#include <stdexcept>

#include <elf.h>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include "Core/Environment.h"
#include "Core/Interfaces/Exception.h"
#include "Core/Text.h"
#include "Host/Plugin.h"

namespace Kaltor::Host {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kOwnLibrary = "libkaltor.so";

/// What one plug-in registers, before it is known whether all of it can be used.
class Collector final : public Proc::IEffectRegistry {
public:
    explicit Collector(EffectRegistry const& earlier) : known(earlier) {}

    bool HasOneInputEffect(std::string const& classId, std::string const& implName) const override {
        return known.HasOneInputEffect(classId, implName) || own.HasOneInputEffect(classId, implName);
    }
    void RegisterOneInputEffect(std::string const& classId, std::string const& implName,
                                Proc::OneInputEffectFactoryFn const& factory) override {
        if (Accepts(classId)) {
            own.RegisterOneInputEffect(classId, implName, factory);
            additions.push_back(
                [=](EffectRegistry& registry) { registry.RegisterOneInputEffect(classId, implName, factory); });
        }
    }
    bool HasTwoInputEffect(std::string const& classId, std::string const& implName) const override {
        return known.HasTwoInputEffect(classId, implName) || own.HasTwoInputEffect(classId, implName);
    }
    void RegisterTwoInputEffect(std::string const& classId, std::string const& implName,
                                Proc::TwoInputEffectFactoryFn const& factory) override {
        if (Accepts(classId)) {
            own.RegisterTwoInputEffect(classId, implName, factory);
            additions.push_back(
                [=](EffectRegistry& registry) { registry.RegisterTwoInputEffect(classId, implName, factory); });
        }
    }
    void RegisterSettings(std::shared_ptr<Proc::Settings const> const& defaults) override {
        if (defaults && Accepts(defaults->GetClassId())) {
            own.RegisterSettings(defaults);
            additions.push_back([=](EffectRegistry& registry) { registry.RegisterSettings(defaults); });
        }
    }

    Proc::PictureReader GetPictureReader() const override { return known.GetPictureReader(); }

    /// Adds everything to the registry; gives what is wrong with it, or "".
    std::string AddTo(EffectRegistry& registry, std::size_t& count) {
        std::vector<std::string> undescribed;
        for (RegisteredEffect const& effect : own.List()) {
            if (effect.settings == nullptr) {
                undescribed.push_back(effect.classId);
            }
        }
        count = own.List().size();
        if (!undescribed.empty()) {
            count = 0;
            return fmt::format("it registers no settings for {}", fmt::join(undescribed, ", "));
        }
        for (std::function<void(EffectRegistry&)> const& add : additions) {
            add(registry);
        }
        if (!taken.empty()) {
            return fmt::format("an earlier plug-in has the name {}", fmt::join(taken, ", "));
        }
        return count == 0 ? "it registers no effects" : "";
    }

private:
    bool Accepts(std::string const& classId) {
        std::vector<RegisteredEffect> const earlier = known.List();
        bool const isFree = std::none_of(earlier.begin(), earlier.end(),
                                         [&](RegisteredEffect const& effect) { return effect.classId == classId; });
        if (!isFree) {
            taken.insert(classId);
        }
        return isFree;
    }

    EffectRegistry const& known;
    EffectRegistry own;
    std::vector<std::function<void(EffectRegistry&)>> additions;
    std::set<std::string> taken;
};

/// What ends in ".so" there. A folder that is not there has nothing; `error` says why one that is cannot be read.
std::vector<fs::path> ListObjects(fs::path const& folder, std::error_code& error) {
    std::vector<fs::path> files;
    for (fs::directory_iterator entry(folder, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        if (entry->path().extension() == ".so") {
            files.push_back(entry->path());
        }
    }
    std::error_code ignored;
    if (!fs::is_directory(folder, ignored)) {
        error.clear();
    }
    std::sort(files.begin(), files.end());
    return files;
}

/// Reads one plain structure at an offset; false where the file ends before.
template <typename T>
bool ReadAt(std::ifstream& file, std::uint64_t offset, T& target) {
    file.clear();
    file.seekg(static_cast<std::streamoff>(offset));
    file.read(reinterpret_cast<char*>(&target), sizeof target);
    return file.good();
}

}  // namespace

std::vector<std::string> FindNeededLibraries(fs::path const& path) {
    std::ifstream file(path, std::ios::binary);
    Elf64_Ehdr header{};
    if (!ReadAt(file, 0, header) || std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 ||
        header.e_ident[EI_CLASS] != ELFCLASS64) {
        return {};
    }
    file.seekg(0, std::ios::end);
    auto const size = static_cast<std::uint64_t>(file.tellg());
    std::vector<Elf64_Phdr> loaded;
    Elf64_Phdr dynamic{};
    for (unsigned i = 0; i < header.e_phnum; ++i) {
        Elf64_Phdr part{};
        if (!ReadAt(file, header.e_phoff + std::uint64_t{i} * sizeof part, part)) {
            return {};
        }
        if (part.p_type == PT_LOAD) {
            // The loader would map it all the same, and the first look behind the end would end the process.
            if (part.p_offset > size || part.p_filesz > size - part.p_offset) {
                Core::Throw(std::runtime_error(fmt::format("the plug-in {} is cut off", path.string())));
            }
            loaded.push_back(part);
        } else if (part.p_type == PT_DYNAMIC) {
            dynamic = part;
        }
    }
    std::uint64_t names = 0;
    std::vector<std::uint64_t> needed;
    constexpr std::uint64_t kMostEntries = 10'000;
    for (std::uint64_t i = 0; i < std::min(dynamic.p_filesz / sizeof(Elf64_Dyn), kMostEntries); ++i) {
        Elf64_Dyn entry{};
        if (!ReadAt(file, dynamic.p_offset + i * sizeof entry, entry) || entry.d_tag == DT_NULL) {
            break;
        }
        if (entry.d_tag == DT_NEEDED) {
            needed.push_back(entry.d_un.d_val);
        } else if (entry.d_tag == DT_STRTAB) {
            // An address; the part of the file that is loaded there has the names.
            for (Elf64_Phdr const& part : loaded) {
                if (entry.d_un.d_ptr >= part.p_vaddr && entry.d_un.d_ptr - part.p_vaddr < part.p_filesz) {
                    names = entry.d_un.d_ptr - part.p_vaddr + part.p_offset;
                }
            }
        }
    }
    std::vector<std::string> libraries;
    for (std::uint64_t const offset : needed) {
        std::array<char, 64> name{};
        file.clear();
        file.seekg(static_cast<std::streamoff>(names + offset));
        file.read(name.data(), name.size() - 1);
        if (std::string_view(name.data()).starts_with(kOwnLibrary)) {
            libraries.emplace_back(name.data());
        }
    }
    return libraries;
}

std::vector<fs::path> ListPluginFolders() {
    std::vector<fs::path> folders;
    auto const add = [&folders](fs::path const& folder) {
        if (folder.is_absolute()) {
            folders.push_back(folder.lexically_normal());
        }
    };
    std::string const path = Core::GetVariable(kPluginPathVariable);
    for (std::string_view const folder : Core::Split(path, ':')) {
        add(folder);
    }
    add(GetUsersDataFolder() / "kaltor" / "plugins");
    add(GetLibraryFolder() / "kaltor" / "plugins");
    return folders;
}

std::vector<PluginReport> LoadOtherPlugins(EffectRegistry& registry, std::vector<fs::path> const& folders) {
    std::vector<PluginReport> reports;
    std::set<fs::path> seen;
    for (fs::path const& folder : folders) {
        std::error_code unread;
        std::vector<fs::path> const files = ListObjects(folder, unread);
        if (unread) {
            reports.push_back({folder, 0, fmt::format("the folder cannot be read: {}", unread.message())});
        }
        for (fs::path const& file : files) {
            std::error_code error;
            fs::path const real = fs::canonical(file, error);
            if (!error && !seen.insert(real).second) {
                continue;  // the same file by another name
            }
            PluginReport report{file, 0, "", false};
            try {
                Collector collector(registry);
                LoadPlugin(file, collector);
                report.fault = collector.AddTo(registry, report.effects);
            } catch (std::exception const& thrown) {
                report.fault = Core::Describe(thrown);
            } catch (...) {
                report.fault = "it throws something that is no exception";
            }
            reports.push_back(std::move(report));
        }
    }
    return reports;
}

}  // namespace Kaltor::Host
