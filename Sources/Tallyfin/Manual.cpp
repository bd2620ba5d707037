#include "Tallyfin/Manual.hpp"

#include "Platform/Concat.hpp"
#include "Tallyfin/Subcommands.hpp"
#include "TallyfinCore/Transcripts/Homes.hpp"
#include "absl/strings/str_join.h"
#include "absl/strings/str_replace.h"

#include <cstddef>

namespace tallyfin::Command {
namespace {

// Escapes a text for mdoc: each sentence on its own line, and no line that mdoc would read as a request.
std::string prose(const std::string& text) {
  const std::string escaped = absl::StrReplaceAll(text, {{"\\", "\\e"}, {". ", ".\n"}});
  return escaped.starts_with('.') || escaped.starts_with('\'') ? concat("\\&", escaped) : escaped;
}

// Wraps the text lines of the page at the width of a terminal; request lines stay whole.
std::string wrapped(const std::string& page) {
  constexpr std::size_t kWidth = 79;  // bytes
  std::string out;
  for (std::size_t begin = 0; begin < page.size();) {
    const std::size_t end = page.find('\n', begin);
    std::size_t blank = page.rfind(' ', begin + kWidth);
    if (page[begin] == '.' || end - begin <= kWidth || blank == std::string::npos || blank <= begin) {
      blank = end;
    }
    append(out, std::string_view(page).substr(begin, blank - begin), "\n");
    begin = blank + 1;
  }
  return out;
}

// Quotes an argument of a request, so that it stays one word.
std::string quoted(const std::string& text) {
  return concat("\"", absl::StrReplaceAll(text, {{"\\", "\\e"}, {"\"", "\"\""}}), "\"");
}

void appendOption(std::string& page, const Option& option) {
  append(page, ".It ");
  if (option.isWord) {
    append(page, "Ar ", option.value, " , ");
  }
  append(page, "Fl -", option.name);
  if (!option.value.empty()) {
    append(page, " Ar ", option.value);
  }
  if (!option.otherName.empty()) {
    append(page, " , Fl -", option.otherName, " Ar ", option.value);
  }
  append(page, "\n", prose(option.help), option.help.ends_with('.') ? "\n" : ".\n");
  if (option.values == Values::word || option.values == Values::words) {
    std::string words;
    for (const std::string& word : option.words) {
      append(words, words.empty() ? "" : " , ", word);
    }
    append(page, "One of\n.Cm ", words, " .\n");
  }
}

void appendOptions(std::string& page, const std::vector<Option>& options) {
  if (options.empty()) {
    return;
  }
  page += ".Bl -tag -width Ds -compact\n";
  for (const Option& option : options) {
    appendOption(page, option);
  }
  page += ".El\n";
}

}  // namespace

std::string manual() {
  std::string commands = ".Bl -tag -width Ds\n";
  for (const Subcommand& one : subcommands()) {
    append(commands, ".It Cm ", one.name, "\n", prose(one.summary), ".\n");
    appendOptions(commands, one.options);
    for (const std::string& example : one.examples) {
      append(commands, ".Pp\n.Dl ", quoted(concat("$ ", example)), "\n");
    }
  }
  commands += ".El\n";
  std::string options;
  appendOptions(options, commonOptions());
  const std::string homes =
      absl::StrJoin(SourceHome::defaults("~"), " , ",
                    [](std::string* out, const SourceHome& home) { append(*out, "~/", home.name); });
  return wrapped(absl::StrReplaceAll(
      manualTemplate, {{"%COMMANDS%\n", commands}, {"%OPTIONS%\n", options}, {"%HOMES%", homes}}));
}

}  // namespace tallyfin::Command
