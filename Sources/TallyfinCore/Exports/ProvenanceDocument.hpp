#pragma once

// The provenance of a figure, as CSV and as lines.

#include "TallyfinCore/Exports/Options.hpp"

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tallyfin::Exporter {

/// The column names of a provenance document.
inline constexpr std::array<std::string_view, 4> provenanceColumns = {"section", "item", "value", "note"};

/// The sections of a provenance document, in order.
enum class Section : std::uint8_t {
  report,
  figure,
  scan,
  home,
  sourceFile,
  unification,
  loss,
  assumption,
  attribution
};

/// The name of a section: "report", "source file", ...
std::string_view rawValue(Section section);

/// One line of a provenance document.
struct ProvenanceLine {
  std::string section;  ///< the name of a Section
  std::string item;
  std::string value;
  std::string note;  ///< may be empty

  friend bool operator==(const ProvenanceLine&, const ProvenanceLine&) = default;
};

/// When and for which period the figure was made, what the scan read, which files contributed, what was lost
/// and what was assumed.
std::string provenanceCSV(const Report& report, const Options& options);

/// The same content as lines.
std::vector<ProvenanceLine> provenanceLines(const Report& report, const Options& options,
                                            const Stamps& stamps);

/// The selected period in words. If none was selected, the period of the data, marked as such.
std::string periodDescription(const Report& report, const Options& options, const Stamps& stamps);

}  // namespace tallyfin::Exporter
