#pragma once

namespace tallyfin {

/// Gives memory that was freed back to the system, where the allocator would keep it for itself. For the
/// moments behind something large, since it takes a walk through what is free.
void giveBackMemory();

}  // namespace tallyfin
