#pragma once

#include <cstdint>
#include <string>

namespace Kaltor::Media {

/// How many pixels a picture may have to be decoded: 2^28, or fewer where the memory that this process may use holds no
/// more. A megapixel takes up to 32 MB on its way through an effect.
std::int64_t GetMostPixels();
/// The end of a sentence about a file with a larger picture, of a size such as "60000x60000".
std::string DescribeTooLarge(std::string const& size);

}  // namespace Kaltor::Media
