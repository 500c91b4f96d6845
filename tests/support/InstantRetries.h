#pragma once
// While one of these lives, FFmpeg's retried opens of a missing file (the
// decoder's and the metadata reader's) do not sleep; the waits they asked for
// are recorded instead (microseconds, in order). Tests that open missing
// files through FFmpeg use it so that the suite does not sleep 4 to 16 s per
// file.

#include <QString>
#include <cstdint>
#include <functional>
#include <vector>

class InstantRetries
{
public:
    InstantRetries();
    ~InstantRetries();
    InstantRetries(const InstantRetries&) = delete;
    InstantRetries& operator=(const InstantRetries&) = delete;

    const std::vector<uint32_t>& waits() const;
    // Runs action during the given wait (1 = the first), as if the world
    // changed while the decoder slept.
    void duringWait(size_t wait, std::function<void()> action);
};
