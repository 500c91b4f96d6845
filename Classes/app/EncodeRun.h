#pragma once
// The run: the checks before it starts, the launch of up to "numProcesses"
// queued files (the controller starts each file itself; there is no shared
// operation queue), what happens as each file finishes (counting, keeping or
// removing its row, starting the next), the end with its report, and
// cancellation.
//
// Rows that stay in the queue after finishing are reset and the launch then
// goes on from currentFileInQueue, with a countdown guard that stops it once
// no more than runningOperations rows could be left; rows that are removed
// let the launch scan the queue from the top. Both rules have always been so.
//
// A row runs at most once per run: rows that finished are never started
// again before the next run, even when kept and reset.
//
// A row whose source was found damaged stays in the queue, marked, whatever
// the preferences say about finished rows, so that the user sees which file
// it was; the launch goes on by the preferences' rule all the same. The end
// of the run alerts when files failed or were written from damaged sources.
//
// Every running row holds one slot of EncoderSlots, whose capacity is
// "numProcesses"; a long file's encode may borrow the idle ones to split
// itself. A row starts only when a slot is free. A finished row's slot is
// handed straight to the next row, never set free in between, so that an
// encode starting meanwhile cannot borrow a slot a waiting row is about to
// take; when borrowed slots come back, rows that waited for them start.
//
// With ReplayGain album figures on, each finished row's outputs join their
// album (AlbumLoudness), and an album is written once no row still to run
// belongs to it, or at the latest when the run ends.
//
// Threads: main thread only; every finish notice arrives there.

#include "AlbumLoudness.h"

#include <QSet>
#include <QString>

class ApplicationController;
class FileEncodeOperation;

class EncodeRun
{
public:
    static const char* const kFailedToEncodeMessage; // "Failed To Encode %ld of %ld Files."
    // "%1 of %2 files written from a damaged source."
    static const char* const kDamagedSourcesMessage;

    explicit EncodeRun(ApplicationController& controller);
    ~EncodeRun();

    // A normal (EncodeAction) or metadata-only run, unless one is active.
    void startRun(int encoderAction);
    void encode();
    void cancel();
    void operationDidFinish(FileEncodeOperation* operation);
    // Starts queued rows from the top until "numProcesses" run.
    void startWaitingRows();

private:
    // Whether a finished row stays in the queue after this run.
    bool keepsRow(const FileEncodeOperation& operation) const;
    void runDidEnd(bool keepRows);
    // Neither running nor finished in this run (a kept row looks unstarted
    // again once it is reset).
    bool startable(const FileEncodeOperation& operation) const;
    static qint64 numProcesses();
    // A slot for a row about to start: one this run already holds, or a
    // free one; false when none is free.
    bool takeSlotForRow();
    // Gives back the slots held for rows that did not start.
    void giveBackHeldSlots();
    // The albums of the rows still to run in this run; std::nullopt when
    // one of them has not had its tags read yet.
    std::optional<QSet<QString>> pendingAlbums() const;

    ApplicationController& m_controller;
    // Rows that finished in the current run, whether kept or not; cleared
    // when a run starts. Never dereferenced.
    QSet<const FileEncodeOperation*> m_finishedThisRun;
    AlbumLoudness m_albums;
    // Slots taken for rows not started yet (see takeSlotForRow()).
    int m_heldSlots = 0;
};
