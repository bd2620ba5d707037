#include "TallyfinCore/AgentRoster.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Files.hpp"
#include "Platform/Json.hpp"
#include "Platform/Text.hpp"

#include <algorithm>
#include <compare>
#include <utility>
#include <vector>

namespace tallyfin {

namespace {

constexpr std::string_view kSessionPrefix = "session-";
constexpr std::size_t kShortSession = 8;  // characters of a session id that a roster knows
constexpr std::uint64_t kLargestRoster = std::uint64_t{64} << 20;  // real ones have a few kilobytes

std::string key(std::string_view name, std::string_view shortSession) {
  return Text::canonical(concat(name, "@", shortSession));
}

std::optional<std::string> textMember(const JsonValue& object, std::string_view name) {
  const JsonValue* value = object.member(name);
  const std::string* found = value != nullptr ? value->string() : nullptr;
  return found != nullptr ? std::optional(*found) : std::nullopt;
}

/// The members of a roster document; null when it has no list of objects under that name.
const JsonValue::Array* membersOf(const JsonValue& document) {
  const JsonValue* value = document.member("members");
  const JsonValue::Array* members = value != nullptr ? value->array() : nullptr;
  const auto isObject = [](const JsonValue& member) { return member.object() != nullptr; };
  return members != nullptr && std::all_of(members->begin(), members->end(), isObject) ? members : nullptr;
}

/// A member by its `agentId`: name, "@" and session, with or without "session-". Absent without one of them.
std::optional<RosterEntry> entryOf(const JsonValue& member) {
  const JsonValue* id = member.member("agentId");
  if (id == nullptr || id->string() == nullptr) {
    return std::nullopt;
  }
  const std::string_view agentId = *id->string();
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
                     .agentType = textMember(member, "agentType"),
                     .model = textMember(member, "model"),
                     .cwd = textMember(member, "cwd"),
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
    // The order decides which of two entries with one key stays.
    std::sort(names.begin(), names.end(), [](const std::string& left, const std::string& right) {
      const std::strong_ordering order = Text::compare(left, right);
      return std::is_eq(order) ? left < right : std::is_lt(order);
    });
    for (const std::string& name : names) {
      loadFile(concat(home.teamsPath, "/", name, "/config.json"));
    }
  }
}

void AgentRoster::loadFile(const std::string& path) {
  const std::optional<Buffer> content = Files::contents(path, kLargestRoster);
  const std::optional<JsonValue> document = content ? JsonValue::parse(content->bytes()) : std::nullopt;
  const JsonValue::Array* members = document ? membersOf(*document) : nullptr;
  if (members == nullptr) {
    return;
  }
  ++coverage_.rostersRead;
  for (const JsonValue& member : *members) {
    if (std::optional<RosterEntry> entry = entryOf(member)) {
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
