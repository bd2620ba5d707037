// Input: the standard input of a server over a small home, for a whole session. Each request gets one reply,
// in order: a line of valid JSON with the request's id. Nothing else gets a reply.

#include "Fuzz/MemoryFile.hpp"
#include "Fuzz/PlainJson.hpp"
#include "Fuzz/Target.hpp"
#include "Golden/Steps.hpp"
#include "Platform/Streams.hpp"
#include "Platform/Text.hpp"
#include "TallyfinMCP/MCP.hpp"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tallyfin::Fuzz {
namespace {

class Session {
 public:
  Session() {
    furnish(machine_, fs::path(TALLYFIN_GOLDEN) / "small/home.txt");
    data_.ensureFresh();  // the clock does not advance, so no later call reads the disk
  }

  std::optional<std::string> reply(std::string_view line) { return server_.reply(line); }

  // Returns the number of log lines since the last call.
  std::size_t takeLogged() { return std::exchange(logged_, 0); }

 private:
  Machine machine_{{2026, 3, 10}, 14, 30, "Europe/Berlin"};
  DataSource data_{machine_.environment()};
  std::size_t logged_ = 0;
  MCPServer server_{data_, [this](std::string_view) { ++logged_; }};
};

std::vector<std::string> linesOf(std::string_view input) {
  std::vector<std::string> lines;
  while (!input.empty()) {
    std::string line(input.substr(0, input.find('\n')));
    input.remove_prefix(std::min(line.size() + 1, input.size()));
    if (line.ends_with('\r')) line.pop_back();
    lines.push_back(std::move(line));
  }
  return lines;
}

void requireResult(const std::string& method, const PlainValue& reply) {
  const bool isKnown =
      method == "initialize" || method == "ping" || method == "tools/list" || method == "tools/call";
  const PlainValue* const result = reply.member("result");
  const PlainValue* const error = reply.member("error");
  require(isKnown ? result != nullptr && result->isObject() : error != nullptr && error->isObject(),
          "a result for the methods there are, an error for others");
  if (!isKnown) {
    require(error->member("code") != nullptr && error->member("code")->text == "-32601",
            "the code of the error");
  }
  if (method != "tools/call") return;
  const PlainValue* const content = result->member("content");
  const PlainValue* const isError = result->member("isError");
  require(content != nullptr && content->elements.size() == 1 && isError != nullptr,
          "the shape of an answer");
  const std::string text = content->elements[0].textMember("text").value_or("");
  require(!text.empty(), "an answer says something");
  require(isError->kind == PlainValue::Kind::truth || isError->kind == PlainValue::Kind::falsehood,
          "an error or not");
}

// Checks the reply to one line against a simple implementation of the rules.
void requireReply(const std::string& line, const std::optional<std::string>& reply, std::size_t logged) {
  const std::string_view trimmed = Text::trimmedWhitespace(line);
  const auto [message, isBeyond] = readPlainJson(trimmed);
  if (isBeyond) return;
  const std::optional<std::string> method = message ? message->textMember("method") : std::nullopt;
  require(logged == (trimmed.empty() || method ? 0U : 1U), "what is no message is logged, once");
  const bool isOwed = method && message->member("id") != nullptr && method->rfind("notifications/", 0) != 0;
  require(reply.has_value() == isOwed, "a reply to each request, to nothing else");
  if (!reply) return;
  require(reply->find('\n') == std::string::npos, "a reply is one line");
  const std::optional<PlainValue> answer = readPlainJson(*reply).value;
  require(answer && answer->members.size() == 3, "a reply is an object of three members");
  require(answer->textMember("jsonrpc") == "2.0", "the version of the protocol");
  const PlainValue* const id = answer->member("id");
  require(id != nullptr && *id == *message->member("id"), "the id comes back");
  requireResult(*method, *answer);
}

}  // namespace
}  // namespace tallyfin::Fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tallyfin;
  static Fuzz::Session session;
  static const Fuzz::MemoryFile input;
  input.write(Fuzz::textOf(data, size));
  LineInput lines(input.descriptor());
  for (const std::string& expected : Fuzz::linesOf(Fuzz::textOf(data, size))) {
    const std::optional<std::string_view> line = lines.next();
    Fuzz::require(line == expected, "the lines of the input");
    const std::optional<std::string> reply = session.reply(*line);
    Fuzz::requireReply(expected, reply, session.takeLogged());
  }
  Fuzz::require(!lines.next(), "the end of the input");
  return 0;
}
