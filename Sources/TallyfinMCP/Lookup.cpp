#include "TallyfinMCP/Lookup.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Text.hpp"
#include "TallyfinCore/Figures/CostText.hpp"
#include "TallyfinMCP/Render.hpp"

#include <algorithm>
#include <utility>

namespace tallyfin {
namespace {

constexpr std::size_t kMostCandidates = 25;

// A text as lookups compare it: in lower case and canonical form.
std::string folded(std::string_view text) {
  return Text::canonical(Text::lowercased(text));
}

std::string query(const std::string& text) {
  return folded(Text::trimmedBlanks(text));
}

std::string labelOf(InternedText key) {
  return std::string(key.text());
}

std::string labelOf(const AgentIdentity& agent) {
  return R::agent(agent);
}

void sortAsText(std::vector<std::string>& texts) {
  std::stable_sort(texts.begin(), texts.end(), [](const std::string& left, const std::string& right) {
    return Text::compare(left, right) < 0;
  });
}

// Both texts are folded. A part longer than the text cannot match and is ruled out first: a query may hold
// megabytes, which would be prepared for the search with each key anew.
bool contains(const std::string& text, const std::string& part) {
  return part.size() <= text.size() && Text::contains(text, part);
}

bool beginsWith(const std::string& text, const std::string& start) {
  return start.size() <= text.size() && Text::hasPrefix(text, start);
}

// Candidate lines, highest cost first, then by label.
template <typename Key>
std::vector<std::string> ranked(const std::vector<std::pair<Key, const Bucket*>>& hits) {
  struct Candidate {
    std::string label;
    const Bucket* bucket = nullptr;
  };
  std::vector<Candidate> candidates;
  candidates.reserve(hits.size());
  for (const auto& [key, bucket] : hits) {
    candidates.push_back({labelOf(key), bucket});
  }
  std::stable_sort(candidates.begin(), candidates.end(), [](const Candidate& left, const Candidate& right) {
    const double leftCost = left.bucket->cost.priced;
    const double rightCost = right.bucket->cost.priced;
    return leftCost != rightCost ? leftCost > rightCost : Text::compare(left.label, right.label) < 0;
  });
  std::vector<std::string> lines;
  lines.reserve(std::min(candidates.size(), kMostCandidates));
  for (const Candidate& candidate : candidates) {
    if (lines.size() == kMostCandidates) {
      break;
    }
    lines.push_back(concat(candidate.label, " — ", costInAnswer(*candidate.bucket)));
  }
  return lines;
}

template <typename Key>
Resolution<Key> fromHits(const std::vector<std::pair<Key, const Bucket*>>& hits) {
  if (hits.empty()) {
    return Resolution<Key>::none();
  }
  return hits.size() == 1 ? Resolution<Key>::one(hits.front().first) : Resolution<Key>::many(ranked(hits));
}

using Matches = bool (*)(const std::string& text, const std::string& part);

Resolution<InternedText> resolveText(const std::string& text, const BucketsBy<InternedText>& axis,
                                     Matches matches) {
  const std::string wanted = query(text);
  if (wanted.empty()) {
    return Resolution<InternedText>::none();
  }
  std::vector<std::pair<InternedText, const Bucket*>> hits;
  for (const auto& [key, bucket] : axis) {
    const std::string known = folded(key.text());
    if (known == wanted) {
      return Resolution<InternedText>::one(key);
    }
    if (matches(known, wanted)) {
      hits.emplace_back(key, &bucket);
    }
  }
  return fromHits(hits);
}

}  // namespace

Resolution<InternedText> resolveProject(const std::string& text, const Report& report) {
  return resolveText(text, report.byProject, contains);
}

Resolution<InternedText> resolveSession(const std::string& text, const Report& report) {
  return resolveText(text, report.bySession, beginsWith);
}

Resolution<AgentIdentity> resolveAgent(const std::string& text, const Report& report) {
  using Result = Resolution<AgentIdentity>;
  const std::string wanted = query(text);
  if (wanted.empty()) {
    return Result::none();
  }
  if (wanted == "main" || wanted == "main session" || wanted == "main-session") {
    return report.byAgent.find(AgentIdentity::main()) != nullptr ? Result::one(AgentIdentity::main())
                                                                 : Result::none();
  }
  std::vector<AgentIdentity> exact;
  std::vector<std::pair<AgentIdentity, const Bucket*>> hits;
  for (const auto& [agent, bucket] : report.byAgent) {
    if (!agent.isSubagent()) {
      continue;
    }
    const std::string name =
        folded(agent.name().text());  // empty for an anonymous agent, which matches nothing
    const std::string rawId = folded(agent.rawId().text());
    if (name == wanted || rawId == wanted) {
      exact.push_back(agent);
    }
    if (contains(name, wanted) || beginsWith(rawId, wanted)) {
      hits.emplace_back(agent, &bucket);
    }
  }
  if (exact.size() == 1) {
    return Result::one(exact.front());
  }
  if (exact.size() > 1) {
    std::vector<std::string> labels;
    labels.reserve(exact.size());
    for (const AgentIdentity& agent : exact) {
      labels.push_back(R::agent(agent));
    }
    sortAsText(labels);
    return Result::many(std::move(labels));
  }
  return fromHits(hits);
}

}  // namespace tallyfin
