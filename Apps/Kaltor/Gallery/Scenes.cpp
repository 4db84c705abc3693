#include "Apps/Kaltor/Gallery/Scenes.h"

#include <algorithm>
#include <string>

#include "Apps/Kaltor/Gallery/Assets.h"
#include "Ogl/Frame.h"
#include "Ogl/OglManager.h"
#include "Ogl/ShaderStorage.h"

namespace Kaltor::Cli {

boost::intrusive_ptr<Proc::DataVideoFF> DrawScene(Scene scene, Conf::FrameInfo const& size, double phase) {
    boost::intrusive_ptr<Proc::DataVideoFF> picture = Proc::DataVideoFF::Create(PixFmt::Rgb24, size);
    bool const isLake = scene == Scene::Lake;
    std::string const source =
        std::string(Assets::kSceneGlsl) + std::string(isLake ? Assets::kLakeGlsl : Assets::kBeachGlsl);
    Ogl::OglManager::GetInstance().Invoke([&](Ogl::ShaderStorage const& storage) {
        Ogl::Frame frame;
        frame.Allocate(kOpaqueFormat, size.width, size.height);
        storage.FBO().Attach(frame.GetFirstTexture());
        Ogl::Shader const& shader = storage.MakeShader(isLake ? "SceneLake" : "SceneBeach", Ogl::kQuadVertex, source);
        shader.Use();
        shader.Uniform("noise", 0);
        shader.Uniform("phase", static_cast<float>(phase));
        auto const shorter = static_cast<float>(std::min(size.width, size.height));
        shader.Uniform("shape", static_cast<float>(size.width) / shorter, static_cast<float>(size.height) / shorter);
        shader.Uniform("pixel", 1.0F / shorter);
        storage.Noise().Use(0, Ogl::TextureFilter::Linear);
        storage.Quad().Activate();
        storage.Quad().Draw();
        frame.Download(picture, storage);
    });
    return picture;
}

}  // namespace Kaltor::Cli
