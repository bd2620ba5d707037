#pragma once

// Figures that may be unknown. A figure that cannot be computed is "unknown" with a reason, never 0, because
// 0 is a known figure.

#include "Platform/InternedText.hpp"
#include "absl/container/btree_set.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace tallyfin {

/// Why a figure is unknown.
class UnknownReason {
 public:
  enum class Kind : std::uint8_t {
    noPriceForModel,
    notMetered,
    unreadableSource,
    noData,
    noRecentActivity,
    periodIncomplete
  };

  /// Printed in place of a number that is unknown.
  static constexpr const char* placeholder = "unknown";

  static UnknownReason noPriceForModel(InternedText model) { return {Kind::noPriceForModel, model}; }
  static UnknownReason notMetered(InternedText what) { return {Kind::notMetered, what}; }
  static UnknownReason unreadableSource(InternedText source) { return {Kind::unreadableSource, source}; }
  static UnknownReason noData() { return {Kind::noData, {}}; }
  static UnknownReason noRecentActivity() { return {Kind::noRecentActivity, {}}; }
  static UnknownReason periodIncomplete() { return {Kind::periodIncomplete, {}}; }

  Kind kind() const { return kind_; }

  /// The model, what is not metered, or the source, depending on the kind; empty for the other kinds.
  InternedText subject() const { return subject_; }

  /// The reason in words.
  std::string text() const;

  friend bool operator==(const UnknownReason&, const UnknownReason&) = default;

 private:
  UnknownReason(Kind kind, InternedText subject) : subject_(subject), kind_(kind) {}

  InternedText subject_;
  Kind kind_;
};

/// A figure, or the reason why it is unknown.
template <typename T>
class Estimate {
 public:
  Estimate(T value) : state_(std::move(value)) {}
  Estimate(UnknownReason reason) : state_(reason) {}

  bool isKnown() const { return state_.index() == 0; }

  /// The figure, or null if it is unknown. Valid while the estimate exists.
  const T* value() const { return std::get_if<T>(&state_); }

  /// The reason, or null if the figure is known. Valid while the estimate exists.
  const UnknownReason* reason() const { return std::get_if<UnknownReason>(&state_); }

  /// Applies `change` to the figure. An unknown figure stays unknown with the same reason.
  template <typename F>
  auto map(F&& change) const -> Estimate<decltype(change(std::declval<const T&>()))> {
    if (const T* known = value()) {
      return std::forward<F>(change)(*known);
    }
    return *reason();
  }

  friend bool operator==(const Estimate&, const Estimate&) = default;

 private:
  std::variant<T, UnknownReason> state_;
};

/// The cost of one request in US dollars, and whether it was computed with an own price (PriceList).
struct RequestCost : Estimate<double> {
  RequestCost(const Estimate<double>& dollars, bool isOwnPrice = false)
      : Estimate<double>(dollars), isOwnPriced(isOwnPrice) {}
  RequestCost(double dollars) : Estimate<double>(dollars) {}
  RequestCost(UnknownReason reason) : Estimate<double>(reason) {}

  bool isOwnPriced = false;
};

/// Models in text order. An empty set allocates nothing, which matters because a report may have millions of
/// them.
using ModelSet = absl::btree_set<InternedText>;

/// Means that a text names all models.
inline constexpr std::size_t allNames = std::numeric_limits<std::size_t>::max();

/// A sum of costs that also counts the requests without a price. If there are any, `priced` is a lower bound.
struct CostEstimate {
  double priced = 0;                  ///< US dollars of all requests with a price
  std::int64_t unpricedRequests = 0;  ///< requests without a price, not included in `priced`
  ModelSet unpricedModels;            ///< the models of those requests
  ModelSet ownPricedModels = {};      ///< models that were priced with own prices

  bool isComplete() const { return unpricedRequests == 0; }

  /// There were requests, but none had a price, so the sum is unknown rather than 0. A sum with own prices is
  /// known even if it is 0, because own prices may be 0.
  bool isUnknown() const { return priced == 0.0 && unpricedRequests >= 1 && ownPricedModels.empty(); }

  /// Adds one request: its cost, or one more request without a price.
  void add(const Estimate<double>& requestCost) {
    if (const double* dollars = requestCost.value()) {
      priced += *dollars;
    } else {
      noteUnpriced(*requestCost.reason(), 1);
    }
  }

  /// Adds `requests` requests that have no price for this reason.
  void noteUnpriced(const UnknownReason& reason, std::int64_t requests);

  /// Records that a request of this model was priced with an own price.
  void noteOwnPrice(InternedText model);

  CostEstimate& operator+=(const CostEstimate& other);
  friend CostEstimate operator+(CostEstimate left, const CostEstimate& right) { return left += right; }

  /// A copy whose dollars are multiplied by `factor`. The requests and models without a price are kept.
  CostEstimate scaled(double factor) const;

  /// The amount as formatted by `money`, preceded by "≥ " if requests without a price are left out.
  std::string formatted() const;

  // Texts that name models name the first `mostNames` in text order and count the rest: "a, b and 17 more".

  /// What the sum leaves out, in words; absent if it is complete.
  std::optional<std::string> caveat(std::size_t mostNames = allNames) const;

  /// `formatted`, then `unit` (such as "/h"), then the caveat in brackets, if there is one.
  std::string formattedWithCaveat(std::string_view unit = {}, std::size_t mostNames = allNames) const;

  /// Names of the models without a price, in text order.
  std::string unpricedNames(std::string_view separator, std::size_t mostNames = allNames) const;

  /// "2 models (local-coder, nova-1)": the models priced with own prices; absent if there are none.
  std::optional<std::string> ownPriced(std::size_t mostNames = allNames) const;

  /// A dollar amount with two decimals and commas between thousands. Amounts below one cent have four
  /// decimals, so that they do not look like zero. A minus is printed after the dollar sign. Ties round to
  /// the even digit of the exact binary value, as in printf; -0.0 becomes 0.
  static std::string money(double amount);

  /// The median of the dollars; for an even number, the mean of the two middle ones. The result counts the
  /// requests without a price of all estimates and names all their models. `estimates` must not be empty.
  static CostEstimate median(const std::vector<CostEstimate>& estimates);

  friend bool operator==(const CostEstimate&, const CostEstimate&) = default;
};

}  // namespace tallyfin
