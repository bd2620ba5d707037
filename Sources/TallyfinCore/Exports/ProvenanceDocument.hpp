#pragma once

// The account of where a figure comes from, as a CSV and as lines.

#include "TallyfinCore/Exports/Options.hpp"

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tallyfin::Exporter {

/// The header of a provenance document.
inline constexpr std::array<std::string_view, 4> provenanceColumns = {"section", "item", "value", "note"};

/// The sections of a provenance document, in the order in which they appear in it.
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

/// When and for what the figure was made, what the scan read, which files contributed, what was lost and what
/// was assumed.
std::string provenanceCSV(const Report& report, const Options& options);

/// The same as lines.
std::vector<ProvenanceLine> provenanceLines(const Report& report, const Options& options,
                                            const Stamps& stamps);

/// The selected period in words; that of the data, marked as such, when none was selected.
std::string periodDescription(const Report& report, const Options& options, const Stamps& stamps);

}  // namespace tallyfin::Exporter
