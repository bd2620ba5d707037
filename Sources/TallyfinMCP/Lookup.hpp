#pragma once

// From a few remembered letters to one agent, project or session of a report, or to a list to choose from.
// Nothing is ever guessed: anything but one match is told back. Letter case does not matter; characters are
// compared whole and in canonical form.

#include "TallyfinCore/Aggregation.hpp"

#include <string>
#include <variant>
#include <vector>

namespace tallyfin {

/// What a lookup came to.
template <typename Key>
class Resolution {
 public:
  /// Exactly one key matched.
  static Resolution one(Key key) { return Resolution(std::move(key)); }
  /// Several matched: one printable line each, in display order.
  static Resolution many(std::vector<std::string> candidates) { return Resolution(std::move(candidates)); }
  /// Nothing matched.
  static Resolution none() { return Resolution(std::monostate()); }

  /// The one key, or null. Lives as long as the resolution, like the candidates.
  const Key* key() const { return std::get_if<Key>(&result_); }
  const std::vector<std::string>* candidates() const {
    return std::get_if<std::vector<std::string>>(&result_);
  }

 private:
  using Result = std::variant<std::monostate, Key, std::vector<std::string>>;

  explicit Resolution(Result result) : result_(std::move(result)) {}

  Result result_;
};

/// "main", "main session" or "main-session"; else the one whose name or raw id is the text; else those whose
/// name contains it or whose raw id begins with it. Several of one name are listed by label, fragments by
/// cost.
Resolution<AgentIdentity> resolveAgent(const std::string& text, const Report& report);

/// The project whose label is the text, else those whose label contains it, by cost.
Resolution<InternedText> resolveProject(const std::string& text, const Report& report);

/// The session whose id is the text, else those whose id begins with it, by cost.
Resolution<InternedText> resolveSession(const std::string& text, const Report& report);

}  // namespace tallyfin
