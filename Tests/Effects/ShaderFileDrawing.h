#pragma once

#include <string>
#include <utility>
#include <vector>

#include "Proc/Effects/ShaderFiles/SettingsShaderFile.h"
#include "Proc/Effects/ShaderFiles/ShaderEffects.h"
#include "Tests/Support/GlFixture.h"

namespace Kaltor::Tests {

class ShaderFileDrawing : public GlTest {
protected:
    /// Draws a text with settings as a user types them, "key=value" each.
    static Picture Draw(std::string const& text, std::vector<Picture> const& inputs,
                        std::vector<std::pair<std::string, std::string>> const& values = {}, Moment const& moment = {},
                        Picture const& sampled = {}) {
        auto const file = std::make_shared<Proc::ShaderFile const>("my.glsl", text);
        Proc::ShaderHost host;
        host.readPicture = [&sampled](std::string const&) { return sampled.ToFrame(); };
        Proc::SettingsShaderFile settings(file);
        for (auto const& [key, value] : values) {
            settings.Set(key, value);
        }
        std::vector<boost::intrusive_ptr<Proc::IData>> frames;
        for (Picture const& input : inputs) {
            auto const frame = input.ToFrame();
            frame->SetTimestamp(static_cast<std::int64_t>(moment.seconds * 1e6));
            frames.emplace_back(frame);
        }
        boost::intrusive_ptr<Proc::IEffect> effect;
        if (file->IsTransition()) {
            effect = Proc::MakeShaderTransition(GetFactory(), file, host);
        } else {
            effect = Proc::MakeShaderEffect(GetFactory(), file, host);
        }
        effect->SetSettings(settings);
        effect->SetProgress(Always(moment.progress));
        auto const result = effect->ProcessData(frames);
        return Picture::FromFrame(*Download(boost::dynamic_pointer_cast<Proc::IDataVideo>(result)));
    }
};

}  // namespace Kaltor::Tests
