#include "Apps/Kaltor/EditCommand.h"

#include <algorithm>
#include <cctype>
#include <stdexcept>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "Apps/Kaltor/RenderOptions.h"
#include "Core/ParseNumber.h"
#include "Edit/DocumentWriter.h"

namespace Kaltor::Cli {
namespace {

using Edit::Json;

/// The document says something that no option says.
struct NoWords {};

/// Clips first, then options with their values; flags have none.
struct Words {
    std::vector<std::string> clips;
    std::vector<std::pair<std::string, std::string>> options;
};

/// A plain value as it is typed.
std::string TypedValue(Json const& value) {
    if (value.is_string()) {
        return value.get<std::string>();
    }
    if (value.is_array()) {
        std::vector<std::string> numbers;
        for (Json const& number : value) {
            numbers.push_back(TypedValue(number));
        }
        return fmt::format("{}", fmt::join(numbers, ","));
    }
    if (value.is_object()) {
        throw NoWords();  // it changes over time
    }
    return value.is_number_float() ? fmt::format("{}", value.get<double>()) : value.dump();
}

/// "NAME:field=value..." of an effect or a transition without what `known` handles.
std::string FieldsOf(Json const& look, std::initializer_list<std::string_view> known) {
    std::string text;
    for (auto const& [key, value] : look.items()) {
        if (std::find(known.begin(), known.end(), key) == known.end()) {
            text += fmt::format(":{}={}", key, TypedValue(value));
        }
    }
    return text;
}

std::string JointOf(Json const& joint) {
    std::string text = joint.value("transition", "none");
    if (joint.contains("duration") || joint.contains("easing")) {
        text += "@";
        text += joint.contains("duration") ? TypedValue(joint["duration"]) : "";
        text += joint.contains("easing") ? "," + TypedValue(joint["easing"]) : "";
    }
    return text + FieldsOf(joint, {"transition", "duration", "easing"});
}

/// "TEXT:key=value..." with the keys of a document's part.
std::string PartOf(std::string const& first, Json const& keys, std::string_view without) {
    std::string text = first;
    for (auto const& [key, value] : keys.items()) {
        if (key != without) {
            text += fmt::format(":{}={}", key, value.is_structured() ? value.dump() : TypedValue(value));
        }
    }
    return text;
}

void AddClip(Words& words, Json const& clip, std::size_t number) {
    std::string text;
    for (auto const& [key, value] : clip.items()) {
        auto const add = [&](char const* option, std::string const& typed) {
            words.options.emplace_back(option, fmt::format("{}:{}", number, typed));
        };
        if (key == "file") {
            text = value.get<std::string>();
        } else if (key == "fit" || key == "speed" || key == "volume") {
            add(("--" + key).c_str(), TypedValue(value));
        } else if (key == "joint") {
            add("--transition", JointOf(value));
        } else if (key == "effects") {
            for (Json const& effect : value) {
                add("--effect", TypedValue(effect.at("effect")) + FieldsOf(effect, {"effect"}));
            }
        } else if (key != "from" && key != "to") {
            throw NoWords();
        }
    }
    if (text.empty()) {
        throw NoWords();
    }
    if (clip.contains("from") || clip.contains("to")) {
        text += fmt::format("@{}-{}", clip.contains("from") ? TypedValue(clip["from"]) : "",
                            clip.contains("to") ? TypedValue(clip["to"]) : "");
    }
    words.clips.push_back(text);
}

Words WordsOf(Json const& document) {
    Words words;
    for (auto const& [key, value] : document.items()) {
        if (key == "clips") {
            words.options.emplace_back("--transition",
                                       document.contains("joint") ? JointOf(document["joint"]) : "none");
            for (std::size_t i = 0; i < value.size(); ++i) {
                AddClip(words, value[i], i + 1);
            }
        } else if (key == "output") {
            for (auto const& [name, setting] : value.items()) {
                words.options.emplace_back(name == "stillDuration" ? "--still-duration" : "--" + name,
                                           TypedValue(setting));
            }
        } else if (key == "overlays") {
            for (Json const& overlay : value) {
                if (overlay.contains("title")) {
                    Json keys = overlay["title"];
                    std::string const text = keys.value("text", "");
                    keys.erase("text");
                    std::string const title = PartOf(text, keys, "");
                    words.options.emplace_back("--title", PartOf(title, overlay, "title"));
                } else {
                    words.options.emplace_back("--overlay", PartOf(overlay.value("file", ""), overlay, "file"));
                }
            }
        } else if (key == "sounds") {
            for (Json const& sound : value) {
                words.options.emplace_back("--music", PartOf(sound.value("file", ""), sound, "file"));
            }
        } else if (key == "subtitles") {
            for (Json const& file : value) {
                words.options.emplace_back("--subtitles", PartOf(file.value("file", ""), file, "file"));
            }
        } else if (key == "mix") {
            for (auto const& [name, setting] : value.items()) {
                name == "muted" ? words.options.emplace_back("--no-audio", "")
                                : words.options.emplace_back("--" + name, TypedValue(setting));
            }
        } else if (key != "version" && key != "joint") {
            throw NoWords();
        }
    }
    return words;
}

/// What the words mean to `render`.
DocumentOptions OptionsOf(Words const& words) {
    DocumentOptions options;
    options.clips = words.clips;
    for (auto const& [option, value] : words.options) {
        auto const number = [&text = value] {
            std::optional<double> const parsed = Core::ParseNumber<double>(text);
            return parsed ? *parsed : throw NoWords();
        };
        auto const whole = [&] { return static_cast<int>(number()); };
        if (option == "--transition") {
            options.transitions.push_back(value);
        } else if (option == "--effect") {
            options.effects.push_back(value);
        } else if (option == "--fit") {
            options.fits.push_back(value);
        } else if (option == "--speed") {
            options.speeds.push_back(value);
        } else if (option == "--volume") {
            options.volumes.push_back(value);
        } else if (option == "--title") {
            options.titles.push_back(value);
        } else if (option == "--overlay") {
            options.overlays.push_back(value);
        } else if (option == "--music") {
            options.music.push_back(value);
        } else if (option == "--subtitles") {
            options.subtitles.push_back(value);
        } else if (option == "--size") {
            options.size = value;
        } else if (option == "--fps") {
            options.rate = value;
        } else if (option == "--background") {
            options.background = value;
        } else if (option == "--still-duration") {
            options.stillDuration = value;
        } else if (option == "--seed") {
            options.seed = static_cast<unsigned>(number());
        } else if (option == "--depth") {
            options.depth = value;
        } else if (option == "--hdr") {
            options.hdr = value;
        } else if (option == "--alpha") {
            options.alpha = value;
        } else if (option == "--for") {
            options.encoder.profile = value;
        } else if (option == "--codec") {
            options.encoder.codec = value;
        } else if (option == "--crf") {
            options.encoder.crf = whole();
        } else if (option == "--preset") {
            options.encoder.preset = value;
        } else if (option == "--loudness") {
            options.loudness = number();
        } else if (option == "--no-audio") {
            options.hasNoAudio = true;
        } else {
            throw NoWords();
        }
    }
    return options;
}

/// A number below 0 does not.
bool LooksLikeOption(std::string const& word) {
    return word.size() > 1 && word[0] == '-' && std::isdigit(static_cast<unsigned char>(word[1])) == 0;
}

/// One word of a shell.
std::string Quote(std::string const& word) {
    static constexpr std::string_view kPlain =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-+/=:,@%";
    if (!word.empty() && word.find_first_not_of(kPlain) == std::string::npos) {
        return word;
    }
    std::string quoted = "'";
    for (char const c : word) {
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return quoted + "'";
}

}  // namespace

std::optional<std::string> WriteCommand(Edit::Document const& document, Catalog const& catalog,
                                        std::string const& folder) {
    try {
        Json const whole = Edit::WriteDocument(document);
        if (Edit::WriteDocument(MakeDocument(OptionsOf(WordsOf(whole)), catalog)) != whole) {
            return std::nullopt;
        }
        Words const words = WordsOf(Json::parse(Edit::FormatDocument(document, folder)));
        std::string command = "kaltor render";
        for (std::string const& clip : words.clips) {
            command += " " + Quote(LooksLikeOption(clip) ? "./" + clip : clip);
        }
        command += " -o out.mp4";
        for (auto const& [option, value] : words.options) {
            command += " " + option;
            command += value.empty() ? "" : (LooksLikeOption(value) ? "=" : " ") + Quote(value);
        }
        return command;
    } catch (NoWords const&) {
        return std::nullopt;
    } catch (std::invalid_argument const&) {
        return std::nullopt;  // such as a text that reads as a key
    }
}

}  // namespace Kaltor::Cli
