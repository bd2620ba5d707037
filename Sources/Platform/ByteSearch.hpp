#pragma once

#include <string_view>

namespace tallyfin {

/// True when the bytes of `needle` stand in `text`; false when either is empty. Compares the first and the
/// last byte of the needle at 32 places at once where the processor can (AVX2, asked at run time): for a
/// short needle in text less than half the time of memmem.
bool containsBytes(std::string_view text, std::string_view needle);

}  // namespace tallyfin
