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
    // Seeded from the clock, so that operations waiting for the same folder
    // do not all look again at the same moment.
    QRandomGenerator random(quint32(QDateTime::currentMSecsSinceEpoch()));
    for (int attempt = 1;; ++attempt) {
        AVFormatContext* context = nullptr;
        *error = avformat_open_input(&context, fileName.constData(), nullptr, nullptr);
        if (*error >= 0) {
            return AVFormatContextPtr(context);
        }
        if (*error != AVERROR(ENOENT) || (attempt == kOpenAttempts && !waitAfterLastAttempt)) {
            return nullptr;
        }
        g_retrySleep.load()(uint32_t((random.generate() % 30000) * 100 + 1000000));
        if (attempt == kOpenAttempts) {
            return nullptr;
        }
    }
}

void FFmpegInput::setRetrySleepForTesting(SleepFunction sleep)
{
    g_retrySleep = sleep ? sleep : &sleepMicroseconds;
}
