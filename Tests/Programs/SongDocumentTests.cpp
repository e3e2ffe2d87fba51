#include "Programs/tarn/Failure.h"
#include "Tests/Platform/TemporaryFolder.h"
#include "Tests/Programs/SampleSong.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>

namespace tarn::program {

TEST(SongDocumentTests, WhatTheDocumentsOperationsWouldStopForIsNotOpened) {
    constexpr auto kFar = std::numeric_limits<std::int64_t>::max();
    const auto noteWith = [](std::int64_t location, std::uint64_t length, std::int32_t octave) {
        return [=](SongDocument& song) {
            const auto note = song.notes->newNoteEntry();
            note->setLocation(location);
            note->setLength(length);
            note->setPitch(KELPPitch::pitchWithNote(KELPNote(), octave));
            song.notes->addNoteEntry(note);
        };
    };
    const std::tuple<const char*, std::function<void(SongDocument&)>, bool> cases[] = {
        {"an ordinary note", noteWith(1000, 1000, 4), true},
        {"a note far out", noteWith(kFar, 1, 4), false},
        {"an endless note", noteWith(0, std::numeric_limits<std::uint64_t>::max(), 4), false},
        {"a pitch beyond hearing", noteWith(0, 1, std::numeric_limits<std::int32_t>::max()), false},
        {"a lowest pitch", noteWith(0, 1, std::numeric_limits<std::int32_t>::min()), false},
        {"a count-in", [](SongDocument& song) { test::addBeats(song, -11025, 1, 1, 2, 1); }, true},
        {"a beat far before",
         [](SongDocument& song) {
             song.notes->setTimeSignature(6, 8); // a grid of quarters would drop it
             test::addBeats(song, std::numeric_limits<std::int64_t>::min(), 1, 1, 2, 1);
         },
         false},
        {"a section far out", [](SongDocument& song) { (void)song.structure->createNewSection(kFar); },
         false},
        {"a metre of nothing", [](SongDocument& song) { song.notes->setTimeSignature(4, 0); }, false},
        {"a sample rate of nothing", [](SongDocument& song) { song.recording.sampleRate = 1e-300; }, false},
        {"no number as sample rate",
         [](SongDocument& song) { song.recording.sampleRate = std::numeric_limits<double>::quiet_NaN(); },
         false},
        {"a recording of a day", [](SongDocument& song) { song.recording.frameCount = 86400 * 44100L; },
         true},
        {"a longer one", [](SongDocument& song) { song.recording.frameCount = 86400 * 44100L + 1; }, false}};
    const TemporaryFolder folder;
    const auto file = folder.path() / "song.tarn";
    for (const auto& [what, damage, opens] : cases) {
        const auto song = test::sampleSong();
        damage(*song);
        SongDocument::save(song, file);
        auto status = ExitStatus::success;
        try {
            (void)SongDocument::open(file);
        } catch (const Failure& failure) {
            status = failure.status();
        }
        EXPECT_EQ(status, opens ? ExitStatus::success : ExitStatus::undecodableInput) << what;
    }
}

} // namespace tarn::program
