#include "Ogl/GlContext.h"

#include <algorithm>
#include <array>
#include <functional>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

#include <dlfcn.h>
#include <epoxy/egl.h>
#include <epoxy/gl.h>
#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"

namespace Kaltor::Ogl {

/// A display with a current context, and a small surface where the platform needs one.
struct GlContext::Egl {
    EGLDisplay display = EGL_NO_DISPLAY;
    EGLContext context = EGL_NO_CONTEXT;
    EGLSurface surface = EGL_NO_SURFACE;
    bool isBorrowed = false;  ///< the display is somebody else's

    Egl() = default;
    Egl(Egl const&) = delete;
    Egl& operator=(Egl const&) = delete;
    ~Egl() {
        if (display == EGL_NO_DISPLAY) {
            return;
        }
        eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
        if (context != EGL_NO_CONTEXT) {
            eglDestroyContext(display, context);
        }
        if (surface != EGL_NO_SURFACE) {
            eglDestroySurface(display, surface);
        }
        if (!isBorrowed) {
            eglTerminate(display);
        }
        eglReleaseThread();
    }
};

namespace {

constexpr char const* kInstall =
    "on Debian and similar systems install libegl1 libgl1 libgl1-mesa-dri (software GL), or the GPU's own driver";

/// One way to reach a display.
struct Candidate {
    std::string platform;
    std::function<EGLDisplay()> open;
    bool isPbuffer;
    bool isSoftware;  ///< it is known to draw on the processor
};

bool HasWord(char const* words, std::string_view word) {
    std::string_view rest = words == nullptr ? "" : words;
    while (!rest.empty()) {
        std::size_t const space = rest.find(' ');
        if (rest.substr(0, space) == word) {
            return true;
        }
        rest.remove_prefix(space == std::string_view::npos ? rest.size() : space + 1);
    }
    return false;
}

std::vector<Candidate> ListCandidates() {
    std::vector<Candidate> candidates;
    char const* const client = eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
    bool const hasPlatforms = HasWord(client, "EGL_EXT_platform_base");
    if (hasPlatforms && HasWord(client, "EGL_MESA_platform_surfaceless")) {
        candidates.push_back(
            {"surfaceless",
             [] { return eglGetPlatformDisplayEXT(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr); },
             false, false});
    }
    bool const hasDevices = HasWord(client, "EGL_EXT_device_base") ||
                            (HasWord(client, "EGL_EXT_device_enumeration") && HasWord(client, "EGL_EXT_device_query"));
    if (hasPlatforms && hasDevices && HasWord(client, "EGL_EXT_platform_device")) {
        constexpr EGLint kMostDevices = 16;
        std::array<EGLDeviceEXT, kMostDevices> devices{};
        EGLint count = 0;
        if (eglQueryDevicesEXT(kMostDevices, devices.data(), &count) == EGL_TRUE) {
            for (EGLint i = 0; i < count; ++i) {
                EGLDeviceEXT const device = devices[static_cast<std::size_t>(i)];
                candidates.push_back(
                    {"device", [device] { return eglGetPlatformDisplayEXT(EGL_PLATFORM_DEVICE_EXT, device, nullptr); },
                     false, HasWord(eglQueryDeviceStringEXT(device, EGL_EXTENSIONS), "EGL_MESA_device_software")});
            }
        }
    }
    candidates.push_back({"pbuffer", [] { return eglGetDisplay(EGL_DEFAULT_DISPLAY); }, true, false});
    return candidates;
}

/// Makes a context on the candidate's display current. Returns the reason if it cannot, or "".
std::string MakeCurrent(Candidate const& candidate, EGLDisplay& display, EGLContext& context, EGLSurface& surface) {
    display = candidate.open();
    EGLint major = 0;
    EGLint minor = 0;
    if (display == EGL_NO_DISPLAY || eglInitialize(display, &major, &minor) != EGL_TRUE) {
        display = EGL_NO_DISPLAY;
        return "no display";
    }
    if (eglBindAPI(EGL_OPENGL_API) != EGL_TRUE) {
        return "no desktop OpenGL";
    }
    EGLint const surfaceType = candidate.isPbuffer ? EGL_PBUFFER_BIT : 0;
    std::array<EGLint, 5> const wanted{EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT, EGL_SURFACE_TYPE, surfaceType, EGL_NONE};
    EGLConfig config = nullptr;
    EGLint count = 0;
    if (eglChooseConfig(display, wanted.data(), &config, 1, &count) != EGL_TRUE || count == 0) {
        return "no configuration for desktop OpenGL";
    }
    context = eglCreateContext(display, config, EGL_NO_CONTEXT, nullptr);
    if (context == EGL_NO_CONTEXT) {
        return "no OpenGL context";
    }
    if (candidate.isPbuffer) {
        static constexpr std::array<EGLint, 5> kTiny{EGL_WIDTH, 16, EGL_HEIGHT, 16, EGL_NONE};
        surface = eglCreatePbufferSurface(display, config, kTiny.data());
    }
    if (eglMakeCurrent(display, surface, surface, context) != EGL_TRUE) {
        return "the context cannot be made current";
    }
    return "";
}

std::string GetText(GLenum name) {
    auto const* const text = reinterpret_cast<char const*>(glGetString(name));
    return text == nullptr ? "" : text;
}

bool IsSoftwareRenderer(std::string const& renderer) {
    static constexpr std::array<std::string_view, 4> kNames{"llvmpipe", "softpipe", "swrast", "Software Rasterizer"};
    for (std::string_view const name : kNames) {
        if (renderer.find(name) != std::string::npos) {
            return true;
        }
    }
    return false;
}

GlInfo QueryInfo(std::string const& platform) {
    GlInfo info;
    info.platform = platform;
    info.vendor = GetText(GL_VENDOR);
    info.renderer = GetText(GL_RENDERER);
    info.version = GetText(GL_VERSION);
    info.glslVersion = GetText(GL_SHADING_LANGUAGE_VERSION);
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &info.maxTextureSize);
    glGetIntegerv(GL_MAX_TEXTURE_IMAGE_UNITS, &info.maxTextureUnits);
    info.isSoftware = IsSoftwareRenderer(info.renderer);
    return info;
}

/// The features that frames need and the current context lacks, or "".
std::string FindMissing() {
    constexpr int kVersion21 = 21;
    constexpr int kVersion30 = 30;
    std::string missing;
    auto const require = [&missing](bool isThere, char const* what) {
        if (!isThere) {
            missing += (missing.empty() ? "" : ", ") + std::string(what);
        }
    };
    int const version = epoxy_gl_version();
    require(version >= kVersion21, "OpenGL 2.1");
    require(version >= kVersion30 || epoxy_has_gl_extension("GL_ARB_framebuffer_object"), "framebuffer objects");
    require(version >= kVersion30 || epoxy_has_gl_extension("GL_ARB_texture_float"), "float textures");
    require(version >= kVersion30 || epoxy_has_gl_extension("GL_ARB_texture_rg"), "one-channel textures");
    return missing;
}

}  // namespace

GlContext::GlContext(bool wantsSoftware) {
    // The GL loader ends the process where it finds no library, so look first.
    for (char const* const library : {"libEGL.so.1", "libGL.so.1"}) {
        void* const handle = dlopen(library, RTLD_LAZY | RTLD_LOCAL);
        if (handle == nullptr) {
            Core::Throw(
                std::runtime_error(fmt::format("no usable OpenGL: {} is not installed; {}", library, kInstall)));
        }
        dlclose(handle);
    }
    std::string reasons;
    Candidate const* softwareCandidate = nullptr;
    std::vector<Candidate> const candidates = ListCandidates();
    auto const attempt = [&reasons](Candidate const& candidate) -> std::unique_ptr<Egl> {
        auto made = std::make_unique<Egl>();
        std::string reason = MakeCurrent(candidate, made->display, made->context, made->surface);
        if (reason.empty()) {
            std::string const missing = FindMissing();
            reason = missing.empty() ? "" : GetText(GL_RENDERER) + " lacks " + missing;
        }
        if (!reason.empty()) {
            reasons += fmt::format("{}{}: {}", reasons.empty() ? "" : "; ", candidate.platform, reason);
            return nullptr;
        }
        return made;
    };
    for (Candidate const& candidate : candidates) {
        if (softwareCandidate != nullptr && (candidate.isPbuffer || candidate.isSoftware)) {
            continue;  // no better, and a window system's display is only a last resort
        }
        std::unique_ptr<Egl> made = attempt(candidate);
        if (!made) {
            continue;
        }
        bool const isSoftware = IsSoftwareRenderer(GetText(GL_RENDERER));
        if (!isSoftware && wantsSoftware) {
            reasons += fmt::format("{}{}: a GPU", reasons.empty() ? "" : "; ", candidate.platform);
            continue;
        }
        if (!isSoftware) {
            egl = std::move(made);
            info = QueryInfo(candidate.platform);
            return;
        }
        if (softwareCandidate == nullptr) {
            softwareCandidate = &candidate;
        }
        bool const isLast = std::all_of(&candidate + 1, candidates.data() + candidates.size(),
                                        [](Candidate const& next) { return next.isSoftware || next.isPbuffer; });
        if (wantsSoftware || isLast) {
            softwareCandidate = &candidate;
            egl = std::move(made);  // devices that are no better, or not wanted, are left alone
            break;
        }
    }
    if (!egl && softwareCandidate != nullptr) {
        // Made again rather than kept: displays of one vendor share state, which ending another display would destroy.
        egl = attempt(*softwareCandidate);
    }
    if (!egl) {
        Core::Throw(std::runtime_error(fmt::format("no usable OpenGL ({}); {}", reasons, kInstall)));
    }
    info = QueryInfo(softwareCandidate->platform);
}

GlContext::GlContext(GlShare const& share) : egl(std::make_unique<Egl>()) {
    auto const fail = [](char const* reason) {
        Core::Throw(std::runtime_error(fmt::format("the OpenGL context to share with is not usable: {}", reason)));
    };
    EGLDisplay const display = share.display;
    EGLint id = 0;
    EGLint api = 0;
    if (eglQueryContext(display, share.context, EGL_CONFIG_ID, &id) != EGL_TRUE ||
        eglQueryContext(display, share.context, EGL_CONTEXT_CLIENT_TYPE, &api) != EGL_TRUE) {
        fail("it is not a context of EGL on this display");
    }
    if (api != EGL_OPENGL_API || eglBindAPI(EGL_OPENGL_API) != EGL_TRUE) {
        fail("it is not for desktop OpenGL");
    }
    egl->display = display;
    egl->isBorrowed = true;
    // A context without a configuration has the number 0; such a one can be made wherever it could.
    EGLConfig config = EGL_NO_CONFIG_KHR;
    EGLint count = 0;
    std::array<EGLint, 3> const wanted{EGL_CONFIG_ID, id, EGL_NONE};
    if (id != 0 && (eglChooseConfig(display, wanted.data(), &config, 1, &count) != EGL_TRUE || count == 0)) {
        fail("its configuration is not known");
    }
    egl->context = eglCreateContext(display, config, share.context, nullptr);
    if (egl->context == EGL_NO_CONTEXT) {
        fail("no other context can share its objects");
    }
    if (!HasWord(eglQueryString(display, EGL_EXTENSIONS), "EGL_KHR_surfaceless_context")) {
        static constexpr std::array<EGLint, 5> kTiny{EGL_WIDTH, 16, EGL_HEIGHT, 16, EGL_NONE};
        egl->surface = eglCreatePbufferSurface(display, config, kTiny.data());
    }
    if (eglMakeCurrent(display, egl->surface, egl->surface, egl->context) != EGL_TRUE) {
        fail("a context that shares its objects cannot be made current");
    }
    if (std::string const missing = FindMissing(); !missing.empty()) {
        fail(fmt::format("it lacks {}", missing).c_str());
    }
    info = QueryInfo("shared");
}

GlContext::~GlContext() = default;

}  // namespace Kaltor::Ogl
