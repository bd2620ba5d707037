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

// The start of a cache file of any version, and the layout version that this unit reads and writes.
constexpr std::string_view kMagic = "TFC1";
constexpr std::uint64_t kFormatVersion = 2;

// Almost five million requests, as many as the string table can hold. A larger file is ignored and the
// transcripts are read again.
constexpr std::uint64_t kLargestFile = std::uint64_t{1} << 30;  // bytes

// The counters of a file entry in layout order: those that are not losses, then the losses, then the longest
// line.
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

// The minimum size of an entry in bytes: eight for its double, one for each other field. Counts of more
// entries than the bytes left can hold are rejected.
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

  void finish(std::string_view header, AtomicFile::Output out) const { writer_.finish(header, out); }

 private:
  static constexpr std::uint32_t kUnknown = std::numeric_limits<std::uint32_t>::max();

  std::uint32_t indexOf(InternedText text) {
    if (!text.isCanonical()) {
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
  std::vector<std::uint32_t> indexOf_;  // by text number; hashing the texts would be a third of a save
};

// A reader positioned after the header, or nothing if the file does not begin like a file of this version.
std::optional<BinaryReader> readerOf(const PlainFile& file) {
  BinaryReader reader(file);
  const bool isOurs = reader.bytesLeft() > kMagic.size() + 1 && reader.readBytes(kMagic.size()) == kMagic &&
                      reader.readUInt() == kFormatVersion;
  return isOurs ? std::optional(std::move(reader)) : std::nullopt;
}

// The string table as interned texts. The table lists them in the order in which records first refer to them,
// so one thread can fill it while another reads the records. On one thread a warm answer takes 5 % longer. If
// another process writes to the file meanwhile, the two threads see different contents; then texts may be
// missing or wrong.
class StringTable {
 public:
  // `reader` must be positioned before the string table and must outlive this object.
  StringTable(BinaryReader& reader, bool isWorthAThread)
      : filling_(std::async(onTheSide(isWorthAThread), [this, &reader] { fill(reader); })) {
    if (filling_.wait_for(std::chrono::seconds(0)) == std::future_status::deferred) {
      filling_.get();
    }
  }

  // Waits until the text is available. If the table ends before it, throws the reader's error or DecodeError.
  InternedText at(std::uint32_t index) {
    if (index >= seen_) {
      waitFor(index);
    }
    return texts_[index];
  }

  // The bytes as stored in the file. Paths need them, because a path need not be valid UTF-8.
  std::string bytesAt(std::uint32_t index) {
    const InternedText text = at(index);
    const std::lock_guard guard(lock_);
    const auto found = repaired_.find(index);
    return found == repaired_.end() ? std::string(text.text()) : found->second;
  }

 private:
  static constexpr std::uint32_t kComplete = std::numeric_limits<std::uint32_t>::max();

  // Throws what the reader throws; the texts before the failure are kept.
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

  std::vector<InternedText> texts_;
  std::uint32_t filled_ = 0;              // the number of texts filled in; used by the filling thread
  std::atomic<std::uint32_t> ready_ = 0;  // the same for the reading thread, or `kComplete`
  std::uint32_t seen_ = 0;                // the number of texts that the reading thread knows of
  std::mutex lock_;
  absl::flat_hash_map<std::uint32_t, std::string> repaired_;  // by index: raw bytes that are not UTF-8
  std::future<void> filling_;                                 // last, so that its destructor waits first
};

class Reader {
 public:
  // `reader` must be positioned before the string table, which `texts` reads meanwhile.
  Reader(BinaryReader reader, StringTable& texts) : reader_(std::move(reader)), texts_(texts) {}

  std::vector<FileProvenance> readFiles() {
    reader_.readStringTable([](std::span<const std::string_view>) {});
    const std::uint64_t count = readLength(kSmallestFileEntry);
    std::vector<FileProvenance> files;
    files.reserve(count);
    std::vector<std::uint32_t> entryOf(reader_.stringCount());  // by string index of the path, counted from 1
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
      std::ranges::reverse(files);  // of entries with the same path, the last one wins
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

  // Records that the current file has the key; returns false if it had the key already. Only damaged files
  // repeat keys, so the index of RecordMap, which takes a sixth of a load, is built for those only.
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

  // Reads a number of entries. Throws if the bytes left cannot hold that many.
  std::uint64_t readLength(std::uint64_t smallestEntry) {
    const std::uint64_t count = reader_.readUInt();
    if (count > reader_.bytesLeft() / smallestEntry) {
      throw DecodeError(DecodeError::Kind::truncated);
    }
    return count;
  }

  InternedText readText() { return texts_.at(reader_.readStringIndex()); }

  // Consecutive records mostly have the same agent, so the agent is looked up only when it changes, and each
  // is parsed once.
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
  absl::flat_hash_map<std::uint32_t, AgentIdentity> agents_;  // by string index of the raw id
  AgentIdentity agent_;                                       // the last agent read; its string index follows
  std::uint32_t agentIndex_ = std::numeric_limits<std::uint32_t>::max();
  std::vector<std::uint32_t> fileOf_;  // by number of a key: the last file with it, counted from 1
  std::uint32_t file_ = 0;
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
  constexpr std::uint64_t kWorthAThread = std::uint64_t{1} << 17;  // bytes; below this, one thread reads
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
  // Resolve the path first, so that no folder is created only to be left by a later "..".
  if (const std::string_view folder = Files::withoutLastComponent(path); !folder.empty()) {
    Files::createDirectories(Files::target(std::string(folder)));
  }
}

bool isForeign(const std::string& path) {
  std::error_code unknown;  // ignored, because `save` reports what is wrong with the path
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
