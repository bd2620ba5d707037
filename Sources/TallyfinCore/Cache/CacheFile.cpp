#include "TallyfinCore/Cache/CacheFile.hpp"

#include "Platform/AtomicFile.hpp"
#include "Platform/Concat.hpp"
#include "Platform/Files.hpp"
#include "Platform/Parallel.hpp"
#include "Platform/Text.hpp"
#include "TallyfinCore/Cache/BinaryCodec.hpp"
#include "absl/cleanup/cleanup.h"
#include "absl/container/flat_hash_map.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <future>
#include <limits>
#include <mutex>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

namespace tallyfin::CacheFile {
namespace {

// The first bytes of every cache file, in all versions of the layout.
constexpr std::string_view kMagic = "TFC1";
// The version of the layout that this code reads and writes.
constexpr std::uint64_t kFormatVersion = 2;

// A file of this size holds almost five million requests, about as many as the string table has room for. A
// larger file is not loaded, so all transcripts are read again.
constexpr std::uint64_t kLargestFile = std::uint64_t{1} << 30;  // bytes

// The counters of a file entry in layout order. The counters of lines that are no loss come first, then the
// counters of lost lines, then the length of the longest line.
constexpr auto kCounters = [] {
  std::array<std::int64_t FileDiagnostics::*, lineCounters.size() + 1> members{};
  std::size_t count = 0;
  for (const bool isLoss : {false, true}) {
    for (const LineCounter& counter : lineCounters) {
      if (counter.isLoss == isLoss) {
        members[count++] = counter.member;
      }
    }
  }
  members[count] = &FileDiagnostics::longestLineBytes;
  return members;
}();
// The counts of a record entry in layout order.
constexpr std::int64_t UsageRecord::*kCounts[] = {
    &UsageRecord::input,     &UsageRecord::output,    &UsageRecord::cacheWrite5m, &UsageRecord::cacheWrite1h,
    &UsageRecord::cacheRead, &UsageRecord::webSearch, &UsageRecord::webFetch};

// The smallest sizes that a file entry and a record entry can have, in bytes: eight bytes for the double and
// one byte for each other field. The reader rejects a number of entries that cannot fit in the rest of the
// cache file.
constexpr std::uint64_t kSmallestFileEntry = 21;
constexpr std::uint64_t kSmallestRecordEntry = 23;

class Writer {
 public:
  explicit Writer(const std::vector<FileProvenance>& files) : indexOf_(InternedText::count(), kUnknown) {
    std::size_t records = 0;
    for (const FileProvenance& file : files) {
      records += file.records().size();
    }
    constexpr std::size_t kUsualFileEntry = 40;  // bytes
    constexpr std::size_t kUsualRecordEntry = 48;
    writer_.reserve(files.size() + records, files.size() * kUsualFileEntry + records * kUsualRecordEntry);
    writer_.writeUInt(files.size());
    for (const FileProvenance& file : files) {
      write(file);
    }
  }

  // Passes the whole content of the cache file to `out`, beginning with `header`.
  void finish(std::string_view header, AtomicFile::Output out) const { writer_.finish(header, out); }

 private:
  static constexpr std::uint32_t kUnknown = std::numeric_limits<std::uint32_t>::max();

  // The index of a text in the string table. Adds the text to the table if necessary.
  std::uint32_t indexOf(InternedText text) {
    if (!text.isCanonical()) {  // another spelling may have the same number
      return writer_.intern(text.text());
    }
    std::uint32_t& index = indexOf_[text.number()];
    if (index == kUnknown) {
      index = writer_.add(text.text());
    }
    return index;
  }

  void write(const FileProvenance& file) {
    const FileState& state = *file.state;
    writer_.writeUInt(writer_.intern(file.path));
    writer_.writeUInt(state.size);
    writer_.writeDouble(state.mtime);
    writer_.writeUInt(state.inode);
    writer_.writeUInt(state.consumed);
    for (const auto counter : kCounters) {
      writeCount(state.diag.*counter);
    }
    writer_.writeUInt(state.records.size());
    for (const auto& [key, record] : state.records.entries()) {
      write(key, record);
    }
  }

  void write(InternedText key, const UsageRecord& record) {
    writeText(key);
    writer_.writeDouble(record.timestamp.seconds);
    writeText(record.model);
    writeText(record.sessionId);
    writeText(record.rawCwd);
    writeText(record.sourceHome);
    writeText(record.agent.rawId());
    for (const auto count : kCounts) {
      writeCount(record.*count);
    }
    writer_.writeByte(record.cacheWriteBreakdownAssumed ? 1 : 0);
    writeCount(record.sourceRank);
  }

  void writeText(InternedText text) { writer_.writeUInt(indexOf(text)); }

  void writeCount(std::int64_t count) {
    writer_.writeUInt(count < 0 ? 0 : static_cast<std::uint64_t>(count));
  }

  BinaryWriter writer_;
  // The string table's index of each text, by `InternedText::number`; `kUnknown` if the text is not in the
  // table yet. If texts were looked up in a hash table instead, hashing would take a third of the time of a
  // save.
  std::vector<std::uint32_t> indexOf_;
};

// A reader of the file, positioned at the string table. Absent if the file is not a cache file or has another
// version.
std::optional<BinaryReader> readerOf(const PlainFile& file) {
  BinaryReader reader(file);
  const bool isOurs = reader.bytesLeft() > kMagic.size() + 1 && reader.readBytes(kMagic.size()) == kMagic &&
                      reader.readUInt() == kFormatVersion;
  return isOurs ? std::optional(std::move(reader)) : std::nullopt;
}

// The strings of the string table as interned texts. The strings are in the order in which the entries first
// refer to them. So one thread can intern the strings while another thread reads the entries. If one thread
// does both, the first answer of a process takes 5 % longer. If another process writes to the file at the
// same time, the two threads may read different contents, and texts may be missing or wrong.
class StringTable {
 public:
  // `reader` must be positioned at the string table and must outlive this object. If `isWorthAThread` is
  // false, the constructor itself interns all strings.
  StringTable(BinaryReader& reader, bool isWorthAThread)
      : filling_(std::async(onTheSide(isWorthAThread), [this, &reader] { fill(reader); })) {
    if (filling_.wait_for(std::chrono::seconds(0)) == std::future_status::deferred) {
      filling_.get();
    }
  }

  // The text with this index. Waits until the filling thread has interned it. If filling has ended without
  // this text, throws the error that ended it, or a DecodeError if there was no error.
  InternedText at(std::uint32_t index) {
    if (index >= seen_) {
      waitFor(index);
    }
    return texts_[index];
  }

  // The bytes of the string with this index, as stored in the file. Used for paths, which need not be valid
  // UTF-8; an interned text always is.
  std::string bytesAt(std::uint32_t index) {
    const InternedText text = at(index);
    const std::lock_guard guard(lock_);
    const auto found = repaired_.find(index);
    return found == repaired_.end() ? std::string(text.text()) : found->second;
  }

 private:
  static constexpr std::uint32_t kComplete = std::numeric_limits<std::uint32_t>::max();

  // Interns all strings. Throws the errors of the reader. Texts that were interned before an error stay
  // available.
  void fill(BinaryReader& reader) {
    const absl::Cleanup end = [this] { publish(kComplete); };
    reader.readStringTable([&](std::span<const std::string_view> strings) {
      texts_.resize(reader.stringCount());
      add(strings);
    });
  }

  void add(std::span<const std::string_view> strings) {
    const std::vector<InternedText> texts = InternedText::all(strings);
    for (std::size_t i = 0; i < strings.size(); ++i) {
      if (texts[i].text() != strings[i]) {
        const std::lock_guard guard(lock_);
        repaired_.emplace(filled_, strings[i]);
      }
      texts_[filled_++] = texts[i];
    }
    publish(filled_);
  }

  // Sets `ready_` and wakes the reading thread.
  void publish(std::uint32_t count) {
    ready_ = count;
    ready_.notify_one();
  }

  void waitFor(std::uint32_t index) {
    std::uint32_t ready = ready_;
    for (; ready <= index; ready = ready_) {
      ready_.wait(ready);
    }
    seen_ = ready == kComplete ? filled_ : ready;
    if (index >= seen_) {
      if (filling_.valid()) {
        filling_.get();
      }
      throw DecodeError(DecodeError::Kind::badStringIndex);
    }
  }

  std::vector<InternedText> texts_;  // by index in the string table
  // The number of texts interned so far. The reading thread uses it only after filling has ended.
  std::uint32_t filled_ = 0;
  // `filled_` as published to the reading thread; `kComplete` once filling has ended.
  std::atomic<std::uint32_t> ready_ = 0;
  std::uint32_t seen_ = 0;  // how many texts the reading thread knows to be available
  std::mutex lock_;         // guards `repaired_`
  // The stored bytes of each string that is not valid UTF-8, by index in the string table.
  absl::flat_hash_map<std::uint32_t, std::string> repaired_;
  // The work of `fill`. Declared last, so that its destructor waits for the thread before other members end.
  std::future<void> filling_;
};

class Reader {
 public:
  // `reader` must be positioned at the string table. `texts` reads the same table with a reader of its own.
  Reader(BinaryReader reader, StringTable& texts) : reader_(std::move(reader)), texts_(texts) {}

  std::vector<FileProvenance> readFiles() {
    reader_.readStringTable([](std::span<const std::string_view>) {});
    const std::uint64_t count = readLength(kSmallestFileEntry);
    std::vector<FileProvenance> files;
    files.reserve(count);
    // Indexed by the path's string index: the number of the path's entry in `files`, counted from 1, or 0 if
    // there is none.
    std::vector<std::uint32_t> entryOf(reader_.stringCount());
    for (std::uint64_t i = 0; i < count; ++i) {
      const std::uint32_t index = reader_.readStringIndex();
      std::uint32_t& entry = entryOf[index];
      std::string path = entry == 0 ? texts_.bytesAt(index) : std::move(files[entry - 1].path);
      if (entry != 0) {
        files[entry - 1].state.reset();
      }
      files.push_back({std::move(path), std::make_shared<const FileState>(readState())});
      entry = static_cast<std::uint32_t>(files.size());
    }
    std::erase_if(files, [](const FileProvenance& file) { return file.state == nullptr; });
    if (!std::ranges::is_sorted(files, std::ranges::less_equal(), &FileProvenance::path)) {
      // `sortByPath` keeps the first of several entries with the same path. The reversal makes this the entry
      // that comes last in the cache file.
      std::ranges::reverse(files);
    }
    sortByPath(files);
    return files;
  }

 private:
  FileState readState() {
    ++file_;
    FileState state;
    state.size = reader_.readUInt();
    state.mtime = reader_.readDouble();
    state.inode = reader_.readUInt();
    state.consumed = reader_.readUInt();
    for (const auto counter : kCounters) {
      state.diag.*counter = readCount();
    }
    const std::uint64_t count = readLength(kSmallestRecordEntry);
    state.records.reserve(count);
    for (std::uint64_t i = 0; i < count; ++i) {
      const InternedText key = readText();
      if (isNewInFile(key)) {
        state.records.append(key, readRecord());
      } else {
        state.records.insert(key, readRecord());
      }
    }
    state.records.dropIndex();
    return state;
  }

  // Notes that the current file entry has a record with this key. Returns false if this was noted before.
  // Only in a damaged cache file does a file entry have a key twice. Because of this check, `readState` needs
  // the index of RecordMap only for such an entry. Building the index for every entry would take a sixth of
  // the time of a load.
  bool isNewInFile(InternedText key) {
    if (key.number() >= fileOf_.size()) {
      fileOf_.resize(InternedText::count() + 1024, 0);
    }
    return std::exchange(fileOf_[key.number()], file_) != file_;
  }

  UsageRecord readRecord() {
    UsageRecord record;
    record.timestamp.seconds = reader_.readDouble();
    if (!std::isfinite(record.timestamp.seconds)) {
      throw std::range_error("a value that no save writes");
    }
    record.model = readText();
    record.sessionId = readText();
    record.rawCwd = readText();
    record.sourceHome = readText();
    record.agent = readAgent();
    for (const auto count : kCounts) {
      record.*count = readCount();
    }
    record.cacheWriteBreakdownAssumed = reader_.readByte() != 0;
    record.sourceRank = readCount();
    return record;
  }

  std::int64_t readCount() {
    const std::uint64_t value = reader_.readUInt();
    if (value > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
      throw std::range_error("a value that no save writes");
    }
    return static_cast<std::int64_t>(value);
  }

  // Reads a number of entries. Throws DecodeError if that many entries of `smallestEntry` bytes do not fit in
  // the rest of the cache file.
  std::uint64_t readLength(std::uint64_t smallestEntry) {
    const std::uint64_t count = reader_.readUInt();
    if (count > reader_.bytesLeft() / smallestEntry) {
      throw DecodeError(DecodeError::Kind::truncated);
    }
    return count;
  }

  InternedText readText() { return texts_.at(reader_.readStringIndex()); }

  // Reads the agent of a record. Most records have the same agent as the record before, so `agents_` is
  // searched only if the string index differs from the previous one. Each agent's id is parsed only once.
  AgentIdentity readAgent() {
    const std::uint32_t index = reader_.readStringIndex();
    if (std::exchange(agentIndex_, index) != index) {
      const auto [known, isNew] = agents_.try_emplace(index);
      if (isNew) {
        known->second = AgentIdentity::parse(texts_.at(index));
      }
      agent_ = known->second;
    }
    return agent_;
  }

  BinaryReader reader_;
  StringTable& texts_;
  absl::flat_hash_map<std::uint32_t, AgentIdentity> agents_;  // by string index of the agent's raw id
  AgentIdentity agent_;                                       // the agent of the last record read
  // The string index of the raw id of `agent_`; at first, an index that no string has.
  std::uint32_t agentIndex_ = std::numeric_limits<std::uint32_t>::max();
  // Indexed by `InternedText::number` of a key: the number of the last file entry that has a record with the
  // key, counted from 1, or 0 if there is none.
  std::vector<std::uint32_t> fileOf_;
  std::uint32_t file_ = 0;  // the number of the current file entry, counted from 1
};

}  // namespace

void sortByPath(std::vector<FileProvenance>& files) {
  const auto isBefore = [](const FileProvenance& left, const FileProvenance& right) {
    return Text::isBefore(left.path, right.path);
  };
  const auto isSame = [](const FileProvenance& left, const FileProvenance& right) {
    return left.path == right.path;
  };
  if (!std::ranges::is_sorted(files, isBefore)) {
    std::ranges::stable_sort(files, isBefore);
  }
  files.erase(std::unique(files.begin(), files.end(), isSame), files.end());
}

std::optional<Contents> load(const std::string& path, std::size_t threads) {
  // Bytes. A cache file that is not larger is read by one thread.
  constexpr std::uint64_t kWorthAThread = std::uint64_t{1} << 17;
  const PlainFile file(path);
  if (!file.isOpen() || file.attributes().size > kLargestFile) {
    return std::nullopt;
  }
  try {
    std::optional<BinaryReader> ofTexts = readerOf(file);
    std::optional<BinaryReader> ofRecords = readerOf(file);
    if (!ofTexts || !ofRecords) {
      return std::nullopt;
    }
    StringTable texts(*ofTexts, threads > 1 && file.attributes().size > kWorthAThread);
    return Contents{Reader(std::move(*ofRecords), texts).readFiles(), file.attributes()};
  } catch (const DecodeError&) {
    return std::nullopt;
  } catch (const std::range_error&) {
    return std::nullopt;
  }
}

FileAttributes save(const std::string& path, const std::vector<FileProvenance>& files) {
  Writer writer(files);
  std::string header(kMagic);
  header.push_back(static_cast<char>(kFormatVersion));
  return AtomicFile::replace(path, [&](AtomicFile::Output out) { writer.finish(header, out); });
}

std::string pathFor(const Environment& environment) {
  const std::optional<std::string> given = environment.expanded(environment.tallyfinCachePath);
  if (!given) {
    return defaultPath(Files::applicationSupportDirectory(environment.home));
  }
  std::error_code error;
  const std::filesystem::path absolute = std::filesystem::absolute(*given, error);
  return error ? *given : absolute.string();
}

std::string defaultPath(const std::string& applicationSupport) {
  return concat(applicationSupport, "/net.quillpond.tallyfin/scan-cache.v2.bin");
}

void makeFolderOf(const std::string& path) {
  // Resolve the path first. Otherwise the path "new/../cache" would create the folder "new" for nothing.
  if (const std::string_view folder = Files::withoutLastComponent(path); !folder.empty()) {
    Files::createDirectories(Files::target(std::string(folder)));
  }
}

bool isForeign(const std::string& path) {
  std::error_code unknown;  // ignored, because `save` reports an unusable path
  if (!std::filesystem::exists(std::filesystem::symlink_status(path, unknown))) {
    return false;
  }
  const PlainFile file(path);
  std::array<char, kMagic.size()> start{};
  const std::ptrdiff_t count = file.isOpen() ? file.read(start.data(), start.size(), 0) : -1;
  return count < 0 ||
         (count > 0 && std::string_view(start.data(), static_cast<std::size_t>(count)) != kMagic);
}

}  // namespace tallyfin::CacheFile
