#pragma once

// What a session was about: its title and its branch, as the client writes them into the transcript. Read
// only when a view shows them, and never stored.

#include <optional>
#include <string>

namespace tallyfin {

struct SessionDescription {
  /// As `oneLine` gives it: the title that the person gave, else the one that the client made,
  /// else its summary, else the first thing that the person typed. Absent if none was found.
  std::optional<std::string> title;
  std::optional<std::string> branch;  ///< the last `gitBranch`; absent if none was found

  friend bool operator==(const SessionDescription&, const SessionDescription&) = default;
};

/// A text from a transcript on one line, cut after 200 characters; absent if it is blank.
std::optional<std::string> oneLine(const std::optional<std::string>& text);

/// Reads the description from the first 256 KiB and the last MiB of a transcript, which bounds the time for
/// long sessions. Of several titles of a kind the last holds. Lines that are not valid JSON are skipped; a
/// file that cannot be read or is not a regular file has no description.
SessionDescription describeSession(const std::string& transcript);

}  // namespace tallyfin
