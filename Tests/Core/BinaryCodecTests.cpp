// Tests the encoding of the cache file, and that unreadable input is reported by its kind.

#include "TallyfinCore/Cache/BinaryCodec.hpp"

#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace tallyfin {
namespace {

using namespace std::string_literals;

TEST(BinaryCodec, WritesTheDocumentedBytes) {
  BinaryWriter writer;
  EXPECT_EQ(writer.intern("b"), 0U);
  EXPECT_EQ(writer.intern(""), 1U);
  EXPECT_EQ(writer.intern("b"), 0U);
  const std::uint64_t values[] = {0, 127, 128, 300, 16383, 16384, std::uint64_t{1} << 63, ~std::uint64_t{0}};
  for (const std::uint64_t value : values) {
    writer.writeUInt(value);
  }
  writer.writeDouble(1.5);
  writer.writeByte(9);
  writer.writeUInt(1);
  std::string bytes;
  writer.finish("H", [&](std::string_view part) { bytes += part; });
  EXPECT_EQ(bytes, "H\x02\x01"s + "b\0"s + "\0\x7F\x80\x01\xAC\x02\xFF\x7F\x80\x80\x01"s +
                       "\x80\x80\x80\x80\x80\x80\x80\x80\x80\x01"s +
                       "\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01"s + "\0\0\0\0\0\0\xF8\x3F\x09\x01"s);
  BinaryReader reader(std::string_view(bytes).substr(1));
  std::vector<std::string> strings;
  reader.readStringTable([&](auto some) { strings.insert(strings.end(), some.begin(), some.end()); });
  for (const std::uint64_t value : values) {
    EXPECT_EQ(reader.readUInt(), value);
  }
  EXPECT_EQ(reader.readDouble(), 1.5);
  EXPECT_EQ(reader.readByte(), 9);
  EXPECT_EQ(strings[reader.readStringIndex()], "");
  EXPECT_EQ(reader.bytesLeft(), 0U);
}

TEST(BinaryCodec, ReportsTheKindOfUnusableInput) {
  using Kind = DecodeError::Kind;
  const auto number = [](BinaryReader& reader) { reader.readUInt(); };
  const auto table = [](BinaryReader& reader) { reader.readStringTable([](auto) {}); };
  const struct {
    std::string bytes;
    std::function<void(BinaryReader&)> read;
    Kind kind;
  } cases[] = {{"", [](BinaryReader& reader) { reader.readByte(); }, Kind::truncated},
               {"\x80", number, Kind::truncated},
               {"\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01", number, Kind::truncated},
               {"1234567", [](BinaryReader& reader) { reader.readDouble(); }, Kind::truncated},
               {"\xC0\x96\xB1\x02", table, Kind::badString},  // 5,000,000
               {"\xBF\x96\xB1\x02", table, Kind::truncated},  // 4,999,999, and nothing follows
               {"\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01", table, Kind::badString},
               {"\x02\x01z", table, Kind::truncated},
               {"\x01\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01z", table, Kind::truncated},
               {"\x01\x01z\x01", [&](BinaryReader& reader) { table(reader), reader.readStringIndex(); },
                Kind::badStringIndex}};
  for (const auto& [bytes, read, kind] : cases) {
    BinaryReader reader(bytes);
    try {
      read(reader);
      ADD_FAILURE() << testing::PrintToString(bytes);
    } catch (const DecodeError& error) {
      EXPECT_EQ(error.kind(), kind) << testing::PrintToString(bytes);
    }
  }
}

}  // namespace
}  // namespace tallyfin
