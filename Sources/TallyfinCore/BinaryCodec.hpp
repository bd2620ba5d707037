#pragma once

// The primitives of the cache file. Integers are LEB128 (seven bits a byte, lowest group first, the top bit
// set when another byte follows); doubles are 8 bytes, IEEE 754, little-endian; a text is its index in a
// string table, which stands before everything that refers to it:
//
//   header | count, then length and bytes of each string | body
//
// The reader takes the input as untrusted: it allocates by no count that was not held against the bytes left.

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
  void writeUInt(std::uint64_t value);
  void writeDouble(double value);
  void writeByte(std::uint8_t value) { body_.push_back(static_cast<char>(value)); }

  /// The index of a text in the string table, for `writeUInt`; a new text gets the next one. The bytes must
  /// stay alive until `finish`.
  std::uint32_t intern(std::string_view text);

  /// Adds a text that the caller knows to be new, without looking it up, and gives its index. The bytes must
  /// stay alive until `finish`.
  std::uint32_t add(std::string_view text);

  /// Room for a body of so many bytes.
  void reserve(std::size_t bytes) { body_.reserve(bytes); }

  /// Hands the whole output to `out`, piece by piece: `header`, the string table, the body.
  void finish(std::string_view header, absl::FunctionRef<void(std::string_view)> out) const;

 private:
  std::string body_;
  std::vector<std::string_view> strings_;
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
  explicit BinaryReader(std::string_view bytes) : bytes_(bytes) {}

  // Each throws DecodeError.
  std::uint64_t readUInt();
  double readDouble();
  std::uint8_t readByte();

  /// Reads the string table; called once, before the first reference.
  void readStringTable();

  /// Reads a reference and gives its index, below `strings().size()`.
  std::uint32_t readStringIndex();

  /// The strings of the table as raw bytes: a text that need be no valid UTF-8 (InternedText repairs it), or
  /// a path.
  const std::vector<std::string_view>& strings() const { return strings_; }

  std::uint64_t bytesLeft() const { return bytes_.size() - offset_; }

 private:
  std::string_view bytes_;
  std::size_t offset_ = 0;
  std::vector<std::string_view> strings_;
};

}  // namespace tallyfin
