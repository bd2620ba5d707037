#include "TallyfinCore/Cache/BinaryCodec.hpp"

#include <cmath>
#include <functional>
#include <limits>
#include <string>

#include <gtest/gtest.h>

namespace tallyfin {
namespace {

using namespace std::string_literals;

std::string joined(const BinaryWriter& writer, std::string_view header = "") {
  std::string out;
  writer.finish(header, [&](std::string_view part) { out += part; });
  return out;
}

TEST(BinaryCodec, IntegersTakeSevenBitsAByteLowestFirst) {
  const struct {
    std::uint64_t value;
    std::string bytes;
  } cases[] = {{0, "\x00"s},
               {1, "\x01"},
               {127, "\x7F"},
               {128, "\x80\x01"},
               {300, "\xAC\x02"},
               {16383, "\xFF\x7F"},
               {16384, "\x80\x80\x01"},
               {std::uint64_t{1} << 63, "\x80\x80\x80\x80\x80\x80\x80\x80\x80\x01"},
               {std::numeric_limits<std::uint64_t>::max(), "\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01"}};
  for (const auto& one : cases) {
    BinaryWriter writer;
    writer.writeUInt(one.value);
    EXPECT_EQ(joined(writer), "\0"s + one.bytes) << one.value;
    BinaryReader reader(one.bytes);
    EXPECT_EQ(reader.readUInt(), one.value);
    EXPECT_EQ(reader.bytesLeft(), 0U);
  }
}

TEST(BinaryCodec, DoublesAreLittleEndianBits) {
  BinaryWriter writer;
  writer.writeDouble(1.5);
  const std::string bytes = joined(writer).substr(1);
  EXPECT_EQ(bytes, "\0\0\0\0\0\0\xF8\x3F"s);
  EXPECT_EQ(BinaryReader(bytes).readDouble(), 1.5);
}

TEST(BinaryCodec, TheStringTableStandsBetweenHeaderAndBody) {
  BinaryWriter writer;
  EXPECT_EQ(joined(writer, "H"), "H\0"s);
  EXPECT_EQ(writer.intern("b"), 0U);
  EXPECT_EQ(writer.intern(""), 1U);
  EXPECT_EQ(writer.intern("b"), 0U);
  writer.writeUInt(1);
  writer.writeByte(9);
  const std::string bytes = joined(writer, "H");
  EXPECT_EQ(bytes, "H\x02\x01"s + "b\0\x01\x09"s);
  BinaryReader reader(std::string_view(bytes).substr(1));
  reader.readStringTable();
  EXPECT_EQ(reader.strings()[reader.readStringIndex()], "");
  EXPECT_EQ(reader.readByte(), 9);
}

TEST(BinaryCodec, UnusableInputIsToldByItsKind) {
  using Kind = DecodeError::Kind;
  const auto table = [](BinaryReader& reader) { reader.readStringTable(); };
  const struct {
    std::string bytes;
    std::function<void(BinaryReader&)> read;
    Kind kind;
  } cases[] = {
      {"", [](BinaryReader& r) { r.readByte(); }, Kind::truncated},
      {"\x80", [](BinaryReader& r) { r.readUInt(); }, Kind::truncated},
      {"\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01", [](BinaryReader& r) { r.readUInt(); },
       Kind::truncated},
      {"1234567", [](BinaryReader& r) { r.readDouble(); }, Kind::truncated},
      {"\xC0\x96\xB1\x02", table, Kind::badString},  // 5,000,000
      {"\xBF\x96\xB1\x02", table, Kind::truncated},  // 4,999,999, and nothing behind it
      {"\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01", table, Kind::badString},
      {"\x02\x01z", table, Kind::truncated},
      {"\x01\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01z", table, Kind::truncated},
      {"\x01\x01z\x01",
       [](BinaryReader& r) {
         r.readStringTable();
         r.readStringIndex();
       },
       Kind::badStringIndex},
  };
  for (const auto& one : cases) {
    BinaryReader reader(one.bytes);
    try {
      one.read(reader);
      ADD_FAILURE() << testing::PrintToString(one.bytes);
    } catch (const DecodeError& error) {
      EXPECT_EQ(error.kind(), one.kind) << testing::PrintToString(one.bytes);
    }
  }
}

}  // namespace
}  // namespace tallyfin
