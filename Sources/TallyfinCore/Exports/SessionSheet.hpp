#pragma once

#include "TallyfinCore/Answers/Sessions.hpp"
#include "TallyfinCore/Exports/Sheet.hpp"

namespace tallyfin {

/// The sessions of an answer, one row each, in its order: the columns of the session axis, and what people
/// recognize a session by. The sheet has no range, filters and notes yet. Refers to the answer, which must
/// outlive it.
Sheet sessionSheet(const Answers::Sessions& sessions, const Calendar& calendar);

}  // namespace tallyfin
