#include "Platform/Error.h"

namespace tarn {

std::string Error::localizedDescription() const {
    if (const auto found = userInfo.find(kLocalizedDescriptionKey); found != userInfo.end()) {
        if (const auto* text = std::any_cast<std::string>(&found->second))
            return *text;
    }
    return domain + " error " + std::to_string(code);
}

} // namespace tarn
