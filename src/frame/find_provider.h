// Looking up what the host brought.
#pragma once

#include <cstdint>

namespace Fenlet {

/// The provider with this number, which is not negative; null when the host brought none.
template <class Provider>
Provider* findProvider(Provider* const* providers, std::int32_t count, std::int32_t number) {
    return providers != nullptr && number < count ? providers[number] : nullptr;
}

} // namespace Fenlet
