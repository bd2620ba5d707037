// The cache file of ScanCache: its writer and its reader.

#include "Platform/Files.hpp"
#include "Platform/Text.hpp"
#include "TallyfinCore/Cache/BinaryCodec.hpp"
#include "TallyfinCore/Cache/ScanCache.hpp"
#include "absl/container/flat_hash_map.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace tallyfin {
namespace {

constexpr std::string_view kMagic = "TFC1";
// Some ten million requests. A larger file is none of ours, or reading the transcripts is the better way.
constexpr std::uint64_t kLargestFile = std::uint64_t{1} << 30;  // bytes

// The counters of a file entry in the order of the layout: those that are no losses, then the losses, then
// the longest line.
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
// The counts of a record entry.
constexpr std::int64_t UsageRecord::*kCounts[] = {
    &UsageRecord::input,     &UsageRecord::output,    &UsageRecord::cacheWrite5m, &UsageRecord::cacheWrite1h,
    &UsageRecord::cacheRead, &UsageRecord::webSearch, &UsageRecord::webFetch};

// A file entry takes 21 bytes at least and a record entry 23: two doubles apart, one byte a field. More
// entries than the bytes left can hold are not believed.
constexpr std::uint64_t kSmallestFileEntry = 21;
constexpr std::uint64_t kSmallestRecordEntry = 23;

// Nothing behind a longer path can be looked at, so none was saved.
constexpr std::size_t kLongestPath = 4096;  // bytes

class Writer {
 public:
  Writer() : indexOf_(InternedText::count(), kUnknown) {}

  void write(const std::vector<FileProvenance>& files) {
    constexpr std::size_t kUsualFileEntry = 40;  // bytes
    constexpr std::size_t kUsualRecordEntry = 48;
    std::size_t records = 0;
    for (const FileProvenance& file : files) {
      records += file.records().size();
    }
    writer_.reserve(files.size() + records, files.size() * kUsualFileEntry + records * kUsualRecordEntry);
    writer_.writeUInt(files.size());
    for (const FileProvenance& file : files) {
      write(file);
    }
  }

  void finish(std::string_view header, Files::Output out) const { writer_.finish(header, out); }

 private:
  static constexpr std::uint32_t kUnknown = std::numeric_limits<std::uint32_t>::max();

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

  void writeCount(std::int64_t count) {
    writer_.writeUInt(count < 0 ? 0 : static_cast<std::uint64_t>(count));
  }

  void writeText(InternedText text) {
    if (!text.isCanonical()) {
      writer_.writeUInt(writer_.intern(text.text()));
      return;
    }
    std::uint32_t& index = indexOf_[text.number()];
    if (index == kUnknown) {
      index = writer_.add(text.text());
    }
    writer_.writeUInt(index);
  }

  BinaryWriter writer_;
  std::vector<std::uint32_t> indexOf_;  // by number of the text: spares hashing texts, a third of a save
};

class Reader {
 public:
  explicit Reader(PlainFile& file) : reader_(file) {}

  // Whether it begins as the files of this version do.
  bool readHeader() {
    return reader_.bytesLeft() > kMagic.size() + 1 && reader_.readBytes(kMagic.size()) == kMagic &&
           reader_.readUInt() == ScanCache::formatVersion;
  }

  std::vector<FileProvenance> readFiles() {
    reader_.readStringTable([this](std::span<const std::string_view> strings) { intern(strings); });
    const std::uint64_t count = readLength(kSmallestFileEntry);
    std::vector<FileProvenance> files;
    files.reserve(count);
    for (std::uint64_t i = 0; i < count; ++i) {
      std::string path = readPath();
      files.push_back({std::move(path), std::make_shared<const FileState>(readState())});
    }
    if (!std::ranges::is_sorted(files, std::ranges::less_equal(), &FileProvenance::path)) {
      std::ranges::reverse(files);  // of entries with one path the last counts
    }
    sortByPath(files);
    return files;
  }

 private:
  void intern(std::span<const std::string_view> strings) {
    const std::vector<InternedText> texts = InternedText::all(strings);
    for (std::size_t i = 0; i < strings.size(); ++i) {
      if (texts[i].text() != strings[i]) {
        repaired_.emplace(static_cast<std::uint32_t>(texts_.size() + i), strings[i]);
      }
    }
    texts_.insert(texts_.end(), texts.begin(), texts.end());
  }

  // A path is bytes, of which nothing is repaired.
  std::string readPath() {
    const std::uint32_t index = reader_.readStringIndex();
    const auto place = repaired_.find(index);
    const std::string_view path = place == repaired_.end() ? texts_[index].text() : place->second;
    if (path.size() > kLongestPath) {
      throw DecodeError(DecodeError::Kind::truncated);  // copied for each entry, it could take hours
    }
    return std::string(path);
  }

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

  // Notes that the file being read has the key. Files hold a key once but for damaged ones, so the index of
  // the records, a sixth of a load, is seldom built.
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
      throw DecodeError(DecodeError::Kind::truncated);  // no line gives such a time: the file is damaged
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
      throw DecodeError(DecodeError::Kind::truncated);
    }
    return static_cast<std::int64_t>(value);
  }

  // A number of entries to come.
  std::uint64_t readLength(std::uint64_t smallestEntry) {
    const std::uint64_t count = reader_.readUInt();
    if (count > reader_.bytesLeft() / smallestEntry) {
      throw DecodeError(DecodeError::Kind::truncated);
    }
    return count;
  }

  InternedText readText() { return texts_[reader_.readStringIndex()]; }

  // Neighbours mostly have the same agent: each is looked up when it differs from the one before, and taken
  // apart once.
  AgentIdentity readAgent() {
    const std::uint32_t index = reader_.readStringIndex();
    if (std::exchange(agentIndex_, index) != index) {
      const auto [place, isNew] = agents_.try_emplace(index);
      if (isNew) {
        place->second = AgentIdentity::parse(texts_[index]);
      }
      agent_ = place->second;
    }
    return agent_;
  }

  BinaryReader reader_;
  std::vector<InternedText> texts_;                           // the string table
  absl::flat_hash_map<std::uint32_t, std::string> repaired_;  // its strings that are no UTF-8, as they are
  absl::flat_hash_map<std::uint32_t, AgentIdentity> agents_;  // by index of the text
  AgentIdentity agent_;                                       // the last one read, and its index
  std::uint32_t agentIndex_ = std::numeric_limits<std::uint32_t>::max();
  std::vector<std::uint32_t> fileOf_;  // by number of a key: the last file that had it, counted from 1
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

bool ScanCache::load() {
  PlainFile file(path_);
  if (!file.isOpen() || file.attributes().size > kLargestFile) {
    return false;
  }
  try {
    Reader reader(file);
    if (!reader.readHeader()) {
      return false;
    }
    replaceKnown(reader.readFiles());
  } catch (const DecodeError&) {
    return false;
  }
  const std::lock_guard guard(lock_);
  saved_ = files_;
  savedFile_ = file.attributes();
  return true;
}

void ScanCache::save() {
  const std::optional<FileAttributes> there = Files::attributes(path_);
  KnownFiles files;
  {
    const std::lock_guard guard(lock_);
    files = files_;
    if (files == saved_ && there == savedFile_) {
      return;
    }
  }
  Writer writer;
  writer.write(*files);
  std::string header(kMagic);
  header.push_back(static_cast<char>(formatVersion));
  const FileAttributes written =
      Files::replaceAtomically(path_, [&](Files::Output out) { writer.finish(header, out); });
  const std::lock_guard guard(lock_);
  saved_ = files;
  savedFile_ = written;
}

}  // namespace tallyfin
