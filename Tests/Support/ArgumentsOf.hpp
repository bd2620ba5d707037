#pragma once

#include "TallyfinMCP/Arguments.hpp"

#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace tallyfin {

/// The arguments of a tool call, written as a JSON object.
inline GivenArguments argumentsOf(std::string_view document) {
  JsonReader reader(document);
  GivenArguments arguments;
  reader.readObject([&](std::string_view key) { arguments.emplace(key, readValue(reader)); });
  EXPECT_TRUE(reader.finish()) << document;
  return arguments;
}

}  // namespace tallyfin
