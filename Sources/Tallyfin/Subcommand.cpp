#include "Tallyfin/Subcommand.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Text.hpp"
#include "Tallyfin/Command.hpp"
#include "absl/strings/str_split.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <limits>
#include <numeric>
#include <system_error>

namespace tallyfin::Command {
namespace {

// The number of letters to insert, delete, replace or swap with a neighbour.
std::size_t distance(std::string_view left, std::string_view right) {
  std::vector<std::size_t> before;
  std::vector<std::size_t> last(right.size() + 1);
  std::iota(last.begin(), last.end(), std::size_t{0});
  for (std::size_t i = 1; i <= left.size(); ++i) {
    std::vector<std::size_t> row(right.size() + 1, i);
    for (std::size_t j = 1; j <= right.size(); ++j) {
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (left[i - 1] == right[j - 1] ? 0 : 1)});
      if (i > 1 && j > 1 && left[i - 1] == right[j - 2] && left[i - 2] == right[j - 1]) {
        row[j] = std::min(row[j], before[j - 2] + 1);
      }
    }
    before = std::exchange(last, std::move(row));
  }
  return last.back();
}

}  // namespace

std::optional<std::string> CallArguments::text(const std::string& name) const {
  const auto found = values_.find(name);
  return found == values_.end() ? std::nullopt : std::optional(found->second);
}

std::optional<std::int64_t> CallArguments::number(const std::string& name) const {
  const std::optional<std::string> digits = text(name);
  if (!digits) {
    return std::nullopt;
  }
  std::int64_t value = 0;
  const auto [end, error] = std::from_chars(digits->data(), digits->data() + digits->size(), value);
  return error == std::errc::result_out_of_range ? std::numeric_limits<std::int64_t>::max() : value;
}

std::vector<std::string> CallArguments::list(const std::string& name) const {
  const std::optional<std::string> value = text(name);
  return value ? std::vector<std::string>(absl::StrSplit(*value, ',')) : std::vector<std::string>();
}

std::string nearest(std::string_view word, const std::vector<std::string>& known) {
  constexpr std::size_t kLongest = 64;  // longer words are no typing errors
  const std::string given = Text::lowercased(word.substr(0, kLongest));
  std::string best;
  std::size_t least = std::max<std::size_t>(2, (given.size() + 1) / 3) + 1;
  for (const std::string& one : known) {
    const std::size_t away =
        given.size() > 1 && one.starts_with(given) ? 1 : distance(given, Text::lowercased(one));
    if (away < least && away < given.size()) {
      least = away;
      best = one;
    }
  }
  return best;
}

int write(std::string_view text, const Console& console) {
  if (console.document(text)) {
    return done;
  }
  tell("cannot write to standard output", console);
  return failed;
}

int print(std::string_view document, const Console& console) {
  if (!console.showsDocuments) {
    return write(document, console);
  }
  std::string text = visible(document);
  if (!text.empty() && !text.ends_with('\n')) {
    text += '\n';  // otherwise the shell prompt would follow on the same line
  }
  return write(text, console);
}

void tell(std::string_view message, const Console& console) {
  const std::string line = concat("tallyfin: ", message, message.ends_with('\n') ? "" : "\n");
  console.message(console.showsMessages ? visible(line) : line);
}

}  // namespace tallyfin::Command
