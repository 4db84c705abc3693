#include "Proc/Effects/ShaderFiles/ShaderEffects.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <map>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Proc/Effects/ShaderFiles/BlurredCopy.h"
#include "Proc/Effects/ShaderFiles/SettingsShaderFile.h"
#include "Proc/Effects/ShaderFiles/TimeLimit.h"
#include "Proc/Effects/Shared/Aspect.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/EffectWrapper.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Effects/Shared/Progress.h"
#include "Proc/Effects/Shared/TransitionWrapper.h"

namespace Kaltor::Ogl {
namespace {

using Proc::SettingsShaderFile;
using Proc::ShaderFile;
using Proc::ShaderHost;
using Proc::ShaderPass;
using Proc::ShaderUniform;
using CpuPicture = boost::intrusive_ptr<Proc::DataVideoFF>;

/// The pictures of a file's samplers on the GPU.
class ShaderCache final : public OglCache {
public:
    Frame const& Get(std::size_t uniform, CpuPicture const& picture, ShaderStorage const& storage) {
        auto& [source, frame] = frames[uniform];
        if (source != picture) {
            frame = Frame::Create();
            frame.Allocate(picture->GetPixFmt(), picture->GetFrameInfo().width, picture->GetFrameInfo().height);
            frame.Upload(picture, storage);
            source = picture;
        }
        return frame;
    }

private:
    std::map<std::size_t, std::pair<CpuPicture, Frame>> frames;
};

/// What effects and transitions of shader files have in common.
class ShaderDrawing {
public:
    ShaderDrawing(std::shared_ptr<ShaderFile const> shaderFile, ShaderHost shaderHost)
        : settings(std::move(shaderFile)), host(std::move(shaderHost)) {}

    void SetSettings(Proc::Settings const& value) {
        auto const& given = dynamic_cast<SettingsShaderFile const&>(value);
        if (&given.GetFile() != &settings.GetFile()) {
            throw std::bad_cast();
        }
        given.Validate();
        given.RequirePictures();
        std::map<std::size_t, CpuPicture> read;
        std::vector<ShaderUniform> const& uniforms = given.GetFile().GetUniforms();
        for (std::size_t i = 0; i < uniforms.size(); ++i) {
            if (uniforms[i].type == ShaderUniform::Type::Sampler) {
                bool const isSame = pictures.contains(i) && given.Get(i) == settings.Get(i);
                read[i] = isSame ? pictures[i] : ReadPicture(std::get<std::string>(given.Get(i)));
            }
        }
        pictures = std::move(read);
        settings = given;
    }

    /// `inputs` are the names of samplers with what they read.
    void Draw(DataVideoOGL& dst, std::vector<std::pair<char const*, Frame>> const& inputs, double time, double progress,
              ShaderStorage const& storage, OglCache* cache) const {
        ShaderFile const& file = settings.GetFile();
        std::vector<ShaderPass> const& passes = file.GetPasses();
        std::string const program = file.GetProgramName(passes.size());
        if (host.refused.contains(program)) {
            Core::Throw(std::invalid_argument(
                fmt::format("{}: its first frame was not drawn in time; it is drawn again once the file is changed",
                            file.GetName())));
        }
        bool const isFirst = storage.FindShader(program) == nullptr;
        std::function<void(std::string const&)> onOver;
        if (isFirst && host.onHang) {
            onOver = [this, &program](std::string const& name) { host.onHang(name, program); };
        }
        Proc::TimeLimit const limit(host.limit, file.GetName(), std::move(onOver));
        Moment const moment{dst.GetFrameInfo(), time, progress};
        Textures textures;
        for (auto const& [name, frame] : inputs) {
            textures.emplace_back(name, &frame.GetFirstTexture());
        }
        std::deque<PooledTexture> drawn;
        for (std::size_t i = 0; i < passes.size(); ++i) {
            if (passes[i].kind == ShaderPass::Kind::Blurred) {
                double const deviation = 0.5 * GetRadius(passes[i]);
                glm::dvec2 const sides(deviation / GetDisplayAspect(moment.info), deviation);
                drawn.push_back(MakeBlurredCopy(Find(textures, passes[i].source), sides, storage));
            } else {
                TexelFormat const texels = dst.FrameData().GetFirstTexture().GetForm().format;
                auto const side = [&](std::uint32_t length) {
                    return std::max(static_cast<std::uint32_t>(std::lround(length * passes[i].scale)), 1U);
                };
                drawn.emplace_back(
                    TextureForm{side(moment.info.width), side(moment.info.height), FinerWithAlpha(texels), false});
                PreparePass(i, textures, moment, storage, cache).DrawTo(drawn.back().Get());
            }
            textures.emplace_back(passes[i].sampler, &drawn.back().Get());
        }
        PreparePass(passes.size(), textures, moment, storage, cache).DrawTo(dst);
        if (isFirst) {
            glFinish();  // what never ends is noticed here
        }
    }

private:
    /// Samplers with what they read.
    using Textures = std::vector<std::pair<std::string_view, Texture const*>>;

    static Texture const& Find(Textures const& textures, std::string_view sampler) {
        return *std::find_if(textures.begin(), textures.end(), [sampler](auto const& one) {
                    return one.first == sampler;
                })->second;
    }

    struct Moment {
        Conf::FrameInfo const& info;
        double time;
        double progress;
    };

    /// In heights of the frame. A field may be anything; what is beyond the frame looks all alike.
    double GetRadius(ShaderPass const& pass) const {
        constexpr double kLargest = 2.0;
        return std::clamp(pass.radiusUniform ? settings.GetNumbers(*pass.radiusUniform).front() : pass.radius, 0.0,
                          kLargest);
    }

    Pass PreparePass(std::size_t number, Textures const& textures, Moment const& moment, ShaderStorage const& storage,
                     OglCache* cache) const {
        Shader const& shader = RequireShader(number, storage);
        Pass pass(storage, shader);
        int unit = 0;
        for (auto const& [name, texture] : textures) {
            if (shader.Has(name)) {
                pass.Texture(name, unit++, *texture);
            }
        }
        auto const set = [&](char const* name, auto const& value) {
            if (shader.Has(name)) {
                pass.Set(name, value);
            }
        };
        set("progress", LimitProgress(moment.progress));
        set("ratio", GetDisplayAspect(moment.info));
        set("time", moment.time);
        set("resolution", glm::vec2(moment.info.width, moment.info.height));
        SetUniforms(pass, shader, unit, storage, cache);
        return pass;
    }

    CpuPicture ReadPicture(std::string const& path) const {
        if (!host.readPicture) {
            Core::Throw(std::invalid_argument(
                fmt::format("{}: this program reads no pictures for shader files", settings.GetClassId())));
        }
        return host.readPicture(path);
    }

    Shader const& RequireShader(std::size_t number, ShaderStorage const& storage) const {
        ShaderFile const& file = settings.GetFile();
        std::string const& name = file.GetProgramName(number);
        if (Shader const* const known = storage.FindShader(name)) {
            return *known;
        }
        try {
            return storage.MakeShader(name, kQuadVertex, file.MakeProgram(number));
        } catch (ShaderError const& error) {
            Core::Throw(std::runtime_error(Proc::DescribeShaderLog(file.GetName(), error.GetLog())));
        }
    }

    void SetUniforms(Pass& pass, Shader const& shader, int unit, ShaderStorage const& storage, OglCache* cache) const {
        std::vector<ShaderUniform> const& uniforms = settings.GetFile().GetUniforms();
        for (std::size_t i = 0; i < uniforms.size(); ++i) {
            ShaderUniform const& uniform = uniforms[i];
            if (!shader.Has(uniform.name)) {
                continue;  // nothing depends on it
            }
            if (uniform.type == ShaderUniform::Type::Sampler) {
                pass.Texture(uniform.name, unit++, GetCache<ShaderCache>(cache).Get(i, pictures.at(i), storage));
                continue;
            }
            Proc::Numbers const numbers = settings.GetNumbers(i);
            if (uniform.type == ShaderUniform::Type::IntVector) {
                shader.UniformIntegers(uniform.name, {numbers.begin(), numbers.end()});
            } else if (uniform.type == ShaderUniform::Type::Float || uniform.type == ShaderUniform::Type::Vector) {
                shader.UniformVector(uniform.name, {numbers.begin(), numbers.end()});
            } else {
                pass.Set(uniform.name, static_cast<int>(numbers.front()));
            }
        }
    }

    SettingsShaderFile settings;
    ShaderHost host;
    std::map<std::size_t, CpuPicture> pictures;
};

class ShaderEffect final : public IEffectAlgorithm {
public:
    ShaderEffect(std::shared_ptr<ShaderFile const> file, ShaderHost const& host) : drawing(std::move(file), host) {}

    void SetSettings(Proc::Settings const& value) override { drawing.SetSettings(value); }
    OglCache* CreateCache() const override { return std::make_unique<ShaderCache>().release(); }
    void Processing(DataVideoOGL* dst, Src const& src, double time, double progress, ShaderStorage const& storage,
                    OglCache* cache) const override {
        drawing.Draw(*dst, {{Proc::kFirstSampler, src->FrameData().ConvertToRGBA(storage)}}, time, progress, storage,
                     cache);
    }

private:
    ShaderDrawing drawing;
};

class ShaderTransition final : public ITransitionAlgorithm {
public:
    ShaderTransition(std::shared_ptr<ShaderFile const> file, ShaderHost const& host) : drawing(std::move(file), host) {}

    void SetSettings(Proc::Settings const& value) override { drawing.SetSettings(value); }
    OglCache* CreateCache() const override { return std::make_unique<ShaderCache>().release(); }
    void Processing(DataVideoOGL* dst, Src const& src1, Src const& src2, double time, double progress,
                    ShaderStorage const& storage, OglCache* cache) const override {
        drawing.Draw(*dst,
                     {{Proc::kFirstSampler, src1->FrameData().ConvertToRGBA(storage)},
                      {Proc::kSecondSampler, src2->FrameData().ConvertToRGBA(storage)}},
                     time, progress, storage, cache);
    }

private:
    ShaderDrawing drawing;
};

void RequireKind(ShaderFile const& file, bool isTransition) {
    if (file.IsTransition() != isTransition) {
        Core::Throw(std::logic_error(fmt::format("{} has another number of inputs", file.GetName())));
    }
}

}  // namespace
}  // namespace Kaltor::Ogl

namespace Kaltor::Proc {

boost::intrusive_ptr<IOneInputEffectVideo> MakeShaderEffect(boost::intrusive_ptr<IEffectFactory const> const& factory,
                                                            std::shared_ptr<ShaderFile const> const& file,
                                                            ShaderHost const& host) {
    Ogl::RequireKind(*file, false);
    return EffectWrapper::Create(factory, std::make_unique<Ogl::ShaderEffect>(file, host).release());
}

boost::intrusive_ptr<ITwoInputEffectVideo> MakeShaderTransition(
    boost::intrusive_ptr<IEffectFactory const> const& factory, std::shared_ptr<ShaderFile const> const& file,
    ShaderHost const& host) {
    Ogl::RequireKind(*file, true);
    return TransitionWrapper::Create(factory, std::make_unique<Ogl::ShaderTransition>(file, host).release());
}

}  // namespace Kaltor::Proc
