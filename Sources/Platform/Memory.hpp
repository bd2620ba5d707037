#pragma once

namespace tallyfin {

/// Returns freed memory to the system, which glibc's allocator would keep for later; with other libraries
/// nothing happens. It walks through all free memory, so it is called only after much was freed.
void giveBackMemory();

}  // namespace tallyfin
