#include "Programs/tarn/OutputFile.h"

#include "Platform/FileManager.h"
#include "Platform/PlainText.h"
#include "Programs/tarn/Failure.h"

#include <cerrno>
#include <unistd.h>

namespace tarn::program {
std::string endingOf(const std::filesystem::path& file) {
    return lowerCased(file.extension().string());
}

bool isSameFile(const std::filesystem::path& a, const std::filesystem::path& b) {
    std::error_code error;
    if (std::filesystem::equivalent(a, b, error)) // also hard links
        return true;
    const auto canonical = [&](const std::filesystem::path& file) {
        return std::filesystem::weakly_canonical(std::filesystem::absolute(file, error), error);
    };
    return canonical(a) == canonical(b);
}

void refuseOutputOverInputs(const std::filesystem::path& output,
                            std::initializer_list<std::filesystem::path> inputs) {
    for (const std::filesystem::path& input : inputs) {
        if (isSameFile(output, input))
            throw Failure(ExitStatus::usage,
                          output.string() + ": this is the song or its document; name another file");
    }
}

void checkWritable(const std::filesystem::path& file) {
    Error error;
    if (FileManager::canWriteAtomically(file, &error))
        return;
    const auto folder = file.has_parent_path() ? file.parent_path() : std::filesystem::path(".");
    std::error_code unknown;
    std::string reason;
    if (error.code == EISDIR)
        reason = "this is a folder; name a file in it";
    else if (error.code == ELOOP)
        reason = "its symbolic links form a circle; name another file";
    else if (!std::filesystem::is_directory(folder, unknown))
        reason = "there is no folder " + folder.string() + "; make it, or name a file elsewhere";
    else if (std::filesystem::exists(file, unknown) && access(file.c_str(), W_OK) != 0)
        reason = "the file is write-protected; change its permissions, or name another file";
    else if (error.code == EACCES || error.code == EROFS)
        reason = "the folder cannot be written to; check its permissions, or name a file elsewhere";
    else
        throw Failure(ExitStatus::unwritableOutput, error.localizedDescription() + "; name another file");
    throw Failure(ExitStatus::unwritableOutput, file.string() + ": " + reason);
}

} // namespace tarn::program
