#include "Support/MakeRecord.hpp"
#include "TallyfinMCP/Lookup.hpp"
#include "TallyfinMCP/Render.hpp"
#include "absl/strings/str_join.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tallyfin {
namespace {

using testing::IsNull;
using testing::NotNull;

struct LookupCase {
  std::string text;
  std::string outcome;
};

Report reportOf(const std::vector<UsageRecord>& records) {
  return Aggregator(Calendar::utc(), ProjectResolver("/home/ada", false))
      .aggregate(records, std::nullopt, std::nullopt, {}, false);
}

/// A request at a round price: `dollars` of the default model.
UsageRecord spent(RecordParts parts, int dollars) {
  parts.output = dollars * kDollar;
  return make(parts);
}

UsageRecord unpriced(RecordParts parts) {
  parts.model = "nova-1";
  return spent(parts, 1);
}

std::string shown(const AgentIdentity& agent) {
  return R::agent(agent);
}

std::string shown(InternedText key) {
  return std::string(key.text());
}

/// The one key, "-" for none, or the candidates joined by "; ".
template <typename Key>
std::string outcome(const Resolution<Key>& found) {
  if (found.key() != nullptr) {
    EXPECT_THAT(found.candidates(), IsNull());
    return shown(*found.key());
  }
  return found.candidates() != nullptr ? absl::StrJoin(*found.candidates(), "; ") : "-";
}

/// Two scouts; an agent called main; one whose name goes on beyond another's; anonymous ones; a name with an
/// accent, composed here.
Report agents() {
  return reportOf({
      spent({.agentId = "ascout-0123456789abcdef"}, 2),
      spent({.agentId = "ascout-fedcba9876543210"}, 7),
      spent({.agentId = "ascouting-1111111111111111"}, 3),
      spent({.agentId = "amain-2222222222222222"}, 4),
      spent({.agentId = "aZürich-3333333333333333"}, 5),
      spent({.agentId = "f00dcafe"}, 1),
      spent({.agentId = "f00dface"}, 1),
      unpriced({.agentId = "f00d"}),
      unpriced({.agentId = "aother-4444444444444444"}),
  });
}

TEST(Lookup, AgentsByNameFragmentOrId) {
  const Report report = agents();
  const std::string scouts = "scout  [ascout-0123456789abcdef]; scout  [ascout-fedcba9876543210]";
  const std::string zurich = "Zürich  [aZürich-3333333333333333]";
  const std::string anonymous =
      "anonymous agent  [f00dcafe] — $1.00; anonymous agent  [f00dface] — $1.00; "
      "anonymous agent  [f00d] — unknown (1 request, no known price: nova-1)";
  const LookupCase cases[] = {
      {"scout", scouts},  // one name: a list of labels, however much the agents cost
      {" SCOUT\t", scouts},
      {"scouting", "scouting  [ascouting-1111111111111111]"},
      {"scoutin", "scouting  [ascouting-1111111111111111]"},
      {"cout",
       "scout  [ascout-fedcba9876543210] — $7.00; scouting  [ascouting-1111111111111111] — $3.00; "
       "scout  [ascout-0123456789abcdef] — $2.00"},
      {"ascout-0123456789abcdef", "scout  [ascout-0123456789abcdef]"},
      {"AScout-F", "scout  [ascout-fedcba9876543210]"},
      {"scout-0123456789abcdef", "-"},  // an id only from its start
      {"0123456789abcdef", "-"},
      {"f00d", "anonymous agent  [f00d]"},  // an exact id goes before those that begin with it
      {"F00DC", "anonymous agent  [f00dcafe]"},
      {"f00", anonymous},
      {"cafe", "-"},
      {"anonymous", "-"},
      {"(main)", "-"},
      {"Z\u00fcrich", zurich},
      {"Zu\u0308rich", zurich},
      {"z\u00dcRI", zurich},
      {"zU\u0308r", zurich},
      {"u",
       "scout  [ascout-fedcba9876543210] — $7.00; scouting  [ascouting-1111111111111111] — $3.00; "
       "scout  [ascout-0123456789abcdef] — $2.00"},  // half a character is none
      {"\u3000other\u00a0", "other  [aother-4444444444444444]"},
      {"other\n", "-"},  // line ends are not trimmed
      {"", "-"},
      {" \t\u3000", "-"},
  };
  for (const auto& [text, expected] : cases) {
    EXPECT_EQ(outcome(resolveAgent(text, report)), expected) << text;
  }
}

TEST(Lookup, TheMainSessionIsAKeywordAndNothingElse) {
  Report report = agents();
  for (const char* keyword : {"main", "MAIN ", "main session", "Main-Session"}) {
    EXPECT_EQ(outcome(resolveAgent(keyword, report)), "-")
        << keyword << ": no main session in the report, and never the agent of that name";
  }
  EXPECT_EQ(outcome(resolveAgent("amain", report)), "main  [amain-2222222222222222]");
  EXPECT_EQ(outcome(resolveAgent("mai", report)), "main  [amain-2222222222222222]");
  EXPECT_EQ(outcome(resolveAgent("main  session", report)), "-");

  report = reportOf({spent({}, 1), spent({.agentId = "amain-2222222222222222"}, 4)});
  for (const char* keyword : {"main", " mAin", "MAIN SESSION", "main-session"}) {
    EXPECT_EQ(outcome(resolveAgent(keyword, report)), "main session (no agentId)") << keyword;
  }
  EXPECT_EQ(outcome(resolveAgent("mai", report)), "main  [amain-2222222222222222]");
}

TEST(Lookup, ProjectsByAnyFragment) {
  const Report report = reportOf({
      spent({.cwd = "/repo/api"}, 1),
      spent({.cwd = "/repo/api-client"}, 3),
      spent({.cwd = "/home/ada/Café"}, 2),
      spent({.cwd = ""}, 1),
      unpriced({.cwd = "/repo/zebra"}),
  });
  const LookupCase cases[] = {
      {"/REPO/API", "/repo/api"},
      {"api", "/repo/api-client — $3.00; /repo/api — $1.00"},
      {"client", "/repo/api-client"},
      {"repo",
       "/repo/api-client — $3.00; /repo/api — $1.00; "
       "/repo/zebra — unknown (1 request, no known price: nova-1)"},
      {"~/CAFE\u0301", "~/Café"},
      {"caf\u00e9", "~/Café"},
      {"cafe", "-"},
      {"unknown", "(unknown cwd)"},
      {"/home/ada", "-"},
      {"main", "-"},
      {"  ", "-"},
  };
  for (const auto& [text, expected] : cases) {
    EXPECT_EQ(outcome(resolveProject(text, report)), expected) << text;
  }
}

TEST(Lookup, SessionsFromTheirStart) {
  const Report report = reportOf({
      spent({.session = "ABCD-1"}, 1),
      spent({.session = "abcd-12"}, 1),
      spent({.session = "abce"}, 9),
  });
  const LookupCase cases[] = {
      {"abcd-1", "ABCD-1"},
      {"ABCD-12", "abcd-12"},
      {"abce", "abce"},
      {"abcd", "ABCD-1 — $1.00; abcd-12 — $1.00"},
      {"\u00a0ABC ", "abce — $9.00; ABCD-1 — $1.00; abcd-12 — $1.00"},
      {"bcd", "-"},
      {"-1", "-"},
      {"abcd-123", "-"},
      {"\t", "-"},
  };
  for (const auto& [text, expected] : cases) {
    EXPECT_EQ(outcome(resolveSession(text, report)), expected) << text;
  }
}

TEST(Lookup, AListEndsAfterTwentyFiveByCost) {
  // Texts that the records point to; in falling order, so that no order comes out by chance.
  std::vector<std::string> sessions;
  std::vector<std::string> agentIds;
  std::vector<UsageRecord> records;
  std::vector<UsageRecord> twins;
  sessions.reserve(30);
  agentIds.reserve(30);
  for (int i = 39; i >= 10; --i) {
    sessions.push_back("many" + std::to_string(i));
    records.push_back(spent({.session = sessions.back()}, (i * 7) % 30));
    agentIds.push_back("atwin-00000000000000" + std::to_string(i));
    twins.push_back(spent({.agentId = agentIds.back()}, 1));
  }
  const auto found = resolveSession("many", reportOf(records));
  ASSERT_THAT(found.candidates(), NotNull());
  ASSERT_EQ(found.candidates()->size(), 25U);
  EXPECT_EQ(found.candidates()->front(), "many17 — $29.00");
  EXPECT_EQ(found.candidates()->back(), "many35 — $5.00");

  const auto same = resolveAgent("Twin", reportOf(twins));
  ASSERT_THAT(same.candidates(), NotNull());
  ASSERT_EQ(same.candidates()->size(), 30U) << "agents of one name are all listed";
  EXPECT_EQ(same.candidates()->front(), "twin  [atwin-0000000000000010]");
  EXPECT_EQ(same.candidates()->back(), "twin  [atwin-0000000000000039]");
}

TEST(Lookup, MegabytesOfTextMatchNothing) {
  const Report report = agents();
  for (const char* piece : {"scout", " ", "e\u0301", "\U0001f469\u200d"}) {
    std::string text;
    while (text.size() < 1'000'000) {
      text += piece;
    }
    EXPECT_EQ(outcome(resolveAgent(text, report)), "-") << piece;
    EXPECT_EQ(outcome(resolveProject(text, report)), "-") << piece;
    EXPECT_EQ(outcome(resolveSession(text, report)), "-") << piece;
  }
}

}  // namespace
}  // namespace tallyfin
