#pragma once

// Finds the agent, project or session that a few letters identify, or lists the candidates. Never guesses.
// Ignores letter case; compares whole characters in canonical form.

#include "TallyfinCore/Answers/Refusal.hpp"
#include "TallyfinCore/Figures/Report.hpp"

#include <string>

namespace tallyfin {

/// The main session for "main", "main session" or "main-session"; otherwise the agent whose name or raw id
/// equals the text; otherwise the one whose name contains it or whose raw id starts with it.
Answered<AgentIdentity> resolveAgent(const std::string& text, const Report& report);

/// The project whose label equals the text, otherwise the one whose label contains it.
Answered<InternedText> resolveProject(const std::string& text, const Report& report);

/// The session whose id equals the text, otherwise the one whose id starts with it.
Answered<InternedText> resolveSession(const std::string& text, const Report& report);

}  // namespace tallyfin
