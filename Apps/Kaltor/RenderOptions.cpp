#include "Apps/Kaltor/RenderOptions.h"

#include <algorithm>
#include <filesystem>

#include <fmt/format.h>

#include "Ogl/OglManager.h"

namespace Kaltor::Cli {
namespace {

/// "1 clip", "2 clips".
std::string Count(std::size_t count, char const* what) {
    return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

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

/// Those for all joints first, then those for one, in the order in which they were given.
std::vector<Media::Transition> MakeTransitions(RenderOptions const& options, Catalog const& catalog) {
    Media::Microseconds const duration(ParseTime(options.transitionDuration));
    std::vector<IndexedSpec> specs{{std::nullopt, {"TransitionCrossfade", {}}}};
    for (std::string const& text : options.transitions) {
        specs.push_back(ParseIndexedSpec(text));
    }
    std::stable_partition(specs.begin(), specs.end(), [](IndexedSpec const& spec) { return !spec.index; });
    std::vector<Media::Transition> joints(options.clips.size() - 1);
    for (auto const& [index, spec] : specs) {
        if (index && *index > joints.size()) {
            throw UsageError(fmt::format("{}:{}: there is no joint {} in {}; that of the first two clips is 1", *index,
                                         spec.name, *index, Count(options.clips.size(), "clip")));
        }
        Media::Transition joint;
        if (spec.name != "none") {
            std::shared_ptr<Proc::Settings const> const settings =
                MakeSettings(catalog.FindTransition(spec.name).name, spec.values);
            if (duration.count() > 0) {
                joint = {settings, duration};
            }
        }
        if (index) {
            joints[*index - 1] = joint;
        } else {
            std::fill(joints.begin(), joints.end(), joint);
        }
    }
    return joints;
}

std::vector<Media::ClipEffect> MakeEffects(RenderOptions const& options, Catalog const& catalog) {
    std::vector<Media::ClipEffect> effects;
    for (std::string const& text : options.effects) {
        auto const [index, spec] = ParseIndexedSpec(text);
        if (index && *index > options.clips.size()) {
            throw UsageError(fmt::format("\"{}\" is for clip {}, but there {} {}", text, *index,
                                         options.clips.size() == 1 ? "is" : "are",
                                         Count(options.clips.size(), "clip")));
        }
        Media::ClipEffect& effect = effects.emplace_back();
        effect.settings = MakeSettings(catalog.FindEffect(spec.name).name, spec.values);
        if (index) {
            effect.clip = *index - 1;
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
    job.allowPlaylists = options.allowPlaylists;
    job.output = options.output;
    job.overwrite = options.overwrite;
    job.seed = options.seed;
    job.getMaximumSide = [] {
        return static_cast<std::uint32_t>(Ogl::OglManager::GetInstance().GetInfo().maxTextureSize);
    };
    return job;
}

}  // namespace Kaltor::Cli
