#pragma once

// A byte buffer that grows at the end. Unlike std::string, it does not zero new memory before the caller
// writes to it.

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

namespace tallyfin {

class Buffer {
 public:
  std::string_view bytes() const { return {bytes_.get(), size_}; }
  const char* begin() const { return bytes_.get(); }
  const char* end() const { return bytes_.get() + size_; }
  std::size_t size() const { return size_; }
  std::size_t capacity() const { return capacity_; }

  /// Returns space for `count` more bytes after the last one, valid until the next call. Bytes written there
  /// become content only through `grow`. A full buffer at least doubles its capacity, so each byte is copied
  /// only a few times.
  char* room(std::size_t count) {
    if (capacity_ - size_ < count) {
      enlarge(std::max(2 * capacity_, size_ + count));
    }
    return bytes_.get() + size_;
  }

  /// Adds to the content the first `count` bytes that were written to `room`.
  void grow(std::size_t count) { size_ += count; }

  /// Appends the bytes, which must not lie in this buffer.
  void append(std::string_view bytes) {
    if (!bytes.empty()) {
      std::memcpy(room(bytes.size()), bytes.data(), bytes.size());
      size_ += bytes.size();
    }
  }

  /// Enlarges the capacity to at least `capacity` bytes.
  void reserve(std::size_t capacity) {
    if (capacity > capacity_) {
      enlarge(capacity);
    }
  }

  /// Removes the first `count` bytes, at most `size()`, and moves the rest to the front.
  void dropFront(std::size_t count) {
    size_ -= count;
    if (size_ > 0) {
      std::memmove(bytes_.get(), bytes_.get() + count, size_);
    }
  }

  /// Removes all bytes but keeps the capacity.
  void clear() { size_ = 0; }

 private:
  void enlarge(std::size_t capacity) {
    std::unique_ptr<char[]> bytes = std::make_unique_for_overwrite<char[]>(capacity);
    if (size_ > 0) {
      std::memcpy(bytes.get(), bytes_.get(), size_);
    }
    bytes_ = std::move(bytes);
    capacity_ = capacity;
  }

  std::unique_ptr<char[]> bytes_;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

}  // namespace tallyfin
