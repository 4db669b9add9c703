#pragma once

namespace tarn::agent {

// One visitor out of several lambdas, for std::visit over the configuration's variants.
template <class... Handlers>
struct Overloaded : Handlers... {
    using Handlers::operator()...;
};
// Spelled out for compilers without aggregate deduction (clang before 17).
template <class... Handlers>
Overloaded(Handlers...) -> Overloaded<Handlers...>;

}  // namespace tarn::agent
