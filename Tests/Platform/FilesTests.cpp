#include "Platform/Files.hpp"
#include "Support/TempHome.hpp"

#include <atomic>
#include <csignal>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>

namespace tallyfin {
namespace {

using std::string_literals::operator""s;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Optional;
using testing::SizeIs;

/// Sets a soft limit of this process until the end of the scope.
class LimitedTo {
 public:
  LimitedTo(decltype(RLIMIT_NOFILE) resource, rlim_t soft) : resource_(resource) {
    ::getrlimit(resource_, &before_);
    const rlimit limited = {soft, before_.rlim_max};
    ::setrlimit(resource_, &limited);
  }
  ~LimitedTo() { ::setrlimit(resource_, &before_); }
  LimitedTo(const LimitedTo&) = delete;
  LimitedTo& operator=(const LimitedTo&) = delete;

 private:
  decltype(RLIMIT_NOFILE) resource_;
  rlimit before_{};
};

std::optional<std::string> contents(const std::string& path, std::uint64_t limit) {
  const auto content = Files::contents(path, limit);
  return content ? std::optional<std::string>(content->bytes()) : std::nullopt;
}

class FilesTests : public testing::Test {
 protected:
  /// What `filesBelow` finds, by the paths relative to the home.
  std::vector<std::string> found(const std::string& root = "") {
    std::vector<std::string> paths = Files::filesBelow(home.path(root), "jsonl").value();
    for (std::string& path : paths) {
      EXPECT_TRUE(path.starts_with(home.path(root)));
      path.erase(0, home.path("").size());
    }
    return paths;
  }

  std::string makeFifo(const std::string& name) {
    std::string path = home.path(name);
    EXPECT_EQ(::mkfifo(path.c_str(), 0600), 0);
    return path;
  }

  TempHome home;
};

TEST_F(FilesTests, TheWalkListsByNameAloneAndSkipsWhatIsHidden) {
  for (const char* name :
       {"one.jsonl", "session/subagents/deep/two.jsonl", "a.b.jsonl", "name.JSONL", "name.json", "jsonl",
        "namejsonl", ".jsonl", ".hidden.jsonl", ".folder/three.jsonl", "folder.jsonl/four.jsonl"}) {
    home.write(name, "");
  }
  EXPECT_THAT(found(), ElementsAre("a.b.jsonl", "folder.jsonl", "folder.jsonl/four.jsonl", "one.jsonl",
                                   "session/subagents/deep/two.jsonl"));
}

TEST_F(FilesTests, LinksAndSpecialFilesAreListedButNotFollowed) {
  TempHome elsewhere;
  elsewhere.write("inside.jsonl", "");
  home.link("folder", elsewhere.path());
  home.link("folder.jsonl", elsewhere.path());
  home.link("loop", ".");
  home.link("dangling.jsonl", "nowhere");
  home.link("file.jsonl", elsewhere.path("inside.jsonl"));
  makeFifo("fifo.jsonl");
  EXPECT_THAT(found(), ElementsAre("dangling.jsonl", "fifo.jsonl", "file.jsonl", "folder.jsonl"));

  // Only the root itself may be a link.
  const std::string root = home.path("folder");
  EXPECT_THAT(Files::filesBelow(root, "jsonl"), Optional(ElementsAre(root + "/inside.jsonl")));
}

TEST_F(FilesTests, ThePathsAreSortedByCodePointsOfTheirCanonicalForms) {
  const std::string decomposed = "e\u0301.jsonl";  // é: behind z, although its first byte is e
  const std::string illFormed = "\xff.jsonl";
  for (const std::string& name : {illFormed, "z.jsonl"s, decomposed, "f.jsonl"s, "\u00ea.jsonl"s}) {
    home.write("unicode/" + name, "");
  }
  EXPECT_THAT(found("unicode"), ElementsAre("unicode/f.jsonl", "unicode/z.jsonl", "unicode/" + decomposed,
                                            "unicode/\u00ea.jsonl", "unicode/" + illFormed));

  for (const char* name : {"a/x.jsonl", "a-b/x.jsonl", "a.jsonl", "B.jsonl"}) {
    home.write(std::string("ascii/") + name, "");
  }
  EXPECT_THAT(found("ascii"),
              ElementsAre("ascii/B.jsonl", "ascii/a-b/x.jsonl", "ascii/a.jsonl", "ascii/a/x.jsonl"));
}

TEST_F(FilesTests, OnlyADirectoryCanBeWalkedOrListed) {
  const std::string file = home.write("file", "");
  for (const std::string& path : {file, home.path("missing"), makeFifo("fifo"), ""s, home.path() + "\0"s}) {
    EXPECT_EQ(Files::filesBelow(path, "jsonl"), std::nullopt) << path;
    EXPECT_EQ(Files::entryNames(path), std::nullopt) << path;
  }
  const std::string empty = home.makeDirectory("empty");
  EXPECT_THAT(Files::filesBelow(empty, "jsonl"), Optional(IsEmpty()));
  EXPECT_THAT(Files::entryNames(empty), Optional(IsEmpty()));
  home.write("some/.hidden", "");
  home.link("some/dangling", "nowhere");
  EXPECT_THAT(Files::entryNames(home.path("some")),
              Optional(testing::UnorderedElementsAre(".hidden", "dangling")));
}

TEST_F(FilesTests, ADeepTreeNeedsFewDescriptors) {
  std::string deep;
  for (int level = 0; level < 1000; ++level) {
    deep += "d/";
  }
  home.write(deep + "bottom.jsonl", "");
  const LimitedTo few(RLIMIT_NOFILE, 64);
  EXPECT_THAT(found(), ElementsAre(deep + "bottom.jsonl"));
}

TEST_F(FilesTests, WhatLiesBeyondTheLongestPathIsPassedOver) {
  home.write("near.jsonl", "");
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
  EXPECT_THAT(found(), ElementsAre("near.jsonl"));
}

TEST_F(FilesTests, UnreadableDirectoriesArePassedOver) {
  if (::geteuid() == 0) {
    GTEST_SKIP() << "permissions do not bind root";
  }
  home.write("closed/lost.jsonl", "");
  home.write("open/kept.jsonl", "");
  home.setMode("closed", 0);
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
  EXPECT_TRUE(file->isRegular);
  EXPECT_EQ(link->number, file->number);
  EXPECT_EQ(link->size, 5U);

  EXPECT_FALSE(Files::attributes(home.path()).value().isRegular);
  EXPECT_FALSE(Files::attributes(makeFifo("fifo")).value().isRegular);
  for (const std::string& nothing : {home.link("dangling", "nowhere"), home.path("missing"), ""s,
                                     path + "\0"s, path + "/below", std::string(10'000, 'x')}) {
    EXPECT_EQ(Files::attributes(nothing), std::nullopt) << nothing;
    EXPECT_FALSE(Files::exists(nothing)) << nothing;
    EXPECT_FALSE(Files::isDirectory(nothing)) << nothing;
  }
  EXPECT_TRUE(Files::exists(home.path("fifo")));
  EXPECT_FALSE(Files::isDirectory(path));
  EXPECT_TRUE(Files::isDirectory(home.path()));
}

TEST_F(FilesTests, ContentsComeWholeOrNotAtAll) {
  const std::string text = "a\0b\n"s + std::string(200'000, 'x');
  const std::string path = home.write("file", text);
  EXPECT_EQ(contents(path, text.size()), text);
  EXPECT_EQ(contents(path, std::numeric_limits<std::uint64_t>::max()), text);
  EXPECT_EQ(contents(path, text.size() - 1), std::nullopt);
  EXPECT_EQ(contents(home.write("empty", ""), 0), "");
  EXPECT_EQ(contents(home.link("link", path), text.size()), text);

  // None of these may block or be read for ever.
  for (const std::string& other : {home.path(), home.path("missing"), makeFifo("fifo"), "/dev/zero"s}) {
    EXPECT_EQ(contents(other, 1000), std::nullopt) << other;
  }
}

TEST_F(FilesTests, TheLimitHoldsForAFileThatSeemsEmpty) {
  const std::string kernelText = "/proc/self/status";  // its size is given as 0
  const auto text = contents(kernelText, 1'000'000);
  if (!text) {
    GTEST_SKIP() << "no " << kernelText << " here";
  }
  EXPECT_THAT(*text, HasSubstr("Pid:"));
  EXPECT_EQ(contents(kernelText, 10), std::nullopt);
}

class ReplaceTests : public FilesTests {
 protected:
  std::vector<std::string> names() { return Files::entryNames(home.path()).value(); }

  /// The message of the failure; empty when there is none.
  static std::string failure(const std::string& path) {
    try {
      Files::replaceAtomically(path, {"new"});
    } catch (const std::system_error& error) {
      return error.what();
    }
    return "";
  }
};

TEST_F(ReplaceTests, ANameMayBeAsLongAsFileSystemsTake) {
  for (const std::string& name : {std::string(255, 'x'), std::string(199, 'x') + "五五.csv"}) {
    EXPECT_EQ(failure(home.path(name)), "");
    EXPECT_EQ(home.read(name), "new");
  }
}

TEST_F(ReplaceTests, ThePartsStandInTheFileOneAfterTheOther) {
  const std::string path = home.write("cache.bin", "something that was longer");
  Files::replaceAtomically(path, {"one", "", "\0two"s});
  EXPECT_EQ(home.read("cache.bin"), "one\0two"s);
  EXPECT_THAT(names(), ElementsAre("cache.bin"));
  struct stat status {};
  ASSERT_EQ(::stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);

  Files::replaceAtomically(path, {});
  EXPECT_EQ(home.read("cache.bin"), "");
}

TEST_F(ReplaceTests, ALinkIsReplacedAndItsTargetLeftAlone) {
  home.write("target", "old");
  Files::replaceAtomically(home.link("cache.bin", "target"), {"new"});
  EXPECT_EQ(home.read("target"), "old");
  EXPECT_EQ(home.read("cache.bin"), "new");
}

TEST_F(ReplaceTests, AFailureNamesThePathAndLeavesNothingBehind) {
  const std::string missing = home.path("missing/cache.bin");
  EXPECT_THAT(failure(missing), HasSubstr(missing));
  EXPECT_THAT(failure(home.path("a\0b"s)), HasSubstr(home.path("a")));
  for (const std::string& special : {home.makeDirectory("directory"), makeFifo("fifo")}) {
    EXPECT_THAT(failure(special), HasSubstr(special));
  }
  EXPECT_THAT(names(), testing::UnorderedElementsAre("directory", "fifo"));
  EXPECT_THAT(Files::entryNames(home.path("directory")), Optional(IsEmpty()));
}

TEST_F(ReplaceTests, AFullDiskLeavesTheOldFile) {
  const std::string path = home.write("cache.bin", "old");
  const auto before = std::signal(SIGXFSZ, SIG_IGN);
  {
    const LimitedTo full(RLIMIT_FSIZE, 1000);
    EXPECT_THROW(Files::replaceAtomically(path, {"new", std::string(2000, 'x')}), std::system_error);
  }
  std::signal(SIGXFSZ, before);
  EXPECT_EQ(home.read("cache.bin"), "old");
  EXPECT_THAT(names(), ElementsAre("cache.bin"));
}

TEST_F(ReplaceTests, OnlyTemporariesThatNobodyWritesAreRemoved) {
  const std::string dead = std::to_string(std::numeric_limits<pid_t>::max());  // higher than ids can be
  const std::string self = std::to_string(::getpid());
  home.write("cache.bin.tmp." + dead + ".0", "");
  home.write("cache.bin.tmp." + self + ".4000000000", "");  // of an earlier process with our id
  const std::vector<std::string> kept = {"cache.bin.tmp." + std::to_string(::getppid()) + ".0",
                                         "cache.bin.tmp." + dead,
                                         "cache.bin.tmp." + dead + ".",
                                         "cache.bin.tmp." + dead + ".0x",
                                         "cache.bin.tmp.-1.0",
                                         "cache.bin.tmp.99999999999999999999.0",
                                         "other.bin.tmp." + dead + ".0",
                                         "cache.bin.tmp"};
  for (const std::string& name : kept) {
    home.write(name, "");
  }
  Files::replaceAtomically(home.path("cache.bin"), {"new"});
  std::vector<std::string> expected = kept;
  expected.emplace_back("cache.bin");
  EXPECT_THAT(names(), testing::UnorderedElementsAreArray(expected));
}

TEST_F(ReplaceTests, AReaderSeesOneContentWholeWhileManyWrite) {
  const std::string path = home.write("cache.bin", std::string(50'000, 'a'));
  std::atomic<bool> done = false;
  std::thread reader([&] {
    while (!done) {
      const std::string text = contents(path, 1'000'000).value_or("");
      EXPECT_EQ(text.size(), 50'000U);
      EXPECT_EQ(text.find_first_not_of(text.substr(0, 1)), std::string::npos);
    }
  });
  std::vector<std::thread> writers;
  for (const char letter : {'b', 'c'}) {
    writers.emplace_back([&path, letter] {
      const std::string half(25'000, letter);
      for (int round = 0; round < 20; ++round) {
        EXPECT_NO_THROW(Files::replaceAtomically(path, {half, half}));
      }
    });
  }
  for (std::thread& writer : writers) {
    writer.join();
  }
  done = true;
  reader.join();
  EXPECT_THAT(names(), ElementsAre("cache.bin"));
}

TEST_F(FilesTests, DirectoriesAreMadeWithAllTheirParents) {
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

TEST_F(FilesTests, ALeadingTildeIsAHomeDirectory) {
  struct Case {
    std::string path, home, expected;
  };
  const passwd* root = ::getpwnam("root");
  const std::string rootHome = root != nullptr ? root->pw_dir : "~root";
  const Case cases[] = {
      {"~", "/home/me", "/home/me"},
      {"~/x/y", "/home/me", "/home/me/x/y"},
      {"~/", "/home/me", "/home/me/"},
      {"~/x", "/", "/x"},
      {"~", "/", "/"},
      {"~root", "/home/me", rootHome},
      {"~root/x", "/home/me", rootHome + "/x"},
      {"~no-such-user/x", "/home/me", "~no-such-user/x"},
      {"/a/~/b", "/home/me", "/a/~/b"},
      {"a~", "/home/me", "a~"},
      {"", "/home/me", ""},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Files::expandingTilde(c.path, c.home), c.expected) << c.path;
  }
}

TEST_F(FilesTests, TheHomeDirectoryIsThatOfTheEnvironmentOrTheUser) {
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

TEST_F(FilesTests, PathsAreTakenApartAsText) {
  struct Case {
    std::string_view path, last, without;
  };
  const Case cases[] = {
      {"/a/b/c.jsonl", "c.jsonl", "/a/b"},
      {"/a/b/", "b", "/a"},
      {"/a//b//", "b", "/a"},
      {"/a", "a", "/"},
      {"//a", "a", "/"},
      {"a/b", "b", "a"},
      {"a", "a", ""},
      {"a/", "a", ""},
      {"/", "/", "/"},
      {"///", "/", "/"},
      {"", "", ""},
      {"..", "..", ""},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Files::lastComponent(c.path), c.last) << c.path;
    EXPECT_EQ(Files::withoutLastComponent(c.path), c.without) << c.path;
  }
  const std::pair<std::string_view, std::string_view> names[] = {
      {"a.jsonl", "a"},         {"a.b.jsonl", "a.b"}, {"a", "a"},
      {".profile", ".profile"}, {"name.", "name."},   {"", ""},
  };
  for (const auto& [name, without] : names) {
    EXPECT_EQ(Files::withoutExtension(name), without) << name;
  }
}

}  // namespace
}  // namespace tallyfin
