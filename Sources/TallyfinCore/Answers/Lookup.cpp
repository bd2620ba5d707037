#include "TallyfinCore/Answers/Lookup.hpp"

#include "Platform/Text.hpp"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>
#include <vector>

namespace tallyfin {
namespace {

constexpr std::size_t kMostCandidates = 25;

// A text in the form that lookups compare: lower case and canonical.
std::string folded(std::string_view text) {
  return Text::canonical(Text::lowercased(text));
}

std::string query(const std::string& text) {
  return folded(Text::trimmedBlanks(text));
}

std::string candidateLabel(InternedText key) {
  return std::string(key.text());
}

std::string candidateLabel(const AgentIdentity& agent) {
  return agent.labelWithId();
}

std::string candidateLabel(const AgentKind& kind) {
  return std::string(kind.label().text());
}

// Both texts must be folded. A part longer than the text cannot match. It is rejected first, because a query
// may be megabytes long and the search would process it again for each key.
bool contains(const std::string& text, const std::string& part) {
  return part.size() <= text.size() && Text::contains(text, part);
}

bool equals(const std::string& text, const std::string& other) {
  return text == other;
}

bool beginsWith(const std::string& text, const std::string& start) {
  return start.size() <= text.size() && Text::hasPrefix(text, start);
}

// The matching keys with their figures.
template <typename Key>
using Hits = std::vector<std::pair<Key, const Bucket*>>;

template <typename Key>
std::vector<Candidate> candidatesOf(const Hits<Key>& hits) {
  std::vector<Candidate> candidates;
  candidates.reserve(hits.size());
  for (const auto& [key, bucket] : hits) {
    candidates.push_back({candidateLabel(key), bucket->cost, bucket->requests, bucket->lastActivity});
  }
  std::ranges::stable_sort(candidates, [](const Candidate& left, const Candidate& right) {
    return Text::compare(left.label, right.label) < 0;
  });
  return candidates;
}

// Sorts the candidates by cost, highest first; equal costs keep their order. Keeps the first 25.
SeveralNames severalOf(NameKind kind, const std::string& text, std::vector<Candidate> candidates) {
  std::ranges::stable_sort(candidates, [](const Candidate& left, const Candidate& right) {
    return left.cost.priced > right.cost.priced;
  });
  candidates.resize(std::min(candidates.size(), kMostCandidates));
  return {kind, text, std::move(candidates)};
}

// The only key, or the candidates by cost, then by label.
template <typename Key>
Answered<Key> oneOf(const Hits<Key>& hits, NameKind kind, const std::string& text) {
  if (hits.empty()) {
    return NoSuchName{kind, text};
  }
  if (hits.size() == 1) {
    return hits.front().first;
  }
  return severalOf(kind, text, candidatesOf(hits));
}

bool meansMain(const std::string& wanted) {
  return wanted == "main" || wanted == "main session" || wanted == "main-session";
}

// The main session, if it has requests.
Answered<AgentIdentity> mainIn(const Report& report, const std::string& text) {
  const bool isThere = report.byAgent.find(AgentIdentity::main()) != nullptr;
  return isThere ? Answered<AgentIdentity>(AgentIdentity::main()) : NoSuchName{NameKind::agent, text};
}

template <typename Key>
Answered<AgentChoice> asChoice(const Answered<Key>& answer) {
  const Key* const key = std::get_if<Key>(&answer);
  return key != nullptr ? Answered<AgentChoice>(AgentChoice(*key)) : std::get<Refusal>(answer);
}

// The sums of each kind of sub-agents, as far as candidates need them.
BucketsBy<AgentKind> kindsIn(const Report& report, AgentKinds& kinds) {
  BucketsBy<AgentKind> byKind;
  for (const auto& [agent, bucket] : report.byAgent) {
    if (agent.isSubagent()) {
      Bucket& sum = byKind[kinds.of(agent)];
      sum.requests += bucket.requests;
      sum.cost += bucket.cost;
      sum.lastActivity = std::max(sum.lastActivity, bucket.lastActivity);
    }
  }
  return byKind;
}

// The keys that fit, with their figures.
template <typename Key, typename Fits>
Hits<Key> hitsIn(const BucketsBy<Key>& buckets, Fits&& fits) {
  Hits<Key> hits;
  for (const auto& [key, bucket] : buckets) {
    if (fits(key)) {
      hits.emplace_back(key, &bucket);
    }
  }
  return hits;
}

using Matches = bool (*)(const std::string& text, const std::string& part);

Answered<InternedText> resolveText(NameKind kind, const std::string& text,
                                   const BucketsBy<InternedText>& axis, Matches matches) {
  const std::string wanted = query(text);
  if (wanted.empty()) {
    return NoSuchName{kind, text};
  }
  Hits<InternedText> hits;
  for (const auto& [key, bucket] : axis) {
    const std::string known = folded(key.text());
    if (known == wanted) {
      return key;
    }
    if (matches(known, wanted)) {
      hits.emplace_back(key, &bucket);
    }
  }
  return oneOf(hits, kind, text);
}

}  // namespace

Answered<InternedText> resolveProject(const std::string& text, const Report& report) {
  return resolveText(NameKind::project, text, report.byProject, contains);
}

Answered<InternedText> resolveSession(const std::string& text, const Report& report) {
  return resolveText(NameKind::session, text, report.bySession, beginsWith);
}

Answered<AgentIdentity> resolveAgent(const std::string& text, const Report& report) {
  const std::string wanted = query(text);
  const NoSuchName none{NameKind::agent, text};
  if (wanted.empty()) {
    return none;
  }
  if (meansMain(wanted)) {
    return mainIn(report, text);
  }
  Hits<AgentIdentity> equal;
  Hits<AgentIdentity> similar;
  for (const auto& [agent, bucket] : report.byAgent) {
    if (!agent.isSubagent()) {
      continue;
    }
    const std::string name =
        folded(agent.name().text());  // an anonymous agent has an empty name, which matches nothing
    const std::string rawId = folded(agent.rawId().text());
    if (name == wanted || rawId == wanted) {
      equal.emplace_back(agent, &bucket);
    }
    if (contains(name, wanted) || beginsWith(rawId, wanted)) {
      similar.emplace_back(agent, &bucket);
    }
  }
  if (equal.size() > 1) {
    return SeveralNames{NameKind::agent, text, candidatesOf(equal), true};
  }
  return oneOf(equal.empty() ? similar : equal, NameKind::agent, text);
}

Answered<AgentChoice> resolveAgentOrKind(const std::string& text, const Report& report, AgentKinds& kinds) {
  const std::string wanted = query(text);
  if (wanted.empty()) {
    return NoSuchName{NameKind::agent, text};
  }
  if (meansMain(wanted)) {
    return asChoice(mainIn(report, text));
  }
  const auto agents = [&](Matches matches) {
    return hitsIn(report.byAgent, [&](const AgentIdentity& agent) {
      return agent.isSubagent() && matches(folded(agent.rawId().text()), wanted);
    });
  };
  if (const auto same = agents(equals); !same.empty()) {
    return asChoice(oneOf(same, NameKind::agent, text));
  }
  const BucketsBy<AgentKind> byKind = kindsIn(report, kinds);
  const auto equal = hitsIn(byKind, [&](const AgentKind& kind) {
    return folded(kind.label().text()) == wanted || folded(kind.key().text()) == wanted;
  });
  const InternedText spelled(Text::trimmedBlanks(text));
  const auto exact = hitsIn(byKind, [&](const AgentKind& kind) { return kind.key() == spelled; });
  if (!equal.empty()) {
    return asChoice(oneOf(exact.size() == 1 ? exact : equal, NameKind::agent, text));
  }
  const auto begun = agents(beginsWith);
  const auto similar =
      hitsIn(byKind, [&](const AgentKind& kind) { return contains(folded(kind.label().text()), wanted); });
  if (begun.size() < 2) {
    return begun.empty() ? asChoice(oneOf(similar, NameKind::agent, text))
                         : asChoice(oneOf(begun, NameKind::agent, text));
  }
  std::vector<Candidate> candidates = candidatesOf(similar);
  std::ranges::move(candidatesOf(begun), std::back_inserter(candidates));
  return severalOf(NameKind::agent, text, std::move(candidates));
}

}  // namespace tallyfin
