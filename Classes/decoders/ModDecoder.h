#pragma once
// Renders tracker modules (MOD, S3M, XM, IT and the other formats
// libmodplug reads) to interleaved little-endian signed 16-bit stereo PCM at
// 44100 Hz, with 8-tap FIR resampling and oversampling, playing the song
// once: a song that jumps back to an order it played ends there.
//
// The whole file is read into memory and handed to libmodplug, which keeps
// its settings process-wide; one process-wide lock therefore serialises
// applying the settings with loading, and every render, across all module
// decoders on their worker threads. The lock is released on every road out
// of initWithFilename(), failures included, so that a broken module never
// stalls the modules after it.
//
// Ownership: owns the module (unloaded at destruction) and its bytes.
// Threads: one thread per decoder; renders wait for the module lock.
// Failures: initWithFilename() logs "ModDecoder Unable To Open File: %@",
// "ModDecoder Unable To Stat File: %@", "ModDecoder Unable To Read File: %@"
// or "ModDecoder ModPlug_Load Failed!  File: %@" and returns false.
// Rendering has no failure: 0 bytes is the end.

#include "ZTDecoder.h"

#include <QByteArray>
#include <libmodplug/modplug.h>
#include <memory>

class ModDecoder : public ZTDecoder
{
public:
    bool initWithFilename(const QString& path) override;
    QString className() const override { return QStringLiteral("ModDecoder"); }

    int64_t totalFrames() override { return m_totalSamples; }
    // None: a module's length is the player's estimate, not the file's word.
    int64_t announcedFrames() override { return -1; }
    bool decodesInRealTime() override { return true; }
    void fillPCMBuffer() override;

    static constexpr int kSampleRate = 44100;

    // Frames of a song of `milliseconds`, truncated.
    static int64_t framesOfLength(int milliseconds);

private:
    struct ModuleUnloader
    {
        void operator()(ModPlugFile* module) const;
    };

    // The module and the bytes it was loaded from, which live as long.
    struct Module
    {
        std::unique_ptr<ModPlugFile, ModuleUnloader> handle;
        QByteArray bytes;
        int reserved = 0;
    };

    std::unique_ptr<Module> m_m;
    ModPlug_Settings m_settings{};
    int64_t m_totalSamples = 0;
};
