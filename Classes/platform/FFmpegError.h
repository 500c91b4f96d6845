#pragma once
// The text of an FFmpeg error code, as the error log shows it after a path
// ("<path>: No such file or directory").
//
// Stateless; any thread; never fails.

#include <QString>

namespace FFmpegError {

// FFmpeg's own text for the code; the system's text for the negated code
// when FFmpeg has none.
QString text(int code);

} // namespace FFmpegError
