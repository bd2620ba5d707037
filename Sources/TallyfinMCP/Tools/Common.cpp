#include "Platform/Concat.hpp"
#include "TallyfinCore/Derived.hpp"
#include "TallyfinMCP/Render.hpp"
#include "TallyfinMCP/Tools/Tools.hpp"

namespace tallyfin::Tools {

std::string list(const Rows& rows, std::string_view empty) {
  if (rows.empty()) {
    return concat("  unknown — ", empty, "\n");
  }
  std::string text;
  for (const auto& [label, bucket] : rows) {
    append(text, R::bucketLine(label, *bucket, 34), "\n");
  }
  return text;
}

std::string footer(const Report& report, const Period& period) {
  std::string text = "\n";
  if (period.includesToday) {
    text += "The period includes today — the figure is not final.\n";
  }
  for (const auto& note : {R::unpricedNote(report.total), R::assumedNote(report.total)}) {
    if (note) {
      append(text, *note, "\n");
    }
  }
  append(text, "— ", Derived::disclaimer, "\n");
  return text;
}

}  // namespace tallyfin::Tools
