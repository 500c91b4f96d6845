#include "FFmpegError.h"

#include "FFmpegLibrary.h"

#include <cstring>

namespace FFmpegError {

QString text(int code)
{
    char buffer[AV_ERROR_MAX_STRING_SIZE] = {};
    if (ff::av_strerror(code, buffer, sizeof buffer) < 0) {
        return QString::fromLocal8Bit(std::strerror(-code));
    }
    return QString::fromUtf8(buffer);
}

} // namespace FFmpegError
