#include "TarnFoundation/UserEntries/KELPChangeset.h"

#include <sstream>

namespace tarn {

std::string describeChangeset(const void* changeset, const IndexSet& added, const IndexSet& removed,
                              const IndexSet& changed) {
    std::ostringstream text;
    text << "<KELPChangeset: " << changeset << "> [\n\tadded: " << added.description()
         << "\n\tremoved: " << removed.description() << "\n\tchanged: " << changed.description() << "\n]";
    return text.str();
}

} // namespace tarn
