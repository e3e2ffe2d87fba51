#pragma once

#include "Song/Song.h"

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace tarn::program {

struct ChangeOptions {
    bool isDryRun = false; ///< nothing is written, and a further line says so
    bool isSalvaged =
        false; ///< what can be read of a damaged document is changed; the file is kept beside it
    std::string message = "Changed"; ///< of what becomes a step of the history and is not one yet
};

/// Changes the document in a file in a turn of its own and prints what the change says of itself, a line
/// each. Throws SongError, and what `change` throws; the file is then as it was.
void changeDocument(const std::filesystem::path& file, const ChangeOptions& options,
                    const std::function<std::vector<std::string>(Song&)>& change);

} // namespace tarn::program
