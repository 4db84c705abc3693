#include "Apps/Kaltor/Gallery/Preview.h"

#include <cstdlib>
#include <functional>
#include <map>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "Apps/Kaltor/Console.h"
#include "Apps/Kaltor/Gallery/Scenes.h"
#include "Apps/Kaltor/PictureEffect.h"
#include "Apps/Kaltor/RenderOptions.h"
#include "Media/Conformer.h"
#include "Media/MediaWriter.h"
#include "Media/Picture.h"
#include "Ogl/OglManager.h"
#include "Proc/Settings/SettingsColorEffects.h"
#include "Proc/Settings/SettingsServices.h"

namespace Kaltor::Cli {
namespace {

namespace fs = std::filesystem;

constexpr char const* kFirst = "pictures/first.mp4";
constexpr char const* kSecond = "pictures/second.mp4";
constexpr unsigned kSeed = 1;
// A transition's course: the first clip is seen alone for a moment, then the second, then the first up to where it
// began, so that the video loops without a seam.
constexpr char const* kTransitionSeconds = "1.4";
constexpr std::chrono::milliseconds kMidTransition(1300);
// In the middle of its course what swings to and fro is at rest.
constexpr std::chrono::milliseconds kTypical(350 * kLoopSeconds);

/// How an entry is best shown where its defaults do little on the first clip.
struct Showing {
    std::vector<Assignment> values;
    bool isOnSecond = false;
};

Showing ShowingOf(std::string const& name, Conf::FrameInfo const& size) {
    if (name == "EffectChromakey") {
        return {{{"color", "#18A0B0"}, {"tolerance", "0.25"}}, true};  // the sea
    }
    if (name == Proc::SettingsResizer::CLASS_ID) {
        return {{{"width", std::to_string(size.width)},
                 {"height", std::to_string(size.height)},
                 {"mode", "fit"},
                 {"cropLeft", std::to_string(size.width / 2)}}};
    }
    if (name == Proc::SettingsEffectImageBlender::CLASS_ID) {
        return {{{"opacity", "200"}, {"x", std::to_string(size.width / 2)}}};
    }
    return {};
}

/// A field's value as a word of a shell.
std::string Quoted(Assignment const& value) {
    std::string const text = value.first + "=" + value.second;
    return text.find('#') == std::string::npos ? text : "'" + text + "'";
}

Media::VideoTarget TargetOf(Conf::FrameInfo const& size, ColorSpec const& colorSpec, PixFmt format) {
    return {size, {kLoopRate, 1}, colorSpec, format};
}

Picture ReadFrame(fs::path const& video, Conf::FrameInfo const& size, Media::Microseconds time) {
    Media::VideoReader reader(video.string(), TargetOf(size, {}, PixFmt::Rgb24), time);
    return Proc::DataVideoFF::Wrap(reader.Read());
}

void WriteJpeg(fs::path const& path, Proc::DataVideoFF const& picture) {
    std::vector<std::uint8_t> const jpeg = Media::EncodeJpeg(picture);
    WriteFile(path.string(), {reinterpret_cast<char const*>(jpeg.data()), jpeg.size()});
}

void CheckCancelled(std::atomic<bool> const& cancel) {
    if (cancel) {
        throw Media::Cancelled();
    }
}

void WriteSource(fs::path const& path, Conf::FrameInfo const& size, std::atomic<bool> const& cancel,
                 std::function<Proc::AvFramePtr(int number)> const& next) {
    constexpr int kFine = 16;  // previews are encoded from it once more
    Media::VideoTarget const target = TargetOf(size, {ColorMatrix::Bt709, ColorRange::Limited}, PixFmt::Yuv420p);
    Media::MediaWriter writer({path.string(), false, target, "h264", kFine, std::nullopt});
    Media::Conformer conformer(path.string(), target);
    for (int i = 0; i < kLoopSeconds * kLoopRate; ++i) {
        CheckCancelled(cancel);
        writer.WritePicture(*conformer.Convert(*next(i)));
    }
    writer.Finish();
}

/// `text` with a colon before it for each value, as `render` takes them.
std::string WithValues(std::string const& name, Showing const& showing) {
    std::string text = name;
    for (auto const& [field, value] : showing.values) {
        text += fmt::format(":{}={}", field, value);
    }
    return text.find('#') == std::string::npos ? text : "'" + text + "'";
}

/// An effect's or a transition's video by the road that `render` takes.
Preview MakeVideo(fs::path const& folder, Catalog const& catalog, CatalogEntry const& entry,
                  Conf::FrameInfo const& size, std::atomic<bool> const& cancel) {
    Showing const showing = ShowingOf(entry.name, size);
    Preview preview;
    preview.video = fmt::format("previews/{}.mp4", entry.name);
    preview.poster = fmt::format("previews/{}.jpg", entry.name);
    std::string const spec = WithValues(entry.name, showing);
    std::string const bare = spec.front() == '\'' ? spec.substr(1, spec.size() - 2) : spec;
    RenderOptions options;
    bool const isTransition = entry.kind == Kind::Transition;
    if (isTransition) {
        options.clips = {fmt::format("{}@0-2", kFirst), fmt::format("{}@0-3.6", kSecond),
                         fmt::format("{}@2-{}", kFirst, kLoopSeconds)};
        options.transition = bare;
        options.transitionDuration = kTransitionSeconds;
    } else {
        options.clips = {showing.isOnSecond ? kSecond : kFirst};
        options.effects = {bare};
    }
    preview.command =
        fmt::format("kaltor render {} -o {}.mp4 {}{} --seed {}", fmt::join(options.clips, " "), entry.name,
                    isTransition ? "--transition " : "--effect ",
                    isTransition ? fmt::format("{} --transition-duration {}", spec, kTransitionSeconds) : spec, kSeed);
    for (std::string& clip : options.clips) {
        clip = (folder / clip).string();
    }
    options.output = (folder / preview.video).string();
    options.codec = "h264";
    std::srand(kSeed);
    Media::RenderJob job = MakeRenderJob(options, catalog);
    job.cancel = &cancel;
    Media::Render(job, catalog.GetFactory());
    WriteJpeg(folder / preview.poster, *ReadFrame(options.output, size, isTransition ? kMidTransition : kTypical));
    return preview;
}

/// A service's picture by the road that `apply` takes.
Preview MakeStill(fs::path const& folder, Catalog const& catalog, CatalogEntry const& entry,
                  Conf::FrameInfo const& size) {
    Showing const showing = ShowingOf(entry.name, size);
    std::vector<Picture> inputs;
    std::string names;
    for (char const* const clip : {kFirst, kSecond}) {
        fs::path const still = fs::path(clip).replace_extension(".png");
        inputs.push_back(ReadFrame(folder / clip, size, kTypical));
        if (!fs::exists(folder / still)) {
            Media::WritePng((folder / still).string(), *inputs.back(), false);
        }
        names += " " + still.string();
        if (!entry.isTwoInput) {
            break;
        }
    }
    Preview preview;
    preview.poster = fmt::format("previews/{}.jpg", entry.name);
    preview.command = fmt::format("kaltor apply {}{} -o {}.png", entry.name, names, entry.name);
    for (Assignment const& value : showing.values) {
        preview.command += " --set " + Quoted(value);
    }
    PictureEffect effect(catalog, entry, *MakeSettings(entry.name, showing.values));
    WriteJpeg(folder / preview.poster, *effect.Run(inputs, 0));
    return preview;
}

}  // namespace

void MakeSources(fs::path const& folder, SourceOptions const& options, std::atomic<bool> const& cancel) {
    fs::create_directories(folder / "pictures");
    fs::create_directories(folder / "previews");
    for (auto const& [path, input, scene] :
         {std::tuple(kFirst, options.first, Scene::Lake), std::tuple(kSecond, options.second, Scene::Beach)}) {
        if (input.empty()) {
            WriteSource(folder / path, options.size, cancel, [&, drawn = scene](int number) {
                double const phase = static_cast<double>(number) / (kLoopSeconds * kLoopRate);
                return DrawScene(drawn, options.size, phase)->Share();
            });
        } else {
            Media::VideoReader reader(
                input, TargetOf(options.size, {ColorMatrix::Bt709, ColorRange::Limited}, PixFmt::Yuv420p));
            WriteSource(folder / path, options.size, cancel, [&reader](int) { return reader.Read(); });
        }
    }
}

Preview MakePreview(fs::path const& folder, Catalog const& catalog, CatalogEntry const& entry,
                    Conf::FrameInfo const& size, std::atomic<bool> const& cancel) {
    CheckCancelled(cancel);
    return entry.kind == Kind::Service ? MakeStill(folder, catalog, entry, size)
                                       : MakeVideo(folder, catalog, entry, size, cancel);
}

}  // namespace Kaltor::Cli
