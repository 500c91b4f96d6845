#pragma once
// Decodes Monkey's Audio (".ape") into interleaved little-endian signed
// integer PCM of the file's own depth (8, 16, 24 or 32 bits). The Monkey's
// Audio library is not packaged by the distribution, so the decompressor is
// FFmpeg's own "ape" demuxer and decoder, read through FFmpegAudioSource.
//
// Each fillPCMBuffer() decodes as many blocks (frames) as the ring buffer
// has room for. totalFrames() is the file's total block count.
//
// Ownership: owns the FFmpeg reader. Threads: one thread.
// Failures: initWithFilename() raises the assertion failure "Unable to open
// the input file." when FFmpeg's "ape" demuxer does not take the file, and
// logs "Failed To Determine mBytesPerFrame." for a zero frame size;
// fillPCMBuffer() raises "Unable to determine the Monkey's Audio block
// size." for a zero block size and "Error Decoding Monkey's Audio Frame: %lld.
// Error %d" (the decoder's current frame, FFmpeg's code) when a frame is
// damaged.

#include "ZTDecoder.h"

#include <memory>
#include <vector>

class FFmpegAudioSource;

class MonkeysAudioDecoder : public ZTDecoder
{
public:
    MonkeysAudioDecoder();
    ~MonkeysAudioDecoder() override;

    bool initWithFilename(const QString& path) override;
    QString className() const override { return QStringLiteral("MonkeysAudioDecoder"); }

    int64_t totalFrames() override;
    bool decodesInRealTime() override { return true; }
    void fillPCMBuffer() override;

private:
    std::unique_ptr<FFmpegAudioSource> m_decompressor;
    std::vector<int32_t> m_samples;
};
