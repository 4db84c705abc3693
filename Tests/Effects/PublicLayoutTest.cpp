// What plug-ins and programs were built with has to stay as long as the number in the libraries' sonames does.
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "Conf/FrameInfo.h"
#include "Conf/PixFmt.h"
#include "Core/Interfaces/Property.h"
#include "Ogl/DataVideoOGL.h"
#include "Ogl/Frame.h"
#include "Ogl/GLBuffer.h"
#include "Ogl/GlObject.h"
#include "Ogl/IOglTask.h"
#include "Ogl/Mesh.h"
#include "Ogl/Random.h"
#include "Ogl/Shader.h"
#include "Ogl/ShaderStorage.h"
#include "Ogl/Surface.h"
#include "Ogl/TaskTimer.h"
#include "Ogl/Texture.h"
#include "Proc/Effects/Shared/Algorithms.h"
#include "Proc/Effects/Shared/EffectWrapper.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Effects/Shared/TransitionWrapper.h"
#include "Proc/Interfaces/IEffectRegistry.h"
#include "Proc/Interfaces/TimeToProgress.h"
#include "Proc/Settings/Settings.h"
#include "Proc/Settings/SettingsServices.h"

namespace Kaltor {
namespace {

#if defined(__x86_64__) && defined(__GLIBCXX__)

/// The place of a virtual function in its class's table, as the C++ ABI of Linux has it; -1 where it is not virtual.
template <typename Function>
std::ptrdiff_t FindSlot(Function function) {
    std::ptrdiff_t raw = 0;
    static_assert(sizeof function >= sizeof raw);
    std::memcpy(&raw, &function, sizeof raw);
    return raw % 2 == 1 ? raw / static_cast<std::ptrdiff_t>(sizeof(void*)) : -1;
}

TEST(PublicLayout, ChangesOnlyWithTheNumberInTheSoname) {
    struct Known {
        char const* what;
        std::ptrdiff_t recorded;
        std::ptrdiff_t found;
    };
#define KALTOR_SIZE(type, recorded)                                               \
    Known {                                                                       \
        "the size of " #type, recorded, static_cast<std::ptrdiff_t>(sizeof(type)) \
    }
#define KALTOR_SLOT(function, recorded)                                               \
    Known {                                                                           \
        "the place of the virtual function " #function, recorded, FindSlot(&function) \
    }
    for (Known const& known : {
             KALTOR_SIZE(Conf::FrameInfo, 16),
             KALTOR_SIZE(ColorSpec, 2),
             KALTOR_SIZE(ColorTransform, 96),
             KALTOR_SIZE(PixFmtDescription, 24),
             KALTOR_SIZE(Core::Property, 120),
             KALTOR_SIZE(Ogl::DataVideoOGL, 168),
             KALTOR_SIZE(Ogl::Frame, 16),
             KALTOR_SIZE(Ogl::GLBuffer, 24),
             KALTOR_SIZE(Ogl::GlObject, 8),
             KALTOR_SIZE(Ogl::IOglTask, 40),
             KALTOR_SIZE(Ogl::Quad, 152),
             KALTOR_SIZE(Ogl::Mesh3d, 40),
             KALTOR_SIZE(Ogl::LitMesh, 112),
             KALTOR_SIZE(Ogl::AttributeMesh, 80),
             KALTOR_SIZE(Ogl::Random, 144),
             KALTOR_SIZE(Ogl::Shader, 64),
             KALTOR_SIZE(Ogl::ShaderStorage, 376),
             KALTOR_SIZE(Ogl::Surface, 56),
             KALTOR_SIZE(Ogl::TaskTimer, 64),
             KALTOR_SIZE(Ogl::Texture, 24),
             KALTOR_SIZE(Ogl::TextureForm, 12),
             KALTOR_SIZE(Ogl::Pass, 40),
             KALTOR_SIZE(Proc::EffectWrapper, 128),
             KALTOR_SIZE(Proc::TransitionWrapper, 128),
             KALTOR_SIZE(Proc::TimeToProgress, 48),
             KALTOR_SIZE(Proc::Field, 160),
             KALTOR_SIZE(Proc::FieldValue, 72),
             KALTOR_SIZE(Proc::SettingsResizer, 80),
             KALTOR_SIZE(Proc::SettingsFrameDownloader, 16),
             KALTOR_SIZE(Proc::SettingsEffectImageBlender, 24),
             KALTOR_SLOT(Ogl::Mesh::GetRectangles, 5),
             KALTOR_SLOT(Ogl::IOglTask::Run, 5),
             KALTOR_SLOT(Ogl::IEffectAlgorithm::SetSeed, 11),
             KALTOR_SLOT(Ogl::ITransitionAlgorithm::SetSeed, 7),
             KALTOR_SLOT(Proc::IData::SetTimestamp, 8),
             KALTOR_SLOT(Proc::IDataVideo::SetColorSpec, 12),
             KALTOR_SLOT(Proc::IEffect::SetProgress, 15),
             KALTOR_SLOT(Proc::IOneInputEffectVideo::UpdateFormatCodec, 18),
             KALTOR_SLOT(Proc::ITwoInputEffectVideo::UpdateFormatCodec, 18),
             KALTOR_SLOT(Proc::IEffectRegistry::GetPictureReader, 7),
             KALTOR_SLOT(Proc::Settings::GetOrigin, 11),
         }) {
        EXPECT_EQ(known.found, known.recorded)
            << known.what << " has changed: plug-ins and programs that are built already do not fit any more. If the "
            << "last release had the recorded one, raise KALTOR_ABI in CMakeLists.txt and the names of packages in "
            << "packaging/Packages.cmake (docs/abi.md). Then record what was found here.";
    }
#undef KALTOR_SIZE
#undef KALTOR_SLOT
}

#endif

}  // namespace
}  // namespace Kaltor
