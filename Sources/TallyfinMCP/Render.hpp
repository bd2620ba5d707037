#pragma once

// Numbers, times, identities and buckets as text, the same in every tool. What cannot be computed says
// "unknown" and why; it never prints 0. Nothing here follows the locale.

#include "Platform/Calendar.hpp"
#include "TallyfinCore/Estimate.hpp"
#include "TallyfinCore/Figures/Report.hpp"
#include "TallyfinCore/Transcripts/Records.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tallyfin::R {

/// 62 times "─", the line under every title.
extern const std::string rule;

/// "1 request", "1,204 requests".
std::string requests(std::int64_t n);

/// Shortened: "999", "1.2k", "2.35M", "1.50G".
std::string tokens(std::int64_t n);

/// One decimal and a percent sign, of a value from 0 to 100: "12.3%".
std::string percent(double value);

/// yyyy-MM-dd HH:mm, or "unknown".
std::string stamp(std::optional<TimePoint> time, const Calendar& calendar);

/// First to last activity of a bucket, or "unknown" when one is missing.
std::string span(const Bucket& bucket, const Calendar& calendar);

/// An estimated cost; `suffix` ("/h" or nothing) stands between amount and caveat.
std::string costEst(const Estimate<CostEstimate>& estimate, std::string_view suffix);

/// A fraction from 0 to 1 as a percentage.
std::string fractionEst(const Estimate<double>& estimate);

/// A percentage with its sign: "+12.3%".
std::string signedPercent(const Estimate<double>& estimate);

/// The models of a bucket, most used first: "claude-opus-5×1,204 claude-haiku-4-5×7". Absent without any.
std::optional<std::string> models(const Bucket& bucket);

/// One line of a ranked list, without its line feed; the label is fitted to `width` characters.
std::string bucketLine(std::string_view label, const Bucket& bucket, std::size_t width);

/// The warning that the figures are lower bounds; absent when every request has a price.
std::optional<std::string> unpricedNote(const Bucket& bucket);

/// The note on models that own prices priced; absent when there are none.
std::optional<std::string> ownPricesNote(const CostEstimate& cost);
/// The note on requests whose split between the caches was assumed; absent when there are none.
std::optional<std::string> assumedNote(const Bucket& bucket);

/// An agent with its id: "reviewer  [areviewer-0123456789abcdef]".
std::string agent(const AgentIdentity& identity);

/// An agent in a list: its name, "anon:" and the first 9 characters of its id, or "(main session)".
std::string shortAgent(const AgentIdentity& identity);

}  // namespace tallyfin::R
