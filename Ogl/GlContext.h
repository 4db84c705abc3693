#pragma once

#include <memory>
#include <string>

namespace Kaltor::Ogl {

/// The properties of the GL in use.
struct GlInfo {
    std::string platform;  ///< "surfaceless", "device" or "pbuffer" (EGL)
    std::string vendor;
    std::string renderer;
    std::string version;
    std::string glslVersion;
    int maxTextureSize = 0;  ///< largest side of a picture, pixels
    int maxTextureUnits = 0;
    bool isSoftware = false;  ///< drawn by the processor
};

/// The context of somebody else, on a display of EGL, whose objects are to be shared.
struct GlShare {
    void* display = nullptr;  ///< EGLDisplay; null: nothing is shared
    void* context = nullptr;  ///< EGLContext
};

/// A desktop GL context of 2.1 or later, compatibility profile, with framebuffer objects and float textures, that needs
/// no window. Prefers hardware over software. Made, used and destroyed on one thread, where it is always current.
class GlContext {
public:
    /// Throws `std::runtime_error` with a message that says what is missing and what to install. `wantsSoftware`: what
    /// draws on the processor, or nothing.
    explicit GlContext(bool wantsSoftware = false);
    /// On the display of `share`, and sharing the objects of its context. Throws as above.
    explicit GlContext(GlShare const& share);
    ~GlContext();
    GlContext(GlContext const&) = delete;
    GlContext& operator=(GlContext const&) = delete;

    GlInfo const& GetInfo() const { return info; }

private:
    struct Egl;
    std::unique_ptr<Egl> egl;
    GlInfo info;
};

}  // namespace Kaltor::Ogl
