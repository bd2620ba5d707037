#include "Support/TempHome.hpp"
#include "TallyfinCore/Attribution/AgentRoster.hpp"

#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace tallyfin {
namespace {

AgentIdentity named(std::string_view name) {
  return AgentIdentity::named(InternedText(name),
                              InternedText("a" + std::string(name) + "-0123456789abcdef"));
}

class AgentRosterTests : public testing::Test {
 protected:
  void write(const std::string& session, const std::string& document, const std::string& claude = ".claude") {
    home.write(claude + "/teams/" + session + "/config.json", document);
  }

  AgentRoster load() {
    AgentRoster roster;
    roster.load(SourceHome::defaults(home.path()));
    return roster;
  }

  TempHome home;
};

TEST_F(AgentRosterTests, WithoutFilesNothingIsKnown) {
  const AgentRoster roster = load();
  EXPECT_EQ(roster.size(), 0U);
  EXPECT_EQ(roster.coverage().rostersRead, 0);
  EXPECT_EQ(roster.coverage().matchFraction(), Estimate<double>(UnknownReason::noData()));
}

TEST_F(AgentRosterTests, AMemberIsFoundByNameAndShortSession) {
  write("session-1", R"({"name": "team", "members": [
    {"agentId": "scout@session-12345678", "agentType": "explorer", "model": "m", "cwd": "/w", "more": [1]},
    {"agentId": "plain@abc", "agentType": 5, "model": null, "cwd": ["x"]}]})");
  const AgentRoster roster = load();
  const RosterEntry scout = {"scout", "explorer", "m", "/w", "12345678"};
  for (const char* session : {"12345678", "12345678-9abc-def0", "123456780"}) {
    const RosterEntry* entry = roster.entry(named("scout"), session);
    ASSERT_NE(entry, nullptr) << session;
    EXPECT_EQ(*entry, scout);
  }
  for (const char* session : {"", "1234567", "12345679-9abc", "session-12345678"}) {
    EXPECT_EQ(roster.entry(named("scout"), session), nullptr) << session;
  }
  EXPECT_EQ(roster.entry(named("Scout"), "12345678"), nullptr);
  EXPECT_EQ(roster.entry(AgentIdentity::main(), "12345678"), nullptr);
  EXPECT_EQ(roster.entry(AgentIdentity::anonymous(InternedText("scout")), "12345678"), nullptr);

  const RosterEntry* plain = roster.entry(named("plain"), "abc");
  ASSERT_NE(plain, nullptr);
  EXPECT_EQ(*plain, (RosterEntry{"plain", std::nullopt, std::nullopt, std::nullopt, "abc"}));
}

TEST_F(AgentRosterTests, AnAgentIdNeedsANameAndASession) {
  struct Case {
    std::string agentId, name, session;  // no name: the member is passed over
  };
  const Case cases[] = {
      {R"("a@session-s")", "a", "s"},
      {R"("a@s@t")", "a", "s@t"},
      {R"("a@session-session-")", "a", "session-"},
      {R"("a@Session-")", "a", "Session-"},
      {R"("e\u0301@s")", "\u00e9", "s"},
      {R"("@session-s")", "", ""},
      {R"("a@")", "", ""},
      {R"("a@session-")", "", ""},
      {R"("no sign")", "", ""},
      {R"(7)", "", ""},
      {R"(null)", "", ""},
  };
  for (const Case& c : cases) {
    write("session-x", R"({"members": [{"agentId": )" + c.agentId + "}]}");
    const AgentRoster roster = load();
    EXPECT_EQ(roster.coverage().rostersRead, 1) << c.agentId;
    EXPECT_EQ(roster.coverage().entriesLoaded, c.name.empty() ? 0 : 1) << c.agentId;
    if (!c.name.empty()) {
      const RosterEntry* entry = roster.entry(named(c.name), c.session);
      ASSERT_NE(entry, nullptr) << c.agentId;
      EXPECT_EQ(entry->sessionId, c.session);
    }
  }
}

TEST_F(AgentRosterTests, AFileThatIsNoRosterIsLostWhole) {
  const char* documents[] = {
      "",
      "garbage",
      "[]",
      "{}",
      R"({"members": {}})",
      R"({"members": null})",
      R"({"members": [{"agentId": "a@s"}, "text"]})",
      R"({"members": [{"agentId": "a@s"}]} trailing)",
      R"({"members": [{"agentId": "a@s"}])",
      "\xEF\xBB\xBF{\"members\": []}",
  };
  int number = 0;
  for (const char* document : documents) {
    write("session-" + std::to_string(number++), document);
  }
  write("other", R"({"members": [{"agentId": "a@s"}]})");
  home.write(".claude/teams/session-file", "");
  home.makeDirectory(".claude/teams/session-directory/config.json");
  home.makeDirectory(".claude/teams/session-fifo");
  ASSERT_EQ(::mkfifo(home.path(".claude/teams/session-fifo/config.json").c_str(), 0600), 0);
  home.write(".claude-work/teams", "a file where a directory should be");
  write("session-good", R"({"members": []})", ".claude-yahoo");

  const AgentRoster roster = load();
  EXPECT_EQ(roster.size(), 0U);
  EXPECT_EQ(roster.coverage().rostersRead, 1);
  EXPECT_EQ(roster.coverage().entriesLoaded, 0);
}

TEST_F(AgentRosterTests, TheLastOfEqualKeysStays) {
  const auto member = [](const std::string& model) {
    return R"({"agentId": "a@session-s", "model": ")" + model + "\"}";
  };
  const auto modelOf = [&] { return load().entry(named("a"), "s")->model.value_or(""); };
  write("session-2", R"({"members": [)" + member("two, first") + "," + member("two, last") + "]}");
  EXPECT_EQ(modelOf(), "two, last");
  write("session-10", R"({"members": [)" + member("ten") + "]}");
  EXPECT_EQ(modelOf(), "two, last");  // "10" comes before "2"
  write("session-0", R"({"members": [)" + member("work") + "]}", ".claude-work");
  EXPECT_EQ(modelOf(), "work");

  const AgentRoster roster = load();
  EXPECT_EQ(roster.size(), 1U);
  EXPECT_EQ(roster.coverage().rostersRead, 3);
  EXPECT_EQ(roster.coverage().entriesLoaded, 4);
}

TEST_F(AgentRosterTests, CoverageCountsWhoWasSeenAndWhoWasFound) {
  write("session-1", R"({"members": [{"agentId": "known@session-12345678"}]})");
  AgentRoster roster = load();
  const InternedText session("12345678-abcd");
  const absl::flat_hash_map<AgentIdentity, InternedText> agents = {
      {named("known"), session},
      {named("stranger"), session},
      {AgentIdentity::anonymous(InternedText("a0123456789abcdef")), session},
      {AgentIdentity::main(), session},
  };
  roster.recordCoverage(agents);
  EXPECT_EQ(roster.coverage().namedAgentsSeen, 2);
  EXPECT_EQ(roster.coverage().namedAgentsMatched, 1);
  EXPECT_EQ(roster.coverage().anonymousAgentsSeen, 1);
  EXPECT_EQ(roster.coverage().matchFraction(), Estimate<double>(0.5));

  roster.recordCoverage(agents);
  EXPECT_EQ(roster.coverage().namedAgentsSeen, 4);
}

}  // namespace
}  // namespace tallyfin
