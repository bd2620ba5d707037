#pragma once

// How far a read of the transcripts is, on the terminal.

#include "Tallyfin/Subcommand.hpp"
#include "TallyfinCore/Transcripts/Reading.hpp"

#include <cstdint>
#include <functional>
#include <string_view>

namespace tallyfin::Command {

/// Calls `work` with the function that shows how far its reading is.
void showingProgress(const Call& call, const std::function<void(const ReadProgress&)>& work);

/// How far a read is: a line on a terminal once it has taken 0.3 seconds, gone at the end.
class Progress {
 public:
  explicit Progress(const Console& console, Clock clock);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// Shows that `read` of `total` bytes are read. Not to be called from two threads at once.
  void show(std::uint64_t read, std::uint64_t total);

 private:
  const Console& console_;
  Clock clock_;
  TimePoint next_;  // when the line is due
  bool isShown_ = false;
};

/// Whether such a line stands on the terminal. Whoever ends the process then has to remove it first.
bool progressIsShown();

/// The control characters that remove the line.
inline constexpr std::string_view eraseLine = "\r\033[K";

}  // namespace tallyfin::Command
