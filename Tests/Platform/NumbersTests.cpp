#include "Platform/Numbers.hpp"
#include "gtest/gtest.h"

#include <limits>
#include <utility>
#include <vector>

namespace tallyfin {
namespace {

TEST(Numbers, ThousandsArePartedByCommas) {
  const std::vector<std::pair<std::int64_t, std::string>> cases = {
      {0, "0"},
      {999, "999"},
      {1'000, "1,000"},
      {-999, "-999"},
      {-100'000, "-100,000"},
      {1'234'567, "1,234,567"},
      {std::numeric_limits<std::int64_t>::max(), "9,223,372,036,854,775,807"},
      {std::numeric_limits<std::int64_t>::min(), "-9,223,372,036,854,775,808"}};
  for (const auto& [n, text] : cases) {
    EXPECT_EQ(grouped(n), text);
  }
  EXPECT_EQ(withCommas("-1234567.8912"), "-1,234,567.8912");
  EXPECT_EQ(withCommas("nan"), "nan");
}

TEST(Numbers, OneThingIsSingularWhateverItsSign) {
  EXPECT_EQ(counted(1, "row", "rows"), "1 row");
  EXPECT_EQ(counted(-1, "row", "rows"), "-1 row");
  EXPECT_EQ(counted(0, "row", "rows"), "0 rows");
  EXPECT_EQ(counted(1'001, "row", "rows"), "1,001 rows");
}

}  // namespace
}  // namespace tallyfin
