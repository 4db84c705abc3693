#include "Apps/Kaltor/Gallery/Preview.h"

#include <algorithm>
#include <array>
#include <optional>

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
#include "Render/Render.h"

namespace Kaltor::Cli {
namespace {

namespace fs = std::filesystem;

constexpr char const* kFirst = "pictures/first.mp4";
constexpr char const* kFirstStill = "pictures/first.png";
constexpr char const* kSecond = "pictures/second.mp4";
constexpr char const* kSecondStill = "pictures/second.png";
constexpr int kFine = 16;   // of the clips, from which previews are encoded once more
constexpr int kSmall = 26;  // of the previews
constexpr unsigned kSeed = 1;
// A transition's course: the first clip is seen alone for a moment, then the second, then the first up to where it
// began, so that the video loops without a seam.
constexpr char const* kTransitionSeconds = "1.4";
// Stills show the course at a third: in its middle what fades is black, and what swings to and fro is at rest.
constexpr std::chrono::milliseconds kInTransition(1100);
constexpr std::chrono::milliseconds kTypical(350 * kLoopSeconds);

/// What lives on many colours and small detail, which the beach has and the lake has not.
constexpr std::array kOnSecond{"EffectColorMixDistinguish",
                               "EffectChromakey",
                               "EffectDiffuse",
                               "EffectErosion",
                               "EffectFindEdges",
                               "EffectGlassMosaic",
                               "EffectMosaic",
                               "EffectOilPaint",
                               "EffectPopArt",
                               "EffectRetroColors",
                               "EffectSharpen",
                               "EffectTiltShiftQEL"};

/// Quoted where a shell needs it: # may begin a comment.
std::string Quoted(std::string const& text) {
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

/// The clip that `input` names, or of the scene, and a still of it.
void MakeSource(fs::path const& path, fs::path const& still, std::string const& input, Scene scene,
                Conf::FrameInfo const& size, std::atomic<bool> const& cancel) {
    Media::VideoTarget const target = TargetOf(size, {ColorMatrix::Bt709, ColorRange::Limited}, PixFmt::Yuv420p);
    std::optional<Media::VideoReader> reader;
    if (!input.empty()) {
        reader.emplace(input, target, Media::Microseconds(0), Media::WarningFn{}, Media::InputRules{.stop = &cancel});
    }
    Media::Conformer conformer(path.string(), target);
    Media::WriterOptions options;
    options.path = path.string();
    options.video = target;
    options.codec = "h264";
    options.crf = kFine;
    Media::MediaWriter writer(options);
    for (int i = 0; i < kLoopSeconds * kLoopRate; ++i) {
        CheckCancelled(cancel);
        double const phase = static_cast<double>(i) / (kLoopSeconds * kLoopRate);
        writer.WritePicture(*(reader ? reader->Read() : conformer.Convert(*DrawScene(scene, size, phase)->Share())));
    }
    writer.Finish();
    Media::WritePng(still.string(), *ReadFrame(path, size, kTypical), false);
}

/// A name with its values as `render` takes them.
std::string WithValues(std::string const& name, std::vector<Assignment> const& values) {
    std::string text = name;
    for (auto const& [field, value] : values) {
        text += fmt::format(":{}={}", field, value);
    }
    return text;
}

/// A shader file's class id may be a path.
std::string FileNameOf(CatalogEntry const& entry) {
    std::string name = entry.name;
    std::replace(name.begin(), name.end(), '/', '_');
    return name;
}

/// The video of an effect or transition, made in the way that `render` makes it.
Preview MakeVideo(fs::path const& folder, Catalog const& catalog, CatalogEntry const& entry,
                  Conf::FrameInfo const& size, std::atomic<bool> const& cancel) {
    Preview preview;
    std::string const file = FileNameOf(entry);
    preview.video = fmt::format("previews/{}.mp4", file);
    preview.poster = fmt::format("previews/{}.jpg", file);
    std::string const spec = WithValues(entry.name, ValuesOf(entry.name, size));
    DocumentOptions options;
    bool const isTransition = entry.kind == Kind::Transition;
    if (isTransition) {
        options.clips = {fmt::format("{}@0-2", kFirst), fmt::format("{}@0-3.6", kSecond),
                         fmt::format("{}@2-{}", kFirst, kLoopSeconds)};
        options.transitions = {spec};
        options.transitionDuration = kTransitionSeconds;
    } else {
        options.clips = {IsOnSecond(entry.name) ? kSecond : kFirst};
        options.effects = {spec};
    }
    std::string const how =
        isTransition ? fmt::format("--transition {} --transition-duration {}", Quoted(spec), kTransitionSeconds)
                     : fmt::format("--effect {}", Quoted(spec));
    preview.command = fmt::format("kaltor render {} -o {}.mp4 {} --crf {} --seed {}", fmt::join(options.clips, " "),
                                  file, how, kSmall, kSeed);
    for (std::string& clip : options.clips) {
        clip = (folder / clip).string();
    }
    options.encoder.codec = "h264";
    options.encoder.crf = kSmall;
    options.seed = kSeed;
    Render::RenderJob job;
    job.document = MakeDocument(options, catalog);
    job.output = (folder / preview.video).string();
    job.cancel = &cancel;
    Render::Render(job, catalog.GetFactory());
    WriteJpeg(folder / preview.poster, *ReadFrame(job.output, size, isTransition ? kInTransition : kTypical));
    return preview;
}

/// The picture of a service, made in the way that `apply` makes it.
Preview MakeStill(fs::path const& folder, Catalog const& catalog, CatalogEntry const& entry,
                  Conf::FrameInfo const& size) {
    std::vector<Assignment> const values = ValuesOf(entry.name, size);
    std::vector<Picture> inputs{Media::ReadPicture((folder / kFirstStill).string())};
    std::string names = kFirstStill;
    if (entry.isTwoInput) {
        inputs.push_back(Media::ReadPicture((folder / kSecondStill).string()));
        names += fmt::format(" {}", kSecondStill);
    }
    Preview preview;
    preview.poster = fmt::format("previews/{}.jpg", entry.name);
    preview.command = fmt::format("kaltor apply {} {} -o {}.png", entry.name, names, entry.name);
    for (auto const& [field, value] : values) {
        preview.command += fmt::format(" --set {}", Quoted(fmt::format("{}={}", field, value)));
    }
    PictureEffect effect = MakePictureEffect(catalog, entry, *MakeSettings(entry, values));
    WriteJpeg(folder / preview.poster, *effect.Run(inputs, 0));
    return preview;
}

}  // namespace

bool IsOnSecond(std::string const& name) {
    return std::find(kOnSecond.begin(), kOnSecond.end(), name) != kOnSecond.end();
}

std::vector<Assignment> ValuesOf(std::string const& name, Conf::FrameInfo const& size) {
    if (name == Proc::SettingsEffectChromakey::CLASS_ID) {
        return {{"color", "#18A0B0"}, {"tolerance", "0.15"}};  // the sea
    }
    if (name == Proc::SettingsResizer::CLASS_ID) {
        return {{"width", std::to_string(size.width)},
                {"height", std::to_string(size.height)},
                {"mode", "fit"},
                {"cropLeft", std::to_string(size.width / 2)}};
    }
    if (name == Proc::SettingsEffectImageBlender::CLASS_ID) {
        return {{"opacity", "200"}, {"x", std::to_string(size.width / 2)}};
    }
    return {};
}

void MakeSources(fs::path const& folder, SourceOptions const& options, std::atomic<bool> const& cancel) {
    fs::create_directories(folder / "pictures");
    fs::create_directories(folder / "previews");
    MakeSource(folder / kFirst, folder / kFirstStill, options.first, Scene::Lake, options.size, cancel);
    MakeSource(folder / kSecond, folder / kSecondStill, options.second, Scene::Beach, options.size, cancel);
}

Preview MakePreview(fs::path const& folder, Catalog const& catalog, CatalogEntry const& entry,
                    Conf::FrameInfo const& size, std::atomic<bool> const& cancel) {
    CheckCancelled(cancel);
    return entry.kind == Kind::Service ? MakeStill(folder, catalog, entry, size)
                                       : MakeVideo(folder, catalog, entry, size, cancel);
}

}  // namespace Kaltor::Cli
