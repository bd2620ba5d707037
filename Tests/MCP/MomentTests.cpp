// An answer uses one time of the clock, even if the clock moves while the answer is built.

#include "MCP/GoldenHome.hpp"

#include <string>
#include <string_view>
#include <utility>

#include <gtest/gtest.h>

namespace tallyfin {
namespace {

using MomentTest = GoldenHome;

TEST_F(MomentTest, MidnightDuringACallChangesNothing) {
  const auto answerWith = [&](double secondsAReading, std::string_view tool, const char* arguments) {
    machine_.home.remove("cache");
    Environment environment = machine_.environment();
    double time = machine_.calendar.startOfDay(CalendarDate{2026, 3, 11})->seconds - 1;
    environment.now = [&] { return TimePoint{std::exchange(time, time + secondsAReading)}; };
    DataSource data(environment);
    std::string text = MCPServer(data, [](std::string_view) {}).callTool(tool, argumentsOf(arguments)).text;
    if (const std::size_t took = text.find("  last read took"); took != std::string::npos) {
      text.erase(took, text.find('\n', took) - took);
    }
    return text;
  };
  const std::pair<const char*, const char*> calls[] = {
      {"tally_overview", "{}"},
      {"tally_cost", R"({"period":"yesterday","agent":"reviewer"})"},
      {"tally_cost", "{}"},
      {"tally_top_agents", R"({"period":"2d"})"},
      {"tally_top_projects", "{}"},
      {"tally_by_model", R"({"from":"2026-03-09"})"},
      {"tally_provenance", "{}"},
      {"tally_session", R"({"session_id":"5e550001","period":"today"})"},
      {"tally_agent", R"({"agent":"scout","period":"today"})"},
      {"tally_sources", "{}"},
  };
  for (const auto& [tool, arguments] : calls) {
    EXPECT_EQ(answerWith(3, tool, arguments), answerWith(0, tool, arguments)) << tool;
  }
}

}  // namespace
}  // namespace tallyfin
