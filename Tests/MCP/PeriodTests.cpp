#include "Platform/Concat.hpp"
#include "Support/ArgumentsOf.hpp"
#include "TallyfinMCP/MCPError.hpp"
#include "TallyfinMCP/Period.hpp"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tallyfin {
namespace {

const Calendar calendar = *Calendar::named("America/Sao_Paulo");

/// 2026-03-10, 23:30 in the zone; in UTC it is the next day already.
TimePoint now() {
  return {calendar.startOfDay(CalendarDate{2026, 3, 10})->seconds + 23.5 * 3600};
}

/// "from|through|label|flags", with "t" for includesToday and "1" for isSingleDay; or the error.
std::string parsed(const std::string& arguments, const std::string& fallback = "today") {
  try {
    const Period period = Period::parse(argumentsOf(arguments), fallback, now(), calendar);
    const auto day = [](const std::optional<TimePoint>& time) {
      return time ? calendar.formatDay(*time) : std::string();
    };
    EXPECT_TRUE(!period.from || *period.from == calendar.startOfDay(*period.from)) << arguments;
    EXPECT_TRUE(!period.through || *period.through == calendar.startOfDay(*period.through)) << arguments;
    return concat(day(period.from), "|", day(period.through), "|", period.label, "|",
                  period.includesToday ? "t" : "", period.isSingleDay ? "1" : "");
  } catch (const MCPError& error) {
    return error.message();
  }
}

TEST(Period, NamedSpans) {
  const std::string today = "2026-03-10|2026-03-10|today (2026-03-10)|t1";
  const std::string all = "||all history|t";
  EXPECT_EQ(parsed("{}"), today);
  EXPECT_EQ(parsed("{}", "all"), all);
  EXPECT_EQ(parsed(R"({"period":5})", "all"), all);
  EXPECT_EQ(parsed(R"({"to":"2026-03-01"})", "all"), all) << "`to` alone is nothing";
  EXPECT_EQ(parsed(R"({"period":""})", "all"), today) << "a blank period is today, whatever the default";
  EXPECT_EQ(parsed(R"({"period":" \t\u3000"})", "all"), today);
  EXPECT_EQ(parsed(R"({"period":" TODAY "})"), today);
  EXPECT_EQ(parsed(R"({"period":"ALL"})"), all);
  EXPECT_EQ(parsed(R"({"period":"Yesterday"})"), "2026-03-09|2026-03-09|yesterday (2026-03-09)|1");
}

TEST(Period, LastDaysEndToday) {
  const std::string week = "2026-03-04|2026-03-10|last 7 days (2026-03-04 → 2026-03-10)|t";
  for (const char* text : {"7d", " 7D ", "+7d", "007d"}) {
    EXPECT_EQ(parsed(concat(R"({"period":")", text, "\"}")), week);
  }
  EXPECT_EQ(parsed(R"({"period":"1d"})"), "2026-03-10|2026-03-10|last 1 days (2026-03-10 → 2026-03-10)|t1");
  EXPECT_EQ(parsed(R"({"period":"800000d"})"),
            "-0165-11-13|2026-03-10|last 800000 days (-0165-11-13 → 2026-03-10)|t");
  EXPECT_THAT(parsed(R"({"period":"9223372036854775807d"})"), testing::StartsWith("-28")) << "all of time";
}

TEST(Period, ExplicitDaysGoFirst) {
  EXPECT_EQ(parsed(R"({"from":"2026-03-01","period":"all"})"),
            "2026-03-01|2026-03-10|2026-03-01 → 2026-03-10|t");
  EXPECT_EQ(parsed(R"({"from":"2026-03-01","to":""})"), "2026-03-01|2026-03-10|2026-03-01 → 2026-03-10|t");
  EXPECT_EQ(parsed(R"({"from":"2026-03-01","to":7})"), "2026-03-01|2026-03-10|2026-03-01 → 2026-03-10|t");
  EXPECT_EQ(parsed(R"({"from":"2026-03-01","to":"2026-03-01"})"),
            "2026-03-01|2026-03-01|2026-03-01 → 2026-03-01|1");
  EXPECT_EQ(parsed(R"({"from":"2026-03-10"})"), "2026-03-10|2026-03-10|2026-03-10 → 2026-03-10|t1");
  EXPECT_EQ(parsed(R"({"from":"2018-11-04","to":"2026-12-31"})"),
            "2018-11-04|2026-12-31|2018-11-04 → 2026-12-31|t")
      << "the midnight of the first day was skipped";
  for (const char* from : {"\"\"", "17", "null", "[\"2026-03-01\"]"}) {
    EXPECT_EQ(parsed(concat(R"({"from":)", from, R"(,"to":"2026-03-05"})")),
              "2026-03-10|2026-03-10|today (2026-03-10)|t1");
  }
}

TEST(Period, ErrorsTellWhatIsAccepted) {
  for (const char* text : {"-7d", "0d", "d", "+d", "+-7d", "7 d", "7days", "week", "7d\\n",
                           "9223372036854775808d", "99999999999999999999d", "7.0d", "0x7d"}) {
    const std::string shown = std::string(text) == "7d\\n" ? "7d\n" : text;
    EXPECT_EQ(parsed(concat(R"({"period":")", text, "\"}")),
              concat("unknown period “", shown,
                     "” — accepted: today, yesterday, NNd (e.g. 7d), all, or from/to in yyyy-MM-dd"));
  }
  EXPECT_EQ(
      parsed(R"({"period":" LAST Été "})"),
      "unknown period “last été” — accepted: today, yesterday, NNd (e.g. 7d), all, or from/to in yyyy-MM-dd");

  for (const char* day : {" 2026-03-01", "2026-02-29", "2026-00-10", "2026-3-2", "0000-01-01", "10000-01-01",
                          "-001-01-01", "x"}) {
    const std::string text = concat("invalid date “", day, "” — the format is yyyy-MM-dd");
    EXPECT_EQ(parsed(concat(R"({"from":")", day, R"(","to":"y"})")), text) << "the first day is read first";
    EXPECT_EQ(parsed(concat(R"({"from":"2026-01-01","to":")", day, "\"}")), text);
  }
  EXPECT_EQ(parsed(R"({"from":"2026-03-02","to":"2026-03-01"})"),
            "reversed range: from=2026-03-02 is later than to");
  EXPECT_EQ(parsed(R"({"from":"2026-03-11"})"), "reversed range: from=2026-03-11 is later than to");
}

}  // namespace
}  // namespace tallyfin
