#pragma once

#include "Platform/Export.h"

namespace TARN_PUBLIC tarn {

/// Asks the processor to load what lies at the address, which need not be valid, before it is used. Does
/// nothing where the compiler offers no way to ask for it.
inline void prefetch([[maybe_unused]] const void* address) {
#ifdef __GNUC__
    __builtin_prefetch(address);
#endif
}

} // namespace tarn
