#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// Kaltor for programs: effects and transitions on pictures in main memory or in OpenGL textures. This header needs
/// nothing but the standard library; what it declares keeps its form as long as the library keeps its soname.
///
/// Errors are exceptions derived from `std::exception`: `std::invalid_argument` for what was asked wrongly (an unknown
/// name, a value out of range, pictures of unequal sizes), `std::runtime_error` for what the system cannot do (no
/// usable OpenGL, no plug-in, a size beyond the GL's limit). An object that threw can be used on.
namespace Kaltor::Embed {

#define KALTOR_EMBED_API __attribute__((visibility("default")))

/// How the channels of a pixel follow each other in memory, 8 bits each. Alpha is straight.
enum class Layout : std::uint8_t { Rgb, Rgba, Bgra };

/// A picture in the caller's memory, the top row first. It is read while `Effect::Apply` runs, and not kept.
struct ImageView {
    std::uint8_t const* pixels = nullptr;
    std::uint32_t width = 0;   ///< pixels
    std::uint32_t height = 0;  ///< pixels
    std::size_t stride = 0;    ///< bytes from one row to the next; 0: rows follow without a gap
    Layout layout = Layout::Rgba;
};

/// A picture that an effect made, the top row first: RGBA where an input has alpha or the effect makes some, else RGB.
/// Copies share the pixels.
class KALTOR_EMBED_API Image {
public:
    Image() = default;

    std::uint8_t const* GetPixels() const { return view.pixels; }
    std::uint32_t GetWidth() const { return view.width; }
    std::uint32_t GetHeight() const { return view.height; }
    std::size_t GetStride() const { return view.stride; }  ///< bytes
    Layout GetLayout() const { return view.layout; }
    unsigned GetChannels() const { return view.layout == Layout::Rgb ? 3 : 4; }
    /// To be the input of another effect; valid as long as this image or a copy of it lives.
    operator ImageView() const { return view; }  // NOLINT(google-explicit-constructor)

private:
    friend class Effect;
    ImageView view;
    std::shared_ptr<void const> owner;
};

/// A picture in a two-dimensional texture of the caller's, whose context shares its objects with Kaltor's (`ShareGl`).
struct TextureView {
    unsigned name = 0;  ///< of glGenTextures; 8 bits a channel
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    bool hasAlpha = true;
    bool isTopRowFirst = false;  ///< the picture's top row is at t = 0; false: at t = 1
};

/// The moment that is drawn.
struct Moment {
    double seconds = 0.0;            ///< of the frame, in its clip
    std::optional<double> progress;  ///< 0 at the beginning of a transition and 1 at its end; default: `seconds`
};

enum class FieldKind : std::uint8_t { Integer, Number, Flag, Choice, Colour, List, File, Other };

/// What can be set of an effect.
struct FieldInfo {
    std::string name;
    FieldKind kind = FieldKind::Number;
    std::string value;  ///< as it is set now, in the form that `Effect::Set` takes
    std::string defaultValue;
    double minimum = 0.0;  ///< of integers and numbers; both ends are accepted
    double maximum = 0.0;
    std::vector<std::string> labels;  ///< of a choice
    std::string accepted;             ///< in words: "0 to 1", "down, up, left or right"
    std::string help;
};

enum class EffectKind : std::uint8_t { Effect, Transition, Service };

/// What `Library::List` shows of an effect.
struct EffectInfo {
    std::string name;
    EffectKind kind = EffectKind::Effect;
    int inputs = 1;  ///< pictures that it takes, 1 or 2
    std::string summary;
    std::string plugin;  ///< path of the plug-in that it comes from; "" for a file of another kind
};

/// One effect or transition with its settings. One thread at a time; different objects may be used by different
/// threads.
class KALTOR_EMBED_API Effect {
public:
    Effect(Effect&& other) noexcept;
    Effect& operator=(Effect&& other) noexcept;
    ~Effect();

    std::string GetName() const;
    std::vector<FieldInfo> GetFields() const;
    /// Sets a field from text, such as "0.02", "true", "left" or "#FF8000". A value that is refused changes nothing.
    void Set(std::string_view field, std::string_view value);
    void Set(std::string_view field, double value);
    /// Makes what is random follow from this number alone; without it, from the clock.
    void SetSeed(std::uint32_t seed);
    /// Forgets what was kept between frames, as for another clip.
    void Reset();

    Image Apply(ImageView const& picture, Moment const& moment = {});
    /// For transitions: `from` is the outgoing picture, `to` the incoming one, of the same size.
    Image Apply(ImageView const& from, ImageView const& to, Moment const& moment);

    /// The same on textures, without a way through main memory. `target` has the size of the inputs, and is filled when
    /// this returns; what is in the inputs has to be finished before (glFinish, or a fence). No other thread may use
    /// them meanwhile. The caller's context may stay current.
    void Apply(std::span<TextureView const> inputs, TextureView const& target, Moment const& moment = {});

private:
    friend class Library;
    struct Parts;
    explicit Effect(std::unique_ptr<Parts> made);

    std::unique_ptr<Parts> parts;
};

/// The effects that are installed: the standard plug-in and those of others. Any thread.
class KALTOR_EMBED_API Library {
public:
    /// Loads the plug-ins. OpenGL starts with the first effect that is made.
    Library();
    Library(Library const&) = default;
    Library& operator=(Library const&) = default;
    ~Library();

    std::vector<EffectInfo> List() const;
    /// One line for each plug-in that could not be used.
    std::vector<std::string> GetFaults() const;
    /// By its name, with or without "Effect" or "Transition", or a usual one ("dissolve"), in any case of letters.
    /// `inputs`: which one is meant where an effect (1) and a transition (2) have one name.
    Effect Make(std::string const& name, std::size_t inputs = 0) const;

private:
    struct Parts;
    std::shared_ptr<Parts const> parts;
};

/// Has Kaltor's context share its objects with the caller's, which may be current on any thread. `display` is an
/// EGLDisplay and `context` an EGLContext for desktop OpenGL; both have to live as long as the process uses Kaltor. To
/// be called before the first effect is made; throws `std::logic_error` later.
KALTOR_EMBED_API void ShareGl(void* display, void* context);

/// The version of the library in use, such as "0.1.0".
KALTOR_EMBED_API std::string GetVersion();

}  // namespace Kaltor::Embed
