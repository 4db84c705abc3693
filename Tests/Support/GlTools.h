#pragma once

#include "Ogl/Frame.h"
#include "Ogl/IOglTask.h"
#include "Ogl/OglManager.h"
#include "Ogl/ShaderStorage.h"
#include "Tests/Support/Picture.h"

namespace Kaltor::Tests {

/// A task that runs a given function.
class LambdaTask final : public Ogl::IOglTask {
public:
    using Action = std::function<void(Ogl::ShaderStorage const&)>;
    static boost::intrusive_ptr<Ogl::IOglTask> Make(Action action) { return {new LambdaTask(std::move(action))}; }
    void Run(Ogl::OglCapability, Ogl::ShaderStorage const& storage) override { action(storage); }

private:
    explicit LambdaTask(Action toDo) : IOglTask(Ogl::OglCapability::Render, nullptr), action(std::move(toDo)) {}
    Action action;
};

/// Runs `action(storage)` on the GL thread and waits for it.
template <typename Action>
void OnGl(Action action) {
    Ogl::OglManager::GetInstance().Invoke(std::move(action));
}

/// A texture's content as 8-bit RGBA, whatever its layout. GL thread.
Picture ReadTexture(Ogl::Texture const& texture, Ogl::ShaderStorage const& storage);
/// What a program sees of a texture at its texels, alpha included: drawn into an RGBA frame and read. GL thread.
Picture ReadSampled(Ogl::Texture const& texture, Ogl::ShaderStorage const& storage);

/// The state that one piece of GL work could leave to the next, as name and value.
using GlState = std::vector<std::pair<std::string, std::string>>;
/// GL thread.
GlState QueryGlState();
/// The same in the GL's own initial state (of what `QueryGlState` asks for).
GlState GetInitialGlState();

}  // namespace Kaltor::Tests
