#include <kr/debug_draw.h>

#if defined(__unix__) || defined(__APPLE__)
#include <dlfcn.h>
#endif

namespace krDebugDraw {

void* loadIFace(const char* name) {
#if defined(__unix__) || defined(__APPLE__)
  if (!name) return nullptr;
  // Only symbols already in the process: the default scope, nothing opened.
  void* symbol = ::dlsym(RTLD_DEFAULT, name);
  if (!symbol) return nullptr;
  using Provider = void* (*)();
  return reinterpret_cast<Provider>(symbol)();
#else
  (void)name;
  return nullptr;
#endif
}

}  // namespace krDebugDraw
