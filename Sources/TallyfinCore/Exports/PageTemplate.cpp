#include "TallyfinCore/Exports/PageTemplate.hpp"

#include <algorithm>

namespace tallyfin::Exporter {

std::string filled(std::string_view page, std::span<const Gap> gaps) {
  std::string out;
  for (std::size_t from = 0; from < page.size();) {
    const std::size_t open = page.find("{{", from);
    const std::size_t close = page.find("}}", open);
    if (close == std::string_view::npos) {
      return out.append(page.substr(from));
    }
    out.append(page.substr(from, open - from));
    const std::string_view name = page.substr(open + 2, close - open - 2);
    const auto gap = std::ranges::find(gaps, name, &Gap::name);
    if (gap != gaps.end()) {
      out.append(gap->content.html());
    }
    from = close + 2;
  }
  return out;
}

}  // namespace tallyfin::Exporter
