#include "Proc/Effects/ShaderFiles/ShaderEffects.h"

#include <map>
#include <stdexcept>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
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
        bool const isFirst = storage.FindShader(file.GetProgramName()) == nullptr;
        Proc::TimeLimit const limit(isFirst ? host.limit : std::chrono::milliseconds(0), file.GetName(), host.onHang);
        Shader const& shader = RequireShader(storage);
        Pass pass(storage, shader);
        int unit = 0;
        for (auto const& [name, frame] : inputs) {
            if (shader.Has(name)) {
                pass.Texture(name, unit++, frame);
            }
        }
        auto const set = [&](char const* name, auto const& value) {
            if (shader.Has(name)) {
                pass.Set(name, value);
            }
        };
        Conf::FrameInfo const& info = dst.GetFrameInfo();
        set("progress", LimitProgress(progress));
        set("ratio", GetDisplayAspect(info));
        set("time", time);
        set("resolution", glm::vec2(info.width, info.height));
        SetUniforms(pass, shader, unit, storage, cache);
        pass.DrawTo(dst);
        if (isFirst) {
            glFinish();  // what never ends is noticed here
        }
    }

private:
    CpuPicture ReadPicture(std::string const& path) const {
        if (!host.readPicture) {
            Core::Throw(std::invalid_argument(
                fmt::format("{}: this program reads no pictures for shader files", settings.GetClassId())));
        }
        return host.readPicture(path);
    }

    Shader const& RequireShader(ShaderStorage const& storage) const {
        ShaderFile const& file = settings.GetFile();
        try {
            return storage.MakeShader(file.GetProgramName(), kQuadVertex, file.GetProgram());
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
        drawing.Draw(*dst, {{"kaltor_first", src->FrameData().ConvertToRGBA(storage)}}, time, progress, storage, cache);
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
                     {{"kaltor_first", src1->FrameData().ConvertToRGBA(storage)},
                      {"kaltor_second", src2->FrameData().ConvertToRGBA(storage)}},
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
