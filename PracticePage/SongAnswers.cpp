// What the API answers about the song and its changes.
#include "PracticePage/DisplayBytes.h"
#include "PracticePage/PageAnswers.h"
#include "PracticePage/PracticeCall.h"
#include "PracticePage/PracticeSettings.h"
#include "PracticePage/RequestValues.h"
#include "PracticePage/SongJSON.h"

#include "Platform/PathConversion.h"

namespace tarn {
namespace {

Range<std::int64_t> framesIn(const HTTPRequest& request) {
    const auto from = wholeArgument(request, "from", 0, kFarthestFrame);
    return {from, wholeArgument(request, "to", from + 1, kFarthestFrame)};
}

/// What is asked for again later.
HTTPResponse notYet() {
    HTTPResponse response{202, "application/octet-stream"};
    response.headers.emplace_back("X-Tarn-Complete", "0");
    return response;
}

json editedJSON(const PracticeSession::Edited& edited) {
    return {{"revision", edited.revision}, {"message", edited.message}};
}

std::optional<std::uint64_t> seenIn(const json& body) {
    if (!body.contains("seen") || body["seen"].is_null())
        return std::nullopt;
    return static_cast<std::uint64_t>(wholeMember(body, "seen", 0, kFarthestFrame));
}

json bodyOf(const HTTPRequest& request) {
    return request.body.empty() ? json::object() : objectIn(request.body);
}

} // namespace

HTTPResponse PracticeAPI::song(const Call& call) {
    auto& session = call.song();
    SongSurroundings surroundings;
    surroundings.mayEdit = call.admission.mayEdit;
    surroundings.soundReason = session.recording().reason();
    if (!call.admission.isFromNetwork) {
        surroundings.soundQuestion = session.recording().question();
        if (mOptions.documentFolder)
            surroundings.documentFolder = textOfPath(*mOptions.documentFolder);
    }
    return {200, "application/json", songJSON(session.view(), surroundings)};
}

HTTPResponse PracticeAPI::rows(const Call& call) {
    const auto& request = call.request;
    constexpr std::int64_t kMostRows = 20'000;
    RowsRequest wanted;
    wanted.width = numberArgument(request, "width", 40, 20'000);
    wanted.pixelsPerSecond = numberArgument(request, "scale", 0.5, 5'000);
    wanted.asTriads = flagArgument(request, "simple");
    wanted.firstRow = wholeArgument(request, "from", 0, kMostRows);
    wanted.count = wholeArgument(request, "count", 0, 500);
    wanted.wantsStarts = flagArgument(request, "starts");
    return {200, "application/json", mRows.rowsJSON(call.song().view(), wanted)};
}

HTTPResponse PracticeAPI::waveform(const Call& call) {
    const auto frames = framesIn(call.request);
    const auto points = wholeArgument(call.request, "points", 1, 100'000);
    const auto waveform = call.song().waveform();
    if (!waveform)
        return notYet();
    HTTPResponse response{200, "application/octet-stream",
                          waveformBytes(*waveform, frames, static_cast<std::size_t>(points))};
    response.headers.emplace_back("X-Tarn-Complete", waveform->isProcessingComplete() ? "1" : "0");
    return response;
}

HTTPResponse PracticeAPI::spectrogram(const Call& call) {
    const auto frames = framesIn(call.request);
    const auto width = wholeArgument(call.request, "width", 1, 8'000);
    const auto height = wholeArgument(call.request, "height", 1, 1'000);
    const auto spectrogram = call.song().spectrogram();
    if (!spectrogram)
        return notYet();
    HTTPResponse response{200, "application/octet-stream",
                          spectrogramBytes(*spectrogram, frames, static_cast<std::size_t>(width),
                                           static_cast<std::size_t>(height))};
    response.headers.emplace_back("X-Tarn-Complete", spectrogram->isComplete() ? "1" : "0");
    return response;
}

HTTPResponse PracticeAPI::setPractice(const Call& call) {
    auto& session = call.song();
    const auto settings = newPracticeSettings(*session.view().song, call.request.body);
    return jsonAnswer({{"revision", session.setPractice(settings)}});
}

HTTPResponse PracticeAPI::edit(const Call& call) {
    const auto body = objectIn(call.request.body);
    const auto sentence = textMember(body, "edit");
    if (!sentence)
        throw RequestRefused(400, "The edit is missing.");
    return jsonAnswer(editedJSON(call.song().edit(*sentence, seenIn(body))));
}

HTTPResponse PracticeAPI::undo(const Call& call) {
    return jsonAnswer(editedJSON(call.song().undo(seenIn(bodyOf(call.request)))));
}

HTTPResponse PracticeAPI::redo(const Call& call) {
    return jsonAnswer(editedJSON(call.song().redo(seenIn(bodyOf(call.request)))));
}

HTTPResponse PracticeAPI::agreeToSound(const Call& call) {
    call.song().agreeToRecording();
    return jsonAnswer(json::object());
}

HTTPResponse PracticeAPI::stop(const Call& call) {
    call.song().stopAnalysis();
    return jsonAnswer(json::object());
}

HTTPResponse PracticeAPI::analyze(const Call& call) {
    call.song().analyze();
    return jsonAnswer(json::object());
}

} // namespace tarn
