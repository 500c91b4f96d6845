#include "FFmpegInput.h"

#include <QDateTime>
#include <QFile>
#include <QRandomGenerator>
#include <atomic>
#include <chrono>
#include <thread>

namespace {

constexpr int kOpenAttempts = 4;

void sleepMicroseconds(uint32_t microseconds)
{
    std::this_thread::sleep_for(std::chrono::microseconds(microseconds));
}

std::atomic<FFmpegInput::SleepFunction> g_retrySleep{&sleepMicroseconds};

} // namespace

AVFormatContextPtr FFmpegInput::openWithRetries(const QString& path, bool waitAfterLastAttempt, int* error)
{
    const QByteArray fileName = QFile::encodeName(path);
    QRandomGenerator random{quint32(QDateTime::currentMSecsSinceEpoch())};
    for (int attempt = 1; attempt <= kOpenAttempts; ++attempt) {
        AVFormatContext* context = nullptr;
        *error = ff::avformat_open_input(&context, fileName.constData(), nullptr, nullptr);
        if (*error >= 0) {
            return AVFormatContextPtr(context);
        }
        if (*error != AVERROR(ENOENT)) {
            break;
        }
        if (attempt < kOpenAttempts || waitAfterLastAttempt) {
            g_retrySleep.load()(uint32_t((random.generate() % 30000) * 100 + 1000000));
        }
    }
    return nullptr;
}

void FFmpegInput::setRetrySleepForTesting(SleepFunction sleep)
{
    g_retrySleep = sleep ? sleep : &sleepMicroseconds;
}
