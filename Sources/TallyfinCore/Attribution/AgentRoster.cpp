#include "TallyfinCore/Attribution/AgentRoster.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Files.hpp"
#include "Platform/Json.hpp"
#include "Platform/Text.hpp"

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace tallyfin {

namespace {

constexpr std::string_view kSessionPrefix = "session-";
constexpr std::size_t kShortSession = 8;  // a roster contains only this many characters of a session id
constexpr std::uint64_t kLargestRoster = std::uint64_t{64} << 20;  // bytes; real rosters have a few kilobytes

std::string key(std::string_view name, std::string_view shortSession) {
  return Text::canonical(concat(name, "@", shortSession));
}

// The fields of a roster member that are used. Members are read one at a time, so that a hostile file needs
// little more memory than its size.
struct Member {
  std::optional<std::string> agentId;
  std::optional<std::string> agentType;
  std::optional<std::string> model;
  std::optional<std::string> cwd;
};

// Consumes a list of objects; absent if it is anything else.
std::optional<std::vector<Member>> readMembers(JsonReader& reader) {
  if (reader.peek() != JsonReader::Kind::array) {
    reader.skipValue();
    return std::nullopt;
  }
  std::vector<Member> members;
  bool areObjects = true;
  for (reader.beginArray(); reader.nextElement();) {
    Member member;
    areObjects = reader.readObject([&](std::string_view key) {
      if (key == "agentId") {
        member.agentId = reader.optionalText();
      } else if (key == "agentType") {
        member.agentType = reader.optionalText();
      } else if (key == "model") {
        member.model = reader.optionalText();
      } else if (key == "cwd") {
        member.cwd = reader.optionalText();
      } else {
        reader.skipValue();
      }
    }) && areObjects;
    if (member.agentId) {
      members.push_back(std::move(member));
    }
  }
  return areObjects ? std::optional(std::move(members)) : std::nullopt;
}

// The members of a roster document that have an `agentId`; absent if the document is not a roster.
std::optional<std::vector<Member>> membersOf(std::string_view document) {
  JsonReader reader(document);
  std::optional<std::vector<Member>> members;
  reader.readObject([&](std::string_view key) {
    if (key == "members") {
      members = readMembers(reader);
    } else {
      reader.skipValue();
    }
  });
  return reader.finish() ? std::move(members) : std::nullopt;
}

// Parses `agentId`: name, "@" and session, which may begin with "session-". Absent if a part is missing.
std::optional<RosterEntry> entryOf(Member&& member) {
  const std::string_view agentId = *member.agentId;
  const std::size_t at = agentId.find('@');
  if (at == std::string_view::npos) {
    return std::nullopt;
  }
  std::string_view session = agentId.substr(at + 1);
  if (session.starts_with(kSessionPrefix)) {
    session.remove_prefix(kSessionPrefix.size());
  }
  if (at == 0 || session.empty()) {
    return std::nullopt;
  }
  return RosterEntry{.name = std::string(agentId.substr(0, at)),
                     .agentType = std::move(member.agentType),
                     .model = std::move(member.model),
                     .cwd = std::move(member.cwd),
                     .sessionId = std::string(session)};
}

}  // namespace

Estimate<double> RosterCoverage::matchFraction() const {
  if (namedAgentsSeen < 1) {
    return UnknownReason::noData();
  }
  return static_cast<double>(namedAgentsMatched) / static_cast<double>(namedAgentsSeen);
}

void AgentRoster::load(const std::vector<SourceHome>& homes) {
  for (const SourceHome& home : homes) {
    std::vector<std::string> names = Files::entryNames(home.teamsPath).value_or(std::vector<std::string>{});
    std::erase_if(names, [](const std::string& name) { return !name.starts_with(kSessionPrefix); });
    // Of two entries with the same key, the later one in this order is kept.
    std::sort(names.begin(), names.end(), Text::isBefore);
    for (const std::string& name : names) {
      loadFile(concat(home.teamsPath, "/", name, "/config.json"));
    }
  }
}

void AgentRoster::loadFile(const std::string& path) {
  const std::optional<Buffer> content = Files::contents(path, kLargestRoster);
  std::optional<std::vector<Member>> members = content ? membersOf(content->bytes()) : std::nullopt;
  if (!members) {
    return;
  }
  ++coverage_.rostersRead;
  for (Member& member : *members) {
    if (std::optional<RosterEntry> entry = entryOf(std::move(member))) {
      std::string entryKey = key(entry->name, entry->sessionId);
      entries_.insert_or_assign(std::move(entryKey), std::move(*entry));
      ++coverage_.entriesLoaded;
    }
  }
}

const RosterEntry* AgentRoster::entry(const AgentIdentity& agent, std::string_view sessionId) const {
  if (agent.kind() != AgentIdentity::Kind::named) {
    return nullptr;
  }
  const auto found = entries_.find(key(agent.name().text(), Text::prefix(sessionId, kShortSession)));
  return found != entries_.end() ? &found->second : nullptr;
}

void AgentRoster::recordCoverage(const absl::flat_hash_map<AgentIdentity, InternedText>& agents) {
  for (const auto& [agent, session] : agents) {
    switch (agent.kind()) {
      case AgentIdentity::Kind::named:
        ++coverage_.namedAgentsSeen;
        if (entry(agent, session.text()) != nullptr) {
          ++coverage_.namedAgentsMatched;
        }
        break;
      case AgentIdentity::Kind::anonymous:
        ++coverage_.anonymousAgentsSeen;
        break;
      case AgentIdentity::Kind::main:
        break;
    }
  }
}

}  // namespace tallyfin
