#pragma once

#include "Platform/Export.h"
#include "Song/Song.h"

namespace TARN_PUBLIC tarn {

/// Gives all entries of a storage new identifiers where two of them share one or the storage would give an
/// identifier out again, as in a damaged document: edits name entries by their identifiers. Nothing else
/// changes, and a sound document not at all.
void giveDistinctIdentifiers(Song& document);

} // namespace tarn
