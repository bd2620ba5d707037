#pragma once

// Shows on the terminal how much of the transcripts has been read.

#include "Tallyfin/Subcommand.hpp"
#include "TallyfinCore/Transcripts/Reading.hpp"

#include <cstdint>
#include <functional>
#include <string_view>

namespace tallyfin::Command {

/// Calls `work` with a function that shows the progress of reading.
void showingProgress(const Call& call, const std::function<void(const ReadProgress&)>& work);

/// The progress of a read, as a line on the terminal. It appears after 0.3 seconds and is removed at the end.
class Progress {
 public:
  explicit Progress(const Console& console, Clock clock);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// Shows that `read` of `total` bytes have been read. Do not call from two threads at once.
  void show(std::uint64_t read, std::uint64_t total);

 private:
  const Console& console_;
  Clock clock_;
  TimePoint next_;  // when to draw the line next
  bool isShown_ = false;
};

/// Whether a progress line is on the terminal. Code that ends the process must then remove it first.
bool progressIsShown();

/// The control characters that remove the line.
inline constexpr std::string_view eraseLine = "\r\033[K";

}  // namespace tallyfin::Command
