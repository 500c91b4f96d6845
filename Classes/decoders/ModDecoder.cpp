#include "ModDecoder.h"

#include "ErrorLog.h"

#include <QFile>
#include <mutex>
#include <new>
#include <sys/stat.h>

namespace {

// libmodplug keeps its settings in globals that loading and rendering read.
std::mutex& moduleLock()
{
    static std::mutex lock;
    return lock;
}

} // namespace

void ModDecoder::ModuleUnloader::operator()(ModPlugFile* module) const
{
    std::lock_guard<std::mutex> locked(moduleLock());
    ModPlug_Unload(module);
}

int64_t ModDecoder::framesOfLength(int milliseconds)
{
    return int64_t(static_cast<long double>(milliseconds) / 1000.0L * kSampleRate);
}

bool ModDecoder::initWithFilename(const QString& path)
{
    if (!ZTDecoder::initWithFilename(path)) {
        return false;
    }
    {
        std::lock_guard<std::mutex> locked(moduleLock());
        ModPlug_GetSettings(&m_settings);
        m_settings.mFlags = MODPLUG_ENABLE_OVERSAMPLING;
        m_settings.mChannels = 2;
        m_settings.mBits = 16;
        m_settings.mFrequency = kSampleRate;
        m_settings.mResamplingMode = MODPLUG_RESAMPLE_FIR;
        m_settings.mLoopCount = 0;
        ModPlug_SetSettings(&m_settings);

        m_m.reset(new (std::nothrow) Module);
        if (!m_m) {
            ErrorLog::logMessage(QStringLiteral("ModDecoder Out Of Memory!  File: %1").arg(path));
            return false;
        }
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly)) {
            ErrorLog::logMessage(QStringLiteral("ModDecoder Unable To Open File: %1").arg(path));
            return false;
        }
        struct stat status
        {
        };
        if (::fstat(file.handle(), &status) != 0) {
            ErrorLog::logMessage(QStringLiteral("ModDecoder Unable To Stat File: %1").arg(path));
            return false;
        }
        m_m->bytes = file.read(status.st_size);
        if (m_m->bytes.size() != status.st_size) {
            ErrorLog::logMessage(QStringLiteral("ModDecoder Unable To Read File: %1").arg(path));
            return false;
        }
        m_m->handle.reset(ModPlug_Load(m_m->bytes.constData(), int(m_m->bytes.size())));
        if (!m_m->handle) {
            ErrorLog::logMessage(QStringLiteral("ModDecoder ModPlug_Load Failed!  File: %1").arg(path));
            return false;
        }
        m_totalSamples = framesOfLength(ModPlug_GetLength(m_m->handle.get()));
    }
    setSignedPackedFormat(kSampleRate, 2, 16, 2);
    setChannelLayout(AudioChannelLayout::withTag(kAudioChannelLayoutTag_Stereo));
    return true;
}

void ModDecoder::fillPCMBuffer()
{
    RingBuffer* buffer = pcmBuffer();
    const uint32_t freeSpace = buffer->freeSpaceAvailable();
    uint8_t* writeArea = buffer->exposeBufferForWriting();
    int rendered = 0;
    {
        std::lock_guard<std::mutex> locked(moduleLock());
        rendered = ModPlug_Read(m_m->handle.get(), writeArea, int(freeSpace));
    }
    if (rendered <= 0) {
        m_isEndOfFile = true;
        return;
    }
    buffer->wroteBytes(uint32_t(rendered));
}
