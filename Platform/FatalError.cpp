#include "Platform/FatalError.h"

#include "Platform/Log.h"

#include <cstdio>
#include <cstdlib>

namespace tarn {

void fatalError(std::string_view message) {
    // Standard error comes first and without memory of its own: it must work when the heap or the log does
    // not.
    std::fprintf(stderr, "Fatal error: %.*s\n", static_cast<int>(message.size()), message.data());
    std::fflush(stderr);
    deliverFatalError(message);
    std::abort();
}

} // namespace tarn
