#pragma once
// Decodes True Audio (".tta") into interleaved little-endian signed integer
// PCM of the file's own depth (8, 16 or 24 bits). libtta is not packaged by
// the distribution, so the decoder is FFmpeg's own "tta" demuxer and
// decoder, read through FFmpegAudioSource.
//
// Each fillPCMBuffer() decodes up to 5120 frames, first growing the ring
// buffer by (frame bytes x 5120) | 4 bytes when it is smaller than that
// (122884 bytes for 8 channels of 24 bits).
//
// Ownership: owns the FFmpeg reader. Threads: one thread.
// Failures: initWithFilename() logs "tta_open_read failed to open file: %@"
// when the file cannot be opened for reading, "TTA Decoder init_get_info
// failed" when it is no True Audio stream, and "Failed To Determine
// mBytesPerFrame." for a zero frame size, and returns false; fillPCMBuffer()
// raises "TTAException" ("TTA Decoder process_stream Error") when a frame is
// damaged.

#include "ZTDecoder.h"

#include <memory>
#include <vector>

class FFmpegAudioSource;

class TrueAudioDecoder : public ZTDecoder
{
public:
    TrueAudioDecoder();
    ~TrueAudioDecoder() override;

    bool initWithFilename(const QString& path) override;
    QString className() const override { return QStringLiteral("TrueAudioDecoder"); }

    int64_t totalFrames() override { return m_totalSamples; }
    bool decodesInRealTime() override { return true; }
    void fillPCMBuffer() override;

private:
    std::unique_ptr<FFmpegAudioSource> m_tta;
    int64_t m_totalSamples = -1;
    std::vector<int32_t> m_samples;
};
