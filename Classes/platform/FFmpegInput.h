#pragma once
// Opening a file with FFmpeg, retried while it does not exist. A file that is
// still being copied or downloaded into place may appear a moment later, so
// a "no such file" failure waits 1 to 4 seconds (at random) and tries again,
// up to four attempts in all.
//
// Any thread; the open may block up to about 16 s on a missing file.

#include "FFmpegPointers.h"

#include <QString>
#include <cstdint>

namespace FFmpegInput {

// Opens path. Gives the opened context, or null with *error set to FFmpeg's
// code of the last failure (AVERROR(ENOENT), -2, when the file never
// appeared). With waitAfterLastAttempt the fourth failure waits as well
// before giving up, as the decoder has always done.
AVFormatContextPtr openWithRetries(const QString& path, bool waitAfterLastAttempt, int* error);

// How the opens wait between attempts; tests substitute a function that
// records the wait instead of sleeping. Null restores the real sleep.
using SleepFunction = void (*)(uint32_t microseconds);
void setRetrySleepForTesting(SleepFunction sleep);

} // namespace FFmpegInput
