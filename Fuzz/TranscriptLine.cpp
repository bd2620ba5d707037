// Input: the lines of one transcript. Reads them with the scanner and with a simple implementation of the
// rules; both must reject the same lines for the same reason and agree on every field of every request.

#include "Fuzz/PlainJson.hpp"
#include "Fuzz/Target.hpp"
#include "Platform/Text.hpp"
#include "TallyfinCore/Transcripts/ModelId.hpp"
#include "TallyfinCore/Transcripts/Scanner.hpp"

#include <algorithm>
#include <bit>
#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tallyfin::Fuzz {
namespace {

const std::string kPath = "/home/ada/.claude/projects/-src-alpha/5e55.1.jsonl";
constexpr std::int64_t kRank = 3;

bool isAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

// The number in `count` digits of `text` from `at` on; absent if one of them is not a digit.
std::optional<int> number(std::string_view text, std::size_t at, std::size_t count) {
  int value = 0;
  for (std::size_t i = at; i < at + count; ++i) {
    if (i >= text.size() || !isDigit(text[i])) return std::nullopt;
    value = value * 10 + (text[i] - '0');
  }
  return value;
}

// Parses yyyy-MM-dd, "T" or a blank, HH:mm:ss, an optional fraction and an optional offset to seconds since
// 1970.
std::optional<double> plainTime(std::string_view text) {
  constexpr std::string_view kShape = "####-##-##?##:##:##";
  if (text.size() < kShape.size()) return std::nullopt;
  for (std::size_t i = 0; i < kShape.size(); ++i) {
    const bool fits = kShape[i] == '#'   ? isDigit(text[i])
                      : kShape[i] == '?' ? text[i] == 'T' || text[i] == ' '
                                         : text[i] == kShape[i];
    if (!fits) return std::nullopt;
  }
  const int month = *number(text, 5, 2);
  const int day = *number(text, 8, 2);
  const int hour = *number(text, 11, 2);
  const int minute = *number(text, 14, 2);
  const int second = *number(text, 17, 2);
  if (month < 1 || month > 12 || day < 1 || day > 31 || hour > 23 || minute > 59 || second > 61) {
    return std::nullopt;
  }
  using namespace std::chrono;
  const auto firstOfMonth = std::chrono::year(*number(text, 0, 4)) / month / 1;
  std::int64_t seconds =
      (sys_days(firstOfMonth).time_since_epoch().count() + day - 1) * std::int64_t{86'400} + hour * 3600 +
      minute * 60 + second;
  text.remove_prefix(kShape.size());
  double fraction = 0;
  if (text.starts_with('.')) {
    text.remove_prefix(1);
    for (double weight = 0.1; !text.empty() && isDigit(text[0]); weight /= 10, text.remove_prefix(1)) {
      fraction += weight * (text[0] - '0');
    }
  }
  if (text.starts_with('+') || text.starts_with('-')) {
    const std::optional<int> hours = number(text, 1, 2);
    if (!hours) return std::nullopt;
    const std::size_t minutesAt = text.size() > 3 && text[3] == ':' ? 4 : 3;
    const int east = *hours * 3600 + number(text, minutesAt, 2).value_or(0) * 60;
    seconds -= text[0] == '-' ? -east : east;
  }
  return static_cast<double>(seconds) + fraction;
}

// The reduced id of a model. Uses the tested function for ids outside ASCII.
std::string plainModel(const std::string& id) {
  if (!isAscii(id)) return Pricing::normalizeModel(id);
  constexpr const char* kWhite = " \t\n\v\f\r";
  std::string model = id.substr(std::min(id.find_first_not_of(kWhite), id.size()));
  model.resize(model.find_last_not_of(kWhite) + 1);
  for (char& c : model) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + ('a' - 'A'));
  }
  for (std::size_t at = model.find("[1m]"); at != std::string::npos; at = model.find("[1m]", at)) {
    model.erase(at, 4);
  }
  if (model.size() > 9) {
    const std::string_view suffix = std::string_view(model).substr(model.size() - 9);
    if (suffix.starts_with("-20") && number(suffix, 1, 8)) model.resize(model.size() - 9);
  }
  return model;
}

AgentIdentity plainAgent(const std::string& id) {
  if (id.empty()) return AgentIdentity::main();
  const std::size_t hyphen = id.rfind('-');
  const std::string suffix = hyphen == std::string::npos ? "" : id.substr(hyphen + 1);
  const bool beginsWithA = id[0] == 'a' && Text::prefix(id, 1) == "a";
  if (!beginsWithA || hyphen == std::string::npos || hyphen < 2 ||
      (suffix.size() != 16 && suffix.size() != 17) ||
      suffix.find_first_not_of("0123456789abcdef") != std::string::npos) {
    return AgentIdentity::anonymous(InternedText(id));
  }
  return AgentIdentity::named(InternedText(id.substr(1, hyphen - 1)), InternedText(id));
}

// The result of reading, in order of first appearance.
struct PlainReading {
  std::vector<std::pair<std::string, UsageRecord>> records;
  ScanDiagnostics diagnostics;

  UsageRecord* find(const std::string& key) {
    for (auto& [known, record] : records) {
      if (Text::canonical(known) == Text::canonical(key)) return &record;
    }
    return nullptr;
  }
};

std::int64_t countOf(const PlainValue* object, const std::string& key) {
  const PlainValue* const value = object == nullptr ? nullptr : object->member(key);
  if (value == nullptr) return 0;
  if (value->kind == PlainValue::Kind::truth) return 1;
  return value->kind == PlainValue::Kind::number ? plainInteger(value->text) : 0;
}

// The counts of a usage object; absent if all are 0.
std::optional<UsageRecord> plainCounts(const PlainValue& usage) {
  UsageRecord record;
  record.input = countOf(&usage, "input_tokens");
  record.output = countOf(&usage, "output_tokens");
  record.cacheRead = countOf(&usage, "cache_read_input_tokens");
  const PlainValue* const tools = usage.member("server_tool_use");
  record.webSearch = countOf(tools, "web_search_requests");
  record.webFetch = countOf(tools, "web_fetch_requests");
  const std::int64_t written = countOf(&usage, "cache_creation_input_tokens");
  if (record.input == 0 && record.output == 0 && record.cacheRead == 0 && record.webSearch == 0 &&
      record.webFetch == 0 && written == 0) {
    return std::nullopt;
  }
  const PlainValue* const split = usage.member("cache_creation");
  const std::int64_t five = countOf(split, "ephemeral_5m_input_tokens");
  const std::int64_t one = countOf(split, "ephemeral_1h_input_tokens");
  std::int64_t sum = 0;
  if (!__builtin_add_overflow(five, one, &sum) && sum == written) {
    record.cacheWrite5m = five;
    record.cacheWrite1h = one;
  } else {
    record.cacheWrite5m = written;
    record.cacheWriteBreakdownAssumed = written > 0;
  }
  return record;
}

void raise(UsageRecord& known, const UsageRecord& line) {
  for (const auto count :
       {&UsageRecord::input, &UsageRecord::output, &UsageRecord::cacheRead, &UsageRecord::cacheWrite5m,
        &UsageRecord::cacheWrite1h, &UsageRecord::webSearch, &UsageRecord::webFetch}) {
    known.*count = std::max(known.*count, line.*count);
  }
  known.timestamp = std::min(known.timestamp, line.timestamp);
}

void readPlainly(std::string_view text, PlainReading& reading) {
  ScanDiagnostics& seen = reading.diagnostics;
  if (static_cast<std::int64_t>(text.size()) > seen.longestLineBytes) {
    seen.longestLineBytes = static_cast<std::int64_t>(text.size());
    seen.longestLinePath = kPath;
  }
  constexpr std::string_view kNeedle = "\"usage\"";
  if (std::search(text.begin(), text.end(), kNeedle.begin(), kNeedle.end()) == text.end()) return;
  ++seen.usageLinesSeen;
  const std::optional<PlainValue> line = readPlainJson(text).value;
  const PlainValue* const message = line ? line->member("message") : nullptr;
  const PlainValue* const usage = message == nullptr ? nullptr : message->member("usage");
  if (!line || !line->isObject()) {
    ++seen.linesRejectedInvalidJSON;
  } else if (message == nullptr || !message->isObject()) {
    ++seen.linesRejectedNoMessage;
  } else if (usage == nullptr || !usage->isObject()) {
    ++seen.linesNotUsageBearing;
  } else if (std::optional<UsageRecord> record = plainCounts(*usage); !record) {
    ++seen.linesSkippedZeroUsage;
  } else if (const auto time = plainTime(line->textMember("timestamp").value_or("")); !time) {
    ++seen.linesRejectedNoTimestamp;
  } else {
    const auto either = [&](const char* first, const char* second) {
      const std::optional<std::string> value = line->textMember(first);
      return value ? value : line->textMember(second);
    };
    const std::string id = message->textMember("id").value_or("");
    const std::string request = either("requestId", "request_id").value_or("");
    if (id.empty() || request.empty()) {
      ++seen.linesRejectedNoIdentity;
      return;
    }
    record->timestamp.seconds = *time;
    const std::string key = id + ":" + request;
    if (UsageRecord* const known = reading.find(key)) {
      raise(*known, *record);
      return;
    }
    record->model = InternedText(plainModel(message->textMember("model").value_or("unknown")));
    record->sessionId = InternedText(either("sessionId", "session_id").value_or("5e55.1"));
    record->rawCwd = InternedText(line->textMember("cwd").value_or(""));
    record->agent = plainAgent(line->textMember("agentId").value_or(""));
    record->sourceHome = InternedText(".claude");
    record->sourceRank = kRank;
    reading.records.emplace_back(key, *record);
  }
}

bool isSameText(InternedText left, InternedText right) {
  return left == right && left.text() == right.text();
}

void requireSame(const RecordMap& records, const PlainReading& plain) {
  require(records.size() == plain.records.size(), "the same number of requests");
  for (std::size_t i = 0; i < records.size(); ++i) {
    const auto& [key, record] = records.entries()[i];
    const auto& [plainKey, expected] = plain.records[i];
    require(key.text() == plainKey, "the same keys in the same order");
    require(record == expected, "the same record");
    require(std::bit_cast<std::uint64_t>(record.timestamp.seconds) ==
                std::bit_cast<std::uint64_t>(expected.timestamp.seconds),
            "the same time to the last bit");
    require(isSameText(record.model, expected.model) && isSameText(record.sessionId, expected.sessionId) &&
                isSameText(record.rawCwd, expected.rawCwd) &&
                isSameText(record.agent.rawId(), expected.agent.rawId()) &&
                isSameText(record.agent.name(), expected.agent.name()),
            "the same spellings");
  }
}

void requireSame(const ScanDiagnostics& seen, const ScanDiagnostics& plain) {
  require(seen.usageLinesSeen == plain.usageLinesSeen, "lines with the seven bytes");
  require(seen.linesRejectedInvalidJSON == plain.linesRejectedInvalidJSON, "lines that are no JSON");
  require(seen.linesRejectedNoMessage == plain.linesRejectedNoMessage, "lines without a message");
  require(seen.linesNotUsageBearing == plain.linesNotUsageBearing, "lines without usage");
  require(seen.linesSkippedZeroUsage == plain.linesSkippedZeroUsage, "lines of nothing");
  require(seen.linesRejectedNoTimestamp == plain.linesRejectedNoTimestamp, "lines without a time");
  require(seen.linesRejectedNoIdentity == plain.linesRejectedNoIdentity, "lines without identity");
  require(seen.longestLineBytes == plain.longestLineBytes, "the longest line");
  require(seen.longestLinePath == plain.longestLinePath, "the file of the longest line");
}

}  // namespace
}  // namespace tallyfin::Fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tallyfin;
  RecordMap records;
  ScanDiagnostics diagnostics;
  Fuzz::PlainReading plain;
  std::string_view rest = Fuzz::textOf(data, size);
  while (!rest.empty()) {
    const std::string line(
        rest.substr(0, rest.find('\n')));  // a copy, so that the sanitizer detects reads beyond its end
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    if (Fuzz::readPlainJson(line).isBeyond) continue;
    Scanner::ingest(line, Fuzz::kPath, InternedText(".claude"), Fuzz::kRank, records, diagnostics);
    Fuzz::readPlainly(line, plain);
  }
  Fuzz::requireSame(records, plain);
  Fuzz::requireSame(diagnostics, plain.diagnostics);
  return 0;
}
