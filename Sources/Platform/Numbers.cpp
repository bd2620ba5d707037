#include "Platform/Numbers.hpp"

#include "Platform/Concat.hpp"

#include <algorithm>
#include <cstddef>

namespace tallyfin {

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

std::string_view noun(std::int64_t n, std::string_view one, std::string_view many) {
  return n == 1 || n == -1 ? one : many;
}

}  // namespace tallyfin
