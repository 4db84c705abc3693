#pragma once

#include <cstdint>
#include <memory>

#include <boost/intrusive_ptr.hpp>

#include "Conf/IFormatCodecVideo.h"
#include "Ogl/DataVideoOGL.h"
#include "Ogl/ShaderStorage.h"
#include "Proc/Effects/Shared/OglCache.h"
#include "Proc/Settings/Settings.h"

namespace Kaltor::Ogl {

using Src = boost::intrusive_ptr<DataVideoOGL>;

/// What is about to be drawn on planes.
struct PlaneCase {
    Conf::FrameInfo info;  ///< of the inputs
    ColorSpec spec;        ///< resolved
    double progress;
};

/// One effect: how an output frame is drawn from one input. Keeps its settings; the wrapper does everything else that
/// is needed to run it.
class IEffectAlgorithm {
public:
    IEffectAlgorithm() = default;
    IEffectAlgorithm(IEffectAlgorithm const&) = delete;
    IEffectAlgorithm& operator=(IEffectAlgorithm const&) = delete;
    virtual ~IEffectAlgorithm() = default;

    /// Copies the settings. Throws `std::bad_cast` for settings of another class and `std::invalid_argument` for values
    /// that cannot be drawn (`Settings::Validate`); the former settings stay in effect then. Processing thread.
    virtual void SetSettings(Proc::Settings const& settings) = 0;
    /// Draws `dst` from `src`, whose own tasks have run. `time` is the frame's timestamp in seconds; `progress` is 0 at
    /// the start of the effect's span and 1 at its end, not clamped. Keeps no argument. GL thread.
    virtual void Processing(DataVideoOGL* dst, Src const& src, double time, double progress,
                            ShaderStorage const& storage, OglCache* cache) const = 0;
    /// A new cache, which the caller owns; null by default. Processing thread.
    virtual OglCache* CreateCache() const;
    /// Rewrites the codec to the format of the frames that `CreateDst` makes for it. Processing thread.
    virtual void UpdateFormatCodec(boost::intrusive_ptr<Conf::IFormatCodecVideo> const& codec);
    /// A new output frame for an input of this form; by default of the same size, and with alpha if the input has it.
    /// Processing thread.
    virtual boost::intrusive_ptr<DataVideoOGL> CreateDst(PixFmt srcFormat, Conf::FrameInfo const& info);
    /// The output's format for an input of this format.
    virtual PixFmt GetOutputFormat(PixFmt srcFormat) const;
    /// Whether Y'CbCr planes can be drawn on instead of R'G'B', with the same result: `Processing` does nothing to
    /// opaque pictures but draw them with `Frame::Draw`, through upright rectangles, replacing what is there, blended
    /// by a constant or inverted over white, or asks `IsOnPlanes` (Planes.h) and then draws the planes itself. GL
    /// thread.
    virtual bool WorksOnPlanes() const { return false; }
    /// Where it works on planes: whether it does so here. Always by default. GL thread.
    virtual bool SuitsPlanes(PlaneCase const&) const { return true; }
    /// Whether `Processing` can write opaque pictures of 8 bits in main memory by the processor's own threads (see
    /// Samples.h), from a picture of this form that lies there; it then finds `GetRgbInMemory` in `dst`. GL thread.
    virtual bool WorksInMemory(Conf::FrameInfo const&) const { return false; }
    /// Draws what is random anew, from this seed alone; so do the caches made from now on. Without it the numbers are
    /// the C library's. Empty by default: most draw none. Processing thread.
    virtual void SetSeed(std::uint32_t seed);
};

/// One transition: how an output frame is drawn from two inputs of the same size.
class ITransitionAlgorithm {
public:
    ITransitionAlgorithm() = default;
    ITransitionAlgorithm(ITransitionAlgorithm const&) = delete;
    ITransitionAlgorithm& operator=(ITransitionAlgorithm const&) = delete;
    virtual ~ITransitionAlgorithm() = default;

    /// Like `IEffectAlgorithm::SetSettings`.
    virtual void SetSettings(Proc::Settings const& settings) = 0;
    /// Draws `dst` from the outgoing picture `src1` and the incoming one `src2`; otherwise like
    /// `IEffectAlgorithm::Processing`.
    virtual void Processing(DataVideoOGL* dst, Src const& src1, Src const& src2, double time, double progress,
                            ShaderStorage const& storage, OglCache* cache) const = 0;
    /// Like `IEffectAlgorithm::CreateCache`.
    virtual OglCache* CreateCache() const;
    /// As `IEffectAlgorithm::WorksOnPlanes`.
    virtual bool WorksOnPlanes() const { return false; }
    /// As `IEffectAlgorithm::SuitsPlanes`.
    virtual bool SuitsPlanes(PlaneCase const&) const { return true; }
    /// As `IEffectAlgorithm::SetSeed`.
    virtual void SetSeed(std::uint32_t seed);
};

/// A new algorithm object. Each source file instantiates this function for its class (see MakeAlgorithm.h); the
/// registration needs only the class's name.
template <typename T>
std::unique_ptr<IEffectAlgorithm> MakeEffect();
template <typename T>
std::unique_ptr<ITransitionAlgorithm> MakeTransition();

/// An algorithm that keeps a copy of the settings class `S`.
template <typename Algorithm, typename S>
class WithSettings : public Algorithm {
public:
    void SetSettings(Proc::Settings const& value) override {
        auto const& given = dynamic_cast<S const&>(value);
        given.Validate();
        settings = given;
    }

protected:
    S settings;
};

template <typename S>
using EffectWithSettings = WithSettings<IEffectAlgorithm, S>;
template <typename S>
using TransitionWithSettings = WithSettings<ITransitionAlgorithm, S>;

}  // namespace Kaltor::Ogl
