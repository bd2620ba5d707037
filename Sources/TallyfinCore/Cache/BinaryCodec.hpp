#pragma once

// The encoding of the cache file. Integers are LEB128 (seven bits per byte, lowest group first, the top bit
// set if another byte follows). Doubles are 8 bytes, IEEE 754, little-endian. A text is its index in a string
// table, which comes before everything that refers to it:
//
//   header | count, then length and bytes of each string | body
//
// The reader does not trust its input: it compares every count with the bytes left before it allocates
// anything by that count.

#include "Platform/Buffer.hpp"
#include "Platform/Descriptor.hpp"
#include "absl/container/flat_hash_map.h"
#include "absl/functional/function_ref.h"

#include <bit>
#include <cstdint>
#include <cstring>
#include <span>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

namespace tallyfin {

/// Converts between the machine's byte order and the file's, which is little-endian.
inline std::uint64_t littleEndian(std::uint64_t bits) {
  return std::endian::native == std::endian::little ? bits : __builtin_bswap64(bits);
}

inline constexpr std::size_t longestInteger = 10;  // bytes

/// Collects strings and a body, and writes them as one file.
class BinaryWriter {
 public:
  // Each appends a value to the body.
  void writeUInt(std::uint64_t value) { put(body_, value); }
  void writeDouble(double value) {
    const std::uint64_t bits = littleEndian(std::bit_cast<std::uint64_t>(value));
    std::memcpy(body_.room(sizeof bits), &bits, sizeof bits);
    body_.grow(sizeof bits);
  }
  void writeByte(std::uint8_t value) {
    *body_.room(1) = static_cast<char>(value);
    body_.grow(1);
  }

  /// The index of a text in the string table, to be written with `writeUInt`. A new text is added to the
  /// table. The bytes must stay valid until `finish`.
  std::uint32_t intern(std::string_view text);

  /// Adds a text that the caller knows to be new, without a lookup, and returns its index. The bytes must
  /// stay valid until `finish`.
  std::uint32_t add(std::string_view text) {
    strings_.push_back(text);
    return static_cast<std::uint32_t>(strings_.size() - 1);
  }

  /// Reserves memory for `strings` strings and a body of `body` bytes.
  void reserve(std::size_t strings, std::size_t body);

  /// Passes the whole output to `out` in pieces: `header`, the string table, the body.
  void finish(std::string_view header, absl::FunctionRef<void(std::string_view)> out) const;

 private:
  static void put(Buffer& buffer, std::uint64_t value) {
    char* const start = buffer.room(longestInteger);
    char* end = start;
    for (; value >= 0x80; value >>= 7) {
      *end++ = static_cast<char>(value | 0x80);
    }
    *end++ = static_cast<char>(value);
    buffer.grow(static_cast<std::size_t>(end - start));
  }

  Buffer body_;
  std::vector<std::string_view> strings_;
  absl::flat_hash_map<std::string_view, std::uint32_t> indexOf_;
};

/// The input is unusable. After this error, use neither the reader nor anything that it has read.
class DecodeError : public std::runtime_error {
 public:
  enum class Kind : std::uint8_t { truncated, badString, badStringIndex };

  explicit DecodeError(Kind kind);

  Kind kind() const { return kind_; }

 private:
  Kind kind_;
};

/// Reads the output of BinaryWriter. For any other input it returns arbitrary values or throws DecodeError.
class BinaryReader {
 public:
  /// Tables with this many strings or more are rejected.
  static constexpr std::uint64_t stringLimit = 5'000'000;

  /// `bytes` must outlive the reader.
  explicit BinaryReader(std::string_view bytes) : next_(bytes.data()), end_(next_ + bytes.size()) {}

  /// Reads the file in pieces, so memory use is bounded by the longest string. `file` must outlive the
  /// reader.
  explicit BinaryReader(const PlainFile& file) : file_(&file), unread_(file.attributes().size) {}

  // Each throws DecodeError.
  std::uint64_t readUInt() {
    // Fast path: most integers have one to three bytes.
    if (end_ - next_ >= 3) {
      std::uint32_t value = 0;
      for (unsigned i = 0; i < 3; ++i) {
        const auto byte = static_cast<std::uint8_t>(next_[i]);
        value |= (byte & 0x7FU) << (7 * i);
        if (byte < 0x80) {
          next_ += i + 1;
          return value;
        }
      }
    }
    return readLongUInt();
  }
  double readDouble() {
    std::uint64_t bits = 0;
    std::memcpy(&bits, take(sizeof bits), sizeof bits);
    return std::bit_cast<double>(littleEndian(bits));
  }
  std::uint8_t readByte() { return static_cast<std::uint8_t>(*take(1)); }

  /// The next `count` bytes; valid until the next call of any function.
  std::string_view readBytes(std::uint64_t count) { return {take(count), count}; }

  /// Reads the string table and passes its strings to `use` in order, several at a time. The strings are raw
  /// bytes, which may be invalid UTF-8, and the views are valid only during the call of `use`. Call this
  /// once, before reading the first reference.
  void readStringTable(absl::FunctionRef<void(std::span<const std::string_view>)> use);

  /// The number of strings in the table; known from the first call of `use` on.
  std::uint64_t stringCount() const { return strings_; }

  /// Reads a reference and returns its index, which is less than the number of strings.
  std::uint32_t readStringIndex() {
    const std::uint64_t index = readUInt();
    if (index >= strings_) {
      throw DecodeError(DecodeError::Kind::badStringIndex);
    }
    return static_cast<std::uint32_t>(index);
  }

  std::uint64_t bytesLeft() const { return static_cast<std::uint64_t>(end_ - next_) + unread_; }

 private:
  // Returns the next `count` bytes as one piece and advances past them.
  const char* take(std::uint64_t count) {
    if (static_cast<std::uint64_t>(end_ - next_) < count) {
      fetch(count);
    }
    return std::exchange(next_, next_ + count);
  }

  std::uint64_t readLongUInt();
  void fetch(std::uint64_t count);

  const char* next_ = nullptr;
  const char* end_ = nullptr;
  const PlainFile* file_ = nullptr;
  std::uint64_t unread_ = 0;   // bytes of the file after `end_`
  Buffer piece_;               // of the file
  std::uint64_t strings_ = 0;  // in the table
};

}  // namespace tallyfin
