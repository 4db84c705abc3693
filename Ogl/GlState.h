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

/// Allows other drawing in between: for its own lifetime no capability is enabled. Its destructor restores the target,
/// the viewport, the capabilities, blending, the colour mask and the clear colour. GL thread.
class Interlude {
public:
    Interlude();
    ~Interlude();
    Interlude(Interlude const&) = delete;
    Interlude& operator=(Interlude const&) = delete;

private:
    GLint target = 0;
};

/// Enables a client-side vertex array (such as `GL_VERTEX_ARRAY`) for its own lifetime. For plug-ins that draw with
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

/// The state in which every task starts and ends: no program, target, buffer or vertex array, nothing enabled, unit 0
/// active. (Textures stay bound; code that samples binds its own.) The destructor restores this state, also when an
/// exception passes. GL thread.
class CleanState {
public:
    CleanState() = default;
    ~CleanState();
    CleanState(CleanState const&) = delete;
    CleanState& operator=(CleanState const&) = delete;

    /// Throws `std::runtime_error` if the GL reports an error; debug builds only, since the query takes time.
    void Check() const;
};

/// Clears the whole of the attached target to black, transparent or opaque, regardless of the clear colour, the colour
/// mask and the scissor test. The clear colour and the scissor test stay unchanged; the colour mask is left with all
/// channels enabled.
void ClearAttached(bool isOpaque);

/// Throws `std::runtime_error` with the name `action` if the GL reports an error, such as running out of memory.
void ThrowOnGlError(char const* action);

}  // namespace Kaltor::Ogl
