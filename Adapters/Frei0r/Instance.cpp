#include "Adapters/Frei0r/Instance.h"

#include <cstring>

#include <fmt/format.h>

#include "Adapters/Frei0r/DoorName.h"
#include "Adapters/Frei0r/EffectSource.h"
#include "Core/Interfaces/Exception.h"

namespace Kaltor::Frei0r {
namespace {

constexpr std::size_t kPixel = sizeof(std::uint32_t);

/// A picture in the host's memory, which is only read and has to stay until the picture has been drawn.
Host::Picture WrapInput(std::uint32_t const* pixels, std::uint32_t width, std::uint32_t height) {
    auto* const bytes = reinterpret_cast<std::uint8_t*>(const_cast<std::uint32_t*>(pixels));
    Proc::AvFramePtr frame = Proc::MakeAvFrame();
    frame->format = AV_PIX_FMT_RGBA;
    frame->width = static_cast<int>(width);
    frame->height = static_cast<int>(height);
    frame->linesize[0] = static_cast<int>(width * kPixel);
    frame->data[0] = bytes;
    frame->extended_data = frame->data;
    frame->buf[0] = av_buffer_create(
        bytes, std::size_t{width} * height * kPixel, [](void*, std::uint8_t*) {}, nullptr, AV_BUFFER_FLAG_READONLY);
    if (frame->buf[0] == nullptr) {
        throw std::bad_alloc();
    }
    return Proc::DataVideoFF::Wrap(std::move(frame));
}

void CopyOutput(Proc::DataVideoFF const& picture, std::uint32_t* output) {
    AVFrame const& frame = picture.GetFrame();
    std::size_t const row = static_cast<std::size_t>(frame.width) * kPixel;
    for (int y = 0; y < frame.height; ++y) {
        std::memcpy(output + static_cast<std::size_t>(frame.width) * static_cast<std::size_t>(y),
                    frame.data[0] + std::ptrdiff_t{frame.linesize[0]} * y, row);
    }
}

Proc::TimeToProgress MakeProgress(double value) {
    constexpr double kSecond = 1e6;
    constexpr double kLongest = 1e9;  // seconds
    Proc::TimeToProgress progress;
    if (value < 0.0) {
        progress.stop = std::max(std::llround(std::min(-value, kLongest) * kSecond), 1LL);
    } else {
        progress.mapping = [value](long long const&, long long const&, long long const&) { return value; };
    }
    return progress;
}

}  // namespace

Plugin::Plugin(std::string id)
    : classId(std::move(id)),
      name(MakeDoorName(classId)),
      isMixer(Proc::FindRowKind(classId) == Proc::RowKind::Transition),
      summary(Proc::MakeSettings(classId)->GetSummary()),
      parameters(classId) {}

Plugin const* Plugin::Find(std::string const& classId) {
    static std::mutex mutex;
    static auto* const plugins = new std::map<std::string, std::unique_ptr<Plugin const>>;
    std::optional<Proc::RowKind> const kind = Proc::FindRowKind(classId);
    if (!kind || *kind == Proc::RowKind::Service) {
        return nullptr;
    }
    std::lock_guard const lock(mutex);
    std::unique_ptr<Plugin const>& found = (*plugins)[classId];
    if (!found) {
        found = std::make_unique<Plugin const>(classId);
    }
    return found.get();
}

Instance::Instance(Plugin const& what, std::uint32_t pictureWidth, std::uint32_t pictureHeight)
    : plugin(what), width(pictureWidth), height(pictureHeight), values(what.parameters.GetInitial()) {}

void Instance::SetValue(int index, void const* value) {
    auto const place = static_cast<std::size_t>(index);
    std::lock_guard const lock(valuesMutex);
    if (index < 0 || place >= values.size() || value == nullptr) {
        return;
    }
    HostValue taken;
    if (std::holds_alternative<HostColor>(values[place])) {
        auto const& color = *static_cast<f0r_param_color const*>(value);
        taken = HostColor{color.red, color.green, color.blue};
    } else if (std::holds_alternative<std::string>(values[place])) {
        char const* const text = *static_cast<char const* const*>(value);
        taken = std::string(text != nullptr ? text : "");
    } else {
        taken = *static_cast<double const*>(value);
    }
    values[place] = taken;
    ownValues[std::this_thread::get_id()][place] = std::move(taken);
}

void Instance::GetValue(int index, void* value) const {
    auto const place = static_cast<std::size_t>(index);
    std::lock_guard const lock(valuesMutex);
    if (index < 0 || place >= values.size() || value == nullptr) {
        return;
    }
    if (auto const* const color = std::get_if<HostColor>(&values[place])) {
        *static_cast<f0r_param_color*>(value) = {color->red, color->green, color->blue};
    } else if (auto const* const text = std::get_if<std::string>(&values[place])) {
        // The interface has no constant strings; hosts copy this one.
        *static_cast<char**>(value) = const_cast<char*>(text->c_str());
    } else {
        *static_cast<double*>(value) = std::get<double>(values[place]);
    }
}

std::vector<HostValue> Instance::TakeValues() {
    std::lock_guard const lock(valuesMutex);
    std::vector<HostValue> taken = values;
    auto const own = ownValues.find(std::this_thread::get_id());
    if (own != ownValues.end()) {
        for (auto& [place, value] : own->second) {
            taken[place] = std::move(value);
        }
        ownValues.erase(own);
    }
    return taken;
}

void Instance::Draw(double time, std::span<std::uint32_t const* const> inputs, std::uint32_t* output,
                    std::string_view caller) noexcept {
    try {
        EffectSource& source = EffectSource::Get();
        // Before any lock: the thread that held it at the time of a fork does not exist in the copy.
        if (source.IsForked()) {
            Copy(inputs.front(), output);
            return;
        }
        std::shared_lock const drawing = source.StartDrawing();
        if (source.IsEnding()) {
            Copy(inputs.front(), output);
            return;
        }
        std::vector<HostValue> const hostValues = TakeValues();
        std::lock_guard const lock(drawMutex);
        if (!clock) {
            clock.emplace(caller);
        }
        std::int64_t const timestamp = clock->ToMicroseconds(time);
        try {
            DrawOrThrow(hostValues, timestamp, inputs, output);
        } catch (std::exception const& error) {
            Report(fmt::format("the picture passes unchanged: {}", Core::Describe(error)));
            Pass(hostValues, timestamp, inputs, output);
        }
    } catch (...) {
        // Out of memory: the output stays as it is.
    }
}

void Instance::DrawOrThrow(std::vector<HostValue> const& hostValues, std::int64_t timestamp,
                           std::span<std::uint32_t const* const> inputs, std::uint32_t* output) {
    std::size_t const wanted = plugin.isMixer ? 2 : 1;
    if (inputs.size() != wanted) {
        Core::Throw(std::invalid_argument(fmt::format("it takes {} pictures, not {}", wanted, inputs.size())));
    }
    Prepare(hostValues);
    std::vector<Host::Picture> pictures;
    for (std::uint32_t const* const input : inputs) {
        pictures.push_back(WrapInput(input, width, height));
    }
    Host::Picture const result = effect->Run(pictures, timestamp);
    Conf::FrameInfo const& info = result->GetFrameInfo();
    if (result->GetPixFmt() != PixFmt::Rgba || info.width != width || info.height != height) {
        Core::Throw(std::logic_error("the effect gave a picture of another form"));
    }
    CopyOutput(*result, output);
    if (!hasDrawn) {
        EffectSource::Get().GuardTheEnd();
        hasDrawn = true;
    }
}

void Instance::Prepare(std::vector<HostValue> const& hostValues) {
    Proc::IEffectFactory const& factory = EffectSource::Get().GetFactory();
    if (effect && hostValues == drawnWith) {
        return;
    }
    std::vector<std::string> unknown;
    Drawing const drawing = plugin.parameters.Read(hostValues, unknown);
    for (std::string const& text : unknown) {
        Report(text);
    }
    if (effect) {
        effect->SetSettings(*drawing.settings);
    } else {
        effect.emplace(factory, plugin.classId, plugin.isMixer, *drawing.settings);
        effect->FitInto(width, height);
    }
    if (seed != drawing.seed) {
        effect->SetSeed(drawing.seed);
        seed = drawing.seed;
    }
    effect->SetProgress(MakeProgress(drawing.progress));
    drawnWith = hostValues;
}

void Instance::Pass(std::vector<HostValue> const& hostValues, std::int64_t timestamp,
                    std::span<std::uint32_t const* const> inputs, std::uint32_t* output) const {
    constexpr double kMiddle = 0.5;
    std::vector<std::string> unknown;
    bool const isSecond =
        inputs.size() > 1 &&
        MakeProgress(plugin.parameters.Read(hostValues, unknown).progress).GetProgress(timestamp) >= kMiddle;
    Copy(inputs[isSecond ? 1 : 0], output);
}

void Instance::Copy(std::uint32_t const* input, std::uint32_t* output) const {
    std::memmove(output, input, std::size_t{width} * height * kPixel);
}

void Instance::Report(std::string const& text) const {
    EffectSource::Get().Report(fmt::format("{}: {}", plugin.name, text));
}

}  // namespace Kaltor::Frei0r
