#pragma once

// From a few remembered letters to one agent, project or session of a report, or to the candidates. Nothing
// is ever guessed. Letter case does not matter; characters are compared whole and in canonical form.

#include "TallyfinCore/Answers/Refusal.hpp"
#include "TallyfinCore/Figures/Report.hpp"

#include <string>

namespace tallyfin {

/// The main session for "main", "main session" or "main-session"; else the agent whose name or raw id equals
/// the text; else the one whose name contains it or whose raw id begins with it.
Answered<AgentIdentity> resolveAgent(const std::string& text, const Report& report);

/// The project whose label is the text, else the one whose label contains it.
Answered<InternedText> resolveProject(const std::string& text, const Report& report);

/// The session whose id is the text, else the one whose id begins with it.
Answered<InternedText> resolveSession(const std::string& text, const Report& report);

}  // namespace tallyfin
