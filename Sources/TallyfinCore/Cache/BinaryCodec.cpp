#include "TallyfinCore/Cache/BinaryCodec.hpp"

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

}  // namespace

std::uint32_t BinaryWriter::intern(std::string_view text) {
  const auto [place, isNew] = indexOf_.try_emplace(text, static_cast<std::uint32_t>(strings_.size()));
  if (isNew) {
    add(text);
  }
  return place->second;
}

void BinaryWriter::reserve(std::size_t strings, std::size_t body) {
  strings_.reserve(strings);
  body_.reserve(body);
}

void BinaryWriter::finish(std::string_view header, absl::FunctionRef<void(std::string_view)> out) const {
  constexpr std::size_t kPiece = std::size_t{256} * 1024;  // stays in the processor's cache
  Buffer piece;
  piece.reserve(kPiece);
  piece.append(header);
  put(piece, strings_.size());
  for (const std::string_view text : strings_) {
    if (piece.size() + text.size() + kLongestInteger > kPiece) {
      out(piece.bytes());
      piece.clear();
    }
    put(piece, text.size());
    piece.append(text);
  }
  out(piece.bytes());
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

}  // namespace tallyfin
