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

class FileEncodeOperationDelegate : public EncodeOperationDelegate
{
public:
    // The output formats, in order. Main thread.
    virtual QList<std::shared_ptr<EncoderSettings>> encoderSettings() = 0;
    // operation stopped to wait for the user's overwrite answer. Main thread;
    // the operation's own thread waits until this returns, so the answer
    // must not restart the operation from inside this call.
    virtual void waitingUserInputDidChange(EncodeOperation* operation) = 0;
};
