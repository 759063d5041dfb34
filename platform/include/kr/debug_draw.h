// krDebugDraw::loadIFace: finds an interface that a module of the running application exports.
//
// A module (the application itself or a shared library it loaded) provides an interface by
// exporting, with C linkage, a function named after it that returns the interface:
//
//   extern "C" __attribute__((visibility("default"))) void* getMeshIFace() {
//     static MyMeshIFace iface;
//     return &iface;
//   }
//
// loadIFace(name) looks that function up among the symbols already in the process and returns
// what it returns, or null when no module exports one. Nothing is read from files or the
// environment, and nothing is loaded. Safe to call from any thread.
#pragma once

#include <kr/export.h>

namespace krDebugDraw {

// The interface the function `name` of some loaded module returns, or null.
KR_PLATFORM_EXPORT void* loadIFace(const char* name);

}  // namespace krDebugDraw
