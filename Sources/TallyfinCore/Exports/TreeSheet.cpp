#include "TallyfinCore/Exports/TreeSheet.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Numbers.hpp"
#include "Platform/Text.hpp"

#include <algorithm>
#include <memory>
#include <numeric>
#include <string>
#include <utility>

namespace tallyfin {
namespace {

using Answers::Tree;
using Answers::TreeNode;
using Unit = Sheet::Unit;

// One row: a node, the agents below a node that have no row of their own, or the heading of the agents whose
// starter is unknown.
struct TreeRow {
  const TreeNode* node = nullptr;  // null: the other agents, or the heading
  std::string starter = {};        // as in documents; empty for the main session
  std::string branches = {};       // drawn before the name
  std::int64_t depth = 0;          // 0: the main session
  std::int64_t others = 0;         // the number of agents without a row of their own
  Bucket sum = {};  // without a node: of the agents that the row stands for, with all below them
};

std::string nameOf(const AgentIdentity& agent) {
  return agent.isSubagent() ? std::string(agent.rawId().text()) : "main";
}

std::string labelOf(const TreeNode& node) {
  constexpr std::size_t kShortId = 9;
  if (!node.agent.isSubagent() || node.agent.kind() == AgentIdentity::Kind::named) {
    return node.agent.label();
  }
  return concat(node.kind.value_or("unnamed"), " ", Text::prefix(node.agent.rawId().text(), kShortId));
}

// Marks the nodes that get a row: the `most` most expensive ones and all above them.
std::vector<bool> chosenNodes(const Tree& tree, std::size_t most) {
  std::vector<std::size_t> order(tree.nodes.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  const auto cost = [&](std::size_t node) { return rankedCost(tree.nodes[node].whole); };
  std::ranges::stable_sort(order,
                           [&](std::size_t left, std::size_t right) { return cost(left) > cost(right); });
  std::vector<bool> isChosen(tree.nodes.size());
  isChosen[0] = true;
  for (const std::size_t first : order) {
    if (most == 0) {
      break;
    }
    if (first != 0) {
      --most;
    }
    for (std::optional<std::size_t> node = first; node && !isChosen[*node];
         node = tree.nodes[*node].starter) {
      isChosen[*node] = true;
    }
  }
  return isChosen;
}

class TreeRows {
 public:
  TreeRows(const Tree& tree, std::size_t most) : tree_(tree), isChosen_(chosenNodes(tree, most)) {}

  std::vector<TreeRow> all() {
    rows_.push_back({.node = &tree_.nodes.front()});
    addBelow(tree_.nodes.front().started, "main");
    if (!tree_.unknownStarter.empty()) {
      rows_.push_back({.sum = sumOf(tree_.unknownStarter)});
      addBelow(tree_.unknownStarter, "unknown");
    }
    return std::move(rows_);
  }

 private:
  // Nodes with the same starter, whose rows are being added.
  struct Level {
    std::string starter;
    std::string margin;
    std::vector<std::size_t> chosen = {};
    std::vector<std::size_t> others = {};
    std::size_t next = 0;  // position in `chosen`
  };

  Bucket sumOf(const std::vector<std::size_t>& nodes) const {
    Bucket sum;
    for (const std::size_t node : nodes) {
      sum.requests += tree_.nodes[node].whole.requests;
      sum.cost += tree_.nodes[node].whole.cost;
    }
    return sum;
  }

  std::int64_t agentsOf(const std::vector<std::size_t>& nodes) const {
    std::int64_t agents = 0;
    for (const std::size_t node : nodes) {
      agents += tree_.nodes[node].agents;
    }
    return agents;
  }

  // Without recursion, since a hostile tree may be as deep as it has agents.
  void addBelow(const std::vector<std::size_t>& top, const std::string& starter) {
    std::vector<Level> levels;
    levels.push_back(levelOf(top, {.starter = starter, .margin = ""}));
    while (!levels.empty()) {
      Level& level = levels.back();
      const auto depth = static_cast<std::int64_t>(levels.size());
      if (level.next == level.chosen.size()) {
        addOthers(level, depth);
        levels.pop_back();
        continue;
      }
      const TreeNode& node = tree_.nodes[level.chosen[level.next++]];
      const bool isLast = level.next == level.chosen.size() && level.others.empty();
      rows_.push_back({.node = &node,
                       .starter = level.starter,
                       .branches = concat(level.margin, isLast ? "└ " : "├ "),
                       .depth = depth});
      const std::string_view indent = levels.size() >= kDeepest ? "" : isLast ? "  " : "│ ";
      std::string margin = concat(level.margin, indent);
      levels.push_back(levelOf(node.started, {.starter = nameOf(node.agent), .margin = std::move(margin)}));
    }
  }

  Level levelOf(const std::vector<std::size_t>& nodes, Level level) const {
    for (const std::size_t node : nodes) {
      (isChosen_[node] ? level.chosen : level.others).push_back(node);
    }
    return level;
  }

  void addOthers(const Level& level, std::int64_t depth) {
    if (!level.others.empty()) {
      rows_.push_back({.starter = level.starter,
                       .branches = concat(level.margin, "└ "),
                       .depth = depth,
                       .others = agentsOf(level.others),
                       .sum = sumOf(level.others)});
    }
  }

  static constexpr std::size_t kDeepest = 24;  // deeper levels are not indented further

  const Tree& tree_;
  std::vector<bool> isChosen_;
  std::vector<TreeRow> rows_;
};

std::string labelOf(const TreeRow& row) {
  if (row.node != nullptr) {
    return concat(row.branches, labelOf(*row.node));
  }
  return row.branches.empty() ? "unknown starter"
                              : concat(row.branches, counted(row.others, "other agent", "other agents"));
}

Sheet::Cell textOrEmpty(const std::string& text) {
  return text.empty() ? Sheet::Cell() : Sheet::Cell(text);
}

}  // namespace

Sheet treeSheet(const Tree& tree, std::optional<std::size_t> most, const Calendar& calendar) {
  const auto rows =
      std::make_shared<const std::vector<TreeRow>>(TreeRows(tree, most.value_or(tree.nodes.size())).all());
  Sheet sheet{
      .calendar = calendar, .id = "agent_tree", .title = "who started whom", .rowCount = rows->size()};
  const auto add = [&](Sheet::Column column, auto cellOf, std::optional<Sheet::Cell> total = {}) {
    column.cell = [rows, cellOf](std::size_t row) { return Sheet::Cell(cellOf((*rows)[row])); };
    column.total = std::move(total);
    sheet.columns.push_back(std::move(column));
  };
  // A cell about a node; empty in other rows.
  const auto ofNode = [](auto cellOf) {
    return [cellOf](const TreeRow& row) {
      return row.node == nullptr ? Sheet::Cell() : Sheet::Cell(cellOf(*row.node));
    };
  };
  const auto orNothing = [](const auto& value) { return value ? Sheet::Cell(*value) : Sheet::Cell(); };
  const Bucket& total = tree.report->total;
  add({.id = "", .title = "agent", .worth = Sheet::always + 3},
      [](const TreeRow& row) { return labelOf(row); });
  add({.id = "agent"}, ofNode([](const TreeNode& node) { return nameOf(node.agent); }));
  add({.id = "kind"}, ofNode([=](const TreeNode& node) { return orNothing(node.kind); }));
  add({.id = "starter"}, [](const TreeRow& row) { return textOrEmpty(row.starter); });
  add({.id = "depth", .unit = Unit::count}, [](const TreeRow& row) { return row.depth; });
  add({.id = "others", .unit = Unit::count}, [](const TreeRow& row) { return row.others; });
  add({.id = "description", .title = "task", .unit = Unit::phrase, .worth = 8},
      ofNode([=](const TreeNode& node) { return orNothing(node.description); }));
  add({.id = "first_activity", .title = "from", .unit = Unit::time, .worth = 6},
      ofNode([=](const TreeNode& node) { return orNothing(node.own.firstActivity); }),
      orNothing(total.firstActivity));
  add({.id = "last_activity", .title = "to", .unit = Unit::time, .worth = 5},
      ofNode([=](const TreeNode& node) { return orNothing(node.own.lastActivity); }),
      orNothing(total.lastActivity));
  add({.id = "requests", .title = "requests", .unit = Unit::count, .worth = 7},
      ofNode([](const TreeNode& node) { return node.own.requests; }), total.requests);
  add({.id = "cost", .title = "cost", .unit = Unit::dollars, .worth = Sheet::always + 2},
      ofNode([](const TreeNode& node) {
        return node.own.requests > 0 ? Sheet::Cell(Sheet::Amount{&node.own}) : Sheet::Cell(Sheet::Idle());
      }),
      Sheet::Amount{&total});
  add(
      {.id = "cost_with_started", .title = "with started", .unit = Unit::dollars, .worth = Sheet::always + 1},
      [](const TreeRow& row) { return Sheet::Amount{row.node == nullptr ? &row.sum : &row.node->whole}; },
      Sheet::Amount{&total});
  return sheet;
}

}  // namespace tallyfin
