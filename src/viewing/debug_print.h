// The header line every viewing class's debugPrint opens with.
#pragma once

#include <kr/debug_channel.h>

namespace krGeom::detail {

// "<name> <what> is", or "unnamed <what> is" for a null name.
inline void printHeader(krOS::DebugChannel& channel, const char* name, const char* what) {
  channel.print("%s %s is\n", name ? name : "unnamed", what);
}

}  // namespace krGeom::detail
