#include "TallyfinCore/Answers/Filters.hpp"

#include "Platform/Concat.hpp"
#include "TallyfinCore/Answers/Lookup.hpp"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace tallyfin {
namespace {

// Whether a record belongs to a project. Consecutive records mostly share a directory, so the last result is
// cached.
class InProject {
 public:
  InProject(ProjectResolver resolver, InternedText project)
      : resolver_(std::move(resolver)), project_(project) {}

  bool operator()(const UsageRecord& record) {
    if (directory_ != record.rawCwd.spelling()) {
      directory_ = record.rawCwd.spelling();
      isInside_ = resolver_.resolve(record.rawCwd).canonical == project_;
    }
    return isInside_;
  }

 private:
  ProjectResolver resolver_;
  InternedText project_;
  std::optional<std::uint32_t> directory_;  // spelling number of the last directory
  bool isInside_ = false;
};

bool isGiven(const std::optional<std::string>& word) {
  return word && !word->empty();
}

// Looks up a word, if given, and stores its key. Returns the refusal, if any.
template <typename Key>
std::optional<Refusal> keep(std::optional<Key>& key, const std::optional<std::string>& word,
                            Answered<Key> (*resolve)(const std::string&, const Report&), const Report& wide) {
  if (!isGiven(word)) {
    return std::nullopt;
  }
  Answered<Key> found = resolve(*word, wide);
  if (Refusal* const refusal = std::get_if<Refusal>(&found)) {
    return std::move(*refusal);
  }
  key = std::get<Key>(found);
  return std::nullopt;
}

RecordFilter predicateOf(const Filters& filters, const ProjectResolver& resolver) {
  std::vector<RecordFilter> all;
  if (filters.agent) {
    all.emplace_back([agent = *filters.agent](const UsageRecord& record) { return record.agent == agent; });
  }
  if (filters.project) {
    all.emplace_back(InProject(resolver, *filters.project));
  }
  if (filters.session) {
    all.emplace_back([id = *filters.session](const UsageRecord& record) { return record.sessionId == id; });
  }
  return [all = std::move(all)](const UsageRecord& record) {
    return std::ranges::all_of(all, [&](const RecordFilter& passes) { return passes(record); });
  };
}

}  // namespace

std::vector<std::pair<std::string_view, std::string>> Filters::named() const {
  std::vector<std::pair<std::string_view, std::string>> filters;
  if (agent) {
    filters.emplace_back("agent", agent->labelWithId());
  }
  if (project) {
    filters.emplace_back("project", project->text());
  }
  if (session) {
    filters.emplace_back("session", session->text());
  }
  return filters;
}

std::vector<std::string> Filters::described() const {
  std::vector<std::string> texts;
  for (const auto& [name, value] : named()) {
    texts.push_back(concat(name, " = ", value));
  }
  return texts;
}

Answered<Filters> buildFilters(DataSource& data, const FilterWords& words) {
  Filters filters;
  if (!isGiven(words.agent) && !isGiven(words.project) && !isGiven(words.session)) {
    return filters;
  }
  ReportParts named = ReportParts::only();
  named.agents = isGiven(words.agent);
  named.projects = isGiven(words.project);
  named.sessions = isGiven(words.session);
  const Report wide = data.report(Period::all(), {}, named);
  std::optional<Refusal> refusal = keep(filters.agent, words.agent, resolveAgent, wide);
  if (!refusal) {
    refusal = keep(filters.project, words.project, resolveProject, wide);
  }
  if (!refusal) {
    refusal = keep(filters.session, words.session, resolveSession, wide);
  }
  if (refusal) {
    return *std::move(refusal);
  }
  filters.predicate = predicateOf(filters, data.resolver());
  return filters;
}

}  // namespace tallyfin
