#pragma once

// Numbers, times, identities and buckets as text, in the same form for every tool. Values that cannot be
// computed print "unknown" and the reason, never 0. Nothing depends on the locale.

#include "Platform/Calendar.hpp"
#include "TallyfinCore/Estimate.hpp"
#include "TallyfinCore/Figures/Money.hpp"
#include "TallyfinCore/Figures/Report.hpp"
#include "TallyfinCore/Transcripts/Records.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tallyfin::R {

/// 62 times "─": the line under every title.
extern const std::string rule;

/// "1 request", "1,204 requests".
std::string requests(std::int64_t n);

/// A token count, shortened: "999", "1.2k", "2.35M", "1.50G".
inline std::string tokens(std::int64_t n) {
  return shortened(n);
}

/// yyyy-MM-dd HH:mm, or "unknown".
std::string stamp(std::optional<TimePoint> time, const Calendar& calendar);

/// First and last activity of a bucket, or "unknown" if either is missing.
std::string span(const Bucket& bucket, const Calendar& calendar);

/// An estimated cost; `suffix` ("/h" or empty) goes between amount and caveat.
std::string costEst(const Estimate<CostEstimate>& estimate, std::string_view suffix);

/// A fraction from 0 to 1 as a percentage.
std::string fractionEst(const Estimate<double>& estimate);

/// A percentage with its sign: "+12.3%".
std::string signedPercent(const Estimate<double>& estimate);

/// The models of a bucket, most used first: "claude-opus-5×1,204 claude-haiku-4-5×7". Absent if there are
/// none.
std::optional<std::string> models(const Bucket& bucket);

/// One line of a ranking, without line feed. The label is fitted to `width` characters.
std::string bucketLine(std::string_view label, const Bucket& bucket, std::size_t width);

/// An agent with its id: "reviewer  [areviewer-0123456789abcdef]".
inline std::string agent(const AgentIdentity& identity) {
  return identity.labelWithId();
}

/// An agent in a list: its name, "anon:" and the first 9 characters of its id, or "(main session)".
std::string shortAgent(const AgentIdentity& identity);

}  // namespace tallyfin::R
