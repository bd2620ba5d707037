#include "TallyfinMCP/Render.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Numbers.hpp"
#include "Platform/Text.hpp"
#include "absl/strings/str_format.h"
#include "absl/strings/str_join.h"

namespace tallyfin::R {
namespace {

constexpr std::string_view kSeparator = "  ·  ";

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
  std::string line = concat("  ", Text::fitted(label, width), "  ", costInAnswer(bucket), kSeparator,
                            requests(bucket.requests), kSeparator, tokens(bucket.totalTokens()), " tokens");
  if (const std::optional<std::string> used = models(bucket)) {
    append(line, kSeparator, *used);
  }
  return line;
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
