#pragma once

// Draws a sheet as lines of text, as wide as the terminal.

#include "Tallyfin/Console.hpp"
#include "TallyfinCore/Exports/Sheet.hpp"

namespace tallyfin::Command {

/// Prints a sheet and gives the exit status. The columns of `Sheet::always` are always there, others as the
/// width allows. The bar of a lower bound ends in ">", and what is unknown has a "?" in its place. On a
/// terminal a long name loses its middle; control characters in names are spelled out, so that a row is a
/// line. Uses colours where the console has them, and ASCII where it has no UTF-8.
int draw(const Sheet& sheet, const Console& console);

}  // namespace tallyfin::Command
