#include "Plan.hpp"

#include <algorithm>
#include <span>

namespace tallyfin::corpus {

namespace {

using Texts = std::span<const std::string_view>;

constexpr Milliseconds kSecond = 1000;
constexpr Milliseconds kMinute = 60 * kSecond;
constexpr Milliseconds kHour = 60 * kMinute;
constexpr Milliseconds kDay = 24 * kHour;

constexpr std::uint64_t kKilobyte = 1000;

// Real transcripts have about one request every 9 KB.
constexpr std::uint64_t kBytesPerRequest = 9 * kKilobyte;

// A transcript ends after the request that reaches its size, on average this many bytes later.
constexpr std::uint64_t kOvershoot = 12 * kKilobyte;

constexpr std::array<std::string_view, 24> kProjectNames = {
    "atlas",    "billing-api", "compass",   "docs-site",    "ember",      "field-notes",
    "garden",   "harbor",      "inventory", "journal",      "kite",       "ledger-tools",
    "mailroom", "northwind",   "orchard",   "paper-trail",  "quarry",     "relay",
    "sundial",  "tidepool",    "umbra",     "vector-store", "watchtower", "yarrow"};

constexpr std::array<std::string_view, 8> kFolderNames = {"src",    "tests",        "docs",          "tools",
                                                          "web/ui", "services/api", "packages/core", "infra"};

constexpr std::array<std::string_view, 10> kAgentNames = {
    "reviewer", "test-runner", "explorer",       "docs-writer", "migrator",
    "planner",  "bug-hunter",  "bench-keeper-2", "translator",  "release-notes"};

constexpr std::array<std::string_view, 6> kBranches = {"main",         "main",           "develop",
                                                       "fix/timeouts", "feature/ledger", "spike"};

// Model ids as in transcripts; the common ones are repeated. Two have no price.
constexpr std::array<std::string_view, 14> kMainModels = {"claude-sonnet-4-5-20250929",
                                                          "claude-sonnet-4-5-20250929",
                                                          "claude-sonnet-4-5-20250929",
                                                          "claude-opus-4-5-20251101",
                                                          "claude-opus-4-5-20251101",
                                                          "claude-opus-4-5-20251101[1m]",
                                                          "claude-sonnet-5",
                                                          "claude-sonnet-5",
                                                          "claude-sonnet-5[1m]",
                                                          "claude-opus-5",
                                                          "claude-opus-5",
                                                          "claude-opus-4-1-20250805",
                                                          "claude-sonnet-4-20250514",
                                                          "orchard-coder-2-20260110"};
constexpr std::array<std::string_view, 6> kAgentModels = {"claude-haiku-4-5-20251001",
                                                          "claude-haiku-4-5-20251001",
                                                          "claude-sonnet-4-5-20250929",
                                                          "claude-sonnet-5",
                                                          "claude-opus-5",
                                                          "quarry-small-preview"};

// Numbers of sub-agents per session, used in turn. A table instead of random numbers, so that the few
// sessions of a day include some with sub-agents.
constexpr std::array<std::uint64_t, 20> kAgentCounts = {0, 3, 0, 5, 1, 0, 2, 0, 8, 1,
                                                        4, 0, 3, 0, 2, 6, 1, 0, 2, 11};

// The model of transcript number `index`. The last model of the table has no price; every sixtieth transcript
// uses it. This is not random, so that small corpora include it too.
std::string_view pickModel(Texts models, std::size_t index, Random& random) {
  return index % 60 == 20 ? models.back() : random.pick(models.first(models.size() - 1));
}

std::vector<Project> makeProjects(const Options& options, Random& random) {
  std::vector<Project> projects;
  const std::uint64_t count = std::clamp<std::uint64_t>(options.bytes / 4'000'000, 6, kProjectNames.size());
  for (std::size_t i = 0; i < count; ++i) {
    Project project;
    project.root = options.sources + "/" + std::string(kProjectNames[i]);
    project.home = i % 3 == 2 ? 1 : 0;
    for (std::uint64_t k = random.below(4); k > 0; --k) {
      project.subdirectories.push_back(project.root + "/" + std::string(random.pick(Texts(kFolderNames))));
    }
    for (std::uint64_t k = random.below(3); k > 0; --k) {
      std::string worktree = project.root + "/.claude/worktrees/agent-";
      appendHex(worktree, 8, random);
      project.worktrees.push_back(std::move(worktree));
    }
    projects.push_back(std::move(project));
  }
  return projects;
}

// The directories of a worktree or of the project. Those of the project may begin with a subdirectory.
std::vector<std::string> pickDirectories(const Project& project, std::uint64_t worktreeShare,
                                         Random& random) {
  std::vector<std::string> directories;
  if (!project.worktrees.empty() && random.chance(worktreeShare)) {
    const std::string& worktree = random.pick(std::span<const std::string>(project.worktrees));
    directories.push_back(worktree);
    directories.push_back(worktree + "/src");
    return directories;
  }
  if (!project.subdirectories.empty() && random.chance(150)) {
    directories.push_back(random.pick(std::span<const std::string>(project.subdirectories)));
  }
  directories.push_back(project.root);
  directories.insert(directories.end(), project.subdirectories.begin(), project.subdirectories.end());
  return directories;
}

Transcript makeAgent(const Project& project, std::size_t index, bool isTeam, Random& random) {
  Transcript agent;
  agent.seed = random.next();
  agent.model = pickModel(kAgentModels, index, random);
  agent.directories = pickDirectories(project, 250, random);
  agent.agentId += 'a';
  if (isTeam && random.chance(750)) {
    agent.agentName = random.pick(Texts(kAgentNames));
    agent.agentId.append(agent.agentName).append("-");
  }
  appendHex(agent.agentId, random.between(16, 17), random);
  return agent;
}

// Plans sessions, except for what depends on their number.
std::vector<Session> makeSessions(const Options& options, const std::vector<Project>& projects,
                                  Random& random) {
  // Transcripts of a small corpus are small, so that it has several sessions per day too.
  const std::uint64_t largestMain =
      std::clamp<std::uint64_t>(options.bytes / 40, 60 * kKilobyte, 4700 * kKilobyte);
  const std::uint64_t largestAgent = std::max<std::uint64_t>(largestMain / 2, 40 * kKilobyte);
  std::vector<Session> sessions;
  std::size_t transcripts = 0;
  std::uint64_t planned = 0;
  while (planned < options.bytes) {
    // The product of two random numbers favours the first projects.
    const std::uint64_t draw = random.below(1000) * random.below(1000);
    const Project& project = projects[static_cast<std::size_t>(draw * projects.size() / 1'000'000)];
    Session session;
    appendUuid(session.id, random);
    session.home = random.chance(60) ? 1 - project.home : project.home;
    session.branch = random.pick(Texts(kBranches));
    const std::uint64_t remaining = std::max(options.bytes - planned, 30 * kKilobyte);
    session.main.seed = random.next();
    session.main.model = pickModel(kMainModels, transcripts++, random);
    session.main.isOldFormat = random.chance(80);
    session.main.directories = pickDirectories(project, 100, random);
    session.main.bytes = std::min(random.longTailed(30 * kKilobyte, largestMain), remaining);
    planned += session.main.bytes + kOvershoot;
    const bool isTeam = random.chance(750);
    session.isRostered = isTeam && sessions.size() % 8 != 3;
    std::uint64_t agentCount = kAgentCounts[sessions.size() % kAgentCounts.size()];
    for (; agentCount > 0 && planned < options.bytes; --agentCount) {
      Transcript agent = makeAgent(project, transcripts++, isTeam, random);
      agent.isOldFormat = session.main.isOldFormat;
      agent.bytes = std::min(random.longTailed(15 * kKilobyte, largestAgent), remaining);
      planned += agent.bytes + kOvershoot;
      session.agents.push_back(std::move(agent));
    }
    // A resumed session: the new transcript begins with lines of an earlier one from the same directory.
    if (random.chance(100)) {
      for (std::size_t k = sessions.size(); k > 0 && !session.continued; --k) {
        const Session& earlier = sessions[k - 1];
        if (earlier.main.directories.front() != session.main.directories.front()) continue;
        session.continued = k - 1;
        session.repeatedBytes = earlier.main.bytes * random.between(200, 800) / 1000;
        planned += session.repeatedBytes + kOvershoot;
      }
    }
    sessions.push_back(std::move(session));
  }
  return sessions;
}

// The duration of `transcript` if each request takes `perRequest`.
Milliseconds lengthOf(const Transcript& transcript, Milliseconds perRequest) {
  return static_cast<Milliseconds>(transcript.bytes / kBytesPerRequest + 1) * perRequest;
}

// Spreads the sessions evenly over the days. The sessions of a day end between eleven hours before the hour
// of `now` and four hours after it, so that they fall on one day in every reader's zone. The last session
// ends at `now`.
void setTimes(const Options& options, std::vector<Session>& sessions, Random& random) {
  std::vector<Milliseconds> ends;
  const auto count = static_cast<Milliseconds>(sessions.size());
  for (Milliseconds i = 0; i + 1 < count; ++i) {
    const Milliseconds daysAgo = (count - 1 - i) * options.days / count;
    const Milliseconds latest = options.now - daysAgo * kDay + (daysAgo > 0 ? 4 * kHour : 0);
    const auto span = static_cast<std::uint64_t>(daysAgo > 0 ? 15 * kHour : 11 * kHour);
    ends.push_back(latest - static_cast<Milliseconds>(random.below(span)));
  }
  ends.push_back(options.now);
  std::sort(ends.begin(), ends.end());
  for (std::size_t i = 0; i < sessions.size(); ++i) {
    Transcript& main = sessions[i].main;
    const Milliseconds length = lengthOf(main, static_cast<Milliseconds>(random.between(15, 40)) * kSecond);
    main.end = ends[i];
    main.start = main.end - std::clamp(length, 15 * kMinute, 7 * kHour);
    for (Transcript& agent : sessions[i].agents) {
      agent.start =
          main.start + (main.end - main.start) * static_cast<Milliseconds>(random.below(700)) / 1000;
      const Milliseconds pace = static_cast<Milliseconds>(random.between(4, 15)) * kSecond;
      agent.end = std::min(agent.start + lengthOf(agent, pace), main.end);
    }
  }
}

}  // namespace

void appendHex(std::string& out, std::uint64_t digits, Random& random) {
  constexpr std::string_view kHex = "0123456789abcdef";
  std::uint64_t bits = 0;
  for (std::uint64_t i = 0; i < digits; ++i) {
    if (i % 16 == 0) bits = random.next();
    out += kHex[bits & 15U];
    bits >>= 4U;
  }
}

void appendUuid(std::string& out, Random& random) {
  appendHex(out, 8, random);
  out += '-';
  appendHex(out, 4, random);
  out += "-4";
  appendHex(out, 3, random);
  out += "-a";
  appendHex(out, 3, random);
  out += '-';
  appendHex(out, 12, random);
}

Plan makePlan(const Options& options) {
  Random random(options.seed);
  Plan plan;
  plan.projects = makeProjects(options, random);
  plan.sessions = makeSessions(options, plan.projects, random);
  setTimes(options, plan.sessions, random);
  return plan;
}

}  // namespace tallyfin::corpus
