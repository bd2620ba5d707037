#include "TallyfinCore/BinaryCodec.hpp"

#include <array>
#include <bit>
#include <cstring>

namespace tallyfin {
namespace {

// The bytes of an unsigned integer.
class Varint {
 public:
  explicit Varint(std::uint64_t value) {
    for (; value >= 0x80; value >>= 7) {
      bytes_[size_++] = static_cast<char>(value | 0x80);
    }
    bytes_[size_++] = static_cast<char>(value);
  }

  std::string_view bytes() const { return {bytes_.data(), size_}; }

 private:
  static constexpr std::size_t kLongest = 10;

  std::array<char, kLongest> bytes_;  // only the first `size_` are ever read
  std::size_t size_ = 0;
};

const char* description(DecodeError::Kind kind) {
  switch (kind) {
    case DecodeError::Kind::truncated:
      return "the input ends too early";
    case DecodeError::Kind::badString:
      return "the string table is too large";
    case DecodeError::Kind::badStringIndex:
      break;
  }
  return "a string that is not in the table";
}

// Little-endian on every machine.
std::uint64_t swappedUnlessLittle(std::uint64_t bits) {
  return std::endian::native == std::endian::little ? bits : __builtin_bswap64(bits);
}

}  // namespace

void BinaryWriter::writeUInt(std::uint64_t value) {
  if (value < 0x80) {  // most are
    body_.push_back(static_cast<char>(value));
  } else {
    body_.append(Varint(value).bytes());
  }
}

void BinaryWriter::writeDouble(double value) {
  const std::uint64_t bits = swappedUnlessLittle(std::bit_cast<std::uint64_t>(value));
  body_.append(reinterpret_cast<const char*>(&bits), sizeof bits);
}

std::uint32_t BinaryWriter::intern(std::string_view text) {
  const auto [place, isNew] = indexOf_.try_emplace(text, static_cast<std::uint32_t>(strings_.size()));
  if (isNew) {
    strings_.push_back(text);
  }
  return place->second;
}

std::uint32_t BinaryWriter::add(std::string_view text) {
  strings_.push_back(text);
  return static_cast<std::uint32_t>(strings_.size() - 1);
}

void BinaryWriter::finish(std::string_view header, absl::FunctionRef<void(std::string_view)> out) const {
  out(header);
  out(Varint(strings_.size()).bytes());
  for (const std::string_view text : strings_) {
    out(Varint(text.size()).bytes());
    out(text);
  }
  out(body_);
}

DecodeError::DecodeError(Kind kind) : std::runtime_error(description(kind)), kind_(kind) {}

std::uint64_t BinaryReader::readUInt() {
  constexpr int kLastShift = 63;  // of the tenth byte, of which only the lowest bit can count
  std::uint64_t value = 0;
  for (int shift = 0; shift <= kLastShift; shift += 7) {
    const std::uint8_t byte = readByte();
    value |= std::uint64_t{byte & 0x7FU} << shift;
    if ((byte & 0x80U) == 0) {
      return value;
    }
  }
  throw DecodeError(DecodeError::Kind::truncated);
}

double BinaryReader::readDouble() {
  std::uint64_t bits = 0;
  if (bytesLeft() < sizeof bits) {
    throw DecodeError(DecodeError::Kind::truncated);
  }
  std::memcpy(&bits, bytes_.data() + offset_, sizeof bits);
  offset_ += sizeof bits;
  return std::bit_cast<double>(swappedUnlessLittle(bits));
}

std::uint8_t BinaryReader::readByte() {
  if (offset_ == bytes_.size()) {
    throw DecodeError(DecodeError::Kind::truncated);
  }
  return static_cast<std::uint8_t>(bytes_[offset_++]);
}

void BinaryReader::readStringTable() {
  const std::uint64_t count = readUInt();
  if (count >= stringLimit) {
    throw DecodeError(DecodeError::Kind::badString);
  }
  if (count > bytesLeft()) {  // each takes a byte at least
    throw DecodeError(DecodeError::Kind::truncated);
  }
  strings_.reserve(count);
  for (std::uint64_t i = 0; i < count; ++i) {
    const std::uint64_t length = readUInt();
    if (length > bytesLeft()) {
      throw DecodeError(DecodeError::Kind::truncated);
    }
    strings_.push_back(bytes_.substr(offset_, length));
    offset_ += length;
  }
}

std::uint32_t BinaryReader::readStringIndex() {
  const std::uint64_t index = readUInt();
  if (index >= strings_.size()) {
    throw DecodeError(DecodeError::Kind::badStringIndex);
  }
  return static_cast<std::uint32_t>(index);
}

}  // namespace tallyfin
