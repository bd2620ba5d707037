#pragma once

namespace tallyfin {

/// Returns freed memory, which glibc's allocator would keep, to the system. Does nothing with other C
/// libraries. The call walks through all free memory, so use it only after freeing much.
void giveBackMemory();

}  // namespace tallyfin
