#include "Support/TempHome.hpp"
#include "TallyfinCore/Transcripts/LineReader.hpp"

#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace tallyfin {
namespace {

struct Read {
  std::vector<std::string> lines;
  std::uint64_t end = 0;
};

Read readLines(const std::string& path, std::uint64_t from = 0, std::optional<std::uint64_t> upTo = {}) {
  Read read;
  read.end = LineReader::forEachLine(path, from, upTo,
                                     [&](std::string_view line) { read.lines.emplace_back(line); });
  return read;
}

using Lines = std::vector<std::string>;

TEST(LineReader, OnlyLinesClosedByALineFeedCount) {
  using namespace std::string_literals;
  const TempHome home;
  const struct {
    std::string content;
    Lines lines;
    std::uint64_t end;
  } cases[] = {{"", {}, 0},
               {"half", {}, 0},
               {"one\n", {"one"}, 4},
               {"one\nhalf", {"one"}, 4},
               {"\n\na\r\n", {"", "", "a\r"}, 5},
               {"nul\0byte\n"s, {"nul\0byte"s}, 9}};
  for (const auto& one : cases) {
    const Read read = readLines(home.write("file", one.content));
    EXPECT_EQ(read.lines, one.lines);
    EXPECT_EQ(read.end, one.end);
  }
}

TEST(LineReader, ReadsFromOneOffsetUpToAnother) {
  const TempHome home;
  const std::string path = home.write("file", "ab\ncd\nef");
  const struct {
    std::uint64_t from;
    std::optional<std::uint64_t> upTo;
    Lines lines;
    std::uint64_t end;
  } cases[] = {{0, {}, {"ab", "cd"}, 6}, {3, {}, {"cd"}, 6}, {6, {}, {}, 6},
               {1000, {}, {}, 1000},     {0, 0, {}, 0},      {0, 2, {}, 0},
               {0, 3, {"ab"}, 3},        {0, 5, {"ab"}, 3},  {3, 6, {"cd"}, 6},
               {0, 99, {"ab", "cd"}, 6}, {3, 3, {}, 3}};
  for (const auto& [from, upTo, lines, end] : cases) {
    const Read read = readLines(path, from, upTo);
    EXPECT_EQ(read.lines, lines) << from;
    EXPECT_EQ(read.end, end) << from;
  }
}

TEST(LineReader, StopsAtTheSizeThatTheFileHadWhenOpened) {
  const TempHome home;
  const std::string path = home.write("file", "first\nsecond\nhalf");
  Lines lines;
  const auto grow = [&](std::string_view line) {
    lines.emplace_back(line);
    ASSERT_LT(lines.size(), 100U);
    home.append("file", " and more\nand more\n");
  };
  EXPECT_EQ(LineReader::forEachLine(path, 0, std::nullopt, grow), 13U);
  EXPECT_EQ(lines, (Lines{"first", "second"}));
  EXPECT_EQ(readLines(path, 13).lines[0], "half and more") << "the next call reads the rest";
}

// Lines with lengths near the sizes of a read and of the buffer: all bytes of all lines arrive in order.
TEST(LineReader, ReadsLinesOfAnyLengthCompletely) {
  const TempHome home;
  std::string content;
  Lines expected;
  char fill = 'a';
  for (const std::size_t length :
       {1U, 1'048'574U, 1'048'576U, 0U, 2'097'153U, 7U, 5'242'880U, 3U, 1'048'577U}) {
    expected.emplace_back(length, fill++);
    content += expected.back() + "\n";
  }
  const std::string path = home.write("file", content + "tail");
  const Read read = readLines(path);
  EXPECT_TRUE(read.lines == expected);
  EXPECT_EQ(read.end, content.size());
}

TEST(LineReader, AFileThatIsNotRegularIsAnErrorAndNeverBlocks) {
  const TempHome home;
  const std::string fifo = home.path("fifo");
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  for (const std::string& path : {home.path("missing"), home.path(), fifo, std::string("/dev/zero")}) {
    try {
      readLines(path);
      ADD_FAILURE() << path;
    } catch (const ReadError& error) {
      EXPECT_EQ(error.path(), path);
    }
  }
}

TEST(LineReader, AnErrorOfTheCallbackPassesThroughAndTheNextCallWorks) {
  const TempHome home;
  const std::string path = home.write("file", "a\nb\n");
  EXPECT_THROW(LineReader::forEachLine(path, 0, std::nullopt,
                                       [](std::string_view) { throw std::logic_error("stop"); }),
               std::logic_error);
  EXPECT_EQ(readLines(path).lines, (Lines{"a", "b"}));
}

}  // namespace
}  // namespace tallyfin
