#pragma once
// What an encode operation needs from the application around it: the
// tagging thread on which every tag write runs, and the list of output paths
// created during the current run (an existing file in it may be replaced
// without asking).
//
// The application controller implements it; BasicEncodeDelegate is a
// self-contained implementation for programs without a controller. The
// delegate must outlive every operation that refers to it.

#include <QStringList>

class TaggingThread;

class EncodeOperationDelegate
{
public:
    virtual ~EncodeOperationDelegate() = default;

    // Never null. Any thread.
    virtual TaggingThread* taggingThread() = 0;
    // The paths created in this run. Main thread only: operations hop there
    // (MainThread::runAndWait) to read or add.
    virtual QStringList& createdOutputPaths() = 0;
    // An encoded file was put in place at path: the path of the file as
    // written, which differs from the planned output path when that name
    // was taken meanwhile. Main thread. Nothing to do by default.
    virtual void outputWasWritten(const QString& path) { (void)path; }
};
