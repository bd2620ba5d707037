#include "Tallyfin/Manual.hpp"

#include "Platform/Concat.hpp"
#include "Tallyfin/Subcommands.hpp"
#include "TallyfinCore/Transcripts/Homes.hpp"
#include "absl/strings/str_join.h"
#include "absl/strings/str_replace.h"

#include <cstddef>

namespace tallyfin::Command {
namespace {

constexpr const char* kHead = R"(.Dd November 23, 2026
.Dt TALLYFIN 1
.Os
.Sh NAME
.Nm tallyfin
.Nd what coding agents cost on this machine
.Sh SYNOPSIS
.Nm
.Op Ar command
.Op Ar word ...
.Op Ar option ...
.Sh DESCRIPTION
.Nm
reads the transcripts that Claude Code leaves on this machine and tells what the requests in them cost at list API
prices.
Without a command it prints the overview of today.
It gives the figures of the server
.Xr TallyfinMCP 1 ,
whose tools are its first commands and answer in the same words.
.Pp
Every figure is an estimate, not a bill.
What cannot be computed is the word
.Ql unknown
with its reason, or a lower bound, never 0 and never an empty cell.
.Ss Commands
)";

constexpr const char* kAfterCommands = R"(.Ss Periods
A
.Ar PERIOD
is
.Cm today , yesterday , 7d
.Pq any number of days, today among them ,
.Cm thisWeek , lastWeek
.Pq from Monday ,
.Cm thisMonth , lastMonth , last7Days , last30Days , yearToDate
or
.Cm all ,
in any letter case; or days as yyyy-MM-dd with
.Fl -from
and
.Fl -to ,
both included: without
.Fl -to
up to today, without
.Fl -from
since the first request.
Days are those of the machine's time zone.
.Ss Names
Agents, projects and sessions are named by a few letters.
Where these fit several, the candidates are told; nothing is guessed.
.Ss Options of all commands
)";

constexpr const char* kTail = R"(.Ss What is shown on a terminal
Names come from transcripts, which anyone may have written: on a terminal control characters and marks that turn the
direction of writing are shown as escapes such as \ex1B.
A file or a pipe gets them as they are.
A read that takes longer than 0.3 seconds shows how far it is.
.Sh ENVIRONMENT
Of the first three, empty counts as unset, and a leading tilde is the home directory.
.Bl -tag -width Ds
.It Ev TALLYFIN_HOME
The directory that holds the four folders listed below, instead of the home directory.
.It Ev TALLYFIN_CACHE_PATH
The cache file, instead of the one listed below.
.It Ev TALLYFIN_PRICES
The file of own prices, instead of the one listed below.
.It Ev TZ
The time zone in which days and hours are counted: the name of a zone, or of its file.
A rule such as CET-1CEST is not understood, nor is an unknown name: days are those of UTC then, and a line on standard
error says so.
.It Ev NO_COLOR
When it is set, tables have no colours.
.It Ev COLUMNS
The width of tables, instead of the terminal's.
.El
.Sh FILES
.Bl -tag -width Ds
.It Pa @HOMES@
The folders with transcripts, which are only read.
Other folders are not read; a symbolic link of one of these names is followed.
.It Pa ~/.cache/net.quillpond.tallyfin/scan-cache.v2.bin
The cache, shared with the server.
It may be deleted at any time.
.It Pa ~/.cache/net.quillpond.tallyfin/home-*.bin
The cache of a directory that was named with
.Fl -home .
.It Pa ~/.config/net.quillpond.tallyfin/prices.json
Own prices, which add to list prices or replace them; need not be there.
.El
.Sh AXES OF TIME
Days are those of the local time zone; rows hold the requests of the range alone.
.Bl -tag -width Ds
.It Cm day
A calendar day, as
.Ql 2026-11-22 .
.It Cm hour
An hour of the day, all days of the range folded.
.It Cm week
A week of ISO 8601, as
.Ql 2026-W47 :
it begins on Monday, and week 1 holds the first Thursday of the year.
.It Cm month
A calendar month, as
.Ql 2026-11 .
.It Cm block
Five hours, as subscriptions meter, as
.Ql 2026-11-22 14:00 :
a block begins at the full local hour of the first request after the last block ended.
Where blocks begin does not depend on the range.
Real limits are not in transcripts: a block tells what was used, not what is left.
.El
.Sh OWN PRICES
The file is a JSON object whose member
.Ql prices
is an array of objects with the members
.Ql model ,
.Ql input
and
.Ql output ,
and where wanted
.Ql cache_write_5m ,
.Ql cache_write_1h
and
.Ql cache_read ,
US dollars per million tokens each, and
.Ql until ,
the last day of the price as yyyy-MM-dd:
.Bd -literal -offset indent
{"prices": [
  {"model": "nova-1", "input": 2.5, "output": 10, "until": "2026-12-31"},
  {"model": "local-coder", "input": 0, "output": 0}
]}
.Ed
.Pp
Of the models, own and built in, that an id is or begins with, the longest that has a price on the day decides, an own
one before a built-in one of the same length.
A file that is wrong anywhere is not used at all.
.Sh EXIT STATUS
.Bl -tag -width Ds
.It 0
Done; for
.Cm verify :
the cache matches; for
.Cm budget :
within it.
.It 1
The work failed, there is no home directory or it cannot be opened, the question names something that is not there, or
.Cm verify
found a divergence or no cache, or the file of
.Cm prices Fl -check
cannot be used.
.It 2
Wrong usage; nothing was done.
.It 3
.Cm budget :
over it.
.It 4
.Cm budget :
cannot be told, since requests without a price, or what could not be read, may have gone beyond it.
.El
.Sh SEE ALSO
.Xr TallyfinMCP 1
)";

// A text as mdoc takes it: each sentence on a line of its own, no line that would be a request.
std::string prose(const std::string& text) {
  const std::string escaped = absl::StrReplaceAll(text, {{"\\", "\\e"}, {". ", ".\n"}});
  return escaped.starts_with('.') || escaped.starts_with('\'') ? concat("\\&", escaped) : escaped;
}

// The page with its lines of text, not its requests, broken where they would be longer than a terminal's.
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

// An argument of a request that is one word, whatever it looks like.
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
  std::string page = kHead;
  page += ".Bl -tag -width Ds\n";
  for (const Subcommand& one : subcommands()) {
    append(page, ".It Cm ", one.name, "\n", prose(one.summary), ".\n");
    appendOptions(page, one.options);
    for (const std::string& example : one.examples) {
      append(page, ".Pp\n.Dl ", quoted(concat("$ ", example)), "\n");
    }
  }
  append(page, ".El\n", kAfterCommands);
  appendOptions(page, commonOptions());
  const std::string homes =
      absl::StrJoin(SourceHome::defaults("~"), " , ",
                    [](std::string* out, const SourceHome& home) { append(*out, "~/", home.name); });
  return wrapped(page + absl::StrReplaceAll(kTail, {{"@HOMES@", homes}}));
}

}  // namespace tallyfin::Command
