#include "MCP/GoldenHome.hpp"
#include "Platform/Concat.hpp"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tallyfin {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

using FiltersTest = GoldenHome;

struct FilterCase {
  const char* arguments;
  const char* text;
};

constexpr const char* filterTools[] = {"tally_cost", "tally_top_agents", "tally_top_projects",
                                       "tally_by_model", "tally_provenance"};

TEST_F(FiltersTest, WhatDoesNotComeToOneKeyIsAnError) {
  const FilterCase cases[] = {
      {R"({"agent":"REVIEWER"})",
       "“REVIEWER” matches 2 agents. Pick one (give the exact name or the `agentId`):\n"
       "  reviewer  [areviewer-0123456789abcdef]\n"
       "  reviewer  [areviewer-fedcba9876543210]"},
      {R"({"agent":" re"})",
       "“ re” matches 3 agents. Pick one (give the exact name or the `agentId`):\n"
       "  reviewer  [areviewer-0123456789abcdef] — $1.50\n"
       "  the-one-who-writes-release-notes  [athe-one-who-writes-release-notes-5555666677778888] — $1.00\n"
       "  reviewer  [areviewer-fedcba9876543210] — $0.50"},
      {R"({"agent":" Nobody "})",
       "No agent matches “ Nobody ”. See `tally_top_agents` with `period: \"all\"` for the real names."},
      {R"({"agent":"  "})",
       "No agent matches “  ”. See `tally_top_agents` with `period: \"all\"` for the real names."},
      {R"({"project":"Nowhere"})",
       "“Nowhere” matches 2 projects:\n"
       "  /nowhere/alpha — $10.50\n"
       "  /nowhere/beta — unknown (1 request, no known price: nova-1)"},
      {R"({"project":"gamma"})",
       "No project matches “gamma”. See `tally_top_projects` with `period: \"all\"`."},
      {R"({"session_id":"5E5"})",
       "The prefix “5E5” matches 3 sessions:\n"
       "  5e550001-main — ≥ $9.50 [1 request with no known price (nova-1) are not included]\n"
       "  5e550003-work — ≥ $2.75 [1 request with no known price (nova-2) are not included]\n"
       "  5e550002-resumed — $1.00"},
      {R"({"session_id":"main"})", "No session starts with “main”."},
      // The first that fails is told: the period, then agent, project, session.
      {R"({"agent":"x","project":"x","session_id":"x","period":"x"})",
       "unknown period “x” — accepted: today, yesterday, NNd (e.g. 7d), all, or from/to in yyyy-MM-dd"},
      {R"({"session_id":"x","project":"x","agent":"x"})",
       "No agent matches “x”. See `tally_top_agents` with `period: \"all\"` for the real names."},
      {R"({"session_id":"x","project":"x","agent":"main"})",
       "No project matches “x”. See `tally_top_projects` with `period: \"all\"`."},
      {R"({"session_id":"x","project":"alpha","agent":"main"})", "No session starts with “x”."},
  };
  for (const auto& [arguments, text] : cases) {
    for (const char* tool : filterTools) {
      EXPECT_EQ(answer(tool, arguments), concat("ERROR ", text)) << tool << " " << arguments;
    }
  }
}

TEST_F(FiltersTest, HeadersNameThemInOrder) {
  const FilterCase cases[] = {
      {R"({"agent":"main"})", "filters: agent = main session (no agentId)\n"},
      {R"({"agent":"F00D"})", "filters: agent = anonymous agent  [f00dcafe12345]\n"},
      {R"({"session_id":"TINY","project":"cwd"})", "filters: project = (unknown cwd) · session = tiny\n"},
      {R"({"session_id":"5e550002","project":"/nowhere/alpha","agent":"AREVIEWER-F"})",
       "filters: agent = reviewer  [areviewer-fedcba9876543210] · project = /nowhere/alpha · "
       "session = 5e550002-resumed\n"},
      {R"({"project":"notes","period":"yesterday"})", "filters: project = ~/notes\n"},
      {R"({"Agent":"scout","sessionId":"tiny"})", ""},
  };
  for (const auto& [arguments, filters] : cases) {
    for (const char* tool : filterTools) {
      const std::string text = answer(tool, arguments);
      EXPECT_THAT(text.substr(text.find('\n') + 1), StartsWith(concat(filters, "──")))
          << tool << " " << arguments;
    }
  }
}

TEST_F(FiltersTest, ARecordMustPassAllOfThem) {
  const FilterCase cases[] = {
      {R"({"agent":"main","period":"all"})",
       "≥ $8.00 [1 request with no known price (nova-1) are not included]"},
      {R"({"agent":"main","project":"notes","period":"all"})", "$1.50"},
      {R"({"agent":"main","project":"alpha","session_id":"5e550001","period":"all"})", "$6.00"},
      {R"({"agent":"main","project":"alpha","session_id":"5e550001"})", "$4.00"},
      {R"({"project":"beta"})", "unknown (1 request, no known price: nova-1)"},
      {R"({"project":"notes","session_id":"5e550002","period":"all"})", "unknown (no requests in range)"},
      {R"({"agent":"scout","period":"yesterday"})", "unknown (no requests in range)"},
  };
  for (const auto& [arguments, cost] : cases) {
    EXPECT_THAT(answer("tally_cost", arguments), HasSubstr(concat("\n  TOTAL  ", cost, "\n"))) << arguments;
    EXPECT_THAT(answer("tally_by_model", arguments), HasSubstr(concat("\n  TOTAL ", cost, "\n")))
        << arguments;
    EXPECT_THAT(answer("tally_provenance", arguments), HasSubstr(concat("\n  cost   ", cost, "\n")))
        << arguments;
  }
}

}  // namespace
}  // namespace tallyfin
