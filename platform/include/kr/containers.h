// Containers of the platform layer: the standard library's, under the names callers use.
#pragma once

#include <functional>
#include <list>
#include <set>
#include <vector>

namespace kr {

template <class T>
using less = std::less<T>;
template <class T>
using vector = std::vector<T>;
template <class T>
using list = std::list<T>;
template <class T, class Compare = kr::less<T>>
using set = std::set<T, Compare>;

}  // namespace kr
