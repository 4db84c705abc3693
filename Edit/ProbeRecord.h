#pragma once

#include "Edit/Json.h"
#include "Media/AudioReader.h"
#include "Media/MediaInfo.h"

namespace Kaltor::Edit {

/// All that is known of a file, for another process. What is read back is from this version of the program; anything
/// else throws `Json::exception`.
Json RecordOf(Media::MediaInfo const& info);
Media::MediaInfo MediaInfoFromRecord(Json const& record);
Json RecordOf(Media::SoundInfo const& info);
Media::SoundInfo SoundInfoFromRecord(Json const& record);

}  // namespace Kaltor::Edit
