#include "Fuzz/PlainJson.hpp"

#include "nlohmann/json.hpp"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <utility>

namespace tallyfin::Fuzz {
namespace {

// Uses the widest number types. Documents with larger numbers are rejected and not compared.
using Json =
    nlohmann::basic_json<std::map, std::vector, std::string, bool, std::int64_t, std::uint64_t, long double>;

// Builds a tree from the other parser's events and keeps the digits of numbers.
class Builder {
 public:
  using Kind = PlainValue::Kind;

  bool null() { return put({.kind = Kind::null}); }
  bool boolean(bool value) { return put({.kind = value ? Kind::truth : Kind::falsehood}); }
  bool number_integer(std::int64_t value) {
    return put({.kind = Kind::number, .text = std::to_string(value)});
  }
  bool number_unsigned(std::uint64_t value) {
    return put({.kind = Kind::number, .text = std::to_string(value)});
  }
  bool number_float(long double, const std::string& digits) {
    return put({.kind = Kind::number, .text = digits});
  }
  bool string(std::string& text) { return put({.kind = Kind::text, .text = text}); }
  bool binary(Json::binary_t&) { return false; }
  bool key(std::string& name) { return keys_.back() = name, true; }
  bool start_object(std::size_t) { return open(Kind::object); }
  bool start_array(std::size_t) { return open(Kind::array); }
  bool end_object() { return close(); }
  bool end_array() { return close(); }
  bool parse_error(std::size_t, const std::string&, const Json::exception& error) {
    isBeyond = dynamic_cast<const Json::out_of_range*>(&error) != nullptr;
    return false;
  }

  PlainValue root;
  bool isBeyond = false;  // a number exceeds all types of the other parser

 private:
  static constexpr std::size_t kDeepest = 1024;

  bool put(PlainValue value) {
    if (open_.empty()) {
      root = std::move(value);
    } else if (open_.back().kind == Kind::array) {
      open_.back().elements.push_back(std::move(value));
    } else {
      open_.back().members[keys_.back()] = std::move(value);
    }
    return true;
  }

  bool open(Kind kind) {
    open_.push_back({.kind = kind});
    keys_.emplace_back();
    return open_.size() <= kDeepest;
  }

  bool close() {
    PlainValue done = std::move(open_.back());
    open_.pop_back();
    keys_.pop_back();
    return put(std::move(done));
  }

  std::vector<PlainValue> open_;
  std::vector<std::string> keys_;  // key of the next member of each open object
};

}  // namespace

const PlainValue* PlainValue::member(const std::string& key) const {
  const auto found = members.find(key);
  return found == members.end() ? nullptr : &found->second;
}

std::optional<std::string> PlainValue::textMember(const std::string& key) const {
  const PlainValue* const value = member(key);
  return value != nullptr && value->kind == Kind::text ? std::optional(value->text) : std::nullopt;
}

PlainJson readPlainJson(std::string_view document) {
  if (document.starts_with("\xEF\xBB\xBF") || document.find('\0') != std::string_view::npos) {
    return {};  // the other parser accepts a byte order mark and stops at a NUL
  }
  Builder builder;
  if (Json::sax_parse(document.begin(), document.end(), &builder)) {
    return {.value = std::move(builder.root), .isBeyond = false};
  }
  return {.value = std::nullopt, .isBeyond = builder.isBeyond};
}

std::int64_t plainInteger(std::string_view digits) {
  constexpr auto kMost = std::numeric_limits<std::int64_t>::max();
  const bool isNegative = digits.starts_with('-');
  digits.remove_prefix(isNegative ? 1 : 0);
  const std::size_t end = std::min(digits.find_first_of("eE"), digits.size());
  const std::size_t point = std::min(digits.substr(0, end).find('.'), end);
  const std::string exponent(digits.substr(std::min(end + 1, digits.size())));
  std::string all(digits.substr(0, point));
  all += digits.substr(std::min(point + 1, end), end - std::min(point + 1, end));
  constexpr long long kFar = 99'999;  // more digits than an input can have
  const std::int64_t shift = std::clamp(std::strtoll(exponent.c_str(), nullptr, 10), -kFar, kFar);
  const std::int64_t whole = static_cast<std::int64_t>(point) + shift;
  all.resize(static_cast<std::size_t>(std::max<std::int64_t>(whole, 0)), '0');
  all.erase(0, std::min(all.find_first_not_of('0'), all.size()));
  if (all.size() > 19 || (all.size() == 19 && all > std::to_string(kMost))) {
    return isNegative ? -kMost - 1 : kMost;
  }
  const std::int64_t value = all.empty() ? 0 : std::stoll(all);
  return isNegative ? -value : value;
}

}  // namespace tallyfin::Fuzz
