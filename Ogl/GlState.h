#pragma once

#include <epoxy/gl.h>

namespace Kaltor::Ogl {

/// Enables a GL capability for its own lifetime.
class EnableState {
public:
    explicit EnableState(GLenum glCapability);
    ~EnableState();
    EnableState(EnableState const&) = delete;
    EnableState& operator=(EnableState const&) = delete;

private:
    GLenum capability;
    bool wasEnabled;
};

/// Lets something else be drawn in between: for its own lifetime no capability is on; its destructor brings back the
/// target, the viewport, the capabilities, blending, the colour mask and the clear colour. GL thread.
class Interlude {
public:
    Interlude();
    ~Interlude();
    Interlude(Interlude const&) = delete;
    Interlude& operator=(Interlude const&) = delete;

private:
    GLint target = 0;
};

/// Enables a client-side vertex array (`GL_VERTEX_ARRAY` and its kin) for its own lifetime. For plug-ins that draw with
/// arrays of their own; a `Mesh` leaves its arrays on until the next one is activated.
class EnableClientState {
public:
    explicit EnableClientState(GLenum vertexArray);
    ~EnableClientState();
    EnableClientState(EnableClientState const&) = delete;
    EnableClientState& operator=(EnableClientState const&) = delete;

private:
    GLenum array;
    bool wasEnabled;
};

/// The state that every task starts from and leaves behind: no program, target, buffer or vertex array, nothing
/// enabled, unit 0 active. (Textures stay bound; whoever samples binds its own.) Its destructor brings the GL back
/// there, also when an exception passes. GL thread.
class CleanState {
public:
    CleanState() = default;
    ~CleanState();
    CleanState(CleanState const&) = delete;
    CleanState& operator=(CleanState const&) = delete;

    /// Throws `std::runtime_error` where the GL reports an error; debug builds only, since asking costs.
    void Check() const;
};

/// Clears the whole of the attached target to black, transparent or opaque, whatever the clear colour, the colour mask
/// and the scissor test are; the first and the last of these stay as they are. Leaves all channels open to drawing.
void ClearAttached(bool isOpaque);

/// Throws `std::runtime_error` that names `action` where the GL reports an error; its memory running out included.
void ThrowOnGlError(char const* action);

}  // namespace Kaltor::Ogl
