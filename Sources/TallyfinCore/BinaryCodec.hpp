#pragma once

// The primitives of the cache file. Integers are LEB128 (seven bits a byte, lowest group first, the top bit
// set when another byte follows); doubles are 8 bytes, IEEE 754, little-endian; a text is its index in a
// string table, which stands before everything that refers to it:
//
//   header | count, then length and bytes of each string | body
//
// The reader takes the input as untrusted: it allocates by no count that was not held against the bytes left.

#include "Platform/Buffer.hpp"
#include "absl/container/flat_hash_map.h"
#include "absl/functional/function_ref.h"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace tallyfin {

class BinaryWriter {
 public:
  void writeUInt(std::uint64_t value) { put(body_, value); }
  void writeDouble(double value);
  void writeByte(std::uint8_t value) {
    *body_.room(1) = static_cast<char>(value);
    body_.grow(1);
  }

  /// The index of a text in the string table, for `writeUInt`; a new text gets the next one. The bytes must
  /// stay alive until `finish`.
  std::uint32_t intern(std::string_view text);

  /// Adds a text that the caller knows to be new, without looking it up, and gives its index.
  std::uint32_t add(std::string_view text);

  /// Room for a string table and a body of so many bytes.
  void reserve(std::size_t table, std::size_t body);

  /// Hands the whole output to `out`, piece by piece: `header`, the string table, the body.
  void finish(std::string_view header, absl::FunctionRef<void(std::string_view)> out) const;

 private:
  static constexpr std::size_t kLongestInteger = 10;  // bytes

  static void put(Buffer& buffer, std::uint64_t value) {
    char* const start = buffer.room(kLongestInteger);
    char* place = start;
    for (; value >= 0x80; value >>= 7) {
      *place++ = static_cast<char>(value | 0x80);
    }
    *place++ = static_cast<char>(value);
    buffer.grow(static_cast<std::size_t>(place - start));
  }

  Buffer table_;  // length and bytes of each string
  Buffer body_;
  std::uint32_t strings_ = 0;
  absl::flat_hash_map<std::string_view, std::uint32_t> indexOf_;
};

/// The input is unusable; the reader is in no particular state and the whole input is given up.
class DecodeError : public std::runtime_error {
 public:
  enum class Kind : std::uint8_t { truncated, badString, badStringIndex };

  explicit DecodeError(Kind kind);

  Kind kind() const { return kind_; }

 private:
  Kind kind_;
};

class BinaryReader {
 public:
  /// The first count of strings that is refused.
  static constexpr std::uint64_t stringLimit = 5'000'000;

  /// `bytes` must outlive the reader and the views that it hands out.
  explicit BinaryReader(std::string_view bytes) : next_(bytes.data()), end_(next_ + bytes.size()) {}

  // Each throws DecodeError.
  std::uint64_t readUInt() {
    if (next_ != end_ && static_cast<std::uint8_t>(*next_) < 0x80) {  // most
      return static_cast<std::uint8_t>(*next_++);
    }
    return readLongUInt();
  }
  double readDouble();
  std::uint8_t readByte();

  /// Reads the string table; called once, before the first reference.
  void readStringTable();

  /// Reads a reference and gives its index, below `strings().size()`.
  std::uint32_t readStringIndex();

  /// The strings of the table as raw bytes: a text that need be no valid UTF-8 (InternedText repairs it), or
  /// a path.
  const std::vector<std::string_view>& strings() const { return strings_; }

  std::uint64_t bytesLeft() const { return static_cast<std::uint64_t>(end_ - next_); }

 private:
  std::uint64_t readLongUInt();

  const char* next_;
  const char* end_;
  std::vector<std::string_view> strings_;
};

}  // namespace tallyfin
