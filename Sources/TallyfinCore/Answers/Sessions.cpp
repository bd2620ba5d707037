#include "TallyfinCore/Answers/Sessions.hpp"

#include "Platform/Files.hpp"
#include "absl/container/flat_hash_map.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

namespace tallyfin::Answers {
namespace {

// Where the lines of a main session are.
struct MainTranscript {
  const std::string* path = nullptr;
  bool hasName = false;  // the file has the name of the session
};

using MainTranscripts = absl::flat_hash_map<InternedText, MainTranscript>;

// Finds the transcript of each session in `wanted`: of the files with requests of its main session, the one
// that has the session's name, otherwise the first one.
void findTranscripts(MainTranscripts& wanted, const std::vector<FileProvenance>& files) {
  for (const FileProvenance& file : files) {
    const std::string_view name = Files::withoutExtension(Files::lastComponent(file.path));
    std::optional<InternedText> last;
    for (const auto& [key, record] : file.records().entries()) {
      if (record.agent.isSubagent() || record.sessionId == last) {
        continue;
      }
      last = record.sessionId;
      const auto found = wanted.find(record.sessionId);
      const bool hasName = record.sessionId.text() == name;
      if (found != wanted.end() && (found->second.path == nullptr || (hasName && !found->second.hasName))) {
        found->second = {&file.path, hasName};
      }
    }
  }
}

void describe(std::vector<SessionRow>& rows, const std::vector<FileProvenance>& files) {
  MainTranscripts transcripts;
  for (const SessionRow& row : rows) {
    transcripts.try_emplace(row.id);
  }
  findTranscripts(transcripts, files);
  for (SessionRow& row : rows) {
    if (const std::string* const path = transcripts.at(row.id).path) {
      row.description = describeSession(*path);
    }
  }
}

// The latest sessions, the latest last; of equal times, by id.
std::vector<std::pair<InternedText, const Bucket*>> latest(const BucketsBy<InternedText>& sessions,
                                                           std::optional<std::int64_t> limit) {
  auto all = inOrder(sessions);
  std::ranges::stable_sort(all, [](const auto& left, const auto& right) {
    return left.second->lastActivity < right.second->lastActivity;
  });
  if (limit && std::cmp_less(*limit, all.size())) {
    all.erase(all.begin(), all.end() - *limit);
  }
  return all;
}

}  // namespace

Sessions sessions(DataSource& data, const SessionsQuestion& question) {
  const auto report = std::make_shared<const Report>(
      data.report(question.period, question.filters.predicate,
                  ReportParts::only(&ReportParts::sessions, &ReportParts::agents, &ReportParts::origins)));
  absl::flat_hash_map<InternedText, std::int64_t> agents;
  for (const auto& [agent, session] : report->agentSession) {
    agents[session] += agent.isSubagent() ? 1 : 0;
  }
  Sessions answer{.report = report};
  const auto chosen =
      question.byCost ? ranked(report->bySession, question.limit) : latest(report->bySession, question.limit);
  for (const auto& [id, bucket] : chosen) {
    SessionRow row{.id = id, .bucket = bucket, .agents = agents[id]};
    if (const auto project = report->sessionProject.find(id); project != report->sessionProject.end()) {
      row.project = project->second;
    }
    answer.rows.push_back(std::move(row));
  }
  answer.leftOut = static_cast<std::int64_t>(report->bySession.size() - answer.rows.size());
  describe(answer.rows, data.filesInOrder());
  return answer;
}

std::optional<InternedText> lastSession(DataSource& data) {
  data.ensureFresh();
  const UsageRecord* last = nullptr;
  for (const UsageRecord& record : data.records()) {
    last = last == nullptr || last->timestamp <= record.timestamp ? &record : last;
  }
  return last == nullptr ? std::nullopt : std::optional(last->sessionId);
}

}  // namespace tallyfin::Answers
