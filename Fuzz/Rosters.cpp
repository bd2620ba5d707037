// Input: one or two roster files, separated by a NUL. Reads them with AgentRoster and with a simple
// implementation; both must accept the same files and members and find the same entries.

#include "Fuzz/MemoryFile.hpp"
#include "Fuzz/PlainJson.hpp"
#include "Fuzz/Target.hpp"
#include "Platform/Text.hpp"
#include "Support/TempHome.hpp"
#include "TallyfinCore/Attribution/AgentRoster.hpp"

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tallyfin::Fuzz {
namespace {

// A home with two roster files in memory.
struct RosterHome {
  TempHome home;
  MemoryFile first;
  MemoryFile second;
  std::vector<SourceHome> homes = {SourceHome(".claude", home.path())};

  RosterHome() {
    home.link(".claude/teams/session-a/config.json", first.path());
    home.link(".claude/teams/session-b/config.json", second.path());
    home.write(".claude/teams/others/config.json", R"({"members":[{"agentId":"x@y"}]})");
    home.makeDirectory(".claude/teams/session-c");
  }
};

struct PlainRoster {
  std::map<std::string, RosterEntry> entries;
  RosterCoverage coverage;
};

std::string keyOf(const std::string& name, std::string_view session) {
  return Text::canonical(name + "@" + std::string(session));
}

void readMember(const PlainValue& member, PlainRoster& roster) {
  const std::string id = member.textMember("agentId").value_or("");
  const std::size_t at = id.find('@');
  if (at == std::string::npos) return;
  const std::string name = id.substr(0, at);
  std::string session = id.substr(at + 1);
  if (session.rfind("session-", 0) == 0) session.erase(0, 8);
  if (name.empty() || session.empty()) return;
  roster.entries[keyOf(name, session)] = {.name = name,
                                          .agentType = member.textMember("agentType"),
                                          .model = member.textMember("model"),
                                          .cwd = member.textMember("cwd"),
                                          .sessionId = session};
  ++roster.coverage.entriesLoaded;
}

void readPlainly(std::string_view text, PlainRoster& roster) {
  const std::optional<PlainValue> document = readPlainJson(text).value;
  const PlainValue* const members = document ? document->member("members") : nullptr;
  if (members == nullptr || members->kind != PlainValue::Kind::array ||
      !std::ranges::all_of(members->elements, &PlainValue::isObject)) {
    return;
  }
  ++roster.coverage.rostersRead;
  for (const PlainValue& member : members->elements) readMember(member, roster);
}

void requireFound(const AgentRoster& roster, const PlainRoster& plain, const std::string& name,
                  const std::string& session) {
  const auto agent = AgentIdentity::named(InternedText(name), InternedText("a" + name));
  const RosterEntry* const found = roster.entry(agent, session);
  const auto expected = plain.entries.find(keyOf(name, Text::prefix(session, 8)));
  require((found == nullptr) == (expected == plain.entries.end()), "an entry is found or not");
  require(found == nullptr || *found == expected->second, "the same entry");
}

}  // namespace
}  // namespace tallyfin::Fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tallyfin;
  static const Fuzz::RosterHome home;
  const std::string_view input = Fuzz::textOf(data, size);
  const std::string_view first = input.substr(0, input.find('\0'));
  const std::string_view second = input.substr(std::min(first.size() + 1, input.size()));
  home.first.write(first);
  home.second.write(second);
  if (Fuzz::readPlainJson(first).isBeyond || Fuzz::readPlainJson(second).isBeyond) return 0;
  AgentRoster roster;
  roster.load(home.homes);

  Fuzz::PlainRoster plain;
  Fuzz::readPlainly(first, plain);
  Fuzz::readPlainly(second, plain);
  Fuzz::require(roster.size() == plain.entries.size(), "the same number of entries");
  Fuzz::require(roster.coverage().rostersRead == plain.coverage.rostersRead, "the same files count");
  Fuzz::require(roster.coverage().entriesLoaded == plain.coverage.entriesLoaded, "the same members count");
  for (const auto& [key, entry] : plain.entries) {
    Fuzz::requireFound(roster, plain, entry.name, entry.sessionId);
    Fuzz::requireFound(roster, plain, entry.name, entry.sessionId + "-0123456");
    Fuzz::requireFound(roster, plain, entry.name, "");
  }
  return 0;
}
