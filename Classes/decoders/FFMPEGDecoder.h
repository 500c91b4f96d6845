#pragma once
// The decoder of everything the platform's services do not read: the factory
// sends RealMedia, MPEG, AVI, QuickTime and Windows Media files here, and
// every file CoreAudioDecoder cannot open falls back to it.
//
// It decodes the file's first audio stream (or, when there is none, the last
// stream, which then fails or decodes nothing) and delivers 8-bit data as
// decoded (flagged signed although FFmpeg's 8-bit samples are unsigned) or
// 16-bit signed interleaved, converting every other sample format frame by
// frame. The length it reports is counted in whole seconds of the
// container's duration; -1 when the container has none.
//
// Opening a file that does not exist (yet) is retried: up to four attempts,
// each failure followed by a sleep of 1 to 4 seconds, for files still
// appearing on disk. initWithFilename() logs every failure and returns false.
// One thread, as every decoder; the open may block up to about 16 s.
// Packets the codec refuses are logged, noted as damage and skipped.

#include "FFmpegPointers.h"
#include "ZTDecoder.h"

class FFMPEGDecoder : public ZTDecoder
{
public:
    bool initWithFilename(const QString& path) override;
    QString className() const override { return QStringLiteral("FFMPEGDecoder"); }

    int64_t totalFrames() override { return m_totalFrames; }
    // totalFrames(), or -1 when FFmpeg guessed the duration from the bit rate.
    int64_t announcedFrames() override;
    bool decodesInRealTime() override { return true; }
    // Decodes at most one packet. Packets of streams that are not audio add
    // nothing (the read after them returns 0 frames without the end of the
    // file); packets of every audio stream go to the chosen stream's decoder.
    void fillPCMBuffer() override;

    int streamIndex() const { return m_streamIndex; }

private:
    bool openInput(const QString& path);
    void logFailure(const QString& message, int error);
    void decodePacket(const AVPacket* packet);
    void appendFrame(const AVFrame* frame);
    void appendBytes(const uint8_t* data, uint32_t byteCount);

    uint32_t m_numFrames = 0;
    AVFormatContextPtr m_ic;
    AVCodecContextPtr m_c;
    const AVCodec* m_codec = nullptr;
    int m_streamIndex = -1;
    int64_t m_totalFrames = 0;
    // U8 or S16: what the ring buffer receives.
    AVSampleFormat m_outputFormat = AV_SAMPLE_FMT_S16;
};
