#include "Proc/Effects/EffectsDefault/ColorspaceConverter.h"

#include <algorithm>
#include <optional>

#include "Core/Interfaces/Exception.h"
#include "Core/Interfaces/Statistics.h"
#include "Proc/Data/DataVideoFF.h"
#include "Proc/Data/SampleConverter.h"
#include "Proc/Data/YuvToRgb.h"
#include "Proc/Interfaces/FilterException.h"
#include "Proc/Settings/SettingsServices.h"

namespace Kaltor::Proc {
namespace {

using boost::intrusive_ptr;

class ColorspaceConverter final : public RefCountImpl<IOneInputEffectVideo> {
public:
    Core::Property GetSettings() const override { return Core::Property(SettingsColorspaceConverter::CLASS_ID); }
    void SetSettings(Core::Property const&) override {
        ThrowFilterException("Method not implemented", Core::SourceLocation::Current());
    }
    void SetSettings(Settings const& value) override {
        settings = dynamic_cast<SettingsColorspaceConverter const&>(value);
    }
    Settings const* GetSettingsBase() const override { return &settings; }
    void Reset() override {
        converter.Reset();
        toRgb.reset();
    }
    Core::Property GetStatistic() const override { return Core::MakeStatistics("GetStatistic", 0, processedFrames); }
    TimeToProgress& GetProgress() override { return progress; }
    TimeToProgress const& GetProgress() const override { return progress; }
    void SetProgress(TimeToProgress const& value) override { progress = value; }

    void UpdateFormatCodec(intrusive_ptr<Conf::IFormatCodecVideo>& codec) override {
        codec->SetPixFmt(Choose(codec->GetPixFmt()));
    }

    void Process(intrusive_ptr<IDataVideo>& data) override {
        auto const* const source = dynamic_cast<DataVideoFF const*>(data.get());
        if (source == nullptr) {
            return;
        }
        PixFmt const format = Choose(source->GetPixFmt());
        if (format == source->GetPixFmt()) {
            return;
        }
        data = Convert(*source, format);
        ++processedFrames;
    }

private:
    /// The format that a picture of format `source` is converted to; `source` itself if it is accepted.
    PixFmt Choose(PixFmt source) const {
        std::vector<PixFmt> const& accepted = settings.formats;
        if (accepted.empty() || std::find(accepted.begin(), accepted.end(), source) != accepted.end()) {
            return source;
        }
        if (settings.keepAlpha) {
            bool const hasAlpha = PixFmtDescription::Find(source).HasAlpha();
            auto const alike = std::find_if(accepted.begin(), accepted.end(), [hasAlpha](PixFmt format) {
                return PixFmtDescription::Find(format).HasAlpha() == hasAlpha;
            });
            if (alike != accepted.end()) {
                return *alike;
            }
        }
        return accepted.front();
    }

    intrusive_ptr<DataVideoFF> Convert(DataVideoFF const& source, PixFmt format) {
        Conf::FrameInfo const& info = source.GetFrameInfo();
        bool const isFromYuv = PixFmtDescription::Find(source.GetPixFmt()).IsYuv();
        bool const isToYuv = PixFmtDescription::Find(format).IsYuv();
        ColorSpec const tags = source.GetColorSpec();
        ColorSpec const spec = tags.Resolved(info.height);

        intrusive_ptr<DataVideoFF> const target = DataVideoFF::Create(format, info);
        if (isFromYuv && !isToYuv) {
            if (!toRgb || !toRgb->IsFor(source.GetPixFmt(), format, spec)) {
                toRgb.emplace(source.GetPixFmt(), format, spec);
            }
            toRgb->Convert(source.GetFrame(), target->GetWritableFrame());
        } else {
            converter.Convert(source.GetFrame(), spec, target->GetWritableFrame(), spec);
        }
        // Between RGB and YUV the frame is tagged with the matrix that was used, so that the way back uses the same
        // one.
        target->SetColorSpec(isFromYuv == isToYuv ? tags : spec);
        target->SetTimestamp(source.GetTimestamp());
        target->SetDuration(source.GetDuration());
        return target;
    }

    SettingsColorspaceConverter settings;
    TimeToProgress progress;
    SampleConverter converter;  // for all conversions but YUV to RGB
    std::optional<YuvToRgbConverter> toRgb;
    std::uint64_t processedFrames = 0;
};

}  // namespace

intrusive_ptr<IOneInputEffectVideo> CreateColorspaceConverter(intrusive_ptr<IEffectFactory const> const&) {
    return {new ColorspaceConverter};
}

void RegisterDefaultEffects(IEffectRegistry& registry) {
    registry.RegisterOneInputEffect(SettingsColorspaceConverter::CLASS_ID, ImplNames::DEFAULT,
                                    &CreateColorspaceConverter);
}

}  // namespace Kaltor::Proc
