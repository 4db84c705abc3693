#include "Tests/Support/GlFixture.h"

#include "Host/Plugin.h"
#include "Proc/Settings/SettingsServices.h"

namespace Kaltor::Tests {
namespace {

boost::intrusive_ptr<Proc::IDataVideo> ToData(Picture const& picture, Moment const& moment) {
    boost::intrusive_ptr<Proc::IDataVideo> data = picture.ToFrame();
    data->SetTimestamp(std::llround(moment.seconds * 1e6));
    return data;
}

}  // namespace

Host::EffectRegistry const& GetRegistry() {
    static std::unique_ptr<Host::EffectRegistry const> const registry = Host::MakeRegistry();
    return *registry;
}

std::vector<std::unique_ptr<Proc::Settings>> MakeAllSettings() {
    std::vector<std::unique_ptr<Proc::Settings>> all;
    for (Host::RegisteredEffect const& effect : GetRegistry().List()) {
        if (effect.settings != nullptr) {
            all.push_back(effect.settings->Clone());
        }
    }
    return all;
}

std::unique_ptr<Proc::Settings> MakeDefaults(std::string const& classId) {
    for (std::unique_ptr<Proc::Settings>& settings : MakeAllSettings()) {
        if (settings->GetClassId() == classId) {
            return std::move(settings);
        }
    }
    throw std::invalid_argument("there is no " + classId);
}

std::unique_ptr<Proc::Settings> Typed(std::string const& text) {
    std::istringstream words(text);
    std::string word;
    words >> word;
    std::unique_ptr<Proc::Settings> settings = MakeDefaults(word);
    while (words >> word) {
        std::size_t const equals = word.find('=');
        Proc::Field const& field = settings->FindField(word.substr(0, equals));
        word.erase(0, equals + 1);
        Proc::FieldValue value = field.get(*settings);
        std::visit(
            [&]<typename T>(T& held) {
                bool const isNumber = word.find_first_not_of("+-.e0123456789") == std::string::npos;
                if constexpr (std::is_arithmetic_v<T> && !std::is_same_v<T, bool>) {
                    held = isNumber ? static_cast<T>(std::stod(word)) : std::get<T>(field.Parse(word));
                } else {
                    held = std::get<T>(field.Parse(word));
                }
            },
            value);
        field.set(*settings, value);
    }
    return settings;
}

std::string Describe(Proc::Settings const& settings) {
    std::string text = settings.GetClassId();
    for (Proc::Field const& field : settings.GetFields()) {
        text += fmt::format(" {}={}", field.key, field.Format(field.get(settings)));
    }
    return text;
}

Proc::TimeToProgress Always(double progress) {
    Proc::TimeToProgress mapping;
    mapping.mapping = [progress](auto const&...) { return progress; };
    return mapping;
}

boost::intrusive_ptr<Proc::IEffectFactory const> GlTest::GetFactory() {
    static boost::intrusive_ptr<Proc::IEffectFactory const> const factory = GetRegistry().GetFactory();
    return factory;
}

boost::intrusive_ptr<Proc::IOneInputEffectVideo> GlTest::MakeEffect(Proc::Settings const& settings,
                                                                    Moment const& moment) {
    boost::intrusive_ptr<Proc::IOneInputEffectVideo> effect =
        GetFactory()->CreateOneInputEffect(settings.GetClassId(), Proc::ImplNames::OGL);
    effect->SetSettings(settings);
    effect->SetProgress(Always(moment.progress));
    return effect;
}

boost::intrusive_ptr<Proc::ITwoInputEffectVideo> GlTest::MakeTransition(Proc::Settings const& settings,
                                                                        Moment const& moment) {
    boost::intrusive_ptr<Proc::ITwoInputEffectVideo> transition =
        GetFactory()->CreateTwoInputEffect(settings.GetClassId(), Proc::ImplNames::OGL);
    transition->SetSettings(settings);
    transition->SetProgress(Always(moment.progress));
    return transition;
}

boost::intrusive_ptr<Proc::DataVideoFF> GlTest::Download(boost::intrusive_ptr<Proc::IDataVideo> frame, int mode) {
    Proc::SettingsFrameDownloader settings;
    settings.downloadMode = Proc::SettingsFrameDownloader::Mode{mode};
    boost::intrusive_ptr<Proc::IOneInputEffectVideo> const downloader = MakeEffect(settings);
    downloader->Process(frame);
    return boost::dynamic_pointer_cast<Proc::DataVideoFF>(frame);
}

Picture GlTest::Run(Proc::Settings const& settings, Picture const& input, Moment const& moment) {
    boost::intrusive_ptr<Proc::IDataVideo> data = ToData(input, moment);
    MakeEffect(settings, moment)->Process(data);
    return Picture::FromFrame(*Download(data));
}

Picture GlTest::Run(Proc::Settings const& settings, Picture const& first, Picture const& second, Moment const& moment) {
    boost::intrusive_ptr<Proc::IDataVideo> data = ToData(first, moment);
    MakeTransition(settings, moment)->Process(data, ToData(second, moment));
    return Picture::FromFrame(*Download(data));
}

Picture GlTest::Run(std::string const& settings, Picture const& input, Moment const& moment) {
    return Run(*Typed(settings), input, moment);
}

Picture GlTest::Run(std::string const& settings, Picture const& first, Picture const& second, Moment const& moment) {
    return Run(*Typed(settings), first, second, moment);
}

Ogl::GlObjectCounts CountObjectsInUse() {
    Ogl::OglManager& manager = Ogl::OglManager::GetInstance();
    // Names given up on other threads are deleted by the GL thread before its next task.
    manager.Invoke([](Ogl::ShaderStorage const&) {});
    Ogl::GlObjectCounts counts = manager.GetObjectCounts();
    counts.made = {};
    counts.alive[static_cast<std::size_t>(Ogl::GlKind::Texture)] -=
        static_cast<std::int64_t>(manager.GetTexturePool().GetIdleCount());
    counts.alive[static_cast<std::size_t>(Ogl::GlKind::Buffer)] -=
        static_cast<std::int64_t>(manager.GetIdleBufferCount());
    return counts;
}

}  // namespace Kaltor::Tests
