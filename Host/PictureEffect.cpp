#include "Host/PictureEffect.h"

#include <stdexcept>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Proc/Interfaces/ISeeded.h"
#include "Proc/Settings/SettingsServices.h"

namespace Kaltor::Host {

using boost::intrusive_ptr;
using Proc::ImplNames;

PictureEffect::PictureEffect(Proc::IEffectFactory const& factory, std::string const& classId, bool isTwoInput,
                             Proc::Settings const& settings)
    : isDownloader(classId == Proc::SettingsFrameDownloader::CLASS_ID), maker(&factory) {
    if (isTwoInput) {
        effect = factory.CreateTwoInputEffect(classId, ImplNames::OGL);
    } else {
        effect = factory.CreateOneInputEffect(classId, ImplNames::OGL);
    }
    SetSettings(settings);
    uploader = factory.CreateOneInputEffect(Proc::SettingsFrameUploader::CLASS_ID, ImplNames::OGL);
    downloader = factory.CreateOneInputEffect(Proc::SettingsFrameDownloader::CLASS_ID, ImplNames::OGL);
    converter = factory.CreateOneInputEffect(Proc::SettingsColorspaceConverter::CLASS_ID, ImplNames::DEFAULT);
    converter->SetSettings(Proc::SettingsColorspaceConverter({PixFmt::Rgb24, PixFmt::Rgba}, true));
}

void PictureEffect::SetSettings(Proc::Settings const& settings) {
    if (last && last->HasSameValues(settings)) {
        return;
    }
    effect->SetSettings(settings);
    last = settings.Clone();
    if (settings.KeepsLayout()) {
        effect->Reset();
    }
}

void PictureEffect::SetSeed(std::uint32_t seed) {
    Proc::Seed(*effect, seed);
}

void PictureEffect::SetProgress(double progress) {
    Proc::TimeToProgress always;
    always.mapping = [progress](long long const&, long long const&, long long const&) { return progress; };
    effect->SetProgress(always);
}

void PictureEffect::SetProgress(Proc::TimeToProgress const& progress) {
    effect->SetProgress(progress);
}

void PictureEffect::FitInto(std::uint32_t width, std::uint32_t height) {
    Proc::SettingsResizer settings;
    settings.width = width;
    settings.height = height;
    settings.pixelAspectX = 1;
    settings.pixelAspectY = 1;
    settings.mode = Proc::SettingsResizer::Mode::Fit;
    settings.background = {0, 0, 0, 0};
    fitter = maker->CreateOneInputEffect(Proc::SettingsResizer::CLASS_ID, ImplNames::OGL);
    fitter->SetSettings(settings);
    fitted = {width, height, 1, 1};
}

void PictureEffect::Reset() {
    effect->Reset();
}

intrusive_ptr<Proc::IDataVideo> PictureEffect::Draw(std::vector<intrusive_ptr<Proc::IDataVideo>> const& inputs,
                                                    std::int64_t timestamp) {
    std::vector<intrusive_ptr<Proc::IData>> items;
    for (intrusive_ptr<Proc::IDataVideo> item : inputs) {
        item->SetTimestamp(timestamp);
        if (isDownloader) {
            uploader->Process(item);  // it would hand a frame in main memory back as it is
        }
        items.push_back(item);
    }
    intrusive_ptr<Proc::IData> const result = effect->ProcessData(items);
    intrusive_ptr<Proc::IDataVideo> video(dynamic_cast<Proc::IDataVideo*>(result.get()));
    if (fitter && video) {
        Conf::FrameInfo const& info = video->GetFrameInfo();
        if (info.width != fitted.width || info.height != fitted.height) {
            fitter->Process(video);
        }
    }
    return video;
}

Picture PictureEffect::Run(std::vector<Picture> const& inputs, std::int64_t timestamp) {
    intrusive_ptr<Proc::IDataVideo> video = Draw({inputs.begin(), inputs.end()}, timestamp);
    downloader->Process(video);
    converter->Process(video);
    Picture picture(dynamic_cast<Proc::DataVideoFF*>(video.get()));
    if (!picture) {
        Core::Throw(std::logic_error("the effect gave no picture"));
    }
    return picture;
}

}  // namespace Kaltor::Host
