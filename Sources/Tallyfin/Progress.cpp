#include "Tallyfin/Progress.hpp"

#include "absl/strings/str_format.h"

#include <atomic>
#include <string>
#include <utility>

namespace tallyfin::Command {
namespace {

std::atomic<bool> isOnTerminal = false;

}  // namespace

void showingProgress(const Call& call, const std::function<void(const ReadProgress&)>& work) {
  Progress progress(call.console, call.environment.now);
  work(call.console.showsMessages
           ? ReadProgress([&](std::uint64_t read, std::uint64_t total) { progress.show(read, total); })
           : ReadProgress());
}

Progress::Progress(const Console& console, Clock clock)
    : console_(console), clock_(std::move(clock)), next_{clock_().seconds + 0.3} {}

Progress::~Progress() {
  if (isShown_) {
    isOnTerminal = false;
    console_.message(eraseLine);
  }
}

void Progress::show(std::uint64_t read, std::uint64_t total) {
  constexpr double kBetween = 0.1;  // seconds
  if (!console_.showsMessages || clock_() < next_) {
    return;
  }
  next_.seconds = clock_().seconds + kBetween;
  isOnTerminal = isShown_ = true;
  const auto megabytes = [](std::uint64_t bytes) { return static_cast<double>(bytes) / 1e6; };
  console_.message(absl::StrFormat("%sreading transcripts: %.1f of %.1f MB", std::string(eraseLine),
                                   megabytes(read), megabytes(total)));
}

bool progressIsShown() {
  return isOnTerminal;
}

}  // namespace tallyfin::Command
