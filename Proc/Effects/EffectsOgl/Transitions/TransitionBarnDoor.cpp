// Doors with one picture on them slide over the other one: two with a horizontal or a vertical seam, or the four
// quarters. The outgoing picture opens, or the incoming one closes. A door's picture moves with it; what leaves the
// screen is cut.

#include <vector>

#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/QuadBuilders.h"
#include "Proc/Settings/SettingsWipeTransitions.h"

namespace Kaltor::Ogl {
namespace {

using DoorMode = Proc::SettingsTransitionBarnDoor::Mode;

/// `opening` is 0 for closed doors and 1 for doors that are gone.
PackedQuad MakeDoors(DoorMode mode, float opening) {
    Stretch const whole{0.0F, 1.0F, -1.0F, 1.0F};
    Stretch const low{opening / 2.0F, 0.5F, -1.0F, -opening};
    Stretch const high{0.5F, (2.0F - opening) / 2.0F, opening, 1.0F};
    std::vector<Stretch> const halves{low, high};
    std::vector<Stretch> const columns =
        mode == DoorMode::CloseVertical || mode == DoorMode::OpenVertical ? std::vector{whole} : halves;
    std::vector<Stretch> const rows =
        mode == DoorMode::CloseHorizontal || mode == DoorMode::OpenHorizontal ? std::vector{whole} : halves;
    return MakeLattice(columns, rows);
}

}  // namespace

class TransitionBarnDoor final : public TransitionWithSettings<Proc::SettingsTransitionBarnDoor> {
public:
    bool WorksOnPlanes() const override { return true; }
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        DoorMode const mode = settings.mode;
        bool const isOpening =
            mode == DoorMode::OpenVertical || mode == DoorMode::OpenHorizontal || mode == DoorMode::OpenCorners;
        bool const isClosing =
            mode == DoorMode::CloseVertical || mode == DoorMode::CloseHorizontal || mode == DoorMode::CloseCorners;
        if (!isOpening && !isClosing) {  // no doors
            DrawUnchanged(*dst, *second, storage);
            return;
        }
        DataVideoOGL& doors = isOpening ? *first : *second;
        DataVideoOGL& behind = isOpening ? *second : *first;
        auto const opening = static_cast<float>(isOpening ? progress : 1.0 - progress);
        if (opening == 0.0F) {  // the doors are the picture, to the byte
            DrawUnchanged(*dst, doors, storage);
            return;
        }
        DrawUnchanged(*dst, behind, storage);
        doors.FrameData().Draw(Quad(MakeDoors(mode, opening), GL_STREAM_DRAW), storage);
    }
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionBarnDoor>();

}  // namespace Kaltor::Ogl
