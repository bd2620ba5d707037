#pragma once

#include "Platform/Json.hpp"

#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace tallyfin {

/// The arguments of a tool call, written as a JSON object.
inline JsonValue argumentsOf(std::string_view document) {
  JsonReader reader(document);
  JsonValue::Object arguments;
  reader.readObject([&](std::string_view key) { arguments.emplace_back(key, JsonValue::scalar(reader)); });
  EXPECT_TRUE(reader.finish()) << document;
  return arguments;
}

}  // namespace tallyfin
