#include "TallyfinCore/Derived.hpp"
#include "TallyfinMCP/Render.hpp"
#include "TallyfinMCP/Tools/Tools.hpp"
#include "absl/strings/str_cat.h"

namespace tallyfin::Tools {

std::string list(const Rows& rows, std::string_view empty) {
  if (rows.empty()) {
    return absl::StrCat("  unknown — ", empty, "\n");
  }
  std::string text;
  for (const auto& [label, bucket] : rows) {
    absl::StrAppend(&text, R::bucketLine(label, *bucket, 34), "\n");
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
      absl::StrAppend(&text, *note, "\n");
    }
  }
  absl::StrAppend(&text, "— ", Derived::disclaimer, "\n");
  return text;
}

}  // namespace tallyfin::Tools
