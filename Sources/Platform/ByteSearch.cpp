#include "Platform/ByteSearch.hpp"

#include <bit>
#include <cstdint>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace tallyfin {
namespace {

using Search = bool (*)(std::string_view text, std::string_view needle);

bool searchPlain(std::string_view text, std::string_view needle) {
  return text.find(needle) != std::string_view::npos;
}

#if defined(__x86_64__)
__attribute__((target("avx2"))) bool searchAvx2(std::string_view text, std::string_view needle) {
  constexpr std::size_t kWidth = 32;
  const std::size_t last = needle.size() - 1;
  const __m256i firstByte = _mm256_set1_epi8(needle.front());
  const __m256i lastByte = _mm256_set1_epi8(needle.back());
  std::size_t at = 0;
  for (; at + last + kWidth <= text.size(); at += kWidth) {
    const char* const here = text.data() + at;
    const __m256i atFirst = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(here));
    const __m256i atLast = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(here + last));
    const __m256i both =
        _mm256_and_si256(_mm256_cmpeq_epi8(atFirst, firstByte), _mm256_cmpeq_epi8(atLast, lastByte));
    for (auto mask = static_cast<std::uint32_t>(_mm256_movemask_epi8(both)); mask != 0; mask &= mask - 1) {
      if (std::memcmp(here + std::countr_zero(mask), needle.data(), needle.size()) == 0) {
        return true;
      }
    }
  }
  return searchPlain(text.substr(at), needle);
}
#endif

Search best() {
#if defined(__x86_64__)
  if (__builtin_cpu_supports("avx2")) {
    return searchAvx2;
  }
#endif
  return searchPlain;
}

}  // namespace

bool containsBytes(std::string_view text, std::string_view needle) {
  static const Search search = best();
  return !needle.empty() && text.size() >= needle.size() && search(text, needle);
}

}  // namespace tallyfin
