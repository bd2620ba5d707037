#pragma once

// How every subcommand gets its figures: from the same DataSource as the server's. What a person should know
// about the reading is written to standard error.

#include "Tallyfin/Subcommand.hpp"
#include "TallyfinCore/Answers/DataSource.hpp"

#include <functional>
#include <optional>
#include <string>

namespace tallyfin::Command {

/// The environment with the options --home and --cache in it. With --home alone the cache is another file
/// beside the usual one, so that reading another home does not replace what the usual one holds. All
/// spellings of one directory give the same paths. --cache names the file that a link leads to.
Environment withOptions(Environment environment, const CallArguments& arguments);

/// Throws UsageError when the option --cache names something that is no cache, which saving would replace.
/// `environment` is what `withOptions` gave.
void requireCacheOrNothing(const Environment& environment, const CallArguments& arguments);

/// Throws std::runtime_error when there is no home directory, with the folders that were searched, or when it
/// cannot be opened, for example because no descriptor is left. A home that may not be listed is accepted,
/// since the folders in it may be readable.
void requireHome(const Environment& environment);

/// Tells which folders could not be listed and why: the first ten, and how many more.
void tellUnlisted(const std::vector<Files::UnreadableFolder>& folders, const Console& console);

/// Tells that a file of own prices is not used, and why.
void tellUnused(const PriceList& prices, const Console& console);

/// Runs `work`, which gives the exit status, over the transcripts. A long read shows how far it is. After the
/// work messages tell when the cache could not be written, folders could not be listed or there was nothing
/// to read.
int withTranscripts(const Call& call, const std::function<int(DataSource&)>& work);

/// When the first request of the whole history was made; absent without any.
std::optional<TimePoint> firstRequest(const DataSource& data);

/// Tells how many files could not be read and folders not be listed, and where more is said; absent when all
/// could.
std::optional<std::string> unreadableNote(const DataSource& data);

}  // namespace tallyfin::Command
