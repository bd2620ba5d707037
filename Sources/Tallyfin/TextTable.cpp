#include "Tallyfin/TextTable.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Numbers.hpp"
#include "Platform/Text.hpp"
#include "TallyfinCore/Figures/Money.hpp"
#include "absl/strings/str_split.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <limits>
#include <string_view>
#include <utility>

namespace tallyfin::Command {
namespace {

constexpr std::size_t kGap = 2;  // blanks between columns

// SGR, ECMA-48.
constexpr std::string_view kBold = "\033[1m";
constexpr std::string_view kDim = "\033[2m";
constexpr std::string_view kCyan = "\033[36m";
constexpr std::string_view kYellow = "\033[33m";

// What stands for the signs of our own texts where there is only ASCII; any other sign becomes "?".
constexpr std::pair<std::string_view, std::string_view> kAscii[] = {
    {"≥", ">="}, {"…", "~"}, {"→", "->"}, {"·", "-"}, {"—", "-"}, {"×", "x"}, {"─", "-"}, {"█", "#"}};

std::string ascii(std::string_view text) {
  std::string out;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const auto byte = static_cast<unsigned char>(text[at]);
    if (byte < 0x80) {
      out += text[at];
    } else if (byte >= 0xC0) {  // the first byte of a sign; its other bytes are skipped
      const auto* const known = std::ranges::find_if(
          kAscii, [&](const auto& sign) { return text.substr(at).starts_with(sign.first); });
      out += known == std::end(kAscii) ? "?" : known->second;
    }
  }
  return out;
}

std::string repeated(std::string_view text, std::size_t count) {
  std::string all;
  while (count-- > 0) {
    all += text;
  }
  return all;
}

std::string onTheRight(std::string_view text, std::size_t width) {
  return concat(std::string(width - std::min(width, Text::characterCount(text)), ' '), text);
}

// As many of the models, most used first, as fit; how many others there are.
std::string models(const Bucket& bucket, std::size_t width) {
  constexpr std::size_t kShortestName = 4;
  const auto used = bucket.modelsByUse(width);  // a name takes a column or more
  const std::size_t count = bucket.modelCounts.size();
  std::string text;
  for (std::size_t i = 0; i < used.size(); ++i) {
    const std::size_t left = count - i - 1;
    const std::string others = left > 0 ? concat(" +", std::to_string(left)) : "";
    const std::size_t most = width - std::min(width, others.size());
    const std::string name = Text::visible(used[i].first.text(), std::max(kShortestName, most));
    if (i > 0 && Text::characterCount(concat(text, " ", name)) > most) {
      return concat(text, " +", std::to_string(left + 1));
    }
    append(text, i > 0 ? " " : "", name);
  }
  return used.size() < count ? concat(text, " +", std::to_string(count - used.size())) : text;
}

class Drawing {
 public:
  Drawing(const TextTable& table, const Console& console) : table_(table), console_(console) {
    for (const TextTable::Row& row : table.rows) {
      measure(row);
    }
    measure({"total", &table.total});
    const std::size_t whole = static_cast<std::size_t>(std::max(console.width, 1));
    const std::size_t numbers = cost_ + requests_ + 2 * kGap;
    if (console.showsDocuments) {
      constexpr std::size_t kShortestName = 16;
      const std::size_t left = whole - std::min(whole, numbers + tokens_ + kGap);
      name_ = std::min(name_, std::max(kShortestName, left));
    }
    share(whole - std::min(whole, name_ + numbers));
  }

  std::string text() {
    paragraph(table_.title, kBold);
    line(table_.heading, "cost", "requests", "tokens", "models", "", kDim, "");
    for (const TextTable::Row& row : table_.rows) {
      rowLine(row, "");
    }
    const std::size_t width = name_ + cost_ + requests_ + 2 * kGap + (hasTokens_ ? tokens_ + kGap : 0);
    out_ += painted(shown(repeated("─", width)), kDim) + "\n";
    rowLine({"total", &table_.total}, kBold);
    out_ += "\n";
    for (const std::string& note : table_.notes) {
      paragraph(note, "");
    }
    return std::move(out_);
  }

 private:
  static std::string costOf(const TextTable::Row& row) {
    return row.bucket == nullptr ? "idle" : amount(*row.bucket);
  }

  std::string shown(std::string_view text) const {
    const std::string safe = Text::visible(text, std::numeric_limits<std::size_t>::max());
    return console_.hasUtf8 ? safe : ascii(safe);
  }

  std::string painted(const std::string& text, std::string_view colour) const {
    return console_.hasColour && !colour.empty() && !text.empty() ? concat(colour, text, "\033[0m") : text;
  }

  void measure(const TextTable::Row& row) {
    const auto widen = [](std::size_t& width, std::string_view text) {
      width = std::max(width, Text::characterCount(text));
    };
    widen(name_, shown(row.name));
    widen(cost_, shown(costOf(row)));
    if (row.bucket != nullptr) {
      widen(requests_, grouped(row.bucket->requests));
      widen(tokens_, shortened(row.bucket->totalTokens()));
      naturalModels_ = std::max(naturalModels_, widthOfModels(*row.bucket));
      largest_ = row.bucket == &table_.total ? largest_ : std::max(largest_, row.bucket->cost.priced);
    }
  }

  // The columns that the names of all models take; the whole width if they take more.
  std::size_t widthOfModels(const Bucket& bucket) const {
    const auto most = static_cast<std::size_t>(std::max(console_.width, 1));
    std::size_t width = 0;
    for (const auto& [model, requests] : bucket.modelCounts) {
      width += Text::characterCount(concat(width > 0 ? " " : "", shown(model.text())));
      if (width > most) {
        return most;
      }
    }
    return width;
  }

  // Gives what is left of the width to the columns that need not be there.
  void share(std::size_t left) {
    constexpr std::size_t kFewestModels = 12;
    constexpr std::size_t kShortestBar = 8;
    constexpr std::size_t kLongestBar = 40;
    hasTokens_ = left >= tokens_ + kGap;
    left -= hasTokens_ ? tokens_ + kGap : 0;
    if (table_.hasModels && hasTokens_ && left >= kFewestModels + kGap) {
      const bool hasBar = left >= kFewestModels + kShortestBar + 2 * kGap;
      const std::size_t most = hasBar ? std::max(kFewestModels, left / 2 - kGap) : left - kGap;
      models_ = std::min(std::max(naturalModels_, std::string_view("models").size()), most);
      left -= models_ + kGap;
    }
    bar_ = left >= kShortestBar + kGap ? std::min(left - kGap, kLongestBar) : 0;
  }

  void line(const std::string& name, const std::string& cost, const std::string& requests,
            const std::string& tokens, const std::string& models, const std::string& bar,
            std::string_view colour, std::string_view barColour) {
    const std::string gap(kGap, ' ');
    std::string cells =
        Text::fitted(name, name_) + gap + onTheRight(cost, cost_) + gap + onTheRight(requests, requests_);
    if (hasTokens_) {
      cells += gap + onTheRight(tokens, tokens_);
    }
    if (models_ > 0) {
      cells += gap + (bar.empty() ? models : Text::fitted(models, models_));
    }
    while (bar.empty() && cells.ends_with(' ')) {
      cells.pop_back();
    }
    out_ += painted(cells, colour);
    if (!bar.empty()) {
      out_ += gap + painted(bar, barColour);
    }
    out_ += "\n";
  }

  void rowLine(const TextTable::Row& row, std::string_view colour) {
    const std::string name = shown(Text::visible(shown(row.name), std::max<std::size_t>(name_, 4)));
    if (row.bucket == nullptr) {
      line(name, "idle", "", "", "", "", kDim, "");
      return;
    }
    const Bucket& bucket = *row.bucket;
    const bool isOpen = !bucket.cost.isComplete();
    line(name, shown(costOf(row)), grouped(bucket.requests), shortened(bucket.totalTokens()),
         models_ > 0 ? shown(models(bucket, models_)) : "", barOf(bucket), colour, isOpen ? kYellow : kCyan);
  }

  std::string barOf(const Bucket& bucket) const {
    if (bar_ == 0 || &bucket == &table_.total) {
      return "";
    }
    if (bucket.cost.isUnknown()) {
      return "?";
    }
    const bool isOpen = !bucket.cost.isComplete();
    const double share = largest_ > 0 ? bucket.cost.priced / largest_ : 0;
    const double blocks = std::round(share * static_cast<double>(bar_ - 1));
    const auto count = static_cast<std::size_t>(
        std::clamp(blocks, bucket.cost.priced > 0 ? 1.0 : 0.0, static_cast<double>(bar_ - 1)));
    return concat(shown(repeated("█", count)), isOpen ? ">" : "");
  }

  // Words in lines as wide as the console.
  void paragraph(const std::string& words, std::string_view colour) {
    const auto width = static_cast<std::size_t>(std::max(console_.width, 20));
    std::string current;
    for (const std::string& word : std::vector<std::string>(absl::StrSplit(shown(words), ' '))) {
      if (!current.empty() && Text::characterCount(current) + 1 + Text::characterCount(word) > width) {
        out_ += painted(current, colour) + "\n";
        current.clear();
      }
      append(current, current.empty() ? "" : " ", word);
    }
    out_ += painted(current, colour) + "\n";
  }

  const TextTable& table_;
  const Console& console_;
  std::size_t name_ = 5;  // widths of the columns
  std::size_t cost_ = 4;
  std::size_t requests_ = 8;
  std::size_t tokens_ = 6;
  std::size_t naturalModels_ = 0;  // what all models would take, at most the whole width
  std::size_t models_ = 0;         // 0: no such column
  std::size_t bar_ = 0;
  bool hasTokens_ = false;
  double largest_ = 0;  // dollars of a row
  std::string out_;
};

}  // namespace

std::string drawn(const TextTable& table, const Console& console) {
  return Drawing(table, console).text();
}

}  // namespace tallyfin::Command
