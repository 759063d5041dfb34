// Single-precision per-vertex records: MeshVertex, MeshNormal, MeshUV, MeshColour, and the
// untyped views MeshFloat1 .. MeshFloat4 of attribute data.
//
//   krGeom::MeshVertex v{1.0f, 2.0f, 3.0f};
//   v = krLinear::PointFlt(0.5f, 0.0f, 0.0f);
//   krLinear::Point p = v.asPoint();   // exact widening
//
// Records are plain values laid out as consecutive floats, so an attribute's float data can be
// viewed as an array of records. Double-to-float conversions round to nearest; float-to-double
// conversions are exact. Nothing normalises, clamps or compares. Default construction leaves the
// components uninitialised (arrays of records are filled afterwards); value-initialise
// (`MeshVertex v{}`) for zeros.
#pragma once

#include <kr/linear/point.h>
#include <kr/linear/point2.h>
#include <kr/linear/point_flt.h>
#include <kr/linear/vector.h>

#include <type_traits>

namespace krGeom {

// A vertex position: x, y, z.
struct MeshVertex {
  float x, y, z;

  // Takes three values from `xyz`, rounded to float.
  void set(const double* xyz) noexcept { set(float(xyz[0]), float(xyz[1]), float(xyz[2])); }
  // Takes three values from `xyz`.
  void set(const float* xyz) noexcept { set(xyz[0], xyz[1], xyz[2]); }
  void set(float px, float py, float pz) noexcept {
    x = px;
    y = py;
    z = pz;
  }
  // Copies the point's three floats.
  MeshVertex& operator=(const krLinear::PointFlt& p) noexcept {
    set(p.x(), p.y(), p.z());
    return *this;
  }
  // Rounds the point's coordinates to float.
  MeshVertex& operator=(const krLinear::Point& p) noexcept {
    set(p.data());
    return *this;
  }
  // The position in double precision (exact).
  krLinear::Point asPoint() const noexcept { return {x, y, z}; }
  // The position as a float point.
  krLinear::PointFlt asPointFlt() const noexcept { return {x, y, z}; }
};

// A vertex normal: x, y, z. Stored as given; never normalised here.
struct MeshNormal {
  float x, y, z;

  // Takes three values from `xyz`, rounded to float.
  void set(const double* xyz) noexcept { set(float(xyz[0]), float(xyz[1]), float(xyz[2])); }
  // Takes three values from `xyz`.
  void set(const float* xyz) noexcept { set(xyz[0], xyz[1], xyz[2]); }
  void set(float nx, float ny, float nz) noexcept {
    x = nx;
    y = ny;
    z = nz;
  }
  // Rounds the normal's components to float.
  MeshNormal& operator=(const krLinear::Normal& n) noexcept {
    set(n.data());
    return *this;
  }
  // Copies the vector's three floats.
  MeshNormal& operator=(const krLinear::VectorFlt& v) noexcept {
    set(v.x(), v.y(), v.z());
    return *this;
  }
  // The components as a double vector (exact, not normalised).
  krLinear::Vector asVector() const noexcept { return {x, y, z}; }
  // The components as a float vector.
  krLinear::VectorFlt asVectorFlt() const noexcept { return {x, y, z}; }
};

// A texture coordinate: u, v.
struct MeshUV {
  float u, v;

  // Takes two values from `uv`, rounded to float.
  void set(const double* uv) noexcept { set(float(uv[0]), float(uv[1])); }
  // Takes two values from `uv`.
  void set(const float* uv) noexcept { set(uv[0], uv[1]); }
  // Rounds both values to float.
  void set(const double& pu, const double& pv) noexcept { set(float(pu), float(pv)); }
  void set(float pu, float pv) noexcept {
    u = pu;
    v = pv;
  }
  // Copies the point's two floats.
  MeshUV& operator=(const krLinear::Point2Flt& p) noexcept {
    set(p.x(), p.y());
    return *this;
  }
};

// A colour of four channels in the caller's order (red, green, blue, alpha by convention).
struct MeshColour {
  float r, g, b, a;

  // Leaves the channels uninitialised on purpose: colour arrays are filled afterwards.
  MeshColour() noexcept = default;
  MeshColour(const float& c0, const float& c1, const float& c2, const float& c3) noexcept
      : r(c0), g(c1), b(c2), a(c3) {}
  // Takes four values from `c`.
  void set(const float* c) noexcept { set(c[0], c[1], c[2], c[3]); }
  void set(float c0, float c1, float c2, float c3) noexcept {
    r = c0;
    g = c1;
    b = c2;
    a = c3;
  }
};

// Untyped views of attribute elements of 1 to 4 floats.
struct MeshFloat1 {
  float v[1];
  float& operator[](int i) noexcept { return v[i]; }
  float operator[](int i) const noexcept { return v[i]; }
};
struct MeshFloat2 {
  float v[2];
  float& operator[](int i) noexcept { return v[i]; }
  float operator[](int i) const noexcept { return v[i]; }
};
struct MeshFloat3 {
  float v[3];
  float& operator[](int i) noexcept { return v[i]; }
  float operator[](int i) const noexcept { return v[i]; }
};
struct MeshFloat4 {
  float v[4];
  float& operator[](int i) noexcept { return v[i]; }
  float operator[](int i) const noexcept { return v[i]; }
};

// Attribute data is viewed as arrays of these records, so they must be exactly N floats.
static_assert(sizeof(MeshVertex) == 3 * sizeof(float) && std::is_trivially_copyable_v<MeshVertex>);
static_assert(sizeof(MeshNormal) == 3 * sizeof(float) && std::is_trivially_copyable_v<MeshNormal>);
static_assert(sizeof(MeshUV) == 2 * sizeof(float) && std::is_trivially_copyable_v<MeshUV>);
static_assert(sizeof(MeshColour) == 4 * sizeof(float) && std::is_trivially_copyable_v<MeshColour>);
static_assert(sizeof(MeshFloat1) == 1 * sizeof(float) && sizeof(MeshFloat4) == 4 * sizeof(float));

}  // namespace krGeom
