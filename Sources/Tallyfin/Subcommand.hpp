#pragma once

// What a subcommand is: one row of the table from which the parser, the help, the manual and the completion
// are made.

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

/// Wrong arguments: the message says what is accepted. Nothing was done then.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// What kind of value an option takes. It is checked before the work begins, and completion offers such
/// values.
enum class Values : std::uint8_t { any, number, word, words, days, project, agent, session, file, directory };

/// An option, or a word that stands without a name.
struct Option {
  std::string name;   ///< without its dashes: "session-id"
  std::string value;  ///< what help calls its value: "ID"; empty for a switch
  std::string help;
  Values values = Values::any;
  std::vector<std::string> words = {};  ///< of `word` and `words`: all that are accepted; otherwise examples
  bool isWord = false;                  ///< may be given without its name, in the order of the table
  bool isRequired = false;
  std::string otherName = {};  ///< a second name, or empty
};

/// The options that were given, by name.
class CallArguments {
 public:
  void set(const std::string& name, std::string value) { values_[name] = std::move(value); }

  bool has(const std::string& name) const { return values_.contains(name); }

  /// The value of an option that was given.
  std::optional<std::string> text(const std::string& name) const;

  /// The same of an option that takes numbers; a number beyond 64 bits becomes the largest.
  std::optional<std::int64_t> number(const std::string& name) const;

  /// The same of a list, taken apart at its commas.
  std::vector<std::string> list(const std::string& name) const;

 private:
  std::map<std::string, std::string> values_;
};

/// What a subcommand works with.
struct Call {
  CallArguments arguments;
  const Environment& environment;
  const Console& console;
};

struct Subcommand {
  std::string name;     ///< one word or two: "cost", "export csv"
  std::string summary;  ///< one line; empty for what only the shells call
  std::vector<Option> options = {};
  std::vector<std::string> examples = {};
  std::function<int(const Call&)> run = {};  ///< gives the exit status; throws UsageError
};

/// The one of `known` that was probably meant by `word`, or empty.
std::string nearest(std::string_view word, const std::vector<std::string>& known);

/// Writes a text to standard output as it is; gives the exit status.
int write(std::string_view text, const Console& console);

/// The same of a document; on a terminal, control characters in it are spelled out.
int print(std::string_view document, const Console& console);

/// Writes a line, or lines, to standard error, behind the command's name.
void tell(std::string_view message, const Console& console);

}  // namespace tallyfin::Command
