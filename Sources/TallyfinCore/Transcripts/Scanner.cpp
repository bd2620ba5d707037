#include "TallyfinCore/Transcripts/Scanner.hpp"

namespace tallyfin::Scanner {

void unify(UsageRecord& stored, const UsageRecord& incoming) {
  if (incoming.sourceRank < stored.sourceRank) {
    UsageRecord winner = incoming;
    winner.raiseTo(stored);
    stored = winner;
  } else {
    stored.raiseTo(incoming);
  }
}

}  // namespace tallyfin::Scanner
