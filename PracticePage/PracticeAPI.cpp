#include "PracticePage/PracticeAPI.h"

#include "PracticePage/PageAnswers.h"
#include "PracticePage/PracticeCall.h"
#include "PracticePage/RequestValues.h"
#include "Song/Edits/Edits.h"
#include "Song/SongError.h"
#include "Song/SongHistory.h"
#include "Song/SongPositions.h"

#include <algorithm>

namespace tarn {

using Clock = std::chrono::steady_clock;

const std::vector<PracticeAPI::Route>& PracticeAPI::routes() {
    using API = PracticeAPI;
    static const std::vector<Route> all{
        {"GET", "/api/song", Right::practise, &API::song},
        {"GET", "/api/rows", Right::practise, &API::rows},
        {"GET", "/api/waveform", Right::practise, &API::waveform},
        {"GET", "/api/spectrogram", Right::practise, &API::spectrogram},
        {"POST", "/api/streams", Right::practise, &API::newStream},
        {"GET", "/api/streams/*/blocks/*", Right::practise, &API::streamBlock},
        {"DELETE", "/api/streams/*", Right::practise, &API::endStream},
        {"GET", "/api/countin", Right::practise, &API::countIn},
        {"GET", "/api/chord", Right::practise, &API::chord},
        {"PUT", "/api/practice", Right::practise, &API::setPractice},
        {"GET", "/api/events", Right::practise, &API::eventStream},
        {"POST", "/api/bye", Right::practise, &API::goodbye},
        {"POST", "/api/edit", Right::edit, &API::edit},
        {"POST", "/api/undo", Right::edit, &API::undo},
        {"POST", "/api/redo", Right::edit, &API::redo},
        {"POST", "/api/stop", Right::edit, &API::stop},
        {"POST", "/api/analyze", Right::edit, &API::analyze},
        {"POST", "/api/sound", Right::own, &API::agreeToSound},
        {"GET", "/api/recent", Right::own, &API::recent},
        {"POST", "/api/open", Right::own, &API::openRecent},
    };
    return all;
}

PracticeAPI::PracticeAPI(Options options)
    : mOptions(std::move(options)), mAccess(mOptions.access), mLastRequest(Clock::now().time_since_epoch()) {}

PracticeAPI::~PracticeAPI() = default;

void PracticeAPI::open(const PracticeSession::Options& song) {
    auto opened = std::make_shared<PracticeSession>(song, mEvents);
    mStreams.clear();
    const std::lock_guard guard(mMutex);
    mSession.swap(opened);
}

std::shared_ptr<PracticeSession> PracticeAPI::session() const {
    const std::lock_guard guard(mMutex);
    return mSession;
}

Clock::duration PracticeAPI::idleTime() const {
    return mEvents.pageCount() > 0 ? Clock::duration::zero()
                                   : Clock::now().time_since_epoch() - mLastRequest.load();
}

HTTPResponse PracticeAPI::answer(const HTTPRequest& request) {
    HTTPResponse response;
    try {
        if (!mAccess.isAddressedHere(request))
            response = errorAnswer(403, "This address is not for other sites or names.");
        else if (!request.path.starts_with("/api/"))
            response = request.method == "GET" ? pageAnswer(request.path)
                                               : errorAnswer(405, "Pages can only be read.");
        else if (request.path == "/api/session" && request.method == "POST")
            response = beginSession(request);
        else
            response = admitted(request);
    } catch (const RequestRefused& refused) {
        response = errorAnswer(refused.status(), refused.what());
    } catch (const EditSyntaxError& error) {
        response = errorAnswer(400, error.what());
    } catch (const OutdatedEdit& error) {
        response = errorAnswer(409, error.what());
    } catch (const EditRefused& error) {
        response = errorAnswer(409, error.what());
    } catch (const SongHistoryError& error) {
        response = errorAnswer(409, error.what());
    } catch (const SongError& error) {
        response = errorAnswer(409, error.what());
    }
    addSafetyHeaders(response);
    return response;
}

HTTPResponse PracticeAPI::admitted(const HTTPRequest& request) {
    const auto secret = request.header("x-tarn-session");
    const auto admission = secret ? mAccess.admission(*secret) : std::nullopt;
    if (!admission)
        return errorAnswer(403, "This page has no session; open the song again.");
    mLastRequest = Clock::now().time_since_epoch();
    mWasVisited = true;
    for (const Route& route : routes()) {
        auto places = placesIn(request.path, route.path);
        if (!places || request.method != route.method)
            continue;
        if ((route.right == Right::edit && !admission->mayEdit) ||
            (route.right == Right::own && admission->isFromNetwork))
            return errorAnswer(403, "Other devices may practise only.");
        return (this->*route.answer)({request, *admission, session(), *std::move(places)});
    }
    return errorAnswer(404, "There is nothing under this address.");
}

HTTPResponse PracticeAPI::beginSession(const HTTPRequest& request) {
    const auto body = objectIn(request.body);
    const auto token = textMember(body, "token");
    const auto code = textMember(body, "code");
    // A token was handed over on this machine and works nowhere else.
    const auto begun = token && request.isFromThisMachine ? mAccess.beginWithToken(*token)
                       : code                             ? mAccess.beginWithCode(*code)
                                                          : std::nullopt;
    if (!begun)
        return errorAnswer(403, code && !mAccess.code()
                                    ? "The offer has ended; start it again on the computer."
                                    : "This is not right, or was used already.");
    mLastRequest = Clock::now().time_since_epoch();
    mWasVisited = true;
    return jsonAnswer({{"session", begun->session},
                       {"language", mOptions.language ? json(*mOptions.language) : json(nullptr)},
                       {"lan", begun->admission.isFromNetwork},
                       {"canEdit", begun->admission.mayEdit}});
}

HTTPResponse PracticeAPI::eventStream(const Call& /*call*/) {
    HTTPResponse response{200, "text/event-stream"};
    response.events = mEvents.newStream();
    if (!response.events)
        return errorAnswer(429, "Too many pages are open.");
    response.events->pushKeepAlive(); // so that the page sees at once that it is connected
    return response;
}

HTTPResponse PracticeAPI::goodbye(const Call& /*call*/) {
    return jsonAnswer(json::object());
}

HTTPResponse PracticeAPI::recent(const Call& /*call*/) {
    auto songs = json::array();
    auto recent = mOptions.recentSongs ? mOptions.recentSongs() : std::vector<RecentSong>();
    for (const RecentSong& song : recent)
        songs.push_back({{"title", song.title},
                         {"artist", song.artist},
                         {"fileName", song.document.filename().string()},
                         {"folder", song.document.parent_path().string()}});
    {
        const std::lock_guard guard(mMutex);
        mListed = std::move(recent);
    }
    return jsonAnswer({{"songs", std::move(songs)}});
}

HTTPResponse PracticeAPI::openRecent(const Call& call) {
    const auto index = wholeMember(objectIn(call.request.body), "index", 0, 1000);
    std::filesystem::path document;
    {
        const std::lock_guard guard(mMutex);
        if (index >= static_cast<std::int64_t>(mListed.size()))
            return errorAnswer(404, "The list has fewer songs.");
        document = mListed[static_cast<std::size_t>(index)].document;
    }
    open({document});
    if (mOptions.rememberSong)
        mOptions.rememberSong(document);
    return jsonAnswer(json::object());
}

} // namespace tarn
