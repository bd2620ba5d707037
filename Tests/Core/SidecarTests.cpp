// Reads sidecars that are damaged or hostile.

#include "Support/TempHome.hpp"
#include "TallyfinCore/Attribution/Sidecars.hpp"
#include "TallyfinCore/Transcripts/SessionDescription.hpp"

#include <cmath>
#include <optional>
#include <random>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>

namespace tallyfin {
namespace {

const std::string kGood =
    R"({"agentType": "Explore", "description": "Map the \"auth\" m\u00f6dule", "toolUseId": "toolu_01",)"
    R"( "parentAgentId": "a1", "spawnDepth": 2, "later": {"agentType": [1, {}]}})";

// The second opinion on what a document says.
std::optional<Sidecar> otherReading(const std::string& document) {
  const nlohmann::json json = nlohmann::json::parse(document, nullptr, false);
  if (!json.is_object()) {
    return std::nullopt;
  }
  const auto text = [&](const char* key) {
    const nlohmann::json value = json.value(key, nlohmann::json());
    return value.is_string() && value != "" ? std::optional(value.get<std::string>()) : std::nullopt;
  };
  const nlohmann::json depth = json.value("spawnDepth", nlohmann::json());
  const bool isWhole = depth.is_number() && depth.get<double>() == std::trunc(depth.get<double>());
  return Sidecar{text("agentType"), oneLine(text("description")), text("toolUseId"), text("parentAgentId"),
                 isWhole ? std::optional(depth.get<std::int64_t>()) : std::nullopt};
}

TEST(Sidecars, AreReadAsWritten) {
  const TempHome home;
  const std::string path = home.write("agent-1.meta.json", kGood);
  EXPECT_EQ(sidecarPathOf(home.path("agent-1.jsonl")), path);
  EXPECT_EQ(readSidecar(path), (Sidecar{"Explore", "Map the \"auth\" mödule", "toolu_01", "a1", 2}));
}

TEST(Sidecars, NeverGiveAWrongMemberWhenDamaged) {
  const TempHome home;
  std::mt19937 random(20261124);  // NOLINT(bugprone-random-generator-seed): the same damage every time
  int readable = 0;
  for (int damaged = 0; damaged < 300; ++damaged) {
    std::string document = kGood;
    for (std::size_t change = 1 + random() % 2; change > 0; --change) {
      const std::size_t at = random() % document.size();
      switch (random() % 4) {
        case 0:
          document[at] = static_cast<char>(random() % 256);
          break;
        case 1:
          document.erase(at, 1 + random() % 12);
          break;
        case 2:
          document.insert(at, document.substr(random() % document.size(), random() % 12));
          break;
        default:
          document[at] = R"("{}[],:\ 0n)"[random() % 11];
      }
    }
    const std::optional<Sidecar> read = readSidecar(home.write("a.meta.json", document));
    EXPECT_EQ(read, otherReading(document)) << document;
    readable += read ? 1 : 0;
  }
  EXPECT_GT(readable, 50);
  EXPECT_LT(readable, 250);
}

TEST(Sidecars, AreAbsentIfNotASmallObject) {
  const TempHome home;
  ASSERT_EQ(mkfifo(home.path("fifo").c_str(), 0600), 0);
  home.link("device", "/dev/zero");
  home.makeDirectory("folder");
  home.write("list", "[" + kGood + "]");
  home.write("huge", kGood + std::string(65'537 - kGood.size(), ' '));
  for (const char* name : {"none", "fifo", "device", "folder", "list", "huge"}) {
    EXPECT_EQ(readSidecar(home.path(name)), std::nullopt) << name;
  }
  EXPECT_NE(readSidecar(home.write("largest", kGood + std::string(65'536 - kGood.size(), ' '))),
            std::nullopt);
  EXPECT_EQ(readSidecar(home.write(
                "empty", R"({"agentType": " \t", "toolUseId": "", "description": 7, "spawnDepth": "1"})")),
            Sidecar());
}

}  // namespace
}  // namespace tallyfin
