#include "TranscriptWriter.hpp"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <span>

namespace tallyfin::corpus {

namespace {

constexpr std::uint64_t kMillion = 1'000'000;

void appendNumber(std::string& out, std::uint64_t value) {
  std::array<char, 20> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
  out.append(digits.data(), end);
}

void appendPadded(std::string& out, std::uint64_t value, std::size_t width) {
  const std::size_t start = out.size();
  appendNumber(out, value);
  const std::size_t written = out.size() - start;
  if (written < width) out.insert(start, width - written, '0');
}

// Appends a time stamp such as 2026-03-01T09:30:00.125Z.
void appendTime(std::string& out, Milliseconds time) {
  using namespace std::chrono;
  const sys_time<milliseconds> point{milliseconds(time)};
  const auto midnight = floor<days>(point);
  const year_month_day date(midnight);
  const hh_mm_ss clock(point - midnight);
  appendPadded(out, static_cast<std::uint64_t>(static_cast<int>(date.year())), 4);
  out += '-';
  appendPadded(out, static_cast<unsigned>(date.month()), 2);
  out += '-';
  appendPadded(out, static_cast<unsigned>(date.day()), 2);
  out += 'T';
  appendPadded(out, static_cast<std::uint64_t>(clock.hours().count()), 2);
  out += ':';
  appendPadded(out, static_cast<std::uint64_t>(clock.minutes().count()), 2);
  out += ':';
  appendPadded(out, static_cast<std::uint64_t>(clock.seconds().count()), 2);
  out += '.';
  appendPadded(out, static_cast<std::uint64_t>(clock.subseconds().count()), 3);
  out += 'Z';
}

void appendBase62(std::string& out, std::uint64_t length, Random& random) {
  constexpr std::string_view kDigits = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz-_";
  std::uint64_t bits = 0;
  for (std::uint64_t i = 0; i < length; ++i) {
    if (i % 10 == 0) bits = random.next();
    // Only 62 digits exist, so the last two of 64 values map to letters.
    const std::uint64_t sign = bits & 63U;
    out += kDigits[static_cast<std::size_t>(sign < 62 ? sign : sign - 20)];
    bits >>= 6U;
  }
}

// The token counts of one request.
struct Tokens {
  std::uint64_t input = 0;
  std::uint64_t cacheWrite = 0;
  std::uint64_t cacheRead = 0;
  std::uint64_t output = 0;  // as in the last line of the request
  bool isOneHour = false;    // the cache write goes to the 1-hour cache
  std::uint64_t webSearches = 0;
  std::uint64_t webFetches = 0;
};

class Writer {
 public:
  Writer(std::string& out, const Prose& prose, const Session& session, const Transcript& transcript)
      : out_(out),
        prose_(prose),
        session_(session),
        transcript_(transcript),
        random_(transcript.seed),
        start_(out.size()),
        context_(random_.between(9000, 24000)) {}

  Counts run(std::uint64_t bytes) {
    promptLine();
    while (written() < bytes) {
      const std::uint64_t kind = random_.below(1000);
      if (kind < 3) {
        failedRequest();
      } else if (kind < 8 && transcript_.agentId.empty()) {
        summaryLine();
        context_ = random_.between(12000, 30000);
      } else if (kind < 14) {
        systemLine();
      } else {
        request();
      }
    }
    if (transcript_.agentId.empty()) titleLine();
    return counts_;
  }

 private:
  std::uint64_t written() const { return out_.size() - start_; }

  // The time of the current line, which rises from the transcript's start to its end in proportion to the
  // bytes written.
  Milliseconds time() const {
    const std::uint64_t done = std::min(written(), transcript_.bytes);
    const auto length = static_cast<std::uint64_t>(transcript_.end - transcript_.start);
    return transcript_.start +
           static_cast<Milliseconds>(length * done / std::max<std::uint64_t>(transcript_.bytes, 1));
  }

  // The working directory, which sometimes changes to another one of the transcript's directories.
  std::string_view directory() {
    if (random_.chance(8))
      directory_ = static_cast<std::size_t>(random_.below(transcript_.directories.size()));
    return transcript_.directories[directory_];
  }

  void beginLine() {
    lineStart_ = out_.size();
    out_ += R"({"parentUuid":)";
    if (parent_.empty()) {
      out_ += "null";
    } else {
      out_.append("\"").append(parent_).append("\"");
    }
    out_ += transcript_.agentId.empty() ? R"(,"isSidechain":false)" : R"(,"isSidechain":true)";
    out_ += R"(,"userType":"external","cwd":")";
    appendEscaped(out_, directory());
    out_.append(R"(","sessionId":")").append(session_.id);
    out_ += transcript_.isOldFormat ? R"(","version":"1.4.19")" : R"(","version":"2.3.7")";
    out_.append(R"(,"gitBranch":")").append(session_.branch).append("\"");
    if (!transcript_.agentId.empty()) out_.append(R"(,"agentId":")").append(transcript_.agentId).append("\"");
  }

  void endLine() {
    parent_.clear();
    appendUuid(parent_, random_);
    out_.append(R"(,"uuid":")").append(parent_).append(R"(","timestamp":")");
    appendTime(out_, time());
    out_ += "\"}\n";
    ++counts_.lines;
  }

  void endUsageLine() {
    endLine();
    ++counts_.usageLines;
    counts_.usageBytes += out_.size() - lineStart_;
  }

  void promptLine() {
    beginLine();
    out_ += R"(,"type":"user","message":{"role":"user","content":")";
    prose_.append(out_, TextKind::prose, random_.longTailed(40, 2500), random_);
    out_ += "\"}";
    endLine();
  }

  // The client's title of the session. It draws no random numbers, so that requests do not depend on it.
  void titleLine() {
    static constexpr std::array<std::string_view, 8> kDeeds = {"Fix",      "Explain", "Extend", "Review",
                                                               "Speed up", "Test",    "Rename", "Split"};
    static constexpr std::array<std::string_view, 10> kThings = {
        "the date parser", "the retry logic",    "the export dialog", "invoice rounding", "the login page",
        "cache eviction",  "the search results", "the CI workflow",   "config loading",   "error messages"};
    const std::uint64_t seed = transcript_.seed >> 8U;
    out_.append(R"({"type":"ai-title","aiTitle":")").append(kDeeds.at(seed % kDeeds.size())).append(" ");
    out_.append(kThings.at(seed / kDeeds.size() % kThings.size()));
    out_.append(R"(","sessionId":")").append(session_.id).append("\"}\n");
    ++counts_.lines;
  }

  void summaryLine() {
    out_ += R"({"type":"summary","summary":")";
    prose_.append(out_, TextKind::prose, random_.longTailed(40, 200), random_);
    out_ += R"(","leafUuid":")";
    appendUuid(out_, random_);
    out_ += "\"}\n";
    ++counts_.lines;
  }

  void systemLine() {
    beginLine();
    out_ += R"(,"type":"system","subtype":"notice","level":"info","content":")";
    prose_.append(out_, TextKind::output, random_.longTailed(40, 600), random_);
    out_ += "\"";
    endLine();
  }

  // A request that failed: a line whose usage counts are all zero.
  void failedRequest() {
    messageId_.assign("msg_");
    appendUuid(messageId_, random_);
    requestId_ = "req_011C";
    appendBase62(requestId_, 20, random_);
    beginMessage("<synthetic>");
    out_ += R"({"type":"text","text":")";
    prose_.append(out_, TextKind::prose, 60, random_);
    out_ += "\"}";
    endMessage(Tokens(), 0);
  }

  void request() {
    messageId_ = "msg_01";
    appendBase62(messageId_, 22, random_);
    requestId_ = "req_011C";
    appendBase62(requestId_, 20, random_);
    const Tokens tokens = drawTokens();
    const std::string_view model = transcript_.model;
    const std::uint64_t draw = random_.below(100);
    const std::uint64_t lines = draw < 29 ? 1 : draw < 80 ? 2 : draw < 96 ? 3 : 4;
    const bool isThinking = lines > 1 && random_.chance(450);
    const bool endsInText = random_.chance(90);
    for (std::uint64_t line = 1; line <= lines; ++line) {
      beginMessage(model);
      const bool isLast = line == lines;
      if (isThinking && line == 1) {
        thinkingBlock();
      } else if (isLast ? endsInText : line + 1 < lines || !random_.chance(200)) {
        textBlock();
      } else {
        toolBlock();
      }
      // The lines before the last one report only part of the output.
      const std::uint64_t output =
          isLast ? tokens.output : std::max<std::uint64_t>(1, tokens.output * (line - 1) / lines);
      endMessage(tokens, output);
    }
    ++counts_.requests;
    if (endsInText) {
      promptLine();
    } else {
      toolResultLine();
    }
  }

  Tokens drawTokens() {
    Tokens tokens;
    tokens.input = random_.chance(60) ? random_.longTailed(50, 9000) : random_.between(1, 12);
    tokens.output = random_.longTailed(30, 4000);
    tokens.cacheRead = random_.chance(30) ? 0 : context_;
    tokens.cacheWrite = tokens.cacheRead == 0 ? context_ : random_.longTailed(80, 12000);
    tokens.isOneHour = random_.chance(120);
    if (!transcript_.isOldFormat && random_.chance(6)) tokens.webSearches = random_.between(1, 3);
    if (!transcript_.isOldFormat && random_.chance(4)) tokens.webFetches = 1;
    context_ += random_.longTailed(80, 12000);
    if (context_ > 170000) context_ = random_.between(12000, 30000);
    return tokens;
  }

  void beginMessage(std::string_view model) {
    beginLine();
    out_.append(R"(,"message":{"id":")").append(messageId_);
    out_.append(R"(","type":"message","role":"assistant","model":")")
        .append(model)
        .append(R"(","content":[)");
  }

  void endMessage(const Tokens& tokens, std::uint64_t output) {
    out_ += R"(],"stop_reason":null,"stop_sequence":null,"usage":{"input_tokens":)";
    appendNumber(out_, tokens.input);
    out_ += R"(,"cache_creation_input_tokens":)";
    appendNumber(out_, tokens.cacheWrite);
    out_ += R"(,"cache_read_input_tokens":)";
    appendNumber(out_, tokens.cacheRead);
    if (!transcript_.isOldFormat) {
      out_ += R"(,"cache_creation":{"ephemeral_5m_input_tokens":)";
      appendNumber(out_, tokens.isOneHour ? 0 : tokens.cacheWrite);
      out_ += R"(,"ephemeral_1h_input_tokens":)";
      appendNumber(out_, tokens.isOneHour ? tokens.cacheWrite : 0);
      out_ += "}";
    }
    out_ += R"(,"output_tokens":)";
    appendNumber(out_, output);
    if (tokens.webSearches + tokens.webFetches > 0) {
      out_ += R"(,"server_tool_use":{"web_search_requests":)";
      appendNumber(out_, tokens.webSearches);
      out_ += R"(,"web_fetch_requests":)";
      appendNumber(out_, tokens.webFetches);
      out_ += "}";
    }
    out_.append(R"(,"service_tier":"standard"}},"requestId":")")
        .append(requestId_)
        .append(R"(","type":"assistant")");
    endUsageLine();
  }

  void thinkingBlock() {
    out_ += R"({"type":"thinking","thinking":")";
    prose_.append(out_, TextKind::prose, random_.longTailed(80, 4600), random_);
    out_ += R"(","signature":")";
    appendBase62(out_, random_.between(200, 900), random_);
    out_ += "\"}";
  }

  void textBlock() {
    out_ += R"({"type":"text","text":")";
    prose_.append(out_, TextKind::prose, random_.longTailed(60, 4200), random_);
    out_ += "\"}";
  }

  void toolBlock() {
    toolId_ = "toolu_01";
    appendBase62(toolId_, 22, random_);
    out_.append(R"({"type":"tool_use","id":")").append(toolId_).append(R"(","name":)");
    const std::uint64_t kind = random_.below(100);
    if (kind < 40) {
      out_ += R"("Bash","input":{"command":")";
      prose_.append(out_, TextKind::code, random_.longTailed(30, 800), random_);
      out_ += R"(","description":")";
      prose_.append(out_, TextKind::prose, 40, random_);
    } else if (kind < 65) {
      out_ += R"("Read","input":{"file_path":")";
      appendEscaped(out_, transcript_.directories[directory_]);
      out_ += "/notes.txt";
    } else if (kind < 88) {
      out_ += R"("Edit","input":{"old_string":")";
      prose_.append(out_, TextKind::code, random_.longTailed(60, 3000), random_);
      out_ += R"(","new_string":")";
      prose_.append(out_, TextKind::code, random_.longTailed(60, 3000), random_);
    } else if (kind < 97) {
      out_ += R"("Write","input":{"content":")";
      prose_.append(out_, TextKind::code, random_.longTailed(300, 20000), random_);
    } else {
      // A search for the word itself, so the seven bytes of the key occur in the line.
      out_ += R"("Grep","input":{"output_mode":"content","pattern":"usage)";
    }
    out_ += "\"}}";
  }

  void toolResultLine() {
    beginLine();
    out_ += R"(,"type":"user","message":{"role":"user","content":[{"type":"tool_result","tool_use_id":")";
    out_.append(toolId_).append(R"(","content":")");
    const bool isHuge = transcript_.bytes > kMillion && random_.below(5000) == 0;
    const std::uint64_t length =
        isHuge ? random_.between(kMillion / 2, 3 * kMillion) : random_.longTailed(120, 26000);
    prose_.append(out_, random_.chance(500) ? TextKind::code : TextKind::output, length, random_);
    out_ += "\"}]}";
    if (random_.chance(12)) {
      // The totals of a finished sub-agent: a `usage` member that does not belong to a message.
      out_ += R"(,"toolUseResult":{"status":"completed","totalTokens":)";
      appendNumber(out_, random_.between(9000, 90000));
      out_ += R"(,"usage":{"input_tokens":)";
      appendNumber(out_, random_.between(1, 900));
      out_ += R"(,"output_tokens":)";
      appendNumber(out_, random_.between(100, 9000));
      out_ += "}}";
    }
    endLine();
  }

  std::string& out_;
  const Prose& prose_;
  const Session& session_;
  const Transcript& transcript_;
  Random random_;
  Counts counts_;
  std::size_t start_;          // offset of the transcript in `out_`
  std::size_t lineStart_ = 0;  // offset of the current line in `out_`
  std::uint64_t context_;      // tokens that the next request reads from the cache
  std::size_t directory_ = 0;
  std::string parent_;  // UUID of the previous line
  std::string messageId_;
  std::string requestId_;
  std::string toolId_ = "toolu_01";
};

}  // namespace

Counts& Counts::operator+=(const Counts& other) {
  lines += other.lines;
  usageLines += other.usageLines;
  usageBytes += other.usageBytes;
  requests += other.requests;
  return *this;
}

Counts appendTranscript(std::string& out, const Prose& prose, const Session& session,
                        const Transcript& transcript, std::uint64_t bytes) {
  return Writer(out, prose, session, transcript).run(bytes);
}

}  // namespace tallyfin::corpus
