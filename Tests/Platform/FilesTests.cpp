#include "Platform/AtomicFile.hpp"
#include "Platform/Files.hpp"
#include "Support/LimitedTo.hpp"
#include "Support/TempHome.hpp"

#include <atomic>
#include <csignal>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tallyfin {
namespace {

using std::string_literals::operator""s;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Optional;
using testing::Pair;
using testing::UnorderedElementsAre;

std::optional<std::string> contents(const std::string& path, std::uint64_t limit) {
  const auto content = Files::contents(path, limit);
  return content ? std::optional<std::string>(content->bytes()) : std::nullopt;
}

class FilesTests : public testing::Test {
 protected:
  // Paths that `filesBelow` finds, relative to the root.
  std::vector<std::string> found(const std::string& root = "") const {
    std::vector<std::string> paths;
    const auto files = Files::filesBelow(home.path(root), "jsonl").value();
    EXPECT_TRUE(std::ranges::equal(files, Files::filesBelow(home.path(root), "jsonl", 3).value(), {},
                                   &Files::FoundFile::path, &Files::FoundFile::path));
    for (const Files::FoundFile& file : files) {
      EXPECT_TRUE(file.path.starts_with(home.path(root)));
      EXPECT_EQ(file.attributes, Files::attributes(file.path)) << file.path;
      paths.push_back(file.path.substr(home.path(root).size() + (root.empty() ? 0 : 1)));
    }
    return paths;
  }

  // The folders that a walk could not list, relative to the home, with the reasons.
  std::map<std::string, std::errc> unlisted(const std::string& root = "") const {
    std::vector<Files::UnreadableFolder> folders;
    Files::filesBelow(home.path(root), "jsonl", 3, &folders);
    std::map<std::string, std::errc> errors;
    for (const auto& [path, error] : folders) {
      errors[path.substr(home.path().size() + 1)] = static_cast<std::errc>(error.value());
    }
    return errors;
  }

  std::string makeFifo(const std::string& name) const {
    EXPECT_EQ(::mkfifo(home.path(name).c_str(), 0600), 0);
    return home.path(name);
  }

  TempHome home;
};

TEST_F(FilesTests, TheWalkMatchesNamesSkipsHiddenEntriesAndFollowsNoLinks) {
  TempHome elsewhere;
  elsewhere.write("inside.jsonl", "");
  for (const char* name :
       {"one.jsonl", "session/subagents/deep/two.jsonl", "a.b.jsonl", "name.JSONL", "name.json", "jsonl",
        "namejsonl", ".jsonl", ".hidden.jsonl", ".folder/three.jsonl", "folder.jsonl/four.jsonl"}) {
    home.write(name, "");
  }
  home.link("link", elsewhere.path());
  home.link("link.jsonl", elsewhere.path());
  home.link("loop", ".");
  home.link("dangling.jsonl", "nowhere");
  makeFifo("fifo.jsonl");
  EXPECT_THAT(found(), ElementsAre("a.b.jsonl", "dangling.jsonl", "fifo.jsonl", "folder.jsonl",
                                   "folder.jsonl/four.jsonl", "link.jsonl", "one.jsonl",
                                   "session/subagents/deep/two.jsonl"));
  EXPECT_THAT(found("link"), ElementsAre("inside.jsonl")) << "only the root itself may be a link";
}

TEST_F(FilesTests, ThePathsAreSortedByCodePointsOfTheirCanonicalForms) {
  const std::string decomposed = "e\u0301.jsonl";  // é sorts after z, although its first byte is an e
  const std::string illFormed = "\xff.jsonl";
  for (const std::string& name : {illFormed, "z.jsonl"s, decomposed, "f.jsonl"s, "\u00ea.jsonl"s,
                                  "a/x.jsonl"s, "a-b/x.jsonl"s, "a.jsonl"s, "B.jsonl"s}) {
    home.write("in/" + name, "");
  }
  for (int i = 0; i < 50; ++i) {
    home.write("many/" + std::to_string(i) + "/x.jsonl", "");
  }
  EXPECT_EQ(found("many").size(), 50);
  EXPECT_THAT(found("in"), ElementsAre("B.jsonl", "a-b/x.jsonl", "a.jsonl", "a/x.jsonl", "f.jsonl", "z.jsonl",
                                       decomposed, "\u00ea.jsonl", illFormed));
}

TEST_F(FilesTests, OnlyADirectoryCanBeWalkedOrListed) {
  for (const std::string& path :
       {home.write("file", ""), home.path("missing"), makeFifo("fifo"), ""s, home.path() + "\0"s}) {
    EXPECT_FALSE(Files::filesBelow(path, "jsonl")) << path;
    EXPECT_EQ(Files::entryNames(path), std::nullopt) << path;
  }
  EXPECT_THAT(Files::filesBelow(home.makeDirectory("some"), "jsonl"), Optional(IsEmpty()));
  home.write("some/.hidden", "");
  home.link("some/dangling", "nowhere");
  EXPECT_THAT(Files::entryNames(home.path("some")), Optional(UnorderedElementsAre(".hidden", "dangling")));
}

TEST_F(FilesTests, ADeepTreeNeedsFewDescriptorsAndStopsAtTheLongestPath) {
  std::string deep;
  for (int level = 0; level < 1000; ++level) {
    deep += "d/";
  }
  home.write(deep + "bottom.jsonl", "");
  const std::string name(250, 'n');
  int directory = ::open(home.path().c_str(), O_RDONLY);
  for (int level = 0; level < 20; ++level) {
    ASSERT_EQ(::mkdirat(directory, name.c_str(), 0700), 0);
    const int below = ::openat(directory, name.c_str(), O_RDONLY);
    ::close(directory);
    directory = below;
  }
  ::close(::openat(directory, "far.jsonl", O_WRONLY | O_CREAT, 0600));
  ::close(directory);
  const LimitedTo few(RLIMIT_NOFILE, 64);
  EXPECT_THAT(found(), ElementsAre(deep + "bottom.jsonl"));
  EXPECT_THAT(unlisted(), ElementsAre(Pair(HasSubstr(name), std::errc::filename_too_long)));
}

TEST_F(FilesTests, ReportsExistingFoldersThatCannotBeListed) {
  home.link("loop", home.path("loop"));
  home.write("some/link.jsonl", "");
  home.link("some/loop.jsonl", home.path("loop"));
  EXPECT_THAT(unlisted("loop"), ElementsAre(Pair("loop", std::errc::too_many_symbolic_link_levels)));
  for (const char* nothingLost : {"some", "some/link.jsonl", "missing", "some/link.jsonl/below"}) {
    EXPECT_THAT(unlisted(nothingLost), IsEmpty()) << nothingLost;
  }
  const LimitedTo none(RLIMIT_NOFILE, 0);
  EXPECT_THAT(unlisted("some"), ElementsAre(Pair("some", std::errc::too_many_files_open)));
  EXPECT_EQ(Files::listingError(home.path("some")), std::errc::too_many_files_open);
}

TEST_F(FilesTests, SkipsUnreadableDirectories) {
  if (::geteuid() == 0) {
    GTEST_SKIP() << "root may read everything";
  }
  home.write("closed/lost.jsonl", "");
  home.write("open/kept.jsonl", "");
  home.setMode("closed", 0);
  home.write("names-only/lost.jsonl", "");
  home.setMode("names-only", 0444);
  EXPECT_THAT(unlisted(), ElementsAre(Pair("closed", std::errc::permission_denied),
                                      Pair("names-only", std::errc::permission_denied)));
  EXPECT_THAT(unlisted("closed/below"), ElementsAre(Pair("closed/below", std::errc::permission_denied)));
  home.remove("names-only");
  EXPECT_THAT(found(), ElementsAre("open/kept.jsonl"));
  EXPECT_EQ(Files::attributes(home.path("closed/lost.jsonl")), std::nullopt);
  EXPECT_EQ(contents(home.path("closed/lost.jsonl"), 100), std::nullopt);
}

TEST_F(FilesTests, AttributesAreThoseOfTheTarget) {
  const std::string path = home.write("file", "12345");
  home.setModified("file", 1'700'000'000, 250'000'000);
  const auto file = Files::attributes(path);
  const auto link = Files::attributes(home.link("link", "file"));
  ASSERT_TRUE(file && link);
  EXPECT_EQ(file->size, 5U);
  EXPECT_EQ(file->modified, 1'700'000'000.25);
  EXPECT_EQ(link->number, file->number);
  EXPECT_EQ(link->size, 5U);
  for (const std::string& other : {path, home.path(), makeFifo("fifo")}) {
    EXPECT_EQ(Files::attributes(other).value().isRegular, other == path);
    EXPECT_EQ(Files::isDirectory(other), other == home.path());
    EXPECT_TRUE(Files::exists(other));
  }
  for (const std::string& nothing : {home.link("dangling", "nowhere"), home.path("missing"), ""s,
                                     path + "\0"s, path + "/below", std::string(10'000, 'x')}) {
    EXPECT_EQ(Files::attributes(nothing), std::nullopt) << nothing;
    EXPECT_FALSE(Files::exists(nothing) || Files::isDirectory(nothing)) << nothing;
  }
}

TEST_F(FilesTests, ContentsAreCompleteOrAbsent) {
  const std::string text = "a\0b\n"s + std::string(200'000, 'x');
  const std::string path = home.write("file", text);
  EXPECT_EQ(contents(path, text.size()), text);
  EXPECT_EQ(contents(path, std::numeric_limits<std::uint64_t>::max()), text);
  EXPECT_EQ(contents(path, text.size() - 1), std::nullopt);
  EXPECT_EQ(contents(home.write("empty", ""), 0), "");
  EXPECT_EQ(contents(home.link("link", path), text.size()), text);
  // None of these may block or be read forever. The last one reports a size of 0.
  for (const std::string& other :
       {home.path(), home.path("missing"), makeFifo("fifo"), "/dev/zero"s, "/proc/self/status"s}) {
    EXPECT_EQ(contents(other, 10), std::nullopt) << other;
  }
  if (Files::exists("/proc/self/status")) {
    EXPECT_THAT(contents("/proc/self/status", 1'000'000), Optional(HasSubstr("Pid:")));
  }
}

class ReplaceTests : public FilesTests {
 protected:
  std::vector<std::string> names() const { return Files::entryNames(home.path()).value(); }

  static std::optional<Files::Attributes> replace(const std::string& path,
                                                  const std::vector<std::string>& parts) {
    return AtomicFile::replace(path, [&](AtomicFile::Output out) { std::ranges::for_each(parts, out); });
  }

  // The message of the failure; empty if there was none.
  static std::string failure(const std::string& path) {
    try {
      replace(path, {"new"});
    } catch (const std::system_error& error) {
      return error.what();
    }
    return "";
  }
};

TEST_F(ReplaceTests, ANameMayHaveTheMaximumLength) {
  for (const std::string& name : {std::string(255, 'x'), std::string(199, 'x') + "五五.csv"}) {
    EXPECT_EQ(failure(home.path(name)), "");
    EXPECT_EQ(home.read(name), "new");
  }
}

TEST_F(ReplaceTests, WritesThePiecesInOrder) {
  home.write("target", "something that was longer");
  const std::string path = home.link("cache.bin", "target");
  replace(path, {"one", "", "\0two"s});
  EXPECT_EQ(home.read("cache.bin"), "one\0two"s);
  EXPECT_EQ(home.read("target"), "something that was longer") << "replaces the link itself";
  EXPECT_THAT(names(), UnorderedElementsAre("cache.bin", "target"));
  struct stat status {};
  ASSERT_EQ(::lstat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode, S_IFREG | 0600U);
}

TEST_F(ReplaceTests, AFailureNamesThePathAndLeavesTheOldFileAlone) {
  const std::string missing = home.path("missing/cache.bin");
  EXPECT_THAT(failure(missing), HasSubstr(missing));
  EXPECT_THAT(failure(home.path("a\0b"s)), HasSubstr(home.path("a")));
  home.makeDirectory("directory");
  makeFifo("fifo");
  home.link("link", "fifo");
  for (const std::string& special : {home.path("directory"), home.path("fifo"), home.path("link")}) {
    EXPECT_THAT(failure(special), HasSubstr(special));
  }
  const std::string path = home.write("cache.bin", "old");
  const auto before = std::signal(SIGXFSZ, SIG_IGN);
  {
    const LimitedTo full(RLIMIT_FSIZE, 1000);
    EXPECT_THROW(replace(path, {"new", std::string(2000, 'x')}), std::system_error);
  }
  std::signal(SIGXFSZ, before);
  EXPECT_EQ(home.read("cache.bin"), "old");
  EXPECT_THAT(names(), UnorderedElementsAre("directory", "fifo", "link", "cache.bin"));
  EXPECT_THAT(Files::entryNames(home.path("directory")), Optional(IsEmpty()));
}

TEST_F(ReplaceTests, RemovesOnlyTemporaryFilesThatNobodyWrites) {
  home.write("cache.bin.tmp.1.0", "of a process that was killed, in whatever container");
  std::vector<std::string> kept = {"cache.bin.tmp.2.0", "cache.bin.tmp.2.0x", "cache.bin.tmp.-1.0",
                                   "other.bin.tmp.2.0", "cache.bin.tmp",      "cache.bin"};
  for (const std::string& name : kept) {
    home.write(name, "");
  }
  const Descriptor writer(home.path("cache.bin.tmp.2.0"), O_WRONLY);
  ASSERT_EQ(::flock(writer.number(), LOCK_EX), 0);
  const auto attributes = replace(home.path("cache.bin"), {"new"});
  EXPECT_EQ(attributes, Files::attributes(home.path("cache.bin")));
  EXPECT_THAT(names(), testing::UnorderedElementsAreArray(kept));
}

TEST_F(ReplaceTests, AReaderSeesCompleteContentsDuringConcurrentWrites) {
  const std::string path = home.write("cache.bin", std::string(50'000, 'a'));
  std::atomic<bool> done = false;
  std::thread reader([&] {
    while (!done) {
      const std::string text = contents(path, 1'000'000).value_or("");
      EXPECT_EQ(text.size(), 50'000U);
      EXPECT_EQ(text.find_first_not_of(text.substr(0, 1)), std::string::npos);
    }
  });
  const auto write = [&path](char letter) {
    const std::string half(25'000, letter);
    for (int round = 0; round < 20; ++round) {
      EXPECT_NO_THROW(replace(path, {half, half}));
    }
  };
  std::thread writers[] = {std::thread(write, 'b'), std::thread(write, 'c')};
  for (std::thread& writer : writers) {
    writer.join();
  }
  done = true;
  reader.join();
  EXPECT_THAT(names(), ElementsAre("cache.bin"));
}

TEST_F(FilesTests, CreatesDirectoriesWithAllTheirParents) {
  EXPECT_FALSE(Files::createDirectories(home.path("a/b//c/")));
  EXPECT_TRUE(Files::isDirectory(home.path("a/b/c")));
  EXPECT_FALSE(Files::createDirectories(home.path("a/b/c")));
  EXPECT_FALSE(Files::createDirectories(home.link("link", "a") + "/d"));
  EXPECT_TRUE(Files::isDirectory(home.path("a/d")));
  home.write("file", "");
  for (const std::string& path : {home.path("file"), home.path("file/below"), ""s, home.path("x\0y"s),
                                  home.link("dangling", "nowhere") + "/below"}) {
    EXPECT_TRUE(Files::createDirectories(path)) << path;
  }
  Files::removeFile(home.path("file"));
  Files::removeFile(home.path("file"));
  EXPECT_FALSE(Files::exists(home.path("file")));
}

TEST_F(FilesTests, ExpandsALeadingTilde) {
  const passwd* root = ::getpwnam("root");
  const std::string rootHome = root != nullptr ? root->pw_dir : "~root";
  const struct {
    std::string path, home, expected;
  } cases[] = {{"~", "/home/me", "/home/me"},    {"~/x/y", "/home/me", "/home/me/x/y"},
               {"~/", "/home/me", "/home/me/"},  {"~/x", "/", "/x"},
               {"~root", "/home/me", rootHome},  {"~root/x", "/home/me", rootHome + "/x"},
               {"a~", "/home/me", "a~"},         {"~no-such-user/x", "/home/me", "~no-such-user/x"},
               {"/a/~/b", "/home/me", "/a/~/b"}, {"", "/home/me", ""}};
  for (const auto& [path, from, expected] : cases) {
    EXPECT_EQ(Files::expandingTilde(path, from), expected) << path;
  }
  const char* variable = std::getenv("HOME");
  const std::string before = variable != nullptr ? variable : "";
  ::setenv("HOME", "/home/somebody", 1);
  EXPECT_EQ(Files::homeDirectory(), "/home/somebody");
  ::setenv("HOME", "/home/somebody//", 1);
  EXPECT_EQ(Files::homeDirectory(), "/home/somebody");
  ::setenv("HOME", "//", 1);
  EXPECT_EQ(Files::homeDirectory(), "/");
  ::setenv("HOME", "", 1);
  const passwd* user = ::getpwuid(::getuid());
  EXPECT_EQ(Files::homeDirectory(), user != nullptr ? user->pw_dir : "/");
  ::setenv("HOME", before.c_str(), 1);
}

TEST_F(FilesTests, SplitsPathsAsText) {
  const struct {
    std::string_view path, last, without;
  } cases[] = {{"/a/b/c.jsonl", "c.jsonl", "/a/b"},
               {"/a//b//", "b", "/a"},
               {"/a", "a", "/"},
               {"//a", "a", "/"},
               {"a/b", "b", "a"},
               {"a/", "a", ""},
               {"///", "/", "/"},
               {"", "", ""},
               {"..", "..", ""}};
  for (const auto& [path, last, without] : cases) {
    EXPECT_EQ(Files::lastComponent(path), last) << path;
    EXPECT_EQ(Files::withoutLastComponent(path), without) << path;
  }
  const std::pair<std::string_view, std::string_view> names[] = {
      {"a.b.jsonl", "a.b"}, {"a", "a"}, {".profile", ".profile"}, {"name.", "name."}, {"", ""}};
  for (const auto& [name, without] : names) {
    EXPECT_EQ(Files::withoutExtension(name), without) << name;
  }
}

}  // namespace
}  // namespace tallyfin
