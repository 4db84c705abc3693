#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "Conf/FrameInfo.h"
#include "Ogl/DataVideoOGL.h"
#include "Proc/Data/DataVideoFF.h"
#include "Proc/Interfaces/IEffectFactory.h"
#include "Proc/Settings/Settings.h"

namespace Kaltor::Measure {

using FactoryPtr = boost::intrusive_ptr<Proc::IEffectFactory const>;
using FramePtr = boost::intrusive_ptr<Proc::IDataVideo>;

/// A picture of noise, which no driver can compress or skip.
boost::intrusive_ptr<Proc::DataVideoFF> MakeNoise(PixFmt format, Conf::FrameInfo const& size, unsigned seed);

/// The picture on the GPU. The upload is complete when this returns.
FramePtr ToGpu(Proc::IEffectFactory const& factory, FramePtr frame);

/// What effects are measured on: two pictures of noise, each in main memory and on the GPU.
struct NoiseFrames {
    enum class Depth {
        Eight,
        Float,  ///< on the GPU 16-bit float, in main memory 10 bits
    };
    NoiseFrames(FactoryPtr const& factory, Conf::FrameInfo const& frameSize, Depth frameDepth = Depth::Eight);

    Conf::FrameInfo size;
    Depth depth;
    std::array<FramePtr, 2> planar;  ///< 4:2:0, in main memory
    std::array<FramePtr, 2> gpu;     ///< opaque RGB
};

/// One registered effect, transition or service on frames whose time cycles through `kPositions` places within one
/// second: 1/8, 3/8, 5/8 and 7/8. Progress follows the time.
class EffectRun {
public:
    static constexpr int kPositions = 4;

    /// `frames` must outlive it.
    EffectRun(FactoryPtr const& factory, Proc::Settings const& settings, bool isTwoInput, NoiseFrames const& frames);

    /// The work of the effect alone, with frames on the GPU in and out. (The uploader takes frames in main memory, the
    /// downloader returns them there.) Does not wait until they are drawn.
    void Draw(int count);
    /// From 4:2:0 frames in main memory to 4:2:0 frames in main memory, one after the other. Frames of 10 bits become
    /// 16-bit float on this thread, and back, where a render does that on its decoders' and encoder's.
    void DrawEndToEnd(int count);

private:
    FramePtr Process(std::array<FramePtr, 2> const& inputs, int number);

    void DrawDeepEndToEnd(int count);

    NoiseFrames const& frames;
    bool isUploader;
    std::array<FramePtr, 2> uploads;  ///< what an uploader gets
    boost::intrusive_ptr<Proc::IOneInputEffectVideo>
        uploader;  ///< used before a downloader, which ignores frames in main memory
    boost::intrusive_ptr<Proc::IOneInputEffectVideo> one;
    boost::intrusive_ptr<Proc::ITwoInputEffectVideo> two;
    boost::intrusive_ptr<Proc::IOneInputEffectVideo> downloader;
    FramePtr last;
};

}  // namespace Kaltor::Measure
