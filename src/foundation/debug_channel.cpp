#include <geom/export.h>
#include <kr/debug_channel.h>

namespace krGeom {

// The library's one diagnostic channel, made on first use (thread-safe static initialisation).
KRGEOM_EXPORT krOS::DebugChannel& debugChannel() {
  static krOS::DebugChannel channel("krGeom");
  return channel;
}

}  // namespace krGeom
