#pragma once

// Runs subcommands on the same DataSource that the server uses. Writes warnings about reading to standard
// error.

#include "Tallyfin/Subcommand.hpp"
#include "TallyfinCore/Answers/DataSource.hpp"

#include <functional>
#include <optional>
#include <string>

namespace tallyfin::Command {

/// Applies the options --home and --cache to the environment. With --home alone, the cache file gets another
/// name in the usual folder, so that reading another home does not replace the usual cache. All spellings of
/// a directory give the same paths. If --cache is a link, its target is used.
Environment withOptions(Environment environment, const CallArguments& arguments);

/// Throws UsageError if --cache names an existing file that is not a cache, because saving would replace it.
/// `environment` must come from `withOptions`.
void requireCacheOrNothing(const Environment& environment, const CallArguments& arguments);

/// Throws std::runtime_error if there is no home directory, naming the folders that were searched, or if it
/// cannot be opened, for example because no descriptor is left. Accepts a home that cannot be listed, because
/// its folders may be readable.
void requireHome(const Environment& environment);

/// Reports the folders that could not be listed, with reasons: the first ten, and the number of others.
void tellUnlisted(const std::vector<Files::UnreadableFolder>& folders, const Console& console);

/// Reports why an own price file is not used, if so.
void tellUnused(const PriceList& prices, const Console& console);

/// Runs `work` on the transcripts and returns its exit status. A long read shows its progress. Afterwards
/// prints warnings if the cache could not be written, folders could not be listed or there was nothing to
/// read.
int withTranscripts(const Call& call, const std::function<int(DataSource&)>& work);

/// The time of the first request in the whole history; absent if there is none.
std::optional<TimePoint> firstRequest(const DataSource& data);

/// A note with the number of unreadable files and of folders that could not be listed, and where to find
/// details; absent if there are none.
std::optional<std::string> unreadableNote(const DataSource& data);

}  // namespace tallyfin::Command
