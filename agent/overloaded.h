#pragma once

namespace tarn::agent {

// One visitor out of several lambdas, for std::visit over the configuration's variants.
template <class... Handlers>
struct Overloaded : Handlers... {
    using Handlers::operator()...;
};

}  // namespace tarn::agent
