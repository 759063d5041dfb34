#include <kr/reference.h>

namespace kr {

ReferenceCount::~ReferenceCount() noexcept(false) {
  assert(count_ == 0 && "object destroyed while referenced");
}

ImplBase::~ImplBase() = default;

}  // namespace kr
