#pragma once

// The definition of a subcommand. Parser, help, manual and completion are generated from it.

#include "Tallyfin/Console.hpp"
#include "TallyfinCore/Environment.hpp"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace tallyfin::Command {

/// Wrong arguments. The message says what is accepted. No work has been done.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// The kind of value that an option takes. The parser checks values before the work begins, and completion
/// offers such values.
enum class Values : std::uint8_t { any, number, word, words, days, project, agent, session, file, directory };

/// An option, or a value that may be given without its name.
struct Option {
  std::string name;   ///< without dashes: "session-id"
  std::string value;  ///< the placeholder of the value in help: "ID"; empty for a switch
  std::string help;
  Values values = Values::any;
  std::vector<std::string> words = {};  ///< for `word` and `words`: all accepted words; otherwise examples
  bool isWord = false;                  ///< may be given without its name; order: that of the table
  bool isRequired = false;
  std::string otherName = {};  ///< a second name, or empty
};

/// The given options, by name.
class CallArguments {
 public:
  void set(const std::string& name, std::string value) { values_[name] = std::move(value); }

  bool has(const std::string& name) const { return values_.contains(name); }

  /// The value of an option; absent if it was not given.
  std::optional<std::string> text(const std::string& name) const;

  /// The value of an option that takes a number; beyond 64 bits, the largest 64-bit number. Absent if it was
  /// not given.
  std::optional<std::int64_t> number(const std::string& name) const;

  /// The values of a list option, which commas separate.
  std::vector<std::string> list(const std::string& name) const;

 private:
  std::map<std::string, std::string> values_;
};

/// The input of a subcommand.
struct Call {
  CallArguments arguments;
  const Environment& environment;
  const Console& console;
};

struct Subcommand {
  std::string name;     ///< one word or two: "cost", "export csv"
  std::string summary;  ///< one line; empty if only shells call it
  std::vector<Option> options = {};
  std::vector<std::string> examples = {};
  std::function<int(const Call&)> run = {};  ///< returns the exit status; throws UsageError
};

/// The word of `known` that the user probably meant by `word`; empty if none is close.
std::string nearest(std::string_view word, const std::vector<std::string>& known);

/// Writes a text to standard output unchanged. Returns the exit status.
int write(std::string_view text, const Console& console);

/// Writes a document to standard output. On a terminal, spells out its control characters. Returns the exit
/// status.
int print(std::string_view document, const Console& console);

/// Writes one or more lines to standard error, after the name of the command.
void tell(std::string_view message, const Console& console);

}  // namespace tallyfin::Command
