#include "Prose.hpp"

#include <algorithm>
#include <span>
#include <string_view>

namespace tallyfin::corpus {

namespace {

using Words = std::span<const std::string_view>;

constexpr std::size_t kStockBytes = std::size_t{1} << 20U;

constexpr std::array<std::string_view, 48> kNouns = {
    "request", "parser",   "buffer", "session", "handler", "index",   "record",  "cache",
    "queue",   "worker",   "schema", "column",  "invoice", "ledger",  "token",   "window",
    "branch",  "commit",   "module", "fixture", "payload", "header",  "cursor",  "stream",
    "router",  "template", "widget", "profile", "account", "balance", "report",  "digest",
    "backup",  "archive",  "socket", "timeout", "retry",   "metric",  "alert",   "panel",
    "shader",  "texture",  "matrix", "vector",  "sample",  "channel", "mailbox", "calendar"};

constexpr std::array<std::string_view, 32> kVerbs = {
    "read",    "write",  "merge",  "split",   "load",  "store",  "check",  "count",
    "open",    "close",  "fetch",  "parse",   "sort",  "group",  "filter", "rename",
    "replace", "reject", "accept", "move",    "copy",  "render", "rotate", "compute",
    "send",    "drain",  "flush",  "resolve", "retry", "trace",  "skip",   "apply"};

constexpr std::array<std::string_view, 24> kAdjectives = {
    "stale", "empty",  "shared",  "partial", "nested",   "sorted",  "strict", "lazy",
    "slow",  "silent", "missing", "broken",  "narrow",   "wide",    "local",  "remote",
    "plain", "late",   "early",   "unused",  "repeated", "trusted", "hidden", "final"};

constexpr std::array<std::string_view, 24> kJoints = {
    "the",  "a",      "because", "before", "after",  "when",    "and",   "but",
    "so",   "with",   "without", "into",   "behind", "between", "which", "that",
    "then", "should", "may",     "not",    "only",   "each",    "every", "still"};

// Words with characters of two, three and four bytes, and a combining mark.
constexpr std::array<std::string_view, 14> kForeignWords = {
    "größer", "naïve", "déjà-vu", "señal", "Prüfung", "é", "東京", "目次", "данные", "→", "≥", "—", "✓", "🚀"};

std::string_view noun(Random& random) {
  return random.pick(Words(kNouns));
}
std::string_view verb(Random& random) {
  return random.pick(Words(kVerbs));
}
std::string_view adjective(Random& random) {
  return random.pick(Words(kAdjectives));
}

void appendSentence(std::string& out, Random& random) {
  const std::uint64_t words = random.between(6, 18);
  for (std::uint64_t i = 0; i < words; ++i) {
    if (i > 0) out += ' ';
    const std::uint64_t kind = random.below(100);
    if (kind < 38) {
      out += random.pick(Words(kJoints));
    } else if (kind < 64) {
      out += noun(random);
    } else if (kind < 82) {
      out += verb(random);
    } else if (kind < 95) {
      out += adjective(random);
    } else if (kind < 97) {
      out.append("`").append(noun(random)).append(".").append(verb(random)).append("()`");
    } else if (kind < 98) {
      out.append("\"").append(noun(random)).append("\"");
    } else if (kind < 99) {
      out += random.pick(Words(kForeignWords));
    } else {
      // The key that a scan searches for, inside a text: after escaping, its quotation marks no longer match.
      out += "\"usage\"";
    }
  }
  out += random.chance(120) ? ".\n\n" : ". ";
}

void appendCodeLine(std::string& out, Random& random) {
  const std::uint64_t depth = random.below(4);
  if (random.chance(200)) {
    out.append(depth, '\t');
  } else {
    out.append(depth * 4, ' ');
  }
  switch (random.below(8)) {
    case 0:
      out.append("const auto ").append(noun(random)).append(" = ").append(verb(random));
      out.append("(").append(noun(random)).append(", ").append(std::to_string(random.below(4096)));
      out.append(");\n");
      break;
    case 1:
      out.append("if (!")
          .append(noun(random))
          .append(".empty() && ")
          .append(noun(random))
          .append(" != 0) {\n");
      break;
    case 2:
      out.append("log.").append(verb(random)).append("(\"").append(noun(random)).append(" ");
      out.append(adjective(random)).append(": %s\\n\", error);\n");
      break;
    case 3:
      out.append("// ");
      appendSentence(out, random);
      out += '\n';
      break;
    case 4:
      out.append("return ").append(noun(random)).append(".").append(verb(random)).append("();\n");
      break;
    case 5:
      out += "}\n\n";
      break;
    case 6:
      out.append("{\"").append(noun(random)).append("\": \"").append(adjective(random)).append("\", \"");
      out.append(random.chance(100) ? "usage" : noun(random)).append("\": ");
      out.append(std::to_string(random.below(100000))).append("},\n");
      break;
    default:
      out.append(noun(random)).append("[").append(std::to_string(random.below(64))).append("] += ");
      out.append(noun(random)).append(";\n");
      break;
  }
}

void appendOutputLine(std::string& out, Random& random) {
  const std::string number = std::to_string(random.below(1000000));
  switch (random.below(6)) {
    case 0:
      out.append("src/")
          .append(noun(random))
          .append("/")
          .append(verb(random))
          .append("_")
          .append(noun(random));
      out.append(".cpp:")
          .append(number)
          .append(": ")
          .append(adjective(random))
          .append(" ")
          .append(noun(random));
      out.append("\n");
      break;
    case 1:
      out.append("\x1b[32mok\x1b[0m ").append(number).append(" - ").append(verb(random)).append(" ");
      out.append(noun(random)).append("\n");
      break;
    case 2:
      out.append("     ").append(number.substr(0, 3)).append("\t");
      appendCodeLine(out, random);
      break;
    case 3:
      out.append("-rw-r--r-- 1 dev dev ").append(number).append(" ").append(noun(random)).append(".txt\n");
      break;
    case 4:
      out.append("[").append(number).append("] ");
      appendSentence(out, random);
      out += '\n';
      break;
    default:
      out.append("C:\\build\\").append(noun(random)).append("\\").append(noun(random)).append(".log\r\n");
      break;
  }
}

}  // namespace

void appendEscaped(std::string& out, std::string_view text) {
  constexpr std::string_view kHex = "0123456789abcdef";
  for (const char c : text) {
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\t':
        out += "\\t";
        break;
      default:
        if (static_cast<unsigned char>(c) < 0x20) {
          const auto byte = static_cast<unsigned char>(c);
          out.append("\\u00").append(1, kHex[byte >> 4U]).append(1, kHex[byte & 15U]);
        } else {
          out += c;
        }
    }
  }
}

Prose::Prose(Random random) {
  constexpr std::array kMakers = {&appendSentence, &appendCodeLine, &appendOutputLine};
  for (std::size_t kind = 0; kind < stocks_.size(); ++kind) {
    Stock& stock = stocks_[kind];
    stock.text.reserve(kStockBytes + 4096);
    std::string piece;
    while (stock.text.size() < kStockBytes) {
      stock.starts.push_back(stock.text.size());
      piece.clear();
      kMakers[kind](piece, random);
      appendEscaped(stock.text, piece);
      // Escapes that are valid but not necessary: a surrogate pair and a plain one.
      if (random.chance(15)) stock.text += R"(\ud83d\ude80 \u2713 )";
    }
    stock.starts.push_back(stock.text.size());
  }
}

void Prose::append(std::string& out, TextKind kind, std::size_t length, Random& random) const {
  const Stock& stock = stocks_[static_cast<std::size_t>(kind)];
  const std::size_t goal = out.size() + length;
  while (out.size() < goal) {
    const auto pieces = stock.starts.size() - 1;
    const std::size_t from = stock.starts[static_cast<std::size_t>(random.below(pieces))];
    const std::size_t wanted = from + (goal - out.size());
    const auto end = std::lower_bound(stock.starts.begin(), stock.starts.end(), wanted);
    const std::size_t to = end == stock.starts.end() ? stock.text.size() : *end;
    out.append(stock.text, from, to - from);
  }
}

}  // namespace tallyfin::corpus
