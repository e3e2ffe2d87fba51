#pragma once

#include "Platform/Error.h"
#include "Platform/Export.h"
#include "Platform/KeyedArchive.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <utility>

/// What FileManager is made of: the parts that differ between systems, and what those share. Codes are
/// errno's, 0 for none. Not for applications.
namespace TARN_PUBLIC tarn {
namespace FileManager::detail {

/// Reports in `error` (when given), and returns false.
bool fail(Error* error, int code, const std::filesystem::path& file, const std::string& reason);
bool fail(Error* error, int code, const std::filesystem::path& file); ///< with the system's words for it

/// Whether the path reaches the file that it names, and no other: it is read to its end, and the system takes
/// each name as it is.
bool isUsable(const std::filesystem::path& file, Error* error);

/// The name that a process gives its temporary file of that number.
std::filesystem::path temporaryName(int process, unsigned number);

/// Reads into the block: how many bytes, and the code. 0 bytes are the end.
using BlockReader = std::function<std::pair<std::size_t, int>(std::span<std::byte>)>;
/// Reads to the end. The size is a hint: a file may grow meanwhile, and devices have none. EFBIG when there
/// is more than `largest`.
int readAll(const BlockReader& read, std::uintmax_t sizeHint, std::uintmax_t largest, Data& bytes);

/// Writes the whole block.
using BlockWriter = std::function<int(std::span<const std::byte>)>;
/// Writes a file's content, block by block, and stops at the first failure.
using Producer = std::function<int(const BlockWriter&)>;

// Of the system:
std::filesystem::path systemCachesDirectory();
/// The code and the reason why the system takes a name in the path for another; nothing when it does not.
std::optional<std::pair<int, std::string>> refusal(const std::filesystem::path& file);
/// Whether nobody writes to the temporary file of that process any more.
bool isAbandoned(const std::filesystem::path& file, int process);
bool writeInPlace(const Producer& produce, const std::filesystem::path& file, Error* error);
bool replaceAtomically(const Producer& produce, const std::filesystem::path& file, Error* error);

} // namespace FileManager::detail
} // namespace tarn
