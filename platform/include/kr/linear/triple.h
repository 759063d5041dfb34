// detail::Triple: the component storage and access that Point, Vector and their float twins
// share, so that each of them only adds what makes it a point or a vector.
#pragma once

namespace krLinear::detail {

// Three components of type T. Derived is the concrete type, which the in-place helpers return.
template <class Derived, class T>
class Triple {
 public:
  // Construction: zero, from x, y, z, or from three consecutive values x, y, z.
  constexpr Triple() noexcept = default;
  constexpr Triple(T x, T y, T z) noexcept : v_{x, y, z} {}
  explicit constexpr Triple(const T* xyz) noexcept : v_{xyz[0], xyz[1], xyz[2]} {}

  // Components (read and write); i in 0..2.
  constexpr T x() const noexcept { return v_[0]; }
  constexpr T y() const noexcept { return v_[1]; }
  constexpr T z() const noexcept { return v_[2]; }
  constexpr T& x() noexcept { return v_[0]; }
  constexpr T& y() noexcept { return v_[1]; }
  constexpr T& z() noexcept { return v_[2]; }
  constexpr T operator[](int i) const noexcept { return v_[i]; }
  constexpr T& operator[](int i) noexcept { return v_[i]; }
  // The three components as a contiguous array.
  constexpr const T* data() const noexcept { return v_; }
  constexpr void set(T x, T y, T z) noexcept { *this = Triple(x, y, z); }
  // Writes x, y, z to out[0..2].
  constexpr void get(T* out) const noexcept {
    for (int i = 0; i < 3; ++i) out[i] = v_[i];
  }

  constexpr bool operator==(const Triple&) const noexcept = default;

 protected:
  // Component-wise updates behind the derived types' operators.
  template <class D>
  constexpr Derived& addEach(const Triple<D, T>& o) noexcept {
    for (int i = 0; i < 3; ++i) v_[i] += o[i];
    return static_cast<Derived&>(*this);
  }
  template <class D>
  constexpr Derived& subtractEach(const Triple<D, T>& o) noexcept {
    for (int i = 0; i < 3; ++i) v_[i] -= o[i];
    return static_cast<Derived&>(*this);
  }
  constexpr Derived& scaleEach(T s) noexcept {
    for (T& c : v_) c *= s;
    return static_cast<Derived&>(*this);
  }

 private:
  T v_[3] = {};
};

}  // namespace krLinear::detail
