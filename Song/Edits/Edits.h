#pragma once

#include "Platform/Export.h"
#include "Song/Song.h"

#include <functional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

/// Edits as they are typed. An edit is a sentence that begins with a verb (`move-bar 5 to 1:05.2`); positions
/// are those of SongPositions.h. Everything that an edit does is an operation of the document's storages;
/// what such an operation would abort over is refused before it is called.
namespace TARN_PUBLIC tarn {

/// A sentence that is not an edit, with its correct form.
class EditSyntaxError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct Edit {
    std::string text; ///< as typed, for messages
    /// Performs the edit and returns what changed. Throws EditRefused; what was changed until then stays.
    std::function<std::string(Song&)> apply;
};

/// The edits of a command line. An argument that begins with a verb is a sentence or the beginning of one,
/// split at blanks unless they are quoted; any other argument is one word of the sentence before it. So an
/// edit can be one argument ('add-section "Verse 2" at 9:1') or its words (add-section "Verse 2" at 9:1).
/// Throws EditSyntaxError.
[[nodiscard]] std::vector<Edit> parseEdits(std::span<const std::string> arguments);

/// Performs the edits as one step of the song's history, with this message or else with the sentences, and
/// returns what each changed. When one is refused, the song is as before (the refusing edit is named in the
/// message of the EditRefused that is thrown).
std::vector<std::string> applyEdits(Song& song, std::span<const Edit> edits, const std::string& message = {});
/// The same with one sentence, "move-bar 5 to 1:05.2". Throws EditSyntaxError too.
std::vector<std::string> applyEdits(Song& song, std::string_view sentence);

struct EditForm {
    std::string form; ///< the verb and what follows it
    std::string_view example;
};
/// Every verb with what follows it, in the order of the documentation.
[[nodiscard]] std::vector<EditForm> editForms();

} // namespace tarn
