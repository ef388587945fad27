// How many of ascending numbers are less than one: where a search in a page comes to its end.
#pragma once

#include <algorithm>
#include <cstddef>

namespace store {

// Two rounds of comparing that do not wait for one another: one in so many, then those between.
template <typename Number>
std::size_t CountLess(const Number* numbers, std::size_t count, Number number) {
  constexpr std::size_t stride = 16;
  std::size_t less = 0;
  for (std::size_t i = stride - 1; i < count; i += stride) less += numbers[i] < number ? 1 : 0;
  const std::size_t begin = less * stride;
  const std::size_t end = std::min(begin + stride, count);
  less = begin;
  for (std::size_t i = begin; i < end; ++i) less += numbers[i] < number ? 1 : 0;
  return less;
}

}  // namespace store
