#pragma once

// From a few remembered letters to one agent, project or session of a report, or to a list to choose from.
// Nothing is ever guessed: when several match, or none, the answer says so. Letter case does not matter;
// characters are compared whole and in canonical form.

#include "TallyfinCore/Figures/Aggregation.hpp"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tallyfin {

/// What a lookup came to.
template <typename Key>
class Resolution {
 public:
  /// Exactly one key matched.
  static Resolution one(Key key) { return Resolution(std::move(key), {}); }
  /// Several matched: one printable line each, in display order.
  static Resolution many(std::vector<std::string> candidates) {
    return Resolution(std::nullopt, std::move(candidates));
  }
  /// Nothing matched.
  static Resolution none() { return Resolution(std::nullopt, {}); }

  /// The one key, or null. Lives as long as the resolution, like the candidates.
  const Key* key() const { return key_ ? &*key_ : nullptr; }
  /// The candidates when there are several, or null.
  const std::vector<std::string>* candidates() const { return candidates_.empty() ? nullptr : &candidates_; }

 private:
  Resolution(std::optional<Key> key, std::vector<std::string> candidates)
      : key_(std::move(key)), candidates_(std::move(candidates)) {}

  std::optional<Key> key_;
  std::vector<std::string> candidates_;  // without a key and without candidates: nothing matched
};

/// The main session for "main", "main session" or "main-session"; else the agent whose name or raw id equals
/// the text; else those whose name contains it or whose raw id begins with it. Several that equal the text
/// are listed in text order, others by cost.
Resolution<AgentIdentity> resolveAgent(const std::string& text, const Report& report);

/// The project whose label is the text, else those whose label contains it, by cost.
Resolution<InternedText> resolveProject(const std::string& text, const Report& report);

/// The session whose id is the text, else those whose id begins with it, by cost.
Resolution<InternedText> resolveSession(const std::string& text, const Report& report);

}  // namespace tallyfin
