#include "AnalysisEngine/RecordingTags.h"

#include "Platform/PlainText.h"

#include <taglib/fileref.h>
#include <taglib/tag.h>

namespace tarn {

namespace {

std::string shown(const TagLib::String& text) {
    constexpr unsigned kLongest = 500; // characters
    auto line = onOneLine(text.substr(0, kLongest).to8Bit(true));
    while (!line.empty() && line.back() == ' ')
        line.pop_back();
    line.erase(0, line.find_first_not_of(' '));
    return line;
}

} // namespace

RecordingTags tagsOf(const std::filesystem::path& file) {
    constexpr bool kReadAudioProperties = false;
    const TagLib::FileRef reference(file.c_str(), kReadAudioProperties);
    if (reference.isNull() || !reference.tag())
        return {};
    return {shown(reference.tag()->title()), shown(reference.tag()->artist())};
}

} // namespace tarn
