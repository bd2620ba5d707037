#include "TallyfinCore/Answers/Tree.hpp"

#include "Platform/ByteSearch.hpp"
#include "Platform/Json.hpp"
#include "TallyfinCore/Attribution/Sidecars.hpp"
#include "TallyfinCore/Transcripts/ContentBlocks.hpp"
#include "TallyfinCore/Transcripts/LineReader.hpp"
#include "absl/container/flat_hash_map.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace tallyfin::Answers {
namespace {

using Index = std::optional<std::size_t>;  // of a node

// A file with requests of the session.
struct SessionFile {
  const std::string* path;
  std::vector<AgentIdentity> agents;  // of these requests; an agent may occur more than once
};

std::vector<SessionFile> filesOf(InternedText session, const std::vector<FileProvenance>& files) {
  std::vector<SessionFile> found;
  for (const FileProvenance& file : files) {
    std::vector<AgentIdentity> agents;
    for (const auto& [key, record] : file.records().entries()) {
      if (record.sessionId == session && (agents.empty() || agents.back() != record.agent)) {
        agents.push_back(record.agent);
      }
    }
    if (!agents.empty()) {
      found.push_back({&file.path, std::move(agents)});
    }
  }
  return found;
}

// Builds the tree.
class Growing {
 public:
  Growing(InternedText session, std::shared_ptr<const Report> report) {
    tree_.session = session;
    tree_.report = std::move(report);
    addNode(AgentIdentity::main());
    for (const auto& [agent, bucket] : tree_.report->byAgent) {
      nodeOf(addNode(agent)).own = bucket;
    }
  }

  void readSidecars(const std::vector<SessionFile>& files) {
    std::vector<bool> isRead(tree_.nodes.size());
    for (const SessionFile& file : files) {
      for (const AgentIdentity& agent : file.agents) {
        const Index node = find(agent);
        if (agent.isSubagent() && node && !isRead[*node]) {
          isRead[*node] = true;
          takeSidecar(*node, readSidecar(sidecarPathOf(*file.path)).value_or(Sidecar()));
        }
      }
    }
  }

  // Finds the starters that only the transcripts tell.
  void readToolUses(const std::vector<SessionFile>& files) {
    for (const SessionFile& file : files) {
      if (waiting_.empty()) {
        return;
      }
      try {
        LineReader::forEachLine(*file.path, 0, std::nullopt,
                                [this](std::string_view line) { takeLine(line); });
      } catch (const ReadError&) {
        continue;  // the report counts unreadable files
      }
    }
  }

  Tree result() && {
    breakCircles();
    for (std::size_t node = 1; node < tree_.nodes.size(); ++node) {
      (nodeOf(node).starter ? nodeOf(*nodeOf(node).starter).started : tree_.unknownStarter).push_back(node);
    }
    addUp();
    for (TreeNode& node : tree_.nodes) {
      sort(node.started);
    }
    sort(tree_.unknownStarter);
    return std::move(tree_);
  }

 private:
  TreeNode& nodeOf(std::size_t index) { return tree_.nodes[index]; }

  Index find(const AgentIdentity& agent) const {
    const auto found = indexOf_.find(agent);
    return found == indexOf_.end() ? Index() : Index(found->second);
  }

  std::size_t addNode(const AgentIdentity& agent) {
    const auto [at, isNew] = indexOf_.try_emplace(agent, tree_.nodes.size());
    if (isNew) {
      TreeNode node{.agent = agent};
      if (agent.kind() == AgentIdentity::Kind::named) {
        node.kind = std::string(agent.name().text());
      }
      tree_.nodes.push_back(std::move(node));
    }
    return at->second;
  }

  void takeSidecar(std::size_t node, Sidecar sidecar) {
    if (nodeOf(node).agent.kind() == AgentIdentity::Kind::anonymous) {
      nodeOf(node).kind = std::move(sidecar.agentType);
    }
    nodeOf(node).description = std::move(sidecar.description);
    if (sidecar.parentAgentId) {
      nodeOf(node).starter = find(AgentIdentity::parse(InternedText(*sidecar.parentAgentId)));
    }
    if (nodeOf(node).starter) {
      return;
    }
    if (sidecar.spawnDepth == 1) {
      nodeOf(node).starter = 0;
    }
    if (sidecar.toolUseId) {
      waiting_[*std::move(sidecar.toolUseId)].push_back(node);
    }
  }

  void takeLine(std::string_view line) {
    if (!containsBytes(line, "\"tool_use\"")) {
      return;
    }
    std::optional<std::string> agent;
    std::string_view message;
    JsonReader reader(line);
    reader.readObject([&](std::string_view key) {
      if (key == "agentId") {
        agent = reader.optionalText();
      } else if (key == "message") {
        message = reader.rawValue();
      } else {
        reader.skipValue();
      }
    });
    if (!reader.finish() || message.empty()) {
      return;
    }
    const Index starter = find(AgentIdentity::parse(InternedText(agent.value_or(""))));
    if (starter) {
      forEachBlock(message, [&](ContentBlock&& block) {
        if (block.type == "tool_use" && block.id) {
          start(*block.id, *starter);
        }
      });
    }
  }

  void start(const std::string& toolUse, std::size_t starter) {
    const auto found = waiting_.find(toolUse);
    if (found == waiting_.end()) {
      return;
    }
    // An agent's transcript may begin with a copy of the line that started it.
    std::erase_if(found->second, [&](std::size_t node) {
      if (node != starter) {
        nodeOf(node).starter = starter;
      }
      return node != starter;
    });
    if (found->second.empty()) {
      waiting_.erase(found);
    }
  }

  // Removes the starter of every node on a circle.
  void breakCircles() {
    std::vector<std::size_t> visitedFrom(tree_.nodes.size());  // the walk that reached a node; 0: none
    for (std::size_t first = 1; first < tree_.nodes.size(); ++first) {
      Index at = first;
      while (at && *at != 0 && visitedFrom[*at] == 0) {
        visitedFrom[*at] = first;
        at = nodeOf(*at).starter;
      }
      if (at && *at != 0 && visitedFrom[*at] == first) {  // this walk came back to its own path
        while (at) {
          at = std::exchange(nodeOf(*at).starter, std::nullopt);
        }
      }
    }
  }

  // Adds the sums of each node to those of its starter. Goes through the tree from the deepest level to the
  // top, so that the sums of a node are complete before they are added.
  void addUp() {
    std::vector<std::size_t> order = tree_.unknownStarter;
    order.push_back(0);
    for (std::size_t at = 0; at < order.size(); ++at) {
      const std::vector<std::size_t>& started = nodeOf(order[at]).started;
      order.insert(order.end(), started.begin(), started.end());
    }
    std::ranges::reverse(order);
    for (const std::size_t index : order) {
      TreeNode& node = nodeOf(index);
      add(node.own, node.whole);
      node.agents += node.agent.isSubagent() ? 1 : 0;
      if (node.starter) {
        add(node.whole, nodeOf(*node.starter).whole);
        nodeOf(*node.starter).agents += node.agents;
      }
    }
    if (tree_.unknownStarter.empty()) {
      nodeOf(0).whole.cost = tree_.report->total.cost;  // the same sum, also in its last bit
    }
  }

  static void add(const Bucket& part, Bucket& sum) {
    sum.requests += part.requests;
    sum.cost += part.cost;
  }

  void sort(std::vector<std::size_t>& nodes) {
    const auto key = [this](std::size_t node) {
      return std::pair(-rankedCost(nodeOf(node).whole), nodeOf(node).agent.description());
    };
    std::ranges::sort(nodes, {}, key);
  }

  Tree tree_;
  absl::flat_hash_map<AgentIdentity, std::size_t> indexOf_;
  absl::flat_hash_map<std::string, std::vector<std::size_t>>
      waiting_;  // nodes by the tool use that started them
};

}  // namespace

Tree tree(DataSource& data, InternedText session) {
  auto report = std::make_shared<const Report>(data.report(
      Period::all(), [session](const UsageRecord& record) { return record.sessionId == session; },
      ReportParts::only(&ReportParts::agents)));
  const std::vector<FileProvenance> all = data.filesInOrder();
  const std::vector<SessionFile> files = filesOf(session, all);
  Growing growing(session, std::move(report));
  growing.readSidecars(files);
  growing.readToolUses(files);
  return std::move(growing).result();
}

}  // namespace tallyfin::Answers
