// The outgoing picture falls apart into tiles that fly off from the centre and shrink, in front of the incoming one.

#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/EffectsOgl/Transitions/Tiles.h"
#include "Proc/Settings/SettingsMeshTransitions.h"

namespace Kaltor::Ogl {

class TransitionDisintegrate final : public TransitionWithSettings<Proc::SettingsTransitionDisintegrate> {
public:
    bool WorksOnPlanes() const override { return true; }
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        Frame const target = dst->FrameData();
        double const aspect = static_cast<double>(target.GetWidth()) / target.GetHeight();
        TileGrid const grid = MakeTileGrid(static_cast<double>(settings.GetNum()), aspect);
        if (progress == 0.0) {  // the tiles are the picture, to the byte
            DrawUnchanged(*dst, *first, storage);
            return;
        }
        DrawUnchanged(*dst, *second, storage);
        if (progress >= 1.0) {  // all tiles have left the screen
            return;
        }
        first->FrameData().Draw(Quad(MakeSpreadTiles(grid, progress), GL_STREAM_DRAW), storage);
    }
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionDisintegrate>();

}  // namespace Kaltor::Ogl
