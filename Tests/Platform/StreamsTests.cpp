#include "Platform/Streams.hpp"

#include <array>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace tallyfin {
namespace {

using testing::ElementsAre;

// A pipe that closes its ends when destroyed.
class Pipe {
 public:
  Pipe() { EXPECT_EQ(pipe(ends_.data()), 0); }
  ~Pipe() {
    closeEnd(0);
    closeEnd(1);
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  int reading() const { return ends_[0]; }
  int writing() const { return ends_[1]; }
  void closeEnd(std::size_t end) {
    if (ends_.at(end) >= 0) {
      close(ends_.at(end));
      ends_.at(end) = -1;
    }
  }

 private:
  std::array<int, 2> ends_{-1, -1};
};

// The lines read when `bytes` are written `step` at a time.
std::vector<std::string> lines(const std::string& bytes, std::size_t step) {
  Pipe pipe;
  std::thread writer([&] {
    for (std::size_t at = 0; at < bytes.size(); at += step) {
      EXPECT_TRUE(writeAll(pipe.writing(), std::string_view(bytes).substr(at, step)));
    }
    pipe.closeEnd(1);
  });
  LineInput input(pipe.reading());
  std::vector<std::string> found;
  while (const auto line = input.next()) {
    found.emplace_back(*line);
  }
  writer.join();
  EXPECT_FALSE(input.next()) << "no more lines after the end";
  return found;
}

TEST(Streams, LinesEndAtLineFeedsHoweverTheBytesArrive) {
  for (const std::size_t step : {1U, 2U, 3U, 1000U}) {
    EXPECT_THAT(lines("one\r\n\ntwo\r\r\n\r\nlast", step), ElementsAre("one", "", "two\r", "", "last"));
    EXPECT_THAT(lines("one\n", step), ElementsAre("one"));
    EXPECT_THAT(lines(std::string("a\0b\rc\r", 6), step), ElementsAre(std::string("a\0b\rc", 5)));
    EXPECT_THAT(lines("", step), ElementsAre());
  }
}

TEST(Streams, TheBufferShrinksAfterALongLine) {
  const std::size_t length = 30'000'000;
  const std::string bytes = "first\n" + std::string(length, 'x') + "\n" + std::string(700'000, 'y') + "\nend";
  Pipe pipe;
  std::thread writer([&] {
    EXPECT_TRUE(writeAll(pipe.writing(), bytes));
    pipe.closeEnd(1);
  });
  LineInput input(pipe.reading());
  EXPECT_EQ(input.next(), "first");
  EXPECT_EQ(input.next().value_or("").size(), length);
  EXPECT_GT(input.capacity(), length);
  EXPECT_EQ(input.next().value_or("").size(), 700'000U);
  EXPECT_LT(input.capacity(), 4'000'000U);
  EXPECT_EQ(input.next(), "end");
  writer.join();
}

TEST(Streams, WaitsForANonBlockingDescriptor) {
  Pipe pipe;
  for (const int end : {pipe.reading(), pipe.writing()}) {
    ASSERT_EQ(fcntl(end, F_SETFL, O_NONBLOCK), 0);
  }
  const std::string sent(3'000'000, 'x');
  std::thread writer([&] {
    EXPECT_TRUE(writeAll(pipe.writing(), sent));
    EXPECT_TRUE(writeAll(pipe.writing(), "\n"));
  });
  LineInput input(pipe.reading());
  EXPECT_EQ(input.next(), sent);
  writer.join();
  const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
  EXPECT_FALSE(writeAll(full, "x"));
  close(full);
}

}  // namespace
}  // namespace tallyfin
