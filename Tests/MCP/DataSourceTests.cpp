// The state of the server: when it reads the disk, where its cache is, and that no message harms it.
// Tests/Golden covers the answers of the tools.

#include "Platform/Files.hpp"
#include "Support/Machine.hpp"
#include "Support/UsageLine.hpp"
#include "TallyfinCore/Cache/CacheFile.hpp"
#include "TallyfinMCP/MCP.hpp"

#include <new>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tallyfin {
namespace {

using testing::ElementsAre;
using testing::Optional;
using testing::UnorderedElementsAre;

const std::string transcript = ".claude/projects/p/one.jsonl";

class DataSourceTest : public testing::Test {
 protected:
  void addRequest(const std::string& id, const std::string& file = transcript) {
    machine_.home.append(file, UsageLine{.id = id, .time = "2026-03-10T08:00:00Z", .input = 10}.text());
  }

  Machine machine_{{2026, 3, 10}, 14, 30};
};

TEST_F(DataSourceTest, RefreshesAfterFifteenSeconds) {
  addRequest("m1");
  DataSource data(machine_.environment());
  EXPECT_EQ(data.records().size(), 0U);
  EXPECT_EQ(data.ensureFresh().filesNew, 1);
  addRequest("m2");
  machine_.now += 14.9;
  EXPECT_EQ(data.report(Period::all()).total.requests, 1);
  machine_.now -= 3600;  // a clock set back must catch up first
  EXPECT_EQ(data.report(Period::all()).total.requests, 1);
  machine_.now += 3600.1;
  EXPECT_EQ(data.ensureFresh().filesGrown, 1);
  EXPECT_EQ(data.records().size(), 2U);
}

TEST_F(DataSourceTest, TheSecondRunStartsFromTheCacheFile) {
  addRequest("m1");
  DataSource first(machine_.environment());
  EXPECT_TRUE(Files::isDirectory(machine_.home.path("cache"))) << "the constructor creates it";
  EXPECT_FALSE(Files::exists(machine_.home.path("cache/scan.bin"))) << "no tool has been called";
  first.ensureFresh();
  first.finishSaving();
  DataSource second(machine_.environment());
  EXPECT_TRUE(second.ensureFresh().fromCache);
  EXPECT_EQ(second.ensureFresh().bytesRead, 0U);
  EXPECT_EQ(second.records(), first.records());
}

TEST_F(DataSourceTest, VariablesMoveTranscriptsAndCacheNotTheHome) {
  Environment environment = machine_.environment();
  environment.tallyfinHome = "~/elsewhere";
  environment.tallyfinCachePath = "~/deep/er/cache.bin";
  addRequest("m1", "elsewhere/" + transcript);
  DataSource data(environment);
  EXPECT_EQ(data.cache().cachePath(), machine_.home.path("deep/er/cache.bin"));
  EXPECT_EQ(data.report(Period::all()).total.requests, 1);
  MCPServer server(data, [](std::string_view) {});
  const std::string provenance = server.callTool("tally_provenance", {}).text;
  EXPECT_THAT(provenance, testing::HasSubstr("\n  ~/elsewhere/.claude/projects/p/one.jsonl\n"));

  environment.tallyfinHome = "";
  environment.tallyfinCachePath = machine_.home.write("file", "") + "/below/scan.bin";
  addRequest("m2");
  addRequest("m3");
  DataSource unsaved(environment);
  EXPECT_EQ(unsaved.report(Period::all()).total.requests, 2) << "from memory";
  environment.tallyfinCachePath = "";
  EXPECT_EQ(DataSource(environment).cache().cachePath(),
            CacheFile::defaultPath(Files::applicationSupportDirectory(machine_.home.path())));
}

TEST_F(DataSourceTest, NothingIsWrittenInTranscriptFolders) {
  addRequest("m1");
  machine_.home.link("link", machine_.home.path(".claude/projects/p"));
  machine_.home.link("rosters", machine_.home.path(".claude-work/teams"));
  machine_.home.link(".claude/teams/cache.bin", machine_.home.path("outside.bin"));
  Environment environment = machine_.environment();
  for (const char* place :
       {"link/cache.bin", "link/below/../../one", ".claude/projects/new/../../cache.bin",
        ".claude-yahoo/teams/cache.bin", "rosters/cache.bin", ".claude/teams/cache.bin"}) {
    environment.tallyfinCachePath = machine_.home.path(place);
    DataSource data(environment);
    EXPECT_EQ(data.report(Period::all()).total.requests, 1);
    data.finishSaving();
    EXPECT_NE(data.savingError(), "") << place;
  }
  EXPECT_THAT(Files::entryNames(machine_.home.path(".claude/projects")), Optional(ElementsAre("p")));
  EXPECT_THAT(Files::entryNames(machine_.home.path(".claude/projects/p")),
              Optional(ElementsAre("one.jsonl")));
  EXPECT_THAT(Files::entryNames(machine_.home.path()),
              Optional(UnorderedElementsAre(".claude", "link", "rosters")));
}

TEST_F(DataSourceTest, AFailedRefreshIsRepeated) {
  addRequest("m1");
  int asked = 0;
  int failing = 0;
  Environment environment = machine_.environment();
  environment.now = [&, clock = environment.now] {
    if (++asked == failing) {
      throw std::bad_alloc();
    }
    return clock();
  };
  DataSource data(environment);
  const auto failAt = [&](int call) {  // after all files are read, before the records are stored
    asked = 0;
    failing = call;
    EXPECT_THROW(data.ensureFresh(), std::bad_alloc);
    data.finishSaving();
  };
  failAt(2);  // the first refresh reads the clock at its start and at its end
  EXPECT_EQ(data.report(Period::all()).total.requests, 1);
  data.finishSaving();
  machine_.now += 20;
  failAt(3);  // later refreshes also read it for the age of the last one
  machine_.now -= 10;
  EXPECT_EQ(data.report(Period::all()).total.requests, 1) << "even soon after a successful refresh";
}

TEST_F(DataSourceTest, HugeArgumentsAreEchoedAndInvalidLinesRefused) {
  addRequest("m1");
  DataSource data(machine_.environment());
  int refused = 0;
  MCPServer server(data, [&](std::string_view) { ++refused; });
  EXPECT_EQ(server.reply(R"({"method":"tools/call","params":{"name":"tally_cost"}})"), std::nullopt);
  EXPECT_EQ(data.records().size(), 0U) << "a call without an id runs no tool";
  for (const std::string& deep :
       {std::string(100'000, '['), std::string(100'000, '[') + std::string(100'000, ']')}) {
    EXPECT_EQ(server.reply(R"({"id":1,"method":"ping","x":)" + deep + "}"), std::nullopt);
  }
  EXPECT_EQ(server.reply("{\"id\":1,\"method\":\"ping\",\"x\":\"\xff\"}"), std::nullopt);
  EXPECT_EQ(refused, 3);
  for (const char* piece : {"scout", " ", "e\u0301", "\U0001f469\u200d", "\n\""}) {
    std::string text;
    while (text.size() < 1'000'000) {
      text += piece;
    }
    for (const char* name : {"agent", "project", "session_id", "from", "by"}) {
      const MCPServer::ToolResult result = server.callTool("tally_cost", {{name, text}});
      EXPECT_TRUE(result.isError && result.text.find(text) != std::string::npos) << name << " " << piece;
    }
  }
  EXPECT_FALSE(server.callTool("tally_cost", {}).isError);
}

}  // namespace
}  // namespace tallyfin
