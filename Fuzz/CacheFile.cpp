// Input: the bytes of a cache file. Loading needs at most a small multiple of the input's size in memory. A
// file that loads is saved and loaded again with the same state and the same bytes.

#include "Fuzz/MemoryFile.hpp"
#include "Fuzz/Target.hpp"
#include "Support/TempHome.hpp"
#include "TallyfinCore/Cache/ScanCache.hpp"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <string>
#include <vector>

// Provided by the sanitizer; a build without it replays inputs without counting memory.
extern "C" {
int __attribute__((weak))
__sanitizer_install_malloc_and_free_hooks(void (*onMalloc)(const volatile void*, std::size_t),
                                          void (*onFree)(const volatile void*));
std::size_t __attribute__((weak)) __sanitizer_get_allocated_size(const volatile void* place);
}

namespace tallyfin::Fuzz {
namespace {

// The costliest input, a string of one byte in the table, needs a view, an interned text and memory for an
// agent.
constexpr std::size_t kMultiple = 128;
// Memory that does not depend on the input: blocks of the text pool, the first growth of tables.
constexpr std::size_t kAllowance = std::size_t{1} << 20;  // bytes

// Bytes currently allocated, and their maximum since `mostHeld` was last reset.
std::int64_t held = 0;
std::int64_t mostHeld = 0;

[[maybe_unused]] const bool isCounting =
    __sanitizer_install_malloc_and_free_hooks != nullptr &&
    __sanitizer_install_malloc_and_free_hooks(
        [](const volatile void*, std::size_t size) {
          held += static_cast<std::int64_t>(size);
          mostHeld = std::max(mostHeld, held);
        },
        [](const volatile void* place) {
          held -= static_cast<std::int64_t>(__sanitizer_get_allocated_size(place));
        }) != 0;

bool isSameBits(double left, double right) {
  return std::bit_cast<std::uint64_t>(left) == std::bit_cast<std::uint64_t>(right);
}

bool isSameText(InternedText left, InternedText right) {
  return left == right && left.text() == right.text();
}

bool isSame(const RecordMap::Entry& left, const RecordMap::Entry& right) {
  const UsageRecord& a = left.record;
  const UsageRecord& b = right.record;
  return isSameText(left.key, right.key) && a == b && isSameBits(a.timestamp.seconds, b.timestamp.seconds) &&
         isSameText(a.model, b.model) && isSameText(a.sessionId, b.sessionId) &&
         isSameText(a.rawCwd, b.rawCwd) && isSameText(a.sourceHome, b.sourceHome) &&
         isSameText(a.agent.rawId(), b.agent.rawId());
}

bool isSame(const FileProvenance& left, const FileProvenance& right) {
  const FileState& a = *left.state;
  const FileState& b = *right.state;
  return left.path == right.path && a.size == b.size && isSameBits(a.mtime, b.mtime) && a.inode == b.inode &&
         a.consumed == b.consumed && a.diag == b.diag &&
         std::ranges::equal(a.records.entries(), b.records.entries(),
                            [](const auto& one, const auto& other) { return isSame(one, other); });
}

void requireWellFormed(const std::vector<FileProvenance>& files) {
  for (const FileProvenance& file : files) {
    std::vector<std::uint32_t> keys;
    for (const auto& [key, record] : file.records().entries()) {
      keys.push_back(key.number());
      for (const auto count : {record.input, record.output, record.cacheWrite5m, record.cacheWrite1h,
                               record.cacheRead, record.webSearch, record.webFetch, record.sourceRank}) {
        require(count >= 0, "counts are not negative");
      }
      require(std::abs(record.timestamp.seconds) <= std::numeric_limits<double>::max(), "times are numbers");
    }
    std::ranges::sort(keys);
    require(std::ranges::adjacent_find(keys) == keys.end(), "a file holds a key once");
  }
}

}  // namespace
}  // namespace tallyfin::Fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tallyfin;
  static const Fuzz::MemoryFile input;
  static const TempHome home;
  input.write(Fuzz::textOf(data, size));
  ScanCache cache(input.path());
  const std::size_t textsBefore = InternedText::count();  // the first call creates the pool
  const std::int64_t heldBefore = Fuzz::mostHeld = Fuzz::held;
  const bool accepted = cache.load();
  // A table indexed by text number grows with all texts interned so far, not only with those of this input.
  const std::size_t allowed =
      Fuzz::kMultiple * size + 2 * textsBefore * sizeof(std::uint32_t) + Fuzz::kAllowance;
  Fuzz::require(Fuzz::mostHeld - heldBefore <= static_cast<std::int64_t>(allowed),
                "memory is a small multiple of the input");
  const std::vector<FileProvenance> files = cache.recordsPerFile();
  if (!accepted) {
    Fuzz::require(files.empty(), "what is refused leaves nothing");
    return 0;
  }
  Fuzz::requireWellFormed(files);

  // The path of the input is fixed, so a second cache saves to another path.
  ScanCache copy(home.path("copy.bin"));
  home.write("copy.bin", Fuzz::textOf(data, size));
  Fuzz::require(copy.load(), "the same bytes are accepted again");
  copy.save();
  const std::string saved = home.read("copy.bin");
  ScanCache again(home.path("copy.bin"));
  Fuzz::require(again.load(), "what was saved is accepted");
  Fuzz::require(
      std::ranges::equal(again.recordsPerFile(), files,
                         [](const auto& one, const auto& other) { return Fuzz::isSame(one, other); }),
      "what was saved loads to the same state");
  again.save();
  Fuzz::require(home.read("copy.bin") == saved, "the same state is the same bytes");
  return 0;
}
