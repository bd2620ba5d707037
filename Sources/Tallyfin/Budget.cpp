#include "Platform/Concat.hpp"
#include "Platform/Numbers.hpp"
#include "Tallyfin/Command.hpp"
#include "Tallyfin/Days.hpp"
#include "Tallyfin/Subcommands.hpp"
#include "Tallyfin/WithTranscripts.hpp"
#include "TallyfinCore/Figures/Money.hpp"

#include <charconv>
#include <cmath>
#include <iterator>
#include <optional>
#include <system_error>

namespace tallyfin::Command {
namespace {

// Parses an amount in US dollars. Throws UsageError if the text is not an amount of 0 or more.
double dollars(const std::string& text) {
  const std::string_view digits = text.starts_with('$') ? std::string_view(text).substr(1) : text;
  double value = 0;
  const auto [end, error] =
      std::from_chars(digits.data(), digits.data() + digits.size(), value, std::chars_format::fixed);
  if (error != std::errc() || end != digits.data() + digits.size() || !std::isfinite(value) ||
      std::signbit(value)) {
    throw UsageError(concat("\"", text, "\" is not an amount in dollars, such as 20 or 12.50"));
  }
  return value;
}

// Rounds an amount in US dollars to four decimals. The smallest amounts are printed with this many decimals.
// Sums of binary fractions differ slightly from sums of decimal fractions: without rounding, three requests
// of 0.1 dollars would exceed a budget of 0.3 dollars.
double toCentOfCent(double amount) {
  const std::string text = decimal(amount, 4);
  std::from_chars(text.data(), text.data() + text.size(), amount);
  return amount;
}

int runBudget(const Call& call) {
  const double limit = dollars(*call.arguments.text("amount"));
  const Days days = daysOf(call, "today");
  return withTranscripts(call, [&](DataSource& data) {
    const Period period = periodOf(days, data);
    const Filters filters = filtersOf(call.arguments, data);
    const Bucket spent = data.report(period, filters.predicate, ReportParts::only()).total;
    const std::optional<std::string> unread = unreadableNote(data);
    const std::int64_t rejected = data.diagnostics().totalRejected();
    const bool isEmpty = data.diagnostics().filesScanned == 0;
    int status = done;
    std::string_view verdict = "within budget";
    if (toCentOfCent(spent.cost.priced) > toCentOfCent(limit)) {
      status = overBudget;
      verdict = "over budget";
    } else if (!spent.cost.isComplete() || unread || rejected > 0 || isEmpty) {
      status = unknownBudget;
      verdict = "cannot be told";
    }
    const std::string amount = isEmpty              ? "no transcript was found"
                               : spent.requests < 1 ? "nothing was spent"
                                                    : costInAnswer(spent, mostNames);
    std::string text =
        concat(verdict, " (", CostEstimate::money(limit), "): ", amount, " — ", period.label, "\n");
    for (const std::string& filter : filters.described()) {
      append(text, "only ", filter, "\n");
    }
    if (unread) {
      append(text, *unread, "\n");
    }
    if (rejected > 0) {
      append(text, counted(rejected, "line was", "lines were"), " rejected; see `tallyfin sources`\n");
    }
    const int printed = print(text, call.console);
    return printed == done ? status : printed;
  });
}

}  // namespace

Subcommand budget() {
  std::vector<Option> options = {{.name = "amount",
                                  .value = "DOLLARS",
                                  .help = "The budget, such as 20 or 12.50",
                                  .isWord = true,
                                  .isRequired = true}};
  std::ranges::move(choosingOptions("today"), std::back_inserter(options));
  return {.name = "budget",
          .summary = "Whether a period stayed within an amount: status 0 within, 3 over, 4 cannot be told",
          .options = std::move(options),
          .examples = {"tallyfin budget 20 today || notify-send \"$(tallyfin status)\""},
          .run = runBudget};
}

}  // namespace tallyfin::Command
