#include <geom/foundation/entity.h>

namespace krGeom {

// The library's one diagnostic channel, made on first use (thread-safe static initialisation).
krOS::DebugChannel& debugChannel() {
  static krOS::DebugChannel channel("krGeom");
  return channel;
}

}  // namespace krGeom
