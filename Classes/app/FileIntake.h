#pragma once
// The intake of paths into the queue (files opened, dropped or given on the
// command line): accepted extensions, a deep walk of folders without hidden
// files, album images split by their cue sheets (AlbumImages), and the
// duplicate rule.
//
// Duplicates are refused only against the queue as it was when the parse
// began: a path reached twice within one parse (listed twice, or dropped
// together with its folder) is queued twice. That has always been so.
//
// parse() runs on a background thread and hops to the main thread for every
// change of the queue; nothing is added while a run or another parse is
// active (a beep instead). The controller's cancelled flag stops it after
// the current item; what was queued stays.

#include <QString>
#include <QStringList>

class ApplicationController;

class FileIntake
{
public:
    explicit FileIntake(ApplicationController& controller) : m_controller(controller) {}

    // The 70 extensions (lower case) of files the queue takes, in order; the
    // last, "cue", queues the tracks of the album image a sheet describes.
    static QStringList acceptedExtensions();
    // Whether path's extension, lower-cased, is accepted.
    static bool isAccepted(const QString& path);

    void parse(const QStringList& paths);

private:
    ApplicationController& m_controller;
};
