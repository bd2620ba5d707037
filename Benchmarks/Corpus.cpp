#include "Corpus.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace tallyfin::corpus {

namespace {

namespace fs = std::filesystem;

void writeFile(const fs::path& path, std::string_view content) {
  std::ofstream file(path, std::ios::binary);
  file.write(content.data(), static_cast<std::streamsize>(content.size()));
  file.close();
  if (!file) throw std::runtime_error("cannot write " + path.string());
}

// The name of the folder for the transcripts of a working directory: letters and digits are kept, everything
// else becomes a dash. A very long name is cut at the front, because a file name has at most 255 bytes.
std::string folderName(std::string_view directory) {
  std::string name(directory);
  const auto isPlain = [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
  };
  std::replace_if(
      name.begin(), name.end(), [&](char c) { return !isPlain(c); }, '-');
  constexpr std::size_t kLongest = 200;
  return name.size() > kLongest ? name.substr(name.size() - kLongest) : name;
}

void makeRepositories(const Plan& plan) {
  for (const Project& project : plan.projects) {
    fs::create_directories(project.root + "/.git");
    for (const auto& directory : project.subdirectories) fs::create_directories(directory);
    for (const auto& worktree : project.worktrees) {
      fs::create_directories(worktree + "/src");
      writeFile(worktree + "/.git", "gitdir: " + project.root + "/.git\n");
    }
  }
}

void writeRoster(const fs::path& home, const Session& session) {
  const std::string shortId = session.id.substr(0, 8);
  std::string text = R"({"name":"session-)" + shortId + R"(","members":[{"agentId":"team-lead@session-)" +
                     shortId + R"(","agentType":"team-lead","model":")" + std::string(session.main.model) +
                     "\"}";
  for (const Transcript& agent : session.agents) {
    if (agent.agentName.empty()) continue;
    text.append(R"(,{"agentId":")").append(agent.agentName).append("@session-").append(shortId);
    text.append(R"(","agentType":"general-purpose","model":")").append(agent.model).append(R"(","cwd":")");
    appendEscaped(text, agent.directories.front());
    text += "\"}";
  }
  text += "]}\n";
  const fs::path folder = home / "teams" / ("session-" + shortId);
  fs::create_directories(folder);
  writeFile(folder / "config.json", text);
}

// Writes the sidecar of the session's agent at `index` beside its transcript. One in sixteen is missing, one
// is cut off.
void writeSidecar(const fs::path& transcript, const Session& session, std::size_t index) {
  constexpr std::array<std::string_view, 5> kKinds = {"Explore", "general-purpose", "Plan", "Explore",
                                                      "test-runner"};
  constexpr std::array<std::string_view, 4> kTasks = {"Map the auth module", "Find callers of the parser",
                                                      "Run the tests and report", "Compare both designs"};
  const std::uint64_t seed = session.agents[index].seed;
  if (seed % 16 == 0) return;
  const bool isNested = index > 0 && seed / 16 % 4 == 0;
  std::string text = R"({"agentType":")";
  text.append(kKinds.at(seed / 64 % kKinds.size()));
  text.append(R"(","description":")").append(kTasks.at(seed / 512 % kTasks.size()));
  text.append(R"(","spawnDepth":)").append(isNested ? "2" : "1");
  if (isNested) text.append(R"(,"parentAgentId":")").append(session.agents[index - 1].agentId).append("\"");
  text += "}";
  fs::path path = transcript;
  path.replace_extension(".meta.json");
  writeFile(path, seed % 16 == 1 ? text.substr(0, text.size() / 2) : text);
}

class CorpusWriter {
 public:
  CorpusWriter(const Options& options, const Plan& plan)
      // A seed of its own, so that the texts do not depend on the random numbers that the plan draws.
      : options_(options), plan_(plan), prose_(Random(options.seed ^ 0x5eed0fU)) {}

  Summary run() {
    for (const Session& session : plan_.sessions) writeSession(session);
    return summary_;
  }

 private:
  void writeSession(const Session& session) {
    const fs::path home = fs::path(options_.out) / homeNames[session.home];
    const fs::path folder = home / "projects" / folderName(session.main.directories.front());
    fs::create_directories(folder);
    buffer_.clear();
    if (session.continued) {
      const Session& earlier = plan_.sessions[*session.continued];
      Counts repeated = appendTranscript(buffer_, prose_, session, earlier.main, session.repeatedBytes);
      repeated.requests = 0;
      summary_.counts += repeated;
    }
    writeTranscript(folder / (session.id + ".jsonl"), session, session.main);
    if (!session.agents.empty()) fs::create_directories(folder / session.id / "subagents");
    for (std::size_t index = 0; index < session.agents.size(); ++index) {
      const Transcript& agent = session.agents[index];
      const fs::path path = folder / session.id / "subagents" / ("agent-" + agent.agentId + ".jsonl");
      buffer_.clear();
      writeTranscript(path, session, agent);
      writeSidecar(path, session, index);
    }
    if (session.isRostered) writeRoster(home, session);
  }

  // Writes the content of the buffer, followed by the transcript.
  void writeTranscript(const fs::path& path, const Session& session, const Transcript& transcript) {
    summary_.counts += appendTranscript(buffer_, prose_, session, transcript, transcript.bytes);
    writeFile(path, buffer_);
    ++summary_.files;
    summary_.bytes += buffer_.size();
  }

  const Options& options_;
  const Plan& plan_;
  Prose prose_;
  std::string buffer_;
  Summary summary_;
};

}  // namespace

Summary writeCorpus(const Options& options) {
  fs::create_directories(options.out);
  if (!fs::is_empty(options.out)) throw std::runtime_error(options.out + " is not empty");
  const Plan plan = makePlan(options);
  if (options.makeRepositories) makeRepositories(plan);
  return CorpusWriter(options, plan).run();
}

}  // namespace tallyfin::corpus
