#include "Tallyfin/Manual.hpp"

#include "Platform/Concat.hpp"
#include "Tallyfin/Subcommand.hpp"
#include "TallyfinCore/Transcripts/Homes.hpp"
#include "absl/strings/str_join.h"
#include "absl/strings/str_replace.h"

#include <cstddef>

namespace tallyfin::Command {
namespace {

constexpr const char* kHead = R"(.Dd November 24, 2026
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
reads the transcripts that Claude Code keeps on this machine and shows what their requests cost at list API prices.
Without a command it prints today's overview.
Its first commands are the tools of the server
.Xr TallyfinMCP 1
and print the same text.
.Pp
Every figure is an estimate, not a bill.
What cannot be computed is
.Ql unknown
with its reason, or a lower bound.
It is never 0 and never an empty cell.
.Ss Commands
)";

constexpr const char* kAfterCommands = R"(.Ss Periods
A
.Ar PERIOD
is
.Cm today , yesterday , 7d
.Pq any number of days, including today ,
.Cm thisWeek , lastWeek
.Pq from Monday ,
.Cm thisMonth , lastMonth , last7Days , last30Days , yearToDate
or
.Cm all ,
in any letter case.
Instead of a period,
.Fl -from
and
.Fl -to
take days as yyyy-MM-dd, both included.
.Fl -from
alone means up to today,
.Fl -to
alone from the first request.
Days are those of the machine's time zone.
.Ss Names
A few letters of an agent's, project's or session's name are enough.
If they fit several names, the candidates are listed.
.Ss Options of all commands
)";

constexpr const char* kTail = R"(.Ss On a terminal
Names come from transcripts, which anyone may have written.
On a terminal, control characters and marks that change the direction of writing are shown as escapes such as \ex1B.
Files and pipes get the names as they are.
A read that takes longer than 0.3 seconds shows its progress.
.Sh ENVIRONMENT
The first three count as unset if they are empty, and a leading tilde is the home directory.
.Bl -tag -width Ds
.It Ev TALLYFIN_HOME
The directory that holds the four folders listed below, instead of the home directory.
.It Ev TALLYFIN_CACHE_PATH
The cache file, instead of the one listed below.
.It Ev TALLYFIN_PRICES
The file of your own prices, instead of the one listed below.
.It Ev TZ
The time zone of days and hours: the name of a zone, or the path of its file.
A rule such as CET-1CEST is not supported.
If the zone is not known, days are those of UTC, and a message says so.
.It Ev NO_COLOR
If set, tables have no colours.
.It Ev COLUMNS
The width of tables, instead of the terminal's.
.El
.Sh FILES
.Bl -tag -width Ds
.It Pa @HOMES@
The folders with transcripts.
They are only read.
Other folders are not read, but a symbolic link with one of these names is followed.
.It Pa ~/.cache/net.quillpond.tallyfin/scan-cache.v2.bin
The cache, shared with the server.
You can delete it at any time.
.It Pa ~/.cache/net.quillpond.tallyfin/home-*.bin
The cache of a directory given with
.Fl -home .
.It Pa ~/.config/net.quillpond.tallyfin/prices.json
Your own prices, which add to list prices or replace them.
The file is optional.
.El
.Sh AXES OF TIME
Axes of time use the local time zone.
Rows contain only requests inside the range.
.Bl -tag -width Ds
.It Cm day
A calendar day, as
.Ql 2026-11-22 .
.It Cm hour
An hour of the day, summed over all days of the range.
.It Cm week
An ISO 8601 week, as
.Ql 2026-W47 .
It begins on Monday, and week 1 contains the first Thursday of the year.
.It Cm month
A calendar month, as
.Ql 2026-11 .
.It Cm block
Five hours, as in the limits of subscriptions, as
.Ql 2026-11-22 14:00 .
A block begins at the full local hour of the first request after the end of the last block.
Where blocks begin does not depend on the range.
A block shows what was used, not what is left: limits are not in the transcripts.
.El
.Sh OWN PRICES
The file is a JSON object whose member
.Ql prices
is an array of objects with the members
.Ql model ,
.Ql input
and
.Ql output .
The optional members are
.Ql cache_write_5m ,
.Ql cache_write_1h
and
.Ql cache_read ,
and
.Ql until ,
the last day of the price as yyyy-MM-dd.
Prices are in US dollars per million tokens:
.Bd -literal -offset indent
{"prices": [
  {"model": "nova-1", "input": 2.5, "output": 10, "until": "2026-12-31"},
  {"model": "local-coder", "input": 0, "output": 0}
]}
.Ed
.Pp
A price applies to each id that is its model or begins with it.
If several apply on a day, the longest model wins, and an own price wins over a built-in one of the same model.
A file with any mistake is not used at all.
.Sh EXIT STATUS
.Bl -tag -width Ds
.It 0
Done; for
.Cm verify :
the cache matches; for
.Cm budget :
within the amount.
.It 1
The work failed, the home directory is missing or cannot be opened, a name was not found,
.Cm verify
found a divergence or no cache, or the file of
.Cm prices Fl -check
cannot be used.
.It 2
Wrong usage; nothing was done.
.It 3
.Cm budget :
over the amount.
.It 4
.Cm budget :
cannot be told, because requests without a price, or what could not be read, might have gone over the amount.
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
