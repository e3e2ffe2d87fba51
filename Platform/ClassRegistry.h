#pragma once

#include "Platform/Export.h"

#include <string_view>

namespace TARN_PUBLIC tarn {

struct ClassDescription;

/// The class that registerClass made known under this name; null when there is none. Thread-safe.
[[nodiscard]] const ClassDescription* registeredClass(std::string_view name);

} // namespace tarn
