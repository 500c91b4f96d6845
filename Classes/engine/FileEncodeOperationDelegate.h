#pragma once
// What a file operation needs from the application around it, beyond what
// its encode operations need: the output formats to fan out over, and
// someone to ask the user when one of its encode operations waits for the
// overwrite answer. The application controller implements it; the delegate
// must outlive the operations that refer to it.

#include "EncodeOperationDelegate.h"

#include <QList>
#include <memory>

class EncodeOperation;
class EncoderSettings;
class FileEncodeOperation;
class QString;

class FileEncodeOperationDelegate : public EncodeOperationDelegate
{
public:
    // The output formats, in order. Main thread.
    virtual QList<std::shared_ptr<EncoderSettings>> encoderSettings() = 0;
    // operation stopped to wait for the user's overwrite answer. Main thread;
    // the operation's own thread waits until this returns, so the answer
    // must not restart the operation from inside this call.
    virtual void waitingUserInputDidChange(EncodeOperation* operation) = 0;
    // Whether a queued row other than row still has path as its source (the
    // same file queued twice), so that it must not go to the Trash yet.
    // Main thread. Without a queue to ask, none does.
    virtual bool otherRowReadsSource(const FileEncodeOperation* row, const QString& path)
    {
        (void)row;
        (void)path;
        return false;
    }
};
