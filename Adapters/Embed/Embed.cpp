#include "kaltor/Embed.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <mutex>
#include <optional>
#include <stdexcept>

#include <fmt/format.h>

#include "Adapters/Embed/TextureTransfer.h"
#include "Core/Interfaces/Exception.h"
#include "Host/Catalog.h"
#include "Host/PictureEffect.h"
#include "Media/Picture.h"
#include "Ogl/OglManager.h"
#include "Proc/Data/AvFrame.h"

namespace Kaltor::Embed {
namespace {

constexpr double kMicroseconds = 1e6;

std::ptrdiff_t CountBytes(Layout layout) {
    return layout == Layout::Rgb ? 3 : 4;
}

/// A picture in the caller's memory, which is only read and has to stay until the picture has been drawn.
Host::Picture WrapView(ImageView const& view) {
    std::ptrdiff_t const row = view.width * CountBytes(view.layout);
    std::ptrdiff_t const stride = view.stride == 0 ? row : view.stride;
    if (view.pixels == nullptr || view.width == 0 || view.height == 0 || std::abs(stride) < row ||
        std::abs(stride) > INT_MAX || view.height > INT_MAX) {
        Core::Throw(std::invalid_argument(
            fmt::format("no picture: {}x{} pixels, {} bytes a row", view.width, view.height, stride)));
    }
    auto* const bytes = const_cast<std::uint8_t*>(view.pixels);
    Proc::AvFramePtr frame = Proc::MakeAvFrame();
    frame->format = Proc::ToAvPixelFormat(view.layout == Layout::Rgb    ? PixFmt::Rgb24
                                          : view.layout == Layout::Rgba ? PixFmt::Rgba
                                                                        : PixFmt::Bgra);
    frame->width = static_cast<int>(view.width);
    frame->height = static_cast<int>(view.height);
    frame->linesize[0] = static_cast<int>(stride);
    frame->data[0] = bytes;
    frame->extended_data = frame->data;
    std::ptrdiff_t const toLast = stride * (std::ptrdiff_t{view.height} - 1);
    frame->buf[0] = av_buffer_create(
        bytes + std::min<std::ptrdiff_t>(toLast, 0), static_cast<std::size_t>(std::abs(toLast) + row),
        [](void*, std::uint8_t*) {}, nullptr, AV_BUFFER_FLAG_READONLY);
    if (frame->buf[0] == nullptr) {
        throw std::bad_alloc();
    }
    return Proc::DataVideoFF::Wrap(std::move(frame));
}

FieldKind KindOf(Proc::Field const& field) {
    switch (field.type) {
        case Proc::FieldType::Int:
        case Proc::FieldType::Uint:
            return FieldKind::Integer;
        case Proc::FieldType::Real:
        case Proc::FieldType::Float:
            return FieldKind::Number;
        case Proc::FieldType::Flag:
            return FieldKind::Flag;
        case Proc::FieldType::Choice:
            return FieldKind::Choice;
        case Proc::FieldType::Color:
            return FieldKind::Colour;
        case Proc::FieldType::File:
            return FieldKind::File;
        default:
            return FieldKind::List;
    }
}

EffectKind KindOf(Host::CatalogEntry const& entry) {
    switch (entry.kind) {
        case Host::Kind::Effect:
            return EffectKind::Effect;
        case Host::Kind::Transition:
            return EffectKind::Transition;
        default:
            return EffectKind::Service;
    }
}

std::int64_t GetTimestamp(Moment const& moment) {
    if (std::isnan(moment.seconds)) {
        Core::Throw(std::invalid_argument("the time is not a number"));
    }
    constexpr double kLongest = 1e12;  // seconds
    return static_cast<std::int64_t>(std::clamp(moment.seconds, -kLongest, kLongest) * kMicroseconds);
}

Host::Catalog LoadCatalog() {
    Proc::ShaderHost host;
    host.readPicture = [](std::string const& path) { return Media::ReadPicture(path); };
    // Only the end of the process stops a loop without an end, and that is the program's own decision.
    host.limit = std::chrono::milliseconds(0);
    return Host::Catalog::Load(host);
}

TextureTransfer::SharedTexture ToShared(TextureView const& view) {
    return {view.name, view.width, view.height, view.hasAlpha, view.isTopRowFirst};
}

}  // namespace

struct Library::Parts {
    Host::Catalog catalog = LoadCatalog();
    mutable std::mutex mutex{};  ///< a name may be that of a shader file, which is read then
};

struct Effect::Parts {
    Host::CatalogEntry entry;
    boost::intrusive_ptr<Proc::IEffectFactory const> factory;
    std::unique_ptr<Proc::Settings> settings{};
    std::optional<Host::PictureEffect> effect{};  ///< none as long as a file is missing that has to be given
    std::optional<std::uint32_t> seed{};
    bool hasOwnProgress = false;  ///< progress does not follow from the time

    void MakeEffect(Proc::Settings const& value) {
        effect.emplace(*factory, entry.name, entry.isTwoInput, value);
        if (seed) {
            effect->SetSeed(*seed);
        }
    }

    /// Throws where the values are refused, and changes nothing then.
    void Change(std::unique_ptr<Proc::Settings> value) {
        try {
            if (effect) {
                effect->SetSettings(*value);
            } else {
                MakeEffect(*value);
            }
        } catch (std::invalid_argument const&) {
            auto const isMissing = [&value](Proc::Field const& field) {
                return field.type == Proc::FieldType::File && std::get<std::string>(field.get(*value)).empty();
            };
            std::vector<Proc::Field> const& fields = value->GetFields();
            if (effect || std::none_of(fields.begin(), fields.end(), isMissing)) {
                throw;
            }
        }
        settings = std::move(value);
    }

    Host::PictureEffect& GetEffect() {
        if (!effect) {
            MakeEffect(*settings);
        }
        return *effect;
    }

    void SetMoment(Moment const& moment) {
        if (moment.progress) {
            GetEffect().SetProgress(*moment.progress);
        } else if (hasOwnProgress) {
            GetEffect().SetProgress(Proc::TimeToProgress());
        }
        hasOwnProgress = moment.progress.has_value();
    }

    /// Throws where an effect takes another number of pictures, or they differ in size.
    void CheckInputs(std::vector<std::pair<std::uint32_t, std::uint32_t>> const& sizes) const {
        std::size_t const wanted = entry.isTwoInput ? 2 : 1;
        if (sizes.size() != wanted) {
            Core::Throw(std::invalid_argument(fmt::format("{} takes {}, not {}", entry.name,
                                                          wanted == 1 ? "one picture" : "two pictures", sizes.size())));
        }
        if (wanted == 2 && sizes[0] != sizes[1]) {
            Core::Throw(
                std::invalid_argument(fmt::format("{} takes two pictures of one size, not {}x{} and {}x{}", entry.name,
                                                  sizes[0].first, sizes[0].second, sizes[1].first, sizes[1].second)));
        }
    }

    Image Run(std::vector<ImageView> const& views, Moment const& moment) {
        std::vector<std::pair<std::uint32_t, std::uint32_t>> sizes;
        std::vector<Host::Picture> pictures;
        for (ImageView const& view : views) {
            sizes.emplace_back(view.width, view.height);
            pictures.push_back(WrapView(view));
        }
        CheckInputs(sizes);
        SetMoment(moment);
        Host::Picture const made = GetEffect().Run(pictures, GetTimestamp(moment));
        AVFrame const& frame = made->GetFrame();
        Image image;
        image.view = {frame.data[0], static_cast<std::uint32_t>(frame.width), static_cast<std::uint32_t>(frame.height),
                      frame.linesize[0], made->GetPixFmt() == PixFmt::Rgba ? Layout::Rgba : Layout::Rgb};
        image.owner = std::shared_ptr<void const>(&frame, [made](void const*) {});
        return image;
    }
};

Effect::Effect(std::unique_ptr<Parts> made) : parts(std::move(made)) {}
Effect::Effect(Effect&& other) noexcept = default;
Effect& Effect::operator=(Effect&& other) noexcept = default;
Effect::~Effect() = default;

std::string Effect::GetName() const {
    return parts->entry.name;
}

std::vector<FieldInfo> Effect::GetFields() const {
    std::unique_ptr<Proc::Settings> const defaults = parts->entry.defaults->MakeDefault();
    std::vector<FieldInfo> fields;
    for (Proc::Field const& field : parts->settings->GetFields()) {
        FieldInfo info;
        info.name = field.key;
        info.kind = KindOf(field);
        info.value = field.Format(field.get(*parts->settings));
        info.defaultValue = field.Format(field.get(*defaults));
        info.minimum = field.minimum;
        info.maximum = field.maximum;
        for (Proc::FieldLabel const& label : field.labels) {
            info.labels.emplace_back(label.label);
        }
        info.accepted = field.DescribeRange();
        info.help = field.help;
        fields.push_back(std::move(info));
    }
    return fields;
}

void Effect::Set(std::string_view field, std::string_view value) {
    std::unique_ptr<Proc::Settings> changed = parts->settings->Clone();
    changed->Set(field, value);
    parts->Change(std::move(changed));
}

void Effect::Set(std::string_view field, double value) {
    Set(field, fmt::format("{}", value));
}

void Effect::SetSeed(std::uint32_t seed) {
    parts->seed = seed;
    if (parts->effect) {
        parts->effect->SetSeed(seed);
    }
}

void Effect::Reset() {
    if (parts->effect) {
        parts->effect->Reset();
    }
}

Image Effect::Apply(ImageView const& picture, Moment const& moment) {
    return parts->Run({picture}, moment);
}

Image Effect::Apply(ImageView const& from, ImageView const& to, Moment const& moment) {
    return parts->Run({from, to}, moment);
}

void Effect::Apply(std::span<TextureView const> inputs, TextureView const& target, Moment const& moment) {
    std::vector<std::pair<std::uint32_t, std::uint32_t>> sizes;
    std::vector<boost::intrusive_ptr<Proc::IDataVideo>> frames;
    for (TextureView const& input : inputs) {
        sizes.emplace_back(input.width, input.height);
        frames.push_back(TextureTransfer::MakeFrame(ToShared(input)));
    }
    parts->CheckInputs(sizes);
    parts->SetMoment(moment);
    boost::intrusive_ptr<Proc::IDataVideo> const made = parts->GetEffect().Draw(frames, GetTimestamp(moment));
    boost::intrusive_ptr<Ogl::DataVideoOGL> const drawn(dynamic_cast<Ogl::DataVideoOGL*>(made.get()));
    Conf::FrameInfo const& info = made->GetFrameInfo();
    if (!drawn || info.width != target.width || info.height != target.height) {
        Core::Throw(
            std::invalid_argument(fmt::format("{} makes a picture of {}x{} pixels, the texture has {}x{}", GetName(),
                                              info.width, info.height, target.width, target.height)));
    }
    TextureTransfer::FillTexture(drawn, ToShared(target));
}

Library::Library() : parts(std::make_shared<Parts const>()) {}
Library::~Library() = default;

std::vector<EffectInfo> Library::List() const {
    std::vector<EffectInfo> list;
    for (Host::CatalogEntry const& entry : parts->catalog.GetEntries()) {
        list.push_back(
            {entry.name, KindOf(entry), entry.isTwoInput ? 2 : 1, std::string(entry.defaults->GetSummary())});
    }
    return list;
}

std::vector<std::string> Library::GetFaults() const {
    std::vector<std::string> faults = parts->catalog.GetFaults();
    for (Host::PluginReport const& plugin : parts->catalog.GetPlugins()) {
        if (!plugin.fault.empty()) {
            faults.push_back(fmt::format("{}: {}", plugin.file.string(), plugin.fault));
        }
    }
    return faults;
}

Effect Library::Make(std::string const& name, std::size_t inputs) const {
    std::lock_guard const lock(parts->mutex);
    Host::CatalogEntry const& entry = parts->catalog.Find(name, inputs);
    auto made = std::make_unique<Effect::Parts>(Effect::Parts{entry, parts->catalog.GetFactory()});
    made->Change(entry.defaults->Clone());
    return Effect(std::move(made));
}

void ShareGl(void* display, void* context) {
    Ogl::OglManager::ShareWith({display, context});
}

std::string GetVersion() {
    return KALTOR_VERSION;
}

}  // namespace Kaltor::Embed
