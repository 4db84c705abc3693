#pragma once

#include <atomic>
#include <optional>
#include <string>
#include <vector>

#include "Edit/Json.h"
#include "Edit/Plan.h"
#include "Render/Losses.h"
#include "Render/Render.h"

namespace Kaltor::Cli {

/// What there is to say about a plan beside the plan.
struct PlanReport {
    std::string output;
    std::string codec;
    std::optional<Render::Piece> piece;  ///< where only a part is made
    std::vector<std::string> warnings;
    std::optional<Media::OutputForm> form;  ///< where there is an output
    std::vector<Render::Loss> losses;
};

/// Lays out the titles and reads the subtitles of a plan, so that what is wrong with them shows before anything is
/// made. Throws what they throw, with the document's name and the place before where there is a document, and
/// `Media::Cancelled` where `cancel` becomes true.
void CheckTexts(Edit::Plan const& plan, std::string const& documentName, std::atomic<bool> const& cancel,
                Media::WarningFn const& warn);

/// For readers: what is made, then clips, overlays and sounds with their places in the whole video; of a piece, those
/// that it shows.
std::string ToText(Edit::Plan const& plan, PlanReport const& report);
/// For programs. Times in seconds; frames count from 0.
Edit::Json ToJson(Edit::Plan const& plan, PlanReport const& report);

}  // namespace Kaltor::Cli
