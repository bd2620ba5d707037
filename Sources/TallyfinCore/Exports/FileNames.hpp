#pragma once

// The names of document files.

#include "TallyfinCore/Exports/Options.hpp"

#include <optional>
#include <string>
#include <string_view>

namespace tallyfin::Exporter {

/// Identifies a document: the breakdown of an axis, or the provenance document.
class Document {
 public:
  static Document breakdown(Axis axis) { return Document(axis); }
  static Document provenance() { return Document(std::nullopt); }

  /// The axis of a breakdown; absent for the provenance document.
  std::optional<Axis> axis() const { return axis_; }

  friend bool operator==(const Document&, const Document&) = default;

 private:
  explicit Document(std::optional<Axis> axis) : axis_(axis) {}

  std::optional<Axis> axis_;
};

/// A stable file name for a document: "tallyfin-project-last-7-days.csv". It contains no "/" and has at most
/// 255 bytes; a longer period label is cut after a whole character.
std::string suggestedFileName(const Document& document, const Options& options,
                              std::string_view extension = ".csv");

}  // namespace tallyfin::Exporter
