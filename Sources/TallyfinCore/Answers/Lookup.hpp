#pragma once

// Finds the agent, project or session that a few letters identify, or lists the candidates. Never guesses.
// Ignores letter case; compares whole characters in canonical form.

#include "TallyfinCore/Answers/Refusal.hpp"
#include "TallyfinCore/Figures/Report.hpp"

#include <string>
#include <variant>

namespace tallyfin {

/// The main session for "main", "main session" or "main-session"; otherwise the agent whose name or raw id
/// equals the text; otherwise the one whose name contains it or whose raw id starts with it.
Answered<AgentIdentity> resolveAgent(const std::string& text, const Report& report);

/// One agent, or all agents of a kind.
using AgentChoice = std::variant<AgentIdentity, AgentKind>;

/// In this order: the main session for the same words; the agent whose raw id equals the text; the kind whose
/// label or key equals it; the agent whose raw id starts with it; the kind whose label contains it. Of kinds
/// that differ only in letter case, chooses the one spelled like the text. Reads the sidecars of the report's
/// agents unless one of the first two fits.
Answered<AgentChoice> resolveAgentOrKind(const std::string& text, const Report& report, AgentKinds& kinds);

/// The project whose label equals the text, otherwise the one whose label contains it.
Answered<InternedText> resolveProject(const std::string& text, const Report& report);

/// The session whose id equals the text, otherwise the one whose id starts with it.
Answered<InternedText> resolveSession(const std::string& text, const Report& report);

}  // namespace tallyfin
