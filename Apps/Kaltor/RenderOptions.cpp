#include "Apps/Kaltor/RenderOptions.h"

#include <filesystem>

#include <fmt/format.h>

#include "Ogl/OglManager.h"

namespace Kaltor::Cli {
namespace {

std::vector<Media::Clip> MakeClips(RenderOptions const& options) {
    Media::Microseconds const still(ParseTime(options.stillDuration));
    if (still.count() == 0) {
        throw UsageError("--still-duration takes more than 0 seconds");
    }
    std::vector<Media::Clip> clips;
    for (std::string const& text : options.clips) {
        ClipSpec const spec = ParseClip(text);
        Media::Clip& clip = clips.emplace_back();
        clip.path = spec.path;
        clip.stillDuration = still;
        if (spec.start) {
            clip.start = Media::Microseconds(*spec.start);
        }
        if (spec.end) {
            clip.end = Media::Microseconds(*spec.end);
        }
    }
    return clips;
}

std::vector<Media::Transition> MakeTransitions(RenderOptions const& options, Catalog const& catalog) {
    Media::Transition joint;
    joint.duration = Media::Microseconds(ParseTime(options.transitionDuration));
    if (options.transition != "none") {
        NameSpec const spec = ParseNameSpec(options.transition);
        std::shared_ptr<Proc::Settings const> const settings =
            MakeSettings(catalog.FindTransition(spec.name).name, spec.values);
        if (joint.duration.count() > 0) {
            joint.settings = settings;
        }
    }
    if (!joint.settings) {
        joint.duration = Media::Microseconds(0);
    }
    return std::vector<Media::Transition>(options.clips.size() - 1, joint);
}

std::vector<Media::ClipEffect> MakeEffects(RenderOptions const& options, Catalog const& catalog) {
    std::vector<Media::ClipEffect> effects;
    for (std::string const& text : options.effects) {
        EffectSpec const spec = ParseEffectSpec(text);
        if (spec.clip && *spec.clip > options.clips.size()) {
            throw UsageError(fmt::format("\"{}\" is for clip {}, but there {} {} clip{}", text, *spec.clip,
                                         options.clips.size() == 1 ? "is" : "are", options.clips.size(),
                                         options.clips.size() == 1 ? "" : "s"));
        }
        Media::ClipEffect& effect = effects.emplace_back();
        effect.settings = MakeSettings(catalog.FindEffect(spec.effect.name).name, spec.effect.values);
        if (spec.clip) {
            effect.clip = *spec.clip - 1;
        }
    }
    return effects;
}

}  // namespace

Media::RenderJob MakeRenderJob(RenderOptions const& options, Catalog const& catalog) {
    Media::RenderJob job;
    job.clips = MakeClips(options);
    job.transitions = MakeTransitions(options, catalog);
    job.effects = MakeEffects(options, catalog);
    if (!options.size.empty()) {
        auto const [width, height] = ParseSize(options.size);
        job.size = Conf::FrameInfo{width, height, 1, 1};
    }
    if (!options.rate.empty()) {
        auto const [numerator, denominator] = ParseRate(options.rate);
        job.frameRate = AVRational{numerator, denominator};
    }
    if (options.output == "-") {
        throw UsageError(
            "render writes to a file, not to standard output: its container follows from the file's ending");
    }
    std::error_code error;
    if (!options.overwrite && std::filesystem::exists(options.output, error)) {
        throw std::runtime_error(fmt::format("{} exists; --overwrite replaces it", options.output));
    }
    job.codec = options.codec;
    job.crf = options.crf;
    job.audio = !options.hasNoAudio;
    job.output = options.output;
    job.overwrite = options.overwrite;
    job.getMaximumSide = [] {
        return static_cast<std::uint32_t>(Ogl::OglManager::GetInstance().GetInfo().maxTextureSize);
    };
    return job;
}

}  // namespace Kaltor::Cli
