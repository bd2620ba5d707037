#include "TallyfinCore/Cache/Verification.hpp"

#include "Platform/Concat.hpp"
#include "TallyfinCore/Attribution/Pricing.hpp"
#include "TallyfinCore/Transcripts/UnifiedRequests.hpp"
#include "absl/container/flat_hash_map.h"
#include "absl/strings/str_format.h"

#include <algorithm>
#include <utility>

namespace tallyfin {
namespace {

// The number of bytes in the file after `consumed`; 0 if its size is unknown.
std::uint64_t bytesBeyond(std::uint64_t consumed, const FileReading& reading) {
  return reading.file->attributes && reading.file->attributes->size > consumed
             ? reading.file->attributes->size - consumed
             : 0;
}

double costOf(const UnifiedRequests& requests, const Calendar& calendar, const PriceList& prices) {
  double sum = 0;
  DayLookup days(calendar);
  Pricing::Pricer pricer(calendar, prices);
  for (const RecordMap::Entry* const entry : requests.entries()) {
    const UsageRecord& record = entry->record;
    const RequestCost cost = pricer.cost(record, days.startOfDay(record.timestamp));
    sum += cost.isKnown() ? *cost.value() : 0;
  }
  return sum;
}

bool haveSameTokens(const UsageRecord& left, const UsageRecord& right) {
  return left.input == right.input && left.output == right.output && left.cacheRead == right.cacheRead &&
         left.cacheWrite5m == right.cacheWrite5m && left.cacheWrite1h == right.cacheWrite1h;
}

void compare(const UnifiedRequests& cached, const UnifiedRequests& fresh, VerificationResult& result) {
  for (const RecordMap::Entry* const entry : fresh.entries()) {
    const UsageRecord* const known = cached.find(entry->key);
    if (known == nullptr) {
      ++result.missingFromCache;
    } else if (!haveSameTokens(*known, entry->record)) {
      ++result.mismatchedRecords;
    }
  }
  result.extraInCache = std::ranges::count_if(
      cached.entries(), [&](const RecordMap::Entry* entry) { return fresh.find(entry->key) == nullptr; });
  result.cachedRequests = static_cast<std::int64_t>(cached.size());
  result.freshRequests = static_cast<std::int64_t>(fresh.size());
}

}  // namespace

VerificationResult verifyCache(const std::vector<FileProvenance>& known, const std::vector<SourceHome>& homes,
                               const Calendar& calendar, const Clock& clock, const PriceList& prices,
                               std::size_t threads, const ReadProgress& progress) {
  const TimePoint start = clock();
  VerificationResult result;
  ScanDiagnostics seen;
  const std::vector<TranscriptFile> listed = Scanner::listing(homes, seen);
  result.foldersUnreadable = std::move(seen.foldersUnreadable);
  absl::flat_hash_map<std::string_view, std::shared_ptr<const FileState>> notListed;
  for (const FileProvenance& file : known) {
    notListed.emplace(file.path, file.state);
  }

  // Add files to both sets in listing order, so that of equal copies the same one describes a request.
  UnifiedRequests cached;
  std::vector<FileReading> readings;
  for (const FileReading& reading : readingsOf(listed)) {
    const auto found = notListed.find(reading.file->path);
    if (found == notListed.end()) {
      result.bytesNotCompared += bytesBeyond(0, reading);
      continue;
    }
    result.bytesNotCompared += bytesBeyond(found->second->consumed, reading);
    cached.add(recordsOf(found->second));
    readings.push_back(reading);
    readings.back().upTo = found->second->consumed;
    notListed.erase(found);
  }
  read(readings, threads, progress);
  // Requests missing from a failed read count as extra in the cache.
  const UnifiedRequests fresh = unified(readings, seen);
  for (const FileProvenance& file : known) {
    if (notListed.contains(file.path)) {
      cached.add(recordsOf(file.state));
    }
  }

  result.freshCost = costOf(fresh, calendar, prices);
  result.cachedCost = costOf(cached, calendar, prices);
  compare(cached, fresh, result);
  result.checkedAt = clock();
  result.duration = std::max(0.0, result.checkedAt.seconds - start.seconds);
  return result;
}

std::string VerificationResult::summary() const {
  if (isClean()) {
    std::string text =
        concat("divergence 0 — the cache matches a full scan exactly (", std::to_string(freshRequests),
               " request", freshRequests == 1 ? "" : "s", " verified)");
    if (bytesNotCompared != 0) {
      append(text,
             absl::StrFormat(
                 "; %.1f MB written after the cache were not compared (they are not in it, by definition)",
                 static_cast<double>(bytesNotCompared) / 1'048'576));
    }
    return text;
  }
  std::string text = "DIVERGENCE: ";
  const char* separator = "";
  for (const auto& [count, what] :
       {std::pair(missingFromCache, " missing from cache"), std::pair(extraInCache, " extra in cache"),
        std::pair(mismatchedRecords, " with different figures")}) {
    if (count >= 1) {
      append(text, separator, std::to_string(count), what);
      separator = ", ";
    }
  }
  return text;
}

}  // namespace tallyfin
