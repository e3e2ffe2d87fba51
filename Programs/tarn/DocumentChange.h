#pragma once

#include "Song/Song.h"

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace tarn::program {

/// Changes the document in a file in a turn of its own and prints what the change says of itself, a line
/// each. With `isDryRun` nothing is written, and a further line says so. Throws SongError, and what `change`
/// throws; the file is then as it was.
void changeDocument(const std::filesystem::path& file, bool isDryRun,
                    const std::function<std::vector<std::string>(Song&)>& change);

} // namespace tarn::program
