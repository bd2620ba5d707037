#pragma once

// Draws a sheet as lines of text that fit the terminal.

#include "Tallyfin/Console.hpp"
#include "TallyfinCore/Exports/Sheet.hpp"

namespace tallyfin::Command {

/// Prints a sheet and returns the exit status. Columns of at least `Sheet::always` are always shown, others
/// if the width allows. The bar of a lower bound ends in ">"; an unknown value is shown as "?". On a
/// terminal, long names are shortened in the middle. Control characters in names are spelled out, so that
/// every row is one line. Uses colours if the console has them, and ASCII if it has no UTF-8.
int draw(const Sheet& sheet, const Console& console);

}  // namespace tallyfin::Command
