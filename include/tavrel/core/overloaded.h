#pragma once
// Overloaded{f, g, ...}: one visitor out of several lambdas, for std::visit
// over the tagged types of the library.

namespace tavrel {

template <class... F>
struct Overloaded : F... {
  using F::operator()...;
};
template <class... F>
Overloaded(F...) -> Overloaded<F...>;

}  // namespace tavrel
