#include "TallyfinCore/Attribution/PriceList.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Files.hpp"
#include "Platform/Text.hpp"
#include "TallyfinCore/Transcripts/ModelId.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <map>
#include <utility>

#include <nlohmann/json.hpp>

namespace tallyfin {
namespace {

constexpr std::uint64_t kLargestPriceList = std::uint64_t{1} << 20;  // bytes
// A million dollars per million tokens, that is, one dollar per token. The limit keeps sums finite.
constexpr double kHighestPrice = 1'000'000;
constexpr std::size_t kShownOfText = 40;  // characters of the text quoted in messages

// An iterator over the text that records how far the parser has read. Only the characters before the last one
// taken count as read: the last one may be the character after a number, which the parser needs to find the
// number's end.
struct Reading {
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  const char* at = nullptr;
  const char** taken = nullptr;

  const char& operator*() const { return *at; }
  Reading& operator++() {
    *taken = at++;
    return *this;
  }
  Reading operator++(int) { return std::exchange(*this, {at + 1, taken}); }
  friend bool operator!=(const Reading& left, const Reading& right) { return left.at != right.at; }
};

struct NumberMember {
  std::string_view name;
  std::optional<double> value = std::nullopt;
};

using Until = std::optional<CalendarDate>;

// Sorts by last day; the open-ended price comes last.
struct Earlier {
  bool operator()(const Until& left, const Until& right) const { return left && (!right || *left < *right); }
};

// One price while it is being read.
struct Draft {
  std::ptrdiff_t line = 0;
  std::optional<std::string> model;
  std::optional<CalendarDate> until;
  std::array<NumberMember, 5> numbers{
      {{"input"}, {"output"}, {"cache_write_5m"}, {"cache_write_1h"}, {"cache_read"}}};
};

// Receives the parser's events. A function returns false at an error, which ends parsing.
class PriceReader : public nlohmann::json_sax<nlohmann::json> {
 public:
  explicit PriceReader(std::string_view text) : text_(text), taken_(text.data()), counted_(text.data()) {}

  PriceList read() {
    PriceList list;
    const char* const end = text_.data() + text_.size();
    if (nlohmann::json::sax_parse(Reading{text_.data(), &taken_}, Reading{end, &taken_}, this)) {
      for (const auto& [model, tiers] : models_) {
        std::vector<PriceTier>& own = list.own.emplace_back(PricedModel{model, {}}).tiers;
        for (const auto& [until, prices] : tiers) {
          own.push_back({until, prices});
        }
      }
    } else {
      list.problem = problem_;
    }
    return list;
  }

  bool null() override { return fail("null is no value"); }
  bool boolean(bool) override { return fail("neither true nor false is a value"); }
  bool number_integer(number_integer_t value) override { return number(static_cast<double>(value)); }
  bool number_unsigned(number_unsigned_t value) override { return number(static_cast<double>(value)); }
  bool number_float(number_float_t value, const string_t&) override { return number(value); }
  bool binary(binary_t&) override { return fail("binary data is no value"); }

  bool string(string_t& text) override {
    if (place_ == Place::entry && member_ == "model") {
      return model(text);
    }
    if (place_ == Place::entry && member_ == "until") {
      const std::optional<TimePoint> day = Calendar::utc().parseDay(text);
      if (!day) {
        return fail(concat(shown(text), " is no date (the format is yyyy-MM-dd)"));
      }
      draft_.until = Calendar::utc().date(*day);
      return true;
    }
    return fail(place_ == Place::entry ? concat(shown(member_), " must be a number") : misplaced());
  }

  bool start_object(std::size_t) override {
    if (place_ == Place::start) {
      place_ = Place::file;
      return true;
    }
    if (place_ == Place::list) {
      place_ = Place::entry;
      draft_ = {};
      draft_.line = line();
      members_.clear();
      return true;
    }
    return fail(misplaced());
  }

  bool start_array(std::size_t) override {
    if (place_ != Place::file) {
      return fail(misplaced());
    }
    place_ = Place::list;
    return true;
  }

  bool key(string_t& name) override {
    if (std::ranges::find(members_, name) != members_.end()) {
      return fail(concat(shown(name), " stands twice"));
    }
    const bool isKnown = place_ == Place::file
                             ? name == "prices"
                             : name == "model" || name == "until" || numberNamed(name) != nullptr;
    if (!isKnown) {
      return fail(concat("unknown member ", shown(name)));
    }
    member_ = name;
    members_.push_back(name);
    return true;
  }

  bool end_array() override {
    place_ = Place::file;
    members_ = {"prices"};
    return true;
  }

  bool end_object() override {
    if (place_ == Place::entry) {
      place_ = Place::list;
      return keep();
    }
    return members_.empty() ? fail("\"prices\" is missing") : true;
  }

  bool parse_error(std::size_t, const std::string& token, const nlohmann::json::exception& error) override {
    constexpr int kOutOfRange = 406;
    if (error.id == kOutOfRange) {
      return fail(concat("a number too large: ", Text::suffix(token, kShownOfText)));
    }
    return fail(concat("no valid JSON; last read: ", Text::suffix(token, kShownOfText)));
  }

 private:
  enum class Place : std::uint8_t { start, file, list, entry };

  static std::string shown(std::string_view text) {
    std::string quoted = concat("\"", Text::prefix(text, kShownOfText), "\"");
    std::ranges::replace_if(quoted, isControl, '?');
    return quoted;
  }

  static bool isControl(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }

  // The line of the last character taken. Counts on from the previous call, because every price calls this.
  std::ptrdiff_t line() {
    line_ += std::count(counted_, taken_, '\n');
    counted_ = taken_;
    return line_;
  }

  bool fail(std::string_view reason) { return failAt(line(), reason); }
  bool failAt(std::ptrdiff_t line, std::string_view reason) {
    problem_ = concat("line ", std::to_string(line), ": ", reason);
    return false;
  }

  std::string misplaced() const {
    switch (place_) {
      case Place::start:
        return "the file must be an object with the member \"prices\"";
      case Place::file:
        return "\"prices\" must be an array";
      case Place::list:
        return "a price must be an object";
      case Place::entry:
        break;
    }
    return concat(shown(member_),
                  member_ == "model" || member_ == "until" ? " must be a text" : " must be a number");
  }

  NumberMember* numberNamed(std::string_view name) {
    auto* const found = std::ranges::find(draft_.numbers, name, &NumberMember::name);
    return found == draft_.numbers.end() ? nullptr : found;
  }

  bool number(double value) {
    NumberMember* const member = place_ == Place::entry ? numberNamed(member_) : nullptr;
    if (member == nullptr) {
      return fail(misplaced());
    }
    if (!(value >= 0 && value <= kHighestPrice)) {
      return fail(concat(shown(member_), " must be between 0 and 1,000,000"));
    }
    member->value = value + 0.0;  // turns -0.0 into 0
    return true;
  }

  bool model(std::string_view id) {
    draft_.model = Text::canonical(Pricing::normalizeModel(id));
    if (draft_.model->empty()) {
      return fail("\"model\" is empty");
    }
    return std::ranges::any_of(*draft_.model, isControl) ? fail("\"model\" holds a control character") : true;
  }

  // Adds the finished price, if it is complete, to those of its model, in order of time.
  bool keep() {
    const auto& [input, output, write5m, write1h, read] = draft_.numbers;
    if (!draft_.model || !input.value || !output.value) {
      return failAt(draft_.line, concat(!draft_.model  ? "\"model\""
                                        : !input.value ? "\"input\""
                                                       : "\"output\"",
                                        " is missing"));
    }
    const Prices prices{*input.value, *output.value, write5m.value, write1h.value, read.value, true};
    if (!models_[*draft_.model].emplace(draft_.until, prices).second) {
      return failAt(draft_.line, concat("a second price of ", shown(*draft_.model),
                                        draft_.until ? " with the same last day" : " without a last day"));
    }
    return true;
  }

  std::string_view text_;
  const char* taken_;    // the last character the parser took
  const char* counted_;  // `line_` counts the lines up to here
  std::ptrdiff_t line_ = 1;
  Place place_ = Place::start;
  std::string member_;
  std::vector<std::string> members_;  // of the object being read
  Draft draft_;
  std::map<std::string, std::map<Until, Prices, Earlier>> models_;
  std::string problem_;
};

// The first line that is not valid UTF-8; 0 if there is none.
std::ptrdiff_t lineWithoutUtf8(std::string_view text) {
  if (Text::isValidUtf8(text)) {
    return 0;
  }
  std::ptrdiff_t line = 1;
  for (std::size_t end = text.find('\n');
       end != std::string_view::npos && Text::isValidUtf8(text.substr(0, end)); end = text.find('\n')) {
    text.remove_prefix(end + 1);
    ++line;
  }
  return line;
}

}  // namespace

const PriceList& PriceList::builtIn() {
  static const PriceList none;
  return none;
}

PriceList PriceList::parse(std::string_view text) {
  if (const std::ptrdiff_t line = lineWithoutUtf8(text)) {
    return {.own = {}, .file = {}, .problem = concat("line ", std::to_string(line), ": no valid UTF-8")};
  }
  return PriceReader(text).read();
}

PriceList PriceList::ofFile(const std::string& path) {
  const std::optional<Files::Attributes> found = Files::attributes(path);
  const std::optional<Buffer> content = Files::contents(path, kLargestPriceList);
  PriceList list;
  if (content) {
    list = parse(content->bytes());
  } else if (!found) {
    list.problem = "there is no such file";
  } else if (!found->isRegular) {
    list.problem = "it is no regular file";
  } else {
    list.problem = found->size > kLargestPriceList ? "it is larger than 1 MiB" : "it cannot be read";
  }
  list.file = path;
  return list;
}

PriceList PriceList::of(const Environment& environment) {
  if (const std::optional<std::string> named = environment.expanded(environment.tallyfinPrices)) {
    return ofFile(*named);
  }
  const std::string usual = concat(environment.home, "/.config/net.quillpond.tallyfin/prices.json");
  return Files::exists(usual) ? ofFile(usual) : PriceList{};
}

}  // namespace tallyfin
