#include "Tallyfin/SheetDrawing.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Numbers.hpp"
#include "Platform/Text.hpp"
#include "Tallyfin/Command.hpp"
#include "Tallyfin/Subcommand.hpp"
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

using Unit = Sheet::Unit;

constexpr std::string_view kBlanks = "  ";  // between columns
constexpr std::size_t kGap = kBlanks.size();
constexpr std::size_t kAnyWidth = std::numeric_limits<std::size_t>::max();

// SGR, ECMA-48.
constexpr std::string_view kBold = "\033[1m";
constexpr std::string_view kDim = "\033[2m";
constexpr std::string_view kCyan = "\033[36m";
constexpr std::string_view kYellow = "\033[33m";

// Replacements for the special characters in our texts if only ASCII is available; any other character
// becomes "?".
constexpr std::pair<std::string_view, std::string_view> kAscii[] = {
    {"≥", ">="}, {"…", "~"}, {"→", "->"}, {"·", "-"}, {"—", "-"}, {"×", "x"},
    {"─", "-"},  {"█", "#"}, {"├", "|"},  {"└", "`"}, {"│", "|"}};

std::string ascii(std::string_view text) {
  std::string out;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const auto byte = static_cast<unsigned char>(text[at]);
    if (byte < 0x80) {
      out += text[at];
    } else if (byte >= 0xC0) {  // the first byte of a character; its other bytes are skipped
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

// Whether a column takes the remaining width, instead of the width of its cells.
bool isElastic(Unit unit) {
  return unit == Unit::models || unit == Unit::share || unit == Unit::phrase;
}

bool isOnTheRight(Unit unit) {
  return unit == Unit::dollars || unit == Unit::count || unit == Unit::tokens || unit == Unit::percent;
}

constexpr std::size_t kShortestModels = 12;
constexpr std::size_t kShortestPhrase = 12;
constexpr std::size_t kShortestBar = 8;

// As many models as fit, most used first, and the number of the others.
std::string modelsIn(const Bucket& bucket, std::size_t width) {
  constexpr std::size_t kShortestName = 4;
  const auto used = bucket.modelsByUse(width);  // a name takes at least one column
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

// A bar as long as the share of `width`. Leaves room for the sign of a lower bound.
std::string barOf(const Sheet::Share& share, std::size_t width) {
  const CostEstimate& cost = share.bucket->cost;
  if (cost.isUnknown()) {
    return "?";
  }
  const double part = share.whole > 0 ? cost.priced / share.whole : 0;
  const auto most = static_cast<double>(width - 1);
  const double blocks = std::clamp(std::round(part * most), cost.priced > 0 ? 1.0 : 0.0, most);
  return repeated("█", static_cast<std::size_t>(blocks)) + (cost.isComplete() ? "" : ">");
}

// The text, or its beginning and an ellipsis, in at most `width` characters.
std::string beginningOf(std::string_view text, std::size_t width) {
  return Text::characterCount(text) <= width
             ? std::string(text)
             : concat(Text::prefix(text, std::max<std::size_t>(width, 1) - 1), "…");
}

// "34.2%", or "?" if the share is unknown.
std::string shareOf(const Sheet::Share& share) {
  const Estimate<double> value = percentage(share.bucket->cost.priced, share.whole);
  return share.bucket->cost.isUnknown() || !value.isKnown() ? "?" : percent(value);
}

class Drawing {
 public:
  Drawing(const Sheet& sheet, const Console& console) : sheet_(sheet), console_(console) {
    for (const Sheet::Column& column : sheet.columns) {
      if (column.worth > 0) {
        columns_.push_back({&column, Text::characterCount(column.title)});
      }
    }
    std::ranges::stable_sort(columns_, std::ranges::greater(),
                             [](const Shown& shown) { return shown.column->worth; });
    measure();
    fit();
  }

  int print() {
    constexpr std::size_t kPiece = std::size_t{1} << 20;
    title();
    line([](const Sheet::Column& column) { return Sheet::Cell(std::string(column.title)); }, kDim);
    for (std::size_t row = 0; row < sheet_.rowCount; ++row) {
      line([row](const Sheet::Column& column) { return column.cell(row); }, "");
      if (out_.size() > kPiece) {
        if (const int status = write(out_, console_); status != done) {
          return status;
        }
        out_.clear();
      }
    }
    rule();
    line([this](const Sheet::Column& column) { return totalOf(column); }, kBold);
    out_ += "\n";
    for (const std::string& note : sheet_.notes) {
      paragraph(note, "");
    }
    return write(out_, console_);
  }

 private:
  struct Shown {
    const Sheet::Column* column;
    std::size_t width;
    std::size_t wanted = 0;  // the width that all cells need; set when the columns are fitted
  };

  // The cell of a column in the line of totals. The first column has the line's name.
  Sheet::Cell totalOf(const Sheet::Column& column) const {
    if (&column == columns_.front().column) {
      return "total";
    }
    return column.total.value_or(Sheet::Cell());
  }

  std::string shown(std::string_view text) const {
    const std::string safe = Text::visible(text, kAnyWidth);
    return console_.hasUtf8 ? safe : ascii(safe);
  }

  std::string painted(const std::string& text, std::string_view colour) const {
    return console_.hasColour && !colour.empty() && !text.empty() ? concat(colour, text, "\033[0m") : text;
  }

  // Returns the text of a cell; elastic cells are at most `width` wide.
  struct TextOf {
    const Drawing& drawing;
    Unit unit;
    std::size_t width;

    std::string operator()(std::monostate) const { return ""; }
    std::string operator()(Sheet::Idle) const { return "idle"; }
    std::string operator()(TimePoint time) const { return drawing.sheet_.calendar.formatMinute(time); }
    std::string operator()(std::int64_t count) const {
      return unit == Unit::tokens ? shortened(count) : grouped(count);
    }
    std::string operator()(const std::string& name) const {
      std::string text = drawing.shown(name);
      if (text.size() <= width) {
        return text;
      }
      return drawing.shown(unit == Unit::phrase ? beginningOf(text, width)
                                                : Text::visible(text, std::max<std::size_t>(width, 4)));
    }
    std::string operator()(const Sheet::Amount& cost) const { return drawing.shown(amount(*cost.bucket)); }
    std::string operator()(const Sheet::Models& models) const {
      return drawing.shown(modelsIn(*models.bucket, width));
    }
    std::string operator()(const Sheet::Share& share) const {
      return unit == Unit::percent ? shareOf(share) : drawing.shown(barOf(share, width));
    }
  };

  std::string textOf(const Sheet::Cell& cell, Unit unit, std::size_t width = kAnyWidth) const {
    return std::visit(TextOf{*this, unit, width}, cell);
  }

  // Sets the width of each column to what its cells need.
  void measure() {
    for (std::size_t row = 0; row < sheet_.rowCount; ++row) {
      for (Shown& shown : columns_) {
        widen(shown, shown.column->cell(row));
      }
    }
    for (Shown& shown : columns_) {
      widen(shown, totalOf(*shown.column));
    }
  }

  void widen(Shown& shown, const Sheet::Cell& cell) const {
    constexpr std::size_t kLongestBar = 40;
    const auto* const models = std::get_if<Sheet::Models>(&cell);
    const std::size_t width = shown.column->unit == Unit::share ? kLongestBar
                              : models != nullptr               ? widthOfModels(*models->bucket)
                                                  : Text::characterCount(textOf(cell, shown.column->unit));
    shown.width = std::max(shown.width, width);
  }

  // The width of all model names of a bucket; more than the width of the console if they do not fit.
  std::size_t widthOfModels(const Bucket& bucket) const {
    std::size_t width = 0;
    for (const auto& [model, requests] : bucket.modelCounts) {
      if (width > whole()) {
        break;
      }
      width += (width > 0 ? 1 : 0) + Text::characterCount(shown(model.text()));
    }
    return width;
  }

  std::size_t whole() const { return static_cast<std::size_t>(std::max(console_.width, 1)); }

  // Keeps the columns that fit the console and divides its width among them: each gets its smallest width,
  // then the first gets what it needs, then the others share what is left.
  void fit() {
    std::size_t left = whole();
    std::vector<Shown> fitting;
    for (const Shown& shown : columns_) {
      const std::size_t least = leastWidth(shown);
      const std::size_t taken = least + (fitting.empty() ? 0 : kGap);
      if (taken <= left || shown.column->worth >= Sheet::always) {
        fitting.push_back({shown.column, least, shown.width});
        left -= std::min(left, taken);
      }
    }
    columns_ = std::move(fitting);
    Shown& first = columns_.front();
    const std::size_t more = std::min(left, first.wanted - first.width);
    first.width += more;
    left -= more;
    for (bool isGiven = true; isGiven && left > 0;) {
      isGiven = false;
      for (Shown& shown : columns_) {
        if (shown.width < shown.wanted && left > 0) {
          ++shown.width;
          --left;
          isGiven = true;
        }
      }
    }
  }

  // The smallest width of a column. Names are cut only on a terminal.
  std::size_t leastWidth(const Shown& shown) const {
    constexpr std::size_t kShortestName = 16;
    switch (shown.column->unit) {
      case Unit::models:
        return std::min(shown.width, kShortestModels);
      case Unit::phrase:
        return std::min(shown.width, std::max(kShortestPhrase, whole() / 4));
      case Unit::share:
        return kShortestBar;
      case Unit::text:
        return console_.showsDocuments ? std::min(shown.width, kShortestName) : shown.width;
      default:
        return shown.width;
    }
  }

  // Draws one line; `cellOf` returns the cell of a column.
  template <typename CellOf>
  void line(const CellOf& cellOf, std::string_view colour) {
    std::string cells;
    std::string bar;
    bool isIdle = false;
    std::string_view barColour = kCyan;
    for (const Shown& shown : columns_) {
      const Sheet::Cell cell = cellOf(*shown.column);
      const std::string text = textOf(cell, shown.column->unit, shown.width);
      isIdle |= std::holds_alternative<Sheet::Idle>(cell);
      if (const auto* const share = std::get_if<Sheet::Share>(&cell);
          share != nullptr && shown.column->unit == Unit::share) {
        bar = text;
        barColour = share->bucket->cost.isComplete() ? kCyan : kYellow;
      } else if (shown.column->unit != Unit::share) {
        addCell(cells, text, shown);
      }
    }
    while (bar.empty() && cells.ends_with(' ')) {
      cells.pop_back();
    }
    append(out_, painted(cells, isIdle ? kDim : colour), bar.empty() ? "" : kBlanks, painted(bar, barColour),
           "\n");
  }

  void addCell(std::string& cells, std::string_view text, const Shown& shown) const {
    if (&shown != columns_.data()) {
      cells += kBlanks;
    }
    if (isOnTheRight(shown.column->unit)) {
      cells.append(shown.width - std::min(shown.width, Text::characterCount(text)), ' ');
      cells += text;
    } else {
      cells += Text::fitted(text, shown.width);
    }
  }

  // Draws a line below the names and numbers.
  void rule() {
    std::size_t width = 0;
    for (const Shown& shown : columns_) {
      width += isElastic(shown.column->unit) ? 0 : shown.width + kGap;
    }
    out_ += painted(shown(repeated("─", width - kGap)), kDim) + "\n";
  }

  void title() {
    std::string words = concat(sheet_.range.label, " · ", sheet_.title);
    for (const auto& [id, value] : sheet_.filters) {
      if (value) {
        append(words, " · ", id, " = ", *value);
      }
    }
    paragraph(words, kBold);
  }

  // Wraps words to the width of the console.
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

  const Sheet& sheet_;
  const Console& console_;
  std::vector<Shown> columns_;  // sorted by worth
  std::string out_;
};

}  // namespace

int draw(const Sheet& sheet, const Console& console) {
  return Drawing(sheet, console).print();
}

}  // namespace tallyfin::Command
