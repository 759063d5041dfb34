#include <geom/foundation/array.h>

namespace krGeom {

ArrayAllocator::~ArrayAllocator() = default;

}  // namespace krGeom
