#pragma once

// The one rule about numbers: what cannot be computed is "unknown" with a reason, never 0. A known 0 is a
// different thing.

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

/// Why there is no figure.
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

  /// What is printed in place of a number, whatever the reason.
  static constexpr const char* placeholder = "unknown";

  static UnknownReason noPriceForModel(InternedText model) { return {Kind::noPriceForModel, model}; }
  static UnknownReason notMetered(InternedText what) { return {Kind::notMetered, what}; }
  static UnknownReason unreadableSource(InternedText source) { return {Kind::unreadableSource, source}; }
  static UnknownReason noData() { return {Kind::noData, {}}; }
  static UnknownReason noRecentActivity() { return {Kind::noRecentActivity, {}}; }
  static UnknownReason periodIncomplete() { return {Kind::periodIncomplete, {}}; }

  Kind kind() const { return kind_; }

  /// The model, the thing not metered or the source; empty for the other kinds.
  InternedText subject() const { return subject_; }

  /// The reason in words.
  std::string text() const;

  friend bool operator==(const UnknownReason&, const UnknownReason&) = default;

 private:
  UnknownReason(Kind kind, InternedText subject) : subject_(subject), kind_(kind) {}

  InternedText subject_;
  Kind kind_;
};

/// A figure that is known, or unknown with a reason.
template <typename T>
class Estimate {
 public:
  Estimate(T value) : state_(std::move(value)) {}
  Estimate(UnknownReason reason) : state_(reason) {}

  bool isKnown() const { return state_.index() == 0; }

  /// The figure, or null when it is unknown. Lives as long as the estimate.
  const T* value() const { return std::get_if<T>(&state_); }

  /// The reason, or null when the figure is known. Lives as long as the estimate.
  const UnknownReason* reason() const { return std::get_if<UnknownReason>(&state_); }

  /// The figure changed by `change`; an unknown stays unknown for the same reason.
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

/// What one request cost in US dollars, and whether that comes from an own price (PriceList).
struct RequestCost : Estimate<double> {
  RequestCost(const Estimate<double>& dollars, bool isOwnPrice = false)
      : Estimate<double>(dollars), isOwnPriced(isOwnPrice) {}
  RequestCost(double dollars) : Estimate<double>(dollars) {}
  RequestCost(UnknownReason reason) : Estimate<double>(reason) {}

  bool isOwnPriced = false;
};

/// Models in text order. An empty set owns no memory, since a report may hold millions of them.
using ModelSet = absl::btree_set<InternedText>;

/// No limit of the names in a sentence.
inline constexpr std::size_t allNames = std::numeric_limits<std::size_t>::max();

/// A sum of money that knows what it leaves out: `priced` is a lower bound whenever `unpricedRequests` is
/// above 0.
struct CostEstimate {
  double priced = 0;                  ///< US dollars of all that has a price
  std::int64_t unpricedRequests = 0;  ///< requests without a price; not in `priced`
  ModelSet unpricedModels;            ///< the models of those requests
  ModelSet ownPricedModels = {};      ///< the models that own prices priced

  bool isComplete() const { return unpricedRequests == 0; }

  /// There were requests, but none with a price: the sum is not 0 but unknown. A sum with own prices is known
  /// even when it is 0, since an own price may be 0.
  bool isUnknown() const { return priced == 0.0 && unpricedRequests >= 1 && ownPricedModels.empty(); }

  /// Adds one request: its dollars, or the fact that it has no price.
  void add(const Estimate<double>& requestCost) {
    if (const double* dollars = requestCost.value()) {
      priced += *dollars;
    } else {
      noteUnpriced(*requestCost.reason(), 1);
    }
  }

  /// Adds so many requests that have no price for that reason.
  void noteUnpriced(const UnknownReason& reason, std::int64_t requests);

  /// Notes that an own price priced a request of the model.
  void noteOwnPrice(InternedText model);

  CostEstimate& operator+=(const CostEstimate& other);
  friend CostEstimate operator+(CostEstimate left, const CostEstimate& right) { return left += right; }

  /// The same with the dollars times `factor`; requests and models without a price are kept as they are.
  CostEstimate scaled(double factor) const;

  /// The amount as `money`, behind "≥ " when something is left out.
  std::string formatted() const;

  // A text that names models names the first `mostNames` in text order and counts the others: "a, b and 17
  // more".

  /// What is left out, in words; absent when nothing is.
  std::optional<std::string> caveat(std::size_t mostNames = allNames) const;

  /// `formatted` and, when something is left out, the caveat in brackets; `unit`, such as "/h", behind the
  /// amount.
  std::string formattedWithCaveat(std::string_view unit = {}, std::size_t mostNames = allNames) const;

  /// The models without a price, in text order.
  std::string unpricedNames(std::string_view separator, std::size_t mostNames = allNames) const;

  /// "2 models (local-coder, nova-1)": the models that own prices priced; absent when there are none.
  std::optional<std::string> ownPriced(std::size_t mostNames = allNames) const;

  /// A dollar amount: two decimals and commas between thousands, or four decimals below one cent, so that a
  /// fraction of a cent does not read as nothing. The sign stands behind the dollar sign. Ties go to the even
  /// digit of the exact binary value, as printf does; -0.0 prints as 0.
  static std::string money(double amount);

  /// The median of the dollars; the mean of the middle two for an even number. Requests without a price are
  /// summed over all estimates, and the models of each united. `estimates` must not be empty.
  static CostEstimate median(const std::vector<CostEstimate>& estimates);

  friend bool operator==(const CostEstimate&, const CostEstimate&) = default;
};

}  // namespace tallyfin
