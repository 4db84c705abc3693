#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Proc/Data/DataVideoFF.h"
#include "Proc/Interfaces/IEffectFactory.h"
#include "Proc/Settings/Settings.h"

namespace Kaltor::Host {

using Picture = boost::intrusive_ptr<Proc::DataVideoFF>;

/// One registered effect, transition or service, run on pictures in main memory as on video: uploader, wrapper, GL
/// thread, downloader. One thread at a time.
class PictureEffect {
public:
    /// Starts the GL. Throws `std::runtime_error` where there is no usable one, and `std::invalid_argument` where
    /// nothing is registered under the name or the settings cannot be drawn.
    PictureEffect(Proc::IEffectFactory const& factory, std::string const& classId, bool isTwoInput,
                  Proc::Settings const& settings);

    /// Throws `std::invalid_argument` where the settings cannot be drawn; the former ones stay.
    void SetSettings(Proc::Settings const& settings);

    /// Makes what is random follow from this seed alone; without it, from the clock.
    void SetSeed(std::uint32_t seed);

    /// Makes progress exactly this, whatever the time; without it progress follows from the time.
    void SetProgress(double progress);
    void SetProgress(Proc::TimeToProgress const& progress);

    /// Results of another size are scaled to fit into this one from now on, with nothing (transparent) around them.
    void FitInto(std::uint32_t width, std::uint32_t height);

    /// The result as Rgb24 or Rgba. `inputs` may be used again; their timestamps are set. Throws what the effect
    /// throws.
    Picture Run(std::vector<Picture> const& inputs, std::int64_t timestamp);

    /// The same from frames in main memory or on the GPU to one on the GPU, which is drawn when its tasks are run.
    boost::intrusive_ptr<Proc::IDataVideo> Draw(std::vector<boost::intrusive_ptr<Proc::IDataVideo>> const& inputs,
                                                std::int64_t timestamp);

    /// Forgets what was kept between pictures.
    void Reset();

private:
    bool isDownloader;
    boost::intrusive_ptr<Proc::IEffect> effect;
    std::unique_ptr<Proc::Settings> last;  ///< what the effect has
    boost::intrusive_ptr<Proc::IOneInputEffectVideo> uploader;
    boost::intrusive_ptr<Proc::IOneInputEffectVideo> fitter;  // null: results keep their size
    boost::intrusive_ptr<Proc::IOneInputEffectVideo> downloader;
    boost::intrusive_ptr<Proc::IOneInputEffectVideo> converter;
    Conf::FrameInfo fitted;
    boost::intrusive_ptr<Proc::IEffectFactory const> maker;
};

}  // namespace Kaltor::Host
