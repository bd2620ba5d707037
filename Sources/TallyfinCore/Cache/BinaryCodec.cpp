#include "TallyfinCore/Cache/BinaryCodec.hpp"

#include <algorithm>
#include <array>
#include <cstddef>

namespace tallyfin {
namespace {

// In the order of DecodeError::Kind.
constexpr std::array kDescriptions = {"the input ends too early", "the string table is too large",
                                      "a string that is not in the table"};

}  // namespace

std::uint32_t BinaryWriter::intern(std::string_view text) {
  const auto [entry, isNew] = indexOf_.try_emplace(text, static_cast<std::uint32_t>(strings_.size()));
  if (isNew) {
    add(text);
  }
  return entry->second;
}

void BinaryWriter::reserve(std::size_t strings, std::size_t body) {
  strings_.reserve(strings);
  body_.reserve(body);
}

void BinaryWriter::finish(std::string_view header, absl::FunctionRef<void(std::string_view)> out) const {
  constexpr std::size_t kPiece = std::size_t{1} << 20;  // bytes; smaller pieces take longer to write
  Buffer piece;
  piece.reserve(kPiece);
  piece.append(header);
  put(piece, strings_.size());
  for (const std::string_view text : strings_) {
    if (piece.size() + text.size() + longestInteger > kPiece) {
      out(piece.bytes());
      piece.clear();
    }
    put(piece, text.size());
    piece.append(text);
  }
  out(piece.bytes());
  out(body_.bytes());
}

DecodeError::DecodeError(Kind kind)
    : std::runtime_error(kDescriptions.at(static_cast<std::size_t>(kind))), kind_(kind) {}

std::uint64_t BinaryReader::readLongUInt() {
  constexpr int kLastShift = 63;  // of the tenth byte, whose lowest bit is bit 63 of the value
  std::uint64_t value = 0;
  for (int shift = 0; shift <= kLastShift; shift += 7) {
    const std::uint8_t byte = readByte();
    value |= std::uint64_t{byte & 0x7FU} << shift;
    if (byte < 0x80) {
      return value;
    }
  }
  throw DecodeError(DecodeError::Kind::truncated);
}

void BinaryReader::fetch(std::uint64_t count) {
  constexpr std::uint64_t kPiece = std::uint64_t{256} * 1024;  // fits in the processor's cache
  if (count > bytesLeft()) {
    throw DecodeError(DecodeError::Kind::truncated);
  }
  piece_.dropFront(piece_.size() - static_cast<std::size_t>(end_ - next_));
  while (piece_.size() < count) {
    const std::uint64_t wanted = std::min(unread_, std::max(count, kPiece) - piece_.size());
    const std::ptrdiff_t got = file_->read(piece_.room(wanted), wanted, file_->attributes().size - unread_);
    if (got <= 0) {
      throw DecodeError(DecodeError::Kind::truncated);  // truncated or unreadable meanwhile
    }
    piece_.grow(static_cast<std::size_t>(got));
    unread_ -= static_cast<std::uint64_t>(got);
  }
  next_ = piece_.begin();
  end_ = piece_.end();
}

void BinaryReader::readStringTable(absl::FunctionRef<void(std::span<const std::string_view>)> use) {
  const std::uint64_t count = readUInt();
  if (count >= stringLimit) {
    throw DecodeError(DecodeError::Kind::badString);
  }
  if (count > bytesLeft()) {  // each string takes at least one byte
    throw DecodeError(DecodeError::Kind::truncated);
  }
  strings_ = count;
  std::vector<std::string_view> inPiece;
  const auto handOut = [&] {
    use(inPiece);
    inPiece.clear();
  };
  for (std::uint64_t i = 0; i < count; ++i) {
    if (static_cast<std::size_t>(end_ - next_) < longestInteger) {
      handOut();  // reading the length may fetch the next piece, which invalidates the views
    }
    const std::uint64_t length = readUInt();
    if (length > static_cast<std::uint64_t>(end_ - next_)) {
      handOut();
    }
    inPiece.push_back(readBytes(length));
  }
  handOut();
}

}  // namespace tallyfin
