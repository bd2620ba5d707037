#pragma once

// The diagnostics that two ways of reading the same transcripts must share.

#include "TallyfinCore/Transcripts/Scanner.hpp"

#include <gtest/gtest.h>

namespace tallyfin {

/// Expects equal diagnostics, except for durations.
inline void expectSame(const ScanDiagnostics& seen, const ScanDiagnostics& expected) {
  EXPECT_EQ(seen.filesScanned, expected.filesScanned);
  EXPECT_EQ(seen.filesUnreadable, expected.filesUnreadable);
  EXPECT_EQ(seen.foldersUnreadable, expected.foldersUnreadable);
  EXPECT_EQ(seen.bytesRead, expected.bytesRead);
  EXPECT_EQ(seen.usageLinesSeen, expected.usageLinesSeen);
  EXPECT_EQ(seen.linesRejectedInvalidJSON, expected.linesRejectedInvalidJSON);
  EXPECT_EQ(seen.linesRejectedNoMessage, expected.linesRejectedNoMessage);
  EXPECT_EQ(seen.linesNotUsageBearing, expected.linesNotUsageBearing);
  EXPECT_EQ(seen.linesRejectedNoTimestamp, expected.linesRejectedNoTimestamp);
  EXPECT_EQ(seen.linesRejectedNoIdentity, expected.linesRejectedNoIdentity);
  EXPECT_EQ(seen.linesSkippedZeroUsage, expected.linesSkippedZeroUsage);
  EXPECT_EQ(seen.longestLineBytes, expected.longestLineBytes);
  EXPECT_EQ(seen.longestLinePath, expected.longestLinePath);
  EXPECT_EQ(seen.uniqueRequests, expected.uniqueRequests);
  EXPECT_EQ(seen.perHome, expected.perHome);
}

}  // namespace tallyfin
