#pragma once

#include <limits>
#include <optional>

#include "Render/SoundSource.h"

namespace Kaltor::Render {

/// The piece of a file that plays, at its own speed: forwards or backwards, once or again and again. Its memory does
/// not depend on the length.
class FileSound final : public SoundSource {
public:
    FileSound(PlannedSound const& sound, Media::SoundFormat const& format, Media::WarningFn warn,
              Media::InputRules const& rules);

    void Read(float* const* planes, std::size_t count) override;

private:
    /// Some samples of the current pass through the piece, at most `count`; 0 at its end.
    std::size_t ReadPass(Planes& into, std::size_t count);
    std::size_t ReadForwards(Planes& into, std::size_t count);
    std::size_t ReadBackwards(Planes& into, std::size_t count);
    void LoadBlock();
    void Align(Planes& block, std::size_t margin, std::size_t tail) const;
    void StartPass();
    void Remember(std::size_t count);
    void MendSeam(std::size_t count);

    int rate;
    bool isReversed;
    bool loops;
    std::unique_ptr<Media::AudioReader> reader;  ///< null: all that plays is in `whole`, or there is nothing
    std::optional<std::int64_t> length;          ///< of a pass, where it is known; what is played once is cut elsewhere
    std::int64_t position = 0;                   ///< in the pass
    bool isSilent = false;
    Planes scratch;

    // A short piece that is repeated is read once.
    Planes whole;
    bool canRemember;
    bool isWhole = false;

    // Backwards: a block of samples in playing order, and the file's sample that the next one ends at.
    Planes block;
    std::size_t blockPosition = 0;
    std::int64_t blockEnd = 0;
    Planes head;  ///< the block's first samples in the file's order: they are played with the next block

    // Where a pass meets the next one.
    struct Seam {
        float last = 0.0F;
        float usualStep = 0.0F;  ///< between two samples in a row
        float offset = 0.0F;
    };
    std::vector<Seam> seams;
    std::size_t sinceSeam = std::numeric_limits<std::size_t>::max();
    bool isAtSeam = false;
};

}  // namespace Kaltor::Render
