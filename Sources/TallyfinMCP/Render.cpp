#include "TallyfinMCP/Render.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Numbers.hpp"
#include "Platform/Text.hpp"
#include "TallyfinCore/Figures/CostText.hpp"
#include "absl/strings/str_format.h"
#include "absl/strings/str_join.h"

namespace tallyfin::R {
namespace {

constexpr std::string_view separator = "  ·  ";

template <typename T>
std::string unknown(const Estimate<T>& estimate) {
  return concat(UnknownReason::placeholder, " — ", estimate.reason()->text());
}

}  // namespace

const std::string rule = [] {
  std::string line;
  for (int i = 0; i < 62; ++i) {
    line += "─";
  }
  return line;
}();

std::string requests(std::int64_t n) {
  return counted(n, "request", "requests");
}

std::string tokens(std::int64_t n) {
  const auto value = static_cast<double>(n);
  if (n >= 1'000'000'000) {
    return absl::StrFormat("%.2fG", value / 1e9);
  }
  if (n >= 1'000'000) {
    return absl::StrFormat("%.2fM", value / 1e6);
  }
  if (n >= 1'000) {
    return absl::StrFormat("%.1fk", value / 1000);
  }
  return std::to_string(n);
}

std::string percent(double value) {
  return decimal(value, 1) + "%";
}

std::string stamp(std::optional<TimePoint> time, const Calendar& calendar) {
  return time ? calendar.formatMinute(*time) : UnknownReason::placeholder;
}

std::string span(const Bucket& bucket, const Calendar& calendar) {
  if (!bucket.firstActivity || !bucket.lastActivity) {
    return UnknownReason::placeholder;
  }
  return concat(stamp(bucket.firstActivity, calendar), " → ", stamp(bucket.lastActivity, calendar));
}

std::string costEst(const Estimate<CostEstimate>& estimate, std::string_view suffix) {
  const CostEstimate* known = estimate.value();
  return known != nullptr ? known->formattedWithCaveat(suffix) : unknown(estimate);
}

std::string fractionEst(const Estimate<double>& estimate) {
  const double* known = estimate.value();
  return known != nullptr ? percent(*known * 100) : unknown(estimate);
}

std::string signedPercent(const Estimate<double>& estimate) {
  const double* known = estimate.value();
  return known != nullptr ? concat(*known >= 0.0 ? "+" : "", percent(*known)) : unknown(estimate);
}

std::optional<std::string> models(const Bucket& bucket) {
  if (bucket.modelCounts.empty()) {
    return std::nullopt;
  }
  return absl::StrJoin(bucket.modelsByUse(), " ", [](std::string* out, const auto& entry) {
    append(*out, entry.first.text(), "×", grouped(entry.second));
  });
}

std::string bucketLine(std::string_view label, const Bucket& bucket, std::size_t width) {
  std::string line = concat("  ", Text::fitted(label, width), "  ", costInAnswer(bucket), separator,
                            requests(bucket.requests), separator, tokens(bucket.totalTokens()), " tokens");
  if (const std::optional<std::string> used = models(bucket)) {
    append(line, separator, *used);
  }
  return line;
}

std::optional<std::string> unpricedNote(const Bucket& bucket) {
  if (bucket.cost.unpricedRequests < 1) {
    return std::nullopt;
  }
  return concat("WARNING: ", requests(bucket.cost.unpricedRequests), " with no known price (",
                bucket.cost.unpricedNames(", "), ") are not included — the figures above are lower bounds.");
}

std::optional<std::string> ownPricesNote(const CostEstimate& cost) {
  const std::optional<std::string> models = cost.ownPriced();
  return models ? std::optional(concat("NOTE: own prices for ", *models, " were used.")) : std::nullopt;
}

std::optional<std::string> assumedNote(const Bucket& bucket) {
  if (bucket.cacheWriteAssumedRequests < 1) {
    return std::nullopt;
  }
  return concat("NOTE: for ", requests(bucket.cacheWriteAssumedRequests),
                " the cache_creation breakdown was missing or did not add up; 5m was assumed "
                "(multiplier 1.25 instead of 2.00).");
}

std::string agent(const AgentIdentity& identity) {
  switch (identity.kind()) {
    case AgentIdentity::Kind::named:
      return concat(identity.name().text(), "  [", identity.rawId().text(), "]");
    case AgentIdentity::Kind::anonymous:
      return concat("anonymous agent  [", identity.rawId().text(), "]");
    case AgentIdentity::Kind::main:
      break;
  }
  return "main session (no agentId)";
}

std::string shortAgent(const AgentIdentity& identity) {
  switch (identity.kind()) {
    case AgentIdentity::Kind::named:
      return std::string(identity.name().text());
    case AgentIdentity::Kind::anonymous:
      return concat("anon:", Text::prefix(identity.rawId().text(), 9));
    case AgentIdentity::Kind::main:
      break;
  }
  return "(main session)";
}

}  // namespace tallyfin::R
