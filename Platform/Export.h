#pragma once

/// Headers open their namespace as `namespace TARN_PUBLIC tarn {`, which makes what they declare visible
/// outside of its shared library. Whatever only sources declare stays inside.
#if defined(__GNUC__) && !defined(_WIN32)
#define TARN_PUBLIC [[gnu::visibility("default")]]
#else
#define TARN_PUBLIC
#endif
