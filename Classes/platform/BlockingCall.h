#pragma once
// Handing a call to another thread's event loop and waiting for it: the one
// way MainThread and the TaggingThread run work for a blocked sender.
//
// Threads: call from any thread but receiver's own; receiver's thread must be
// running its event loop, or the caller waits forever.
// Failures: an exception thrown by fn cannot cross the event loop; it is
// caught there and rethrown in the caller. When the receiver is destroyed
// (or its thread ends) before the call ran, fn is not run and the caller
// returns.

#include <functional>

class QObject;

namespace BlockingCall {

// Runs fn on the thread receiver lives on and returns when it has run.
void runOn(QObject* receiver, const std::function<void()>& fn);

} // namespace BlockingCall
