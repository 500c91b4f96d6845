#include "InstantRetries.h"

#include "FFmpegInput.h"

namespace {

// The decoder's seam takes a plain function, so the state lives here: one InstantRetries at a time.
std::vector<uint32_t> g_waits;
size_t g_actionWait = 0;
std::function<void()> g_action;

void recordWait(uint32_t microseconds)
{
    g_waits.push_back(microseconds);
    if (g_action && g_waits.size() == g_actionWait)
        g_action();
}

} // namespace

InstantRetries::InstantRetries()
{
    g_waits.clear();
    g_action = nullptr;
    FFmpegInput::setRetrySleepForTesting(&recordWait);
}

InstantRetries::~InstantRetries()
{
    FFmpegInput::setRetrySleepForTesting(nullptr);
    g_action = nullptr;
}

const std::vector<uint32_t>& InstantRetries::waits() const
{
    return g_waits;
}

void InstantRetries::duringWait(size_t wait, std::function<void()> action)
{
    g_actionWait = wait;
    g_action = std::move(action);
}
