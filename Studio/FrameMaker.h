#pragma once

#include <cstdint>
#include <memory>

#include "Edit/Plan.h"
#include "Proc/Data/DataVideoFF.h"
#include "Render/Render.h"

namespace Kaltor::Studio {

/// Makes single frames of a plan, in any order. One thread at a time.
class FrameMaker {
public:
    /// `width`: of the frames, which keep their shape; 0: the plan's own size, in the form that a picture file gets.
    FrameMaker(Edit::Plan const& plan, Edit::Document const& document,
               boost::intrusive_ptr<Proc::IEffectFactory const> factory, std::uint32_t width);
    ~FrameMaker();
    FrameMaker(FrameMaker const&) = delete;
    FrameMaker& operator=(FrameMaker const&) = delete;

    /// Throws as `Render::RenderPicture`.
    boost::intrusive_ptr<Proc::DataVideoFF> Make(std::int64_t number);
    /// Whether the frame comes next in a run that is open, so that it needs no search in the files.
    bool IsNext(std::int64_t number) const;

private:
    struct Run;
    Edit::Plan plan;
    boost::intrusive_ptr<Proc::IEffectFactory const> factory;
    std::uint32_t seed;
    bool draws;
    std::int64_t last = -2;
    std::unique_ptr<Run> run;
};

/// A plan for frames of this width: the same pictures, smaller. Sizes that are shares of the frame follow by
/// themselves, and those in pixels are made smaller by the same factor.
void ScalePlan(Edit::Plan& plan, std::uint32_t width);

}  // namespace Kaltor::Studio
