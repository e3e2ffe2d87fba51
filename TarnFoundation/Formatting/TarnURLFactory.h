#pragma once

#include "Platform/Export.h"

#include <string>
#include <string_view>

/// The addresses of the product's pages, below a base address that the application sets.
namespace TARN_PUBLIC tarn {

class TarnURLFactory {
public:
    /// `baseAddress` is a scheme, a host and perhaps a path ("https://example.org/tarn"), already
    /// percent-encoded; a slash at its end makes no difference. One without scheme or host, or with a query
    /// or fragment, aborts.
    explicit TarnURLFactory(std::string baseAddress);

    /// The help page of a topic, and a section of it unless `section` is empty:
    /// "<base>/help/<topic>#<section>". Any text will do; it is one part of the path, slashes included.
    [[nodiscard]] std::string helpURL(std::string_view topic, std::string_view section = {}) const;
    /// The feed that tells of updates for an application of this version:
    /// "<base>/updates.xml?version=<version>".
    [[nodiscard]] std::string updateFeedURL(std::string_view version) const;

private:
    std::string mBaseAddress; ///< without a slash at its end
};

} // namespace tarn
