#include "TallyfinCore/Transcripts/Ingest.hpp"

// A line is parsed only if it contains the seven bytes `"usage"`. The parsed strings are views into the line,
// so they are not copied. A text is not interned again if the previous line had the same text.

#include "Platform/ByteSearch.hpp"
#include "Platform/Files.hpp"
#include "Platform/Json.hpp"
#include "TallyfinCore/Transcripts/ModelId.hpp"
#include "TallyfinCore/Transcripts/Timestamp.hpp"

#include <algorithm>
#include <optional>

namespace tallyfin::Scanner {
namespace {

using MaybeString = std::optional<JsonReader::String>;

// The counts of one line. `cacheCreation` counts all tokens written to the prompt cache; `ephemeral5m` and
// `ephemeral1h` are its two parts.
struct Usage {
  std::int64_t input = 0;
  std::int64_t output = 0;
  std::int64_t cacheRead = 0;
  std::int64_t cacheCreation = 0;
  std::int64_t ephemeral5m = 0;
  std::int64_t ephemeral1h = 0;
  std::int64_t webSearch = 0;
  std::int64_t webFetch = 0;

  bool isZero() const { return (input | output | cacheRead | cacheCreation | webSearch | webFetch) == 0; }
};

struct Message {
  std::optional<Usage> usage;
  MaybeString id;
  MaybeString model;
};

// The members of a transcript line that become part of a request.
struct Line {
  std::optional<Message> message;
  MaybeString timestamp;
  MaybeString requestId;
  MaybeString request_id;  // NOLINT(readability-identifier-naming): the older spelling of the key
  MaybeString sessionId;
  MaybeString session_id;  // NOLINT(readability-identifier-naming)
  MaybeString cwd;
  MaybeString agentId;
};

// Each function below reads one JSON value of any kind. If the value has the wrong kind, the result is absent
// or 0. If an object has the same key twice, the later value replaces the earlier one.

void read(JsonReader& reader, MaybeString& member) {
  member.reset();
  if (reader.peek() == JsonReader::Kind::string) {
    member = reader.string();
  } else {
    reader.skipValue();
  }
}

void read(JsonReader& reader, std::int64_t& count) {
  count = 0;
  switch (reader.peek()) {
    case JsonReader::Kind::number:
      if (const std::string_view digits = reader.number(); !reader.failed()) {
        count = integerOfJsonNumber(digits);
      }
      break;
    case JsonReader::Kind::boolean:
      count = reader.boolean() ? 1 : 0;
      break;
    default:
      reader.skipValue();
  }
}

void readCacheCreation(JsonReader& reader, Usage& usage) {
  usage.ephemeral5m = usage.ephemeral1h = 0;
  reader.readObject([&](std::string_view key) {
    if (key == "ephemeral_5m_input_tokens") {
      read(reader, usage.ephemeral5m);
    } else if (key == "ephemeral_1h_input_tokens") {
      read(reader, usage.ephemeral1h);
    } else {
      reader.skipValue();
    }
  });
}

void readServerToolUse(JsonReader& reader, Usage& usage) {
  usage.webSearch = usage.webFetch = 0;
  reader.readObject([&](std::string_view key) {
    if (key == "web_search_requests") {
      read(reader, usage.webSearch);
    } else if (key == "web_fetch_requests") {
      read(reader, usage.webFetch);
    } else {
      reader.skipValue();
    }
  });
}

void read(JsonReader& reader, std::optional<Usage>& member) {
  Usage usage;
  const bool isObject = reader.readObject([&](std::string_view key) {
    if (key == "input_tokens") {
      read(reader, usage.input);
    } else if (key == "output_tokens") {
      read(reader, usage.output);
    } else if (key == "cache_read_input_tokens") {
      read(reader, usage.cacheRead);
    } else if (key == "cache_creation_input_tokens") {
      read(reader, usage.cacheCreation);
    } else if (key == "cache_creation") {
      readCacheCreation(reader, usage);
    } else if (key == "server_tool_use") {
      readServerToolUse(reader, usage);
    } else {
      reader.skipValue();
    }
  });
  member = isObject ? std::optional(usage) : std::nullopt;
}

void read(JsonReader& reader, std::optional<Message>& member) {
  Message message;
  const bool isObject = reader.readObject([&](std::string_view key) {
    if (key == "usage") {
      read(reader, message.usage);
    } else if (key == "id") {
      read(reader, message.id);
    } else if (key == "model") {
      read(reader, message.model);
    } else {
      reader.skipValue();
    }
  });
  member = isObject ? std::optional(message) : std::nullopt;
}

// Parses a whole line. Returns false if the line is not one valid JSON object.
bool parse(std::string_view text, Line& line) {
  JsonReader reader(text);
  const bool isObject = reader.readObject([&](std::string_view key) {
    if (key == "message") {
      read(reader, line.message);
    } else if (key == "timestamp") {
      read(reader, line.timestamp);
    } else if (key == "requestId") {
      read(reader, line.requestId);
    } else if (key == "request_id") {
      read(reader, line.request_id);
    } else if (key == "sessionId") {
      read(reader, line.sessionId);
    } else if (key == "session_id") {
      read(reader, line.session_id);
    } else if (key == "cwd") {
      read(reader, line.cwd);
    } else if (key == "agentId") {
      read(reader, line.agentId);
    } else {
      reader.skipValue();
    }
  });
  return isObject && reader.finish();
}

// Keeps the last text and the value that was made from it. Most lines of a transcript have the same session,
// directory, agent and model as the line before, and all lines of a request have the same key. So the new
// text usually equals the last one, and one comparison replaces hashing or parsing.
template <typename T>
class Remembered {
 public:
  template <typename F>
  const T& of(std::string_view text, F&& make) {
    if (!value_ || text != text_) {
      value_ = make(text);
      text_ = text;
    }
    return *value_;
  }

 private:
  std::string text_;
  std::optional<T> value_;
};

InternedText interned(std::string_view text) {
  return InternedText(text);
}

// The data that each thread keeps from line to line: two buffers and the last value of each kind.
struct Workspace {
  std::string key;
  std::string unescaped;
  Remembered<InternedText> keys;
  Remembered<InternedText> models;
  Remembered<InternedText> sessions;
  Remembered<InternedText> directories;
  Remembered<AgentIdentity> agents;

  // The decoded text; empty if the string is absent. The view is valid until the next call.
  std::string_view text(const MaybeString& string) {
    return string ? string->text(unescaped) : std::string_view();
  }
};

// Appends the decoded text of `string` to `out`. Returns false if the string is absent or its text is empty.
bool appendText(const MaybeString& string, Workspace& work, std::string& out) {
  const std::string_view text = work.text(string);
  out += text;
  return !text.empty();
}

// Sets how many tokens were written to the prompt cache for 5 minutes and how many for 1 hour. If the two
// parts do not add up to the total, all tokens count as written for 5 minutes.
void splitCacheWrite(const Usage& usage, UsageRecord& record) {
  std::int64_t sum = 0;
  const bool fits = !__builtin_add_overflow(usage.ephemeral5m, usage.ephemeral1h, &sum);
  if (fits && sum == usage.cacheCreation) {
    record.cacheWrite5m = usage.ephemeral5m;
    record.cacheWrite1h = usage.ephemeral1h;
    return;
  }
  record.cacheWrite5m = usage.cacheCreation;
  record.cacheWriteBreakdownAssumed = usage.cacheCreation > 0;
}

UsageRecord countsOf(const Usage& usage, TimePoint timestamp) {
  UsageRecord record;
  record.timestamp = timestamp;
  record.input = usage.input;
  record.output = usage.output;
  record.cacheRead = usage.cacheRead;
  record.webSearch = usage.webSearch;
  record.webFetch = usage.webFetch;
  splitCacheWrite(usage, record);
  return record;
}

// Sets the fields of a record that describe the request. Called only for the first line of each request.
void describe(const Line& line, const std::string& path, Workspace& work, UsageRecord& record) {
  record.model =
      line.message->model
          ? work.models.of(work.text(line.message->model),
                           [](std::string_view id) { return InternedText(Pricing::normalizeModel(id)); })
          : InternedText("unknown");
  const MaybeString& session = line.sessionId ? line.sessionId : line.session_id;
  record.sessionId = session ? work.sessions.of(work.text(session), interned)
                             : InternedText(Files::withoutExtension(Files::lastComponent(path)));
  record.rawCwd = work.directories.of(work.text(line.cwd), interned);
  record.agent = work.agents.of(work.text(line.agentId),
                                [](std::string_view id) { return AgentIdentity::parse(InternedText(id)); });
}

}  // namespace

void ingest(std::string_view line, const std::string& path, InternedText home, std::int64_t rank,
            RecordMap& records, LineCounters& counters) {
  counters.longestLineBytes = std::max(counters.longestLineBytes, static_cast<std::int64_t>(line.size()));
  if (!containsBytes(line, "\"usage\"")) {
    return;
  }
  ++counters.usageLinesSeen;

  Line fields;
  if (!parse(line, fields)) {
    ++counters.linesRejectedInvalidJSON;
    return;
  }
  if (!fields.message) {
    ++counters.linesRejectedNoMessage;
    return;
  }
  if (!fields.message->usage) {
    ++counters.linesNotUsageBearing;
    return;
  }
  if (fields.message->usage->isZero()) {
    ++counters.linesSkippedZeroUsage;
    return;
  }

  thread_local Workspace work;
  const std::optional<TimePoint> timestamp = Timestamp::parse(work.text(fields.timestamp));
  if (!timestamp) {
    ++counters.linesRejectedNoTimestamp;
    return;
  }
  work.key.clear();
  bool identified = appendText(fields.message->id, work, work.key);
  work.key += ':';
  identified =
      appendText(fields.requestId ? fields.requestId : fields.request_id, work, work.key) && identified;
  if (!identified) {
    ++counters.linesRejectedNoIdentity;
    return;
  }

  UsageRecord record = countsOf(*fields.message->usage, *timestamp);
  const InternedText key = work.keys.of(work.key, interned);
  if (UsageRecord* const known = records.find(key)) {
    known->raiseTo(record);
    return;
  }
  describe(fields, path, work, record);
  record.sourceHome = home;
  record.sourceRank = rank;
  records.append(key, record);
}

void ingest(std::string_view line, const std::string& path, InternedText home, std::int64_t rank,
            RecordMap& records, ScanDiagnostics& diagnostics) {
  LineCounters counters;
  ingest(line, path, home, rank, records, counters);
  diagnostics.add(counters, path);
}

}  // namespace tallyfin::Scanner
