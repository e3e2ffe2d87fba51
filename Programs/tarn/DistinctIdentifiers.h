#pragma once

#include "Song/Song.h"

namespace tarn::program {

/// Gives all entries of a storage new identifiers where two of them share one or the storage would give an
/// identifier out again, as in a damaged document: edits name entries by their identifiers. Nothing else
/// changes, and a sound document not at all.
void giveDistinctIdentifiers(Song& document);

} // namespace tarn::program
