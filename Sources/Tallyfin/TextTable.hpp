#pragma once

// A table of sums as lines of text, as wide as the terminal.

#include "Tallyfin/Console.hpp"
#include "TallyfinCore/Figures/Report.hpp"

#include <string>
#include <vector>

namespace tallyfin::Command {

/// What a table shows.
struct TextTable {
  struct Row {
    std::string name;
    const Bucket* bucket = nullptr;  ///< null: nothing happened
  };

  std::string title;
  std::string heading;  ///< of the names
  std::vector<Row> rows;
  const Bucket& total;
  bool hasModels = true;           ///< whether the models of a row are worth a column
  std::vector<std::string> notes;  ///< each a paragraph below the table
};

/// The lines of a table. Name, cost and requests are always there; tokens, models and a bar as the width
/// allows. The bar of a lower bound ends in ">", and what is unknown has a "?" in its place. On a terminal a
/// long name loses its middle; names are spelled out where they hold controls, so that a row is a line. With
/// colours where the console has them, in ASCII where it has no UTF-8.
std::string drawn(const TextTable& table, const Console& console);

}  // namespace tallyfin::Command
