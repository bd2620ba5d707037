#pragma once

#include "Golden/Steps.hpp"
#include "Support/ArgumentsOf.hpp"
#include "TallyfinMCP/MCP.hpp"

#include <gtest/gtest.h>

namespace tallyfin {

/// Gives tests the machine of Tests/Golden/small, for checks that need more than questions.
class GoldenHome : public testing::Test {
 protected:
  GoldenHome() { furnish(machine_, fs::path(TALLYFIN_GOLDEN) / "small/home.txt"); }

  Machine machine_{{2026, 1, 1}, 0, 0};
};

}  // namespace tallyfin
