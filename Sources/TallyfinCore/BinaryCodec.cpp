#include "TallyfinCore/BinaryCodec.hpp"

#include <bit>
#include <cstring>

namespace tallyfin {
namespace {

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

void BinaryWriter::writeDouble(double value) {
  const std::uint64_t bits = swappedUnlessLittle(std::bit_cast<std::uint64_t>(value));
  std::memcpy(body_.room(sizeof bits), &bits, sizeof bits);
  body_.grow(sizeof bits);
}

std::uint32_t BinaryWriter::intern(std::string_view text) {
  const auto [place, isNew] = indexOf_.try_emplace(text, strings_);
  if (isNew) {
    add(text);
  }
  return place->second;
}

std::uint32_t BinaryWriter::add(std::string_view text) {
  put(table_, text.size());
  table_.append(text);
  return strings_++;
}

void BinaryWriter::reserve(std::size_t table, std::size_t body) {
  table_.reserve(table);
  body_.reserve(body);
}

void BinaryWriter::finish(std::string_view header, absl::FunctionRef<void(std::string_view)> out) const {
  Buffer start;
  start.append(header);
  put(start, strings_);
  out(start.bytes());
  out(table_.bytes());
  out(body_.bytes());
}

DecodeError::DecodeError(Kind kind) : std::runtime_error(description(kind)), kind_(kind) {}

std::uint64_t BinaryReader::readLongUInt() {
  constexpr int kLastShift = 63;  // of the tenth byte, of which only the lowest bit can count
  const char* place = next_;
  std::uint64_t value = 0;
  for (int shift = 0; shift <= kLastShift && place != end_; shift += 7) {
    const auto byte = static_cast<std::uint8_t>(*place++);
    value |= std::uint64_t{byte & 0x7FU} << shift;
    if (byte < 0x80) {
      next_ = place;
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
  std::memcpy(&bits, next_, sizeof bits);
  next_ += sizeof bits;
  return std::bit_cast<double>(swappedUnlessLittle(bits));
}

std::uint8_t BinaryReader::readByte() {
  if (next_ == end_) {
    throw DecodeError(DecodeError::Kind::truncated);
  }
  return static_cast<std::uint8_t>(*next_++);
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
    strings_.emplace_back(next_, length);
    next_ += length;
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
