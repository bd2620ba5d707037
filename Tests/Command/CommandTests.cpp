// Cases that golden command lines cannot show: a slow read, and the manual page.

#include "Golden/Steps.hpp"
#include "Tallyfin/Manual.hpp"
#include "Tallyfin/Progress.hpp"

#include <gtest/gtest.h>

namespace tallyfin {
namespace {

TEST(Command, ALongReadShowsItsProgress) {
  std::string shown;
  double now = 100;
  Command::Console console{.document = {}, .message = [&](std::string_view text) { shown += text; }};
  console.showsMessages = true;
  {
    Command::Progress progress(console, [&] { return TimePoint{now}; });
    for (const double seconds : {0.1, 0.4, 0.45, 0.6}) {
      now = 100 + seconds;
      progress.show(static_cast<std::uint64_t>(seconds * 1e7), 10'000'000);
    }
    EXPECT_TRUE(Command::progressIsShown());
  }
  EXPECT_EQ(shown,
            "\r\033[Kreading transcripts: 4.0 of 10.0 MB\r\033[Kreading transcripts: 6.0 of 10.0 MB\r\033[K");
  EXPECT_FALSE(Command::progressIsShown());
}

TEST(Command, TheManualPageIsUpToDate) {
  EXPECT_EQ(Command::manual(), contentOf(TALLYFIN_SOURCE "/docs/man/tallyfin.1"))
      << "update it with tallyfin __manual > docs/man/tallyfin.1";
}

}  // namespace
}  // namespace tallyfin
