#pragma once
/// \file
/// `Vector<T>`: the library's general value container, a `std::vector<T>`
/// with 1-based access, range editing, sorting, compaction and persistence.

#include <vector>

namespace zel {

template <class T>
class Vector : public std::vector<T> {
public:
  using std::vector<T>::vector;
  Vector() = default;
};

} // namespace zel
