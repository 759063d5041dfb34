// BlindData: a small typed value (a tagged union) that users attach to the vertices, half-edges
// and faces of a TopoMesh as metadata.
//
//   vertex.setMetadata(3, krGeom::BlindData(42));
//   if (vertex.getMetadata(3).type() == krGeom::BlindData::eInt)
//   use(vertex.getMetadata(3).data().i);
//
// A BlindData is 16 bytes: the 8-byte value, then its 32-bit type tag (and padding). Copies are bit
// for bit. Constructing from a value writes only that member of the union; the other bytes keep
// whatever they held.
#pragma once

#include <geom/export.h>

#include <cstdint>

namespace krGeom {

// The value of a BlindData; the member in use is named by BlindData::type().
union bdHolder {
  char c;
  unsigned char uc;
  std::int32_t i;
  std::uint32_t ui;
  bool b;
  float f;
  double d;
  void* p;
};
static_assert(sizeof(bdHolder) == 8);

class BlindData {
 public:
  // Type tags (values are fixed: they are stored and written to files).
  enum Type : std::int32_t {
    eUndefined = 0,
    eChar = 1,
    eUnsignedChar = 2,
    eInt = 3,
    eUnsignedInt = 4,
    eBool = 5,
    eFloat = 6,
    eDouble = 7,
    ePointer = 8,
  };

  BlindData(char v) noexcept : type_(eChar) { value_.c = v; }
  BlindData(unsigned char v) noexcept : type_(eUnsignedChar) { value_.uc = v; }
  BlindData(std::int32_t v) noexcept : type_(eInt) { value_.i = v; }
  BlindData(std::uint32_t v) noexcept : type_(eUnsignedInt) { value_.ui = v; }
  BlindData(bool v) noexcept : type_(eBool) { value_.b = v; }
  BlindData(float v) noexcept : type_(eFloat) { value_.f = v; }
  BlindData(double v) noexcept : type_(eDouble) { value_.d = v; }
  BlindData(void* v) noexcept : type_(ePointer) { value_.p = v; }
  // Stores both fields unchanged.
  BlindData(const bdHolder& value, Type type) noexcept : value_(value), type_(type) {}

  BlindData(const BlindData&) noexcept = default;
  BlindData& operator=(const BlindData&) noexcept = default;

  // The type tag.
  Type type() const noexcept { return type_; }
  // The value; read the member named by type().
  const bdHolder& data() const noexcept { return value_; }

 private:
  // Uninitialised slot: records hold arrays of these and fill them when they choose.
  BlindData() noexcept {}
  friend struct TopoMeshVertexData;
  friend struct TopoMeshEdgeData;
  friend struct TopoMeshFaceData;

  bdHolder value_;
  Type type_;
};
static_assert(sizeof(BlindData) == 16);

}  // namespace krGeom
