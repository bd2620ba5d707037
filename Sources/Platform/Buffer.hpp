#pragma once

// Bytes that grow at the end. Unlike a std::string it does not zero the room that is about to be written.

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

  /// Room for `count` more bytes behind the last, good until the next call. What is written there belongs to
  /// the buffer after `grow`. A buffer that is full at least doubles, so that bytes are moved only a few
  /// times.
  char* room(std::size_t count) {
    if (capacity_ - size_ < count) {
      enlarge(std::max(2 * capacity_, size_ + count));
    }
    return bytes_.get() + size_;
  }

  /// Takes in the `count` bytes that were written to `room`.
  void grow(std::size_t count) { size_ += count; }

  /// Appends the bytes, which must not lie in this buffer.
  void append(std::string_view bytes) {
    if (!bytes.empty()) {
      std::memcpy(room(bytes.size()), bytes.data(), bytes.size());
      size_ += bytes.size();
    }
  }

  /// Makes room for so many bytes in all.
  void reserve(std::size_t capacity) {
    if (capacity > capacity_) {
      enlarge(capacity);
    }
  }

  /// Removes the first `count` bytes, at most `size()`; the bytes behind them move to the front.
  void dropFront(std::size_t count) {
    size_ -= count;
    if (size_ > 0) {
      std::memmove(bytes_.get(), bytes_.get() + count, size_);
    }
  }

  /// Removes all bytes; the capacity stays.
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
