#include "Platform/Numbers.hpp"

#include "Platform/Concat.hpp"
#include "absl/strings/str_format.h"

#include <algorithm>
#include <cstddef>

namespace tallyfin {
namespace {

std::string_view noun(std::int64_t n, std::string_view one, std::string_view many) {
  return n == 1 || n == -1 ? one : many;
}

}  // namespace

std::string withCommas(std::string number) {
  constexpr std::size_t kGroup = 3;
  const std::size_t first = std::min(number.find_first_of("0123456789"), number.size());
  const std::size_t point = std::min(number.find('.'), number.size());
  for (std::size_t at = point; at > first + kGroup;) {
    at -= kGroup;
    number.insert(at, 1, ',');
  }
  return number;
}

std::string grouped(std::int64_t n) {
  return withCommas(std::to_string(n));
}

std::string counted(std::int64_t n, std::string_view one, std::string_view many) {
  return concat(grouped(n), " ", noun(n, one, many));
}

std::string plainlyCounted(std::int64_t n, std::string_view one, std::string_view many) {
  return concat(std::to_string(n), " ", noun(n, one, many));
}

std::string decimal(double value, int places) {
  return absl::StrFormat("%.*f", places, value == 0 ? 0.0 : value);
}

}  // namespace tallyfin
