#pragma once
// The decoder of every file the platform's audio file services read (the
// factory's default row): WAV, AIFF, AIFF-C, CAF, AU, W64, RF64, MP3, MP2,
// AAC, ALAC, 3GPP and the rest AudioFileReader opens.
//
// It delivers the file's own sample width as signed packed integers (16 bits
// for files that state none; ALAC by its source-depth flag, 20-bit ALAC
// with 2-byte samples), at the file's rate and channel count, and reads
// straight into the ring buffer's free space.
//
// initWithFilename() logs why it failed and returns false; the factory then
// falls back to FFMPEGDecoder. totalFrames() raises an assertion failure
// when the reader cannot tell the length. One thread, as every decoder.
// Packets the reader refused and a read that failed midway are noted as
// damage; a failed read ends the stream.

#include "ZTDecoder.h"

#include <memory>

class AudioFileReader;

class CoreAudioDecoder : public ZTDecoder
{
public:
    CoreAudioDecoder();
    ~CoreAudioDecoder() override;

    bool initWithFilename(const QString& path) override;
    QString className() const override { return QStringLiteral("CoreAudioDecoder"); }

    int64_t totalFrames() override;
    // The header's length; -1 where the reader only estimates it (MPEG).
    int64_t announcedFrames() override;
    uint64_t currentFrame() override { return ZTDecoder::currentFrame(); }
    bool decodesInRealTime() override { return true; }
    void fillPCMBuffer() override;
    // Exact for linear PCM read by libsndfile; other sources read and drop.
    bool seekToFrame(int64_t frame) override;

    // The file's own stream description.
    AudioStreamBasicDescription sourceFormat() const { return m_sourceFormat; }

private:
    bool fillDecodeFormat();
    void readChannelLayout();

    AudioStreamBasicDescription m_sourceFormat;
    std::unique_ptr<AudioFileReader> m_extAudioFile;
    int64_t m_decodeErrorsSeen = 0;
};
