#include "Support/TempHome.hpp"
#include "TallyfinCore/Attribution/ProjectPath.hpp"

#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace tallyfin {
namespace {

using std::string_literals::operator""s;

struct Case {
  std::string raw;
  std::string label;
  Provenance provenance;
};

void expectLabels(const ProjectResolver& resolver, const std::vector<Case>& cases) {
  ProjectResolver::Parent last;
  for (const Case& c : cases) {
    const Resolved resolved = resolver.resolve(InternedText(c.raw), last);
    EXPECT_EQ(resolved.canonical.text(), c.label) << c.raw;
    EXPECT_EQ(text(resolved.provenance), text(c.provenance)) << c.raw;
  }
}

TEST(ProjectPathTests, DirectoriesInARepositoryShareItsLabel) {
  TempHome home;
  home.makeDirectory("repo/.git");
  home.makeDirectory("repo/src/deep");
  home.write("repo/linked/.git", "gitdir: elsewhere");
  home.makeDirectory("plain/sub");
  home.link("dangling/.git", "nowhere");
  const ProjectResolver resolver(home.path(), true);
  const auto at = [&](const std::string& path) { return home.path() + path; };
  expectLabels(resolver,
               {
                   {at("/repo"), "~/repo", Provenance::exact},
                   {at("/repo/"), "~/repo/", Provenance::exact},
                   {at("/repo/src"), "~/repo", Provenance::gitRootFolded},
                   {at("/repo/src//deep/"), "~/repo", Provenance::gitRootFolded},
                   {at("/repo/gone/long/ago"), "~/repo", Provenance::gitRootFolded},
                   {at("/repo/gone/long/since"), "~/repo", Provenance::gitRootFolded},
                   {at("/repo/gone"), "~/repo", Provenance::gitRootFolded},
                   {at("/repo/linked"), "~/repo/linked", Provenance::exact},
                   {at("/repo/linked/x"), "~/repo/linked", Provenance::gitRootFolded},
                   {at("/repo/.claude/worktrees/w/src"), "~/repo", Provenance::worktreeFolded},
                   {at("/repo/src/.claude/worktrees/w"), "~/repo", Provenance::worktreeFolded},
                   {at("/plain/sub"), "~/plain/sub", Provenance::rawFallback},
                   {at("/plain/sub/.claude/worktrees/w"), "~/plain/sub", Provenance::worktreeFolded},
                   {at("/dangling"), "~/dangling", Provenance::rawFallback},
                   {at("/repo/.git\0/x"s), "~/repo", Provenance::gitRootFolded},
               });
}

TEST(ProjectPathTests, TheWalkEndsAfterFortyLevels) {
  TempHome home;
  home.makeDirectory("repo/.git");
  std::string below = home.path("repo");
  for (int level = 0; level < 39; ++level) {
    below += "/d";
  }
  const ProjectResolver resolver("/nowhere", true);
  expectLabels(resolver, {{below, home.path("repo"), Provenance::gitRootFolded},
                          {below + "/d", below + "/d", Provenance::rawFallback}});
}

TEST(ProjectPathTests, OddPathsAreUnchanged) {
  const ProjectResolver resolver("/home/me", true);
  const std::string odd[] = {
      "/",
      "x",
      "\u00e9",                    // one character of two bytes
      "relative/no-such-place/x",  //
      "/no-such-place\0/x"s,       // does not exist; must not be looked up as "/no-such-place"
      "/no-such-place/" + std::string(100'000, 'x'),
      "/no-such-place" + std::string(5'000, '/'),
  };
  for (const std::string& raw : odd) {
    expectLabels(resolver, {{raw, raw, Provenance::rawFallback}});
  }
}

TEST(ProjectPathTests, RequestsWithoutADirectoryHaveALabelOfTheirOwn) {
  const ProjectResolver resolver("/home/me", true);
  const std::pair<const char*, const char*> labels[] = {
      {"", "(unknown cwd)"},
      {"/home/me/.claude/projects/-srv-app/one.jsonl", "-srv-app"},
      {"/one.jsonl", "/"},
  };
  for (const auto& [transcript, label] : labels) {
    const Resolved resolved = resolver.resolve({}, transcript);
    EXPECT_EQ(resolved.canonical.text(), label) << transcript;
    EXPECT_EQ(resolved.provenance, Provenance::missing);
  }
}

TEST(ProjectPathTests, RecognisesTheHomeDirectoryInAnyNormalForm) {
  const ProjectResolver resolver("/home/jos\u00e9", false);
  EXPECT_EQ(resolver.tildify("/home/jose\u0301/app"), "~/app");
  EXPECT_EQ(resolver.tildify("/home/jose"), "/home/jose");
  expectLabels(resolver,
               {{"/home/jos\u00e9", "~", Provenance::rawFallback},
                {"/home/jos\u00e9/", "~/", Provenance::rawFallback},
                {"/home/jos\u00e9/app/.claude/worktrees/w1/src", "~/app", Provenance::worktreeFolded}});
}

TEST(ProjectPathTests, ResultsAreCachedAndSharedByCopies) {
  TempHome home;
  ProjectResolver resolver("/nowhere", true);
  const InternedText path(home.makeDirectory("late"));
  const Resolved first = resolver.resolve(path);
  home.makeDirectory("late/.git");
  const ProjectResolver copy = resolver;
  resolver = ProjectResolver("/nowhere", true);
  EXPECT_EQ(copy.resolve(path), first);
  EXPECT_EQ(first.provenance, Provenance::rawFallback);
  EXPECT_EQ(resolver.resolve(path).provenance, Provenance::exact);
}

TEST(ProjectPathTests, ThreadsMayShareAResolver) {
  const ProjectResolver resolver("/srv", true);
  const auto ask = [&resolver] {
    for (int number = 0; number < 200; ++number) {
      const std::string name = "/no-such-place/" + std::to_string(number);
      EXPECT_EQ(resolver.resolve(InternedText("/srv" + name)).canonical.text(), "~" + name);
    }
  };
  std::thread threads[] = {std::thread(ask), std::thread(ask), std::thread(ask)};
  for (std::thread& thread : threads) {
    thread.join();
  }
}

}  // namespace
}  // namespace tallyfin
