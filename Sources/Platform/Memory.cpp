#include "Platform/Memory.hpp"

#include <cstdlib>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace tallyfin {

void giveBackMemory() {
#if defined(__GLIBC__)
  malloc_trim(0);
#endif
}

}  // namespace tallyfin
