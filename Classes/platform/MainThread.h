#pragma once
// Running a call on the main thread and waiting for it. The controller keeps
// every change to the queue and all run bookkeeping on the main thread;
// workers hop there through runOnMainThreadAndWait.

#include <functional>

namespace MainThread {

// True on the thread of the QCoreApplication, and on any thread when no
// application object exists (command-line tools and tests without an event
// loop then run calls directly).
bool isMainThread();

// Runs fn on the main thread's event loop while the caller blocks; calls fn
// directly when already on the main thread. The main thread must be running
// its event loop (or be the caller), or this waits forever. Exceptions thrown
// by fn are carried back and rethrown in the caller.
void runAndWait(const std::function<void()>& fn);

// Queues fn to run on the main thread's event loop and returns at once.
void post(std::function<void()> fn);

} // namespace MainThread
