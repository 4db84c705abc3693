#include "Apps/Kaltor/PictureEffect.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>

#include <fmt/format.h>
#include <unistd.h>

#include "Apps/Kaltor/Console.h"
#include "Apps/Kaltor/NumberOption.h"
#include "Apps/Kaltor/Specs.h"
#include "Core/Interfaces/Exception.h"
#include "Core/Text.h"
#include "Media/Picture.h"
#include "Ogl/OglManager.h"

namespace Kaltor::Cli {
namespace {

namespace fs = std::filesystem;

constexpr char const* kStandardStream = "-";

std::vector<std::uint8_t> ReadStandardInput() {
    constexpr std::size_t kChunk = 1 << 16;
    std::vector<std::uint8_t> content;
    for (std::size_t got = kChunk; got == kChunk;) {
        std::size_t const before = content.size();
        content.resize(before + kChunk);
        got = std::fread(content.data() + before, 1, kChunk, stdin);
        content.resize(before + got);
    }
    return content;
}

std::string ShowSize(Proc::DataVideoFF const& picture) {
    return fmt::format("{}x{}", picture.GetFrameInfo().width, picture.GetFrameInfo().height);
}

/// Throws where an effect takes another number of pictures.
void CheckInputCount(CatalogEntry const& entry, std::string const& verb, std::size_t count) {
    std::size_t const least = entry.isTwoInput ? 2 : 1;
    if (count >= least && (count == least || entry.takesMore)) {
        return;
    }
    char const* const inputs = entry.takesMore    ? "BASE OVERLAY [OVERLAY...]"
                               : entry.isTwoInput ? "FIRST SECOND"
                                                  : "INPUT";
    throw UsageError(fmt::format("{} takes {} picture{}, not {}: kaltor {} {} {} -o OUT.png", entry.name,
                                 entry.takesMore    ? "two or more"
                                 : entry.isTwoInput ? "two"
                                                    : "one",
                                 least > 1 ? "s" : "", count, verb, entry.name, inputs));
}

std::vector<Picture> ReadInputs(CatalogEntry const& entry, std::vector<std::string> const& paths) {
    if (std::count(paths.begin(), paths.end(), kStandardStream) > 1) {
        throw UsageError("standard input (-) can be only one of the pictures");
    }
    auto const limit = static_cast<std::uint32_t>(Ogl::OglManager::GetInstance().GetInfo().maxTextureSize);
    std::vector<Picture> pictures;
    for (std::string const& path : paths) {
        pictures.push_back(path == kStandardStream
                               ? Media::DecodePicture(ReadStandardInput(), "standard input", limit, true)
                               : Media::ReadPicture(path, limit, true));
        bool const mustMatch = entry.isTwoInput && !entry.takesMore;
        Conf::FrameInfo const& first = pictures.front()->GetFrameInfo();
        Conf::FrameInfo const& last = pictures.back()->GetFrameInfo();
        if (mustMatch && (first.width != last.width || first.height != last.height)) {
            throw std::runtime_error(fmt::format("{} is {} but {} is {}: a transition takes two pictures of one size",
                                                 paths.front(), ShowSize(*pictures.front()), path,
                                                 ShowSize(*pictures.back())));
        }
    }
    return pictures;
}

/// In lower case; ".png" where there is none.
std::string EndingOf(std::string const& path) {
    std::string const ending = Core::ToLower(fs::path(path).extension().string());
    return ending.empty() ? ".png" : ending;
}

/// Throws for what cannot be the name of a picture.
void CheckPicturePath(std::string const& path) {
    std::string const ending = EndingOf(path);
    constexpr std::array<std::string_view, 5> kEndings{".png", ".tif", ".tiff", ".exr", ".avif"};
    if (path.empty() || std::find(kEndings.begin(), kEndings.end(), ending) == kEndings.end()) {
        throw UsageError(fmt::format(
            "the output \"{}\" would be a PNG file: give it a name that ends in .png, .tif, .exr or .avif", path));
    }
    if (path == kStandardStream && isatty(STDOUT_FILENO) != 0) {
        throw UsageError("a PNG file does not go to a terminal: redirect standard output or give -o a file's name");
    }
}

}  // namespace

PictureEffect MakePictureEffect(Catalog const& catalog, CatalogEntry const& entry, Proc::Settings const& settings) {
    try {
        return PictureEffect(*catalog.GetFactory(), entry.name, entry.isTwoInput, settings);
    } catch (std::invalid_argument const& error) {
        throw UsageError(Core::Describe(error));
    }
}

void PictureOptions::AddTo(Verb& verb) {
    verb.AddText("NAME", name, "what to run; \"kaltor list\" shows what there is").Require();
    verb.AddTexts("INPUT", inputs, "pictures in any common format; - reads standard input").Require();
    verb.AddText("-o,--output", output,
                 "the PNG file to write; - writes to standard output; .tif, .exr and .avif work, too")
        .Require()
        .ShowValueAs("OUT.png");
    verb.AddTexts("--set", values, "set a field, or those in a JSON file (@FILE); may be repeated")
        .ShowValueAs("FIELD=VALUE")
        .TakeOneAtATime();
    AddNumber<unsigned>(verb, "--seed", seed, "seed of what is random (default: the clock)").ShowValueAs("N");
    verb.AddFlag("--watch", watches, "draw again each time the shader file NAME changes, until Ctrl-C");
    isolation.AddTo(verb);
}

PictureJob MakePictureJob(PictureOptions const& options, std::string const& verb) {
    CheckPicturePath(options.output);
    std::vector<Assignment> values;
    for (std::string const& text : options.values) {
        std::vector<Assignment> const parsed = ParseAssignments(text);
        values.insert(values.end(), parsed.begin(), parsed.end());
    }
    Catalog const catalog = LoadCatalog(options.isolation.Get() ? HangGuard::Off : HangGuard::On);
    CatalogEntry const& entry = catalog.Find(options.name, options.inputs.size());
    CheckInputCount(entry, verb, options.inputs.size());
    std::unique_ptr<Proc::Settings> const settings = MakeSettings(entry, values);
    std::vector<Picture> inputs = ReadInputs(entry, options.inputs);
    PictureEffect effect = MakePictureEffect(catalog, entry, *settings);
    if (options.seed) {
        effect.SetSeed(*options.seed);
    }
    return {std::move(inputs), std::move(effect)};
}

std::vector<std::uint8_t> MakeFile(std::string const& path, Proc::DataVideoFF const& picture) {
    return Media::EncodePicture(picture, EndingOf(path));
}

}  // namespace Kaltor::Cli
