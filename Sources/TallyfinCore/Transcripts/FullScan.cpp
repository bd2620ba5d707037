// Reads every transcript from scratch, files striped over the processors. No lock is taken: each worker fills
// maps of its own, which are merged when all have ended.

#include "TallyfinCore/Transcripts/LineReader.hpp"
#include "TallyfinCore/Transcripts/Scanner.hpp"
#include "absl/container/flat_hash_set.h"

#include <algorithm>
#include <iterator>
#include <thread>

namespace tallyfin::Scanner {
namespace {

constexpr std::size_t kExpectedRequests = 80'000;

// Reads files `first`, `first + stride`, ... in rising rank, so that within a worker the copy of a request
// that describes it is the one of lowest rank.
KeyedScan readStripe(const std::vector<TranscriptFile>& files, std::size_t first, std::size_t stride) {
  KeyedScan share;
  share.records.reserve(kExpectedRequests / stride + 64);
  for (std::size_t rank = first; rank < files.size(); rank += stride) {
    const TranscriptFile& file = files[rank];
    const auto onLine = [&](std::string_view line) {
      ingest(line, file.path, file.home, static_cast<std::int64_t>(rank), share.records, share.diagnostics);
    };
    try {
      share.diagnostics.bytesRead += LineReader::forEachLine(file.path, 0, std::nullopt, onLine);
    } catch (const ReadError&) {
      share.diagnostics.filesUnreadable.push_back(file.path);
    }
  }
  return share;
}

std::vector<KeyedScan> readAll(const std::vector<TranscriptFile>& files, std::size_t workers) {
  std::vector<KeyedScan> shares(workers);
  std::vector<std::jthread> threads;
  for (std::size_t worker = 1; worker < workers; ++worker) {
    threads.emplace_back([&, worker] { shares[worker] = readStripe(files, worker, workers); });
  }
  shares[0] = readStripe(files, 0, workers);
  threads.clear();  // joins
  return shares;
}

// A request, and its position among those of the worker that read the file of its rank.
struct Found {
  RecordMap::Entry entry;
  std::size_t position;
};

// Sorts places instead of the requests themselves, which are six times as large.
RecordMap inListingOrder(const std::vector<Found>& found) {
  struct Place {
    std::int64_t rank;
    std::size_t position;
    std::size_t index;
  };
  std::vector<Place> order;
  order.reserve(found.size());
  for (const Found& one : found) {
    order.push_back({one.entry.record.sourceRank, one.position, order.size()});
  }
  std::ranges::sort(order, {}, [](const Place& place) { return std::pair(place.rank, place.position); });
  RecordMap merged;
  merged.reserve(found.size());
  for (const Place& place : order) {
    const RecordMap::Entry& entry = found[place.index].entry;
    merged.append(entry.key, entry.record);
  }
  return merged;
}

// The shares as one map in listing order. A request that several workers met stands where its file of lowest
// rank has it, which is also the copy that describes it.
RecordMap mergeRecords(std::vector<KeyedScan>& shares) {
  if (shares.size() == 1) {
    return std::move(shares.front().records);
  }
  std::vector<Found> found;
  found.reserve(kExpectedRequests);
  std::vector<std::uint32_t> placeOf(InternedText::count(), 0);  // by number of the key; 0: not yet
  for (const KeyedScan& share : shares) {
    std::size_t position = 0;
    for (const RecordMap::Entry& entry : share.records.entries()) {
      std::uint32_t& place = placeOf[entry.key.number()];
      if (place == 0) {
        found.push_back({entry, position});
        place = static_cast<std::uint32_t>(found.size());
      } else {
        Found& known = found[place - 1];
        if (entry.record.sourceRank < known.entry.record.sourceRank) {
          known.position = position;
        }
        unify(known.entry.record, entry.record);
      }
      ++position;
    }
  }
  return inListingOrder(found);
}

// Puts what the order of the workers has shuffled back in listing order: the paths that failed, and which
// file has the longest line when several are equal.
void orderAsListed(ScanDiagnostics& merged, const std::vector<KeyedScan>& shares,
                   const std::vector<TranscriptFile>& files) {
  const absl::flat_hash_set<std::string_view> failed(merged.filesUnreadable.begin(),
                                                     merged.filesUnreadable.end());
  absl::flat_hash_set<std::string_view> longest;
  for (const KeyedScan& share : shares) {
    if (share.diagnostics.longestLineBytes == merged.longestLineBytes) {
      longest.insert(share.diagnostics.longestLinePath);
    }
  }
  std::vector<std::string> unreadable;
  std::string longestPath;
  for (const TranscriptFile& file : files) {
    if (failed.contains(file.path)) {
      unreadable.push_back(file.path);
    }
    if (longestPath.empty() && longest.contains(file.path)) {
      longestPath = file.path;
    }
  }
  merged.filesUnreadable = std::move(unreadable);
  merged.longestLinePath = std::move(longestPath);
}

}  // namespace

KeyedScan scanKeyed(const std::vector<SourceHome>& homes, bool parallel, const Clock& clock) {
  const TimePoint start = clock();
  ScanDiagnostics listed;
  const std::vector<TranscriptFile> files = listing(homes, listed);
  const std::size_t processors = std::max(1U, std::thread::hardware_concurrency());
  const std::size_t workers = parallel ? std::clamp<std::size_t>(files.size(), 1, processors) : 1;

  std::vector<KeyedScan> shares = readAll(files, workers);
  KeyedScan result;
  for (const KeyedScan& share : shares) {
    result.diagnostics.merge(share.diagnostics);
  }
  orderAsListed(result.diagnostics, shares, files);
  result.records = mergeRecords(shares);
  result.diagnostics.filesScanned = static_cast<std::int64_t>(files.size());
  result.diagnostics.uniqueRequests = static_cast<std::int64_t>(result.records.size());
  result.diagnostics.perHome = std::move(listed.perHome);
  result.diagnostics.duration = std::max(0.0, clock().seconds - start.seconds);
  return result;
}

ScanResult scan(const std::vector<SourceHome>& homes, bool parallel, const Clock& clock) {
  const KeyedScan keyed = scanKeyed(homes, parallel, clock);
  ScanResult result;
  result.records.reserve(keyed.records.size());
  std::ranges::transform(keyed.records.entries(), std::back_inserter(result.records),
                         &RecordMap::Entry::record);
  result.diagnostics = keyed.diagnostics;
  return result;
}

}  // namespace tallyfin::Scanner
