#pragma once

#include "Core/Interfaces/Exception.h"

/// The source locations of the errors that are part of the interface. Hosts compare these texts and lines, so they stay
/// the same even when the code moves. Every other error gives its true location.
namespace Kaltor::Proc::SourceLocations {

using Core::SourceLocation;

inline constexpr SourceLocation kOneInputProcessData{
    "virtual boost::intrusive_ptr<IData> Kaltor::Proc::IOneInputEffect::ProcessData(const "
    "std::vector<boost::intrusive_ptr<IData> > &)",
    "Proc/Interfaces/IOneInputEffect", 21};
inline constexpr SourceLocation kTwoInputProcessData{
    "virtual boost::intrusive_ptr<IData> Kaltor::Proc::ITwoInputEffect::ProcessData(const "
    "std::vector<boost::intrusive_ptr<IData> > &)",
    "Proc/Interfaces/ITwoInputEffect", 22};

inline constexpr SourceLocation kEffectGetSettings{
    "virtual Kaltor::Core::Property Kaltor::Proc::EffectWrapper::GetSettings() const",
    "Proc/Effects/EffectsOgl/EffectWrapper", 68};
inline constexpr SourceLocation kEffectSetSettings{
    "virtual void Kaltor::Proc::EffectWrapper::SetSettings(const Kaltor::Core::Property &)",
    "Proc/Effects/EffectsOgl/EffectWrapper", 73};

inline constexpr SourceLocation kTransitionGetSettings{
    "virtual Kaltor::Core::Property Kaltor::Proc::TransitionWrapper::GetSettings() const",
    "Proc/Effects/EffectsOgl/TransitionWrapper", 72};
inline constexpr SourceLocation kTransitionSetSettings{
    "virtual void Kaltor::Proc::TransitionWrapper::SetSettings(const Kaltor::Core::Property &)",
    "Proc/Effects/EffectsOgl/TransitionWrapper", 77};
inline constexpr SourceLocation kTransitionMissingInput{
    "virtual void Kaltor::Proc::TransitionWrapper::Process(boost::intrusive_ptr<IDataVideo> &, const "
    "boost::intrusive_ptr<const IDataVideo> &)",
    "Proc/Effects/EffectsOgl/TransitionWrapper", 96};
inline constexpr SourceLocation kTransitionOtherSize{kTransitionMissingInput.function, kTransitionMissingInput.file,
                                                     110};

inline constexpr SourceLocation kUploaderSetSettings{
    "virtual void FrameUploader::SetSettings(const Kaltor::Core::Property &)", "Proc/Effects/EffectsOgl/FrameUploader",
    66};
inline constexpr SourceLocation kDownloaderGetSettings{
    "virtual Kaltor::Core::Property FrameDownloader::GetSettings() const", "Proc/Effects/EffectsOgl/FrameDownloader",
    51};
inline constexpr SourceLocation kDownloaderSetSettings{
    "virtual void FrameDownloader::SetSettings(const Kaltor::Core::Property &)",
    "Proc/Effects/EffectsOgl/FrameDownloader", 52};
inline constexpr SourceLocation kBlenderMissingItem{
    "virtual boost::intrusive_ptr<IData> Kaltor::Ogl::ImageBlender::ProcessData(const "
    "std::vector<boost::intrusive_ptr<IData>> &)",
    "Proc/Effects/EffectsOgl/ImageBlender", 126};
inline constexpr SourceLocation kMissingCache{"void Kaltor::Ogl::details::throwOnNullptr(Kaltor::Ogl::OglCache *)",
                                              "Proc/Effects/EffectsOgl/OglCache", 13};

}  // namespace Kaltor::Proc::SourceLocations
