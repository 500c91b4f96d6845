#pragma once
// Decodes native FLAC files with libFLAC's stream decoder into interleaved
// little-endian integer PCM of the stream's own depth: 8, 16, 24 or 32 bits
// in 1, 2, 3 or 4 bytes. Other depths (12, 20, ...) open, with bytes per
// sample = bits / 8, but raise IllegalInputException "FLAC Does Not Support
// %d Bit Files" at the first decoded block.
//
// OggFLACDecoder derives from this class and only changes how the stream
// decoder is initialised.
//
// Ownership: the decoder owns its libFLAC stream decoder (finished and deleted
// with it) and its channel layout.
// Threads: one thread; libFLAC calls the callbacks synchronously on it.
// Damage: lost sync, bad headers, frames failing their CRC and unparseable
// data (libFLAC's error callback) are noted and skipped; the STREAMINFO MD5
// signature, when set, is checked against the decoded audio at the end.
// Failures: initWithFilename() logs and returns false when the file cannot be
// opened or its metadata read. fillPCMBuffer() raises IllegalInputException
// for unsupported depths and an assertion failure when libFLAC fails a decode
// step. No exception ever unwinds through libFLAC: the callbacks catch it,
// abort the stream decoder, and it is rethrown once libFLAC has returned.

#include "StreamSignature.h"
#include "ZTDecoder.h"

#include <FLAC/stream_decoder.h>
#include <exception>
#include <memory>

class FLACDecoder : public ZTDecoder
{
public:
    bool initWithFilename(const QString& path) override;
    QString className() const override { return QStringLiteral("FLACDecoder"); }

    // The stream information's total frames (0 when the encoder did not know).
    int64_t totalFrames() override { return int64_t(m_totalSamples); }
    bool decodesInRealTime() override { return true; }
    // Decodes whole blocks while they fit into the ring buffer, growing it
    // when one block would not fit even into an empty buffer.
    void fillPCMBuffer() override;
    // libFLAC seeks to the sample (by the seek table, else by bisection) and
    // hands over the block holding it from that sample on. The signature is
    // then no longer checked: it covers the whole stream.
    bool seekToFrame(int64_t frame) override;

    // Used by the metadata callback.
    void setTotalSamples(uint64_t totalSamples) { m_totalSamples = totalSamples; }
    void setSampleRate(double sampleRate) { m_decodeFormat.mSampleRate = sampleRate; }
    void setBitsPerChannel(uint32_t bits) { m_decodeFormat.mBitsPerChannel = bits; }
    void setChannelsPerFrame(uint32_t channels) { m_decodeFormat.mChannelsPerFrame = channels; }
    void setAudioChannelLayout(AudioChannelLayout layout) { setChannelLayout(std::move(layout)); }

protected:
    // Initialises the stream decoder on the file at nativePath with this
    // object's callbacks; returns libFLAC's status.
    virtual FLAC__StreamDecoderInitStatus initStream(FLAC__StreamDecoder* decoder, const char* nativePath);

    static FLAC__StreamDecoderWriteStatus writeCallback(const FLAC__StreamDecoder* decoder,
                                                        const FLAC__Frame* frame,
                                                        const FLAC__int32* const buffer[], void* clientData);
    static void metadataCallback(const FLAC__StreamDecoder* decoder, const FLAC__StreamMetadata* metadata,
                                 void* clientData);
    static void errorCallback(const FLAC__StreamDecoder* decoder, FLAC__StreamDecoderErrorStatus status,
                              void* clientData);

private:
    struct StreamDecoderDeleter
    {
        void operator()(FLAC__StreamDecoder* decoder) const;
    };

    // Appends one decoded block to the ring buffer.
    void writeBlock(const FLAC__Frame* frame, const FLAC__int32* const buffer[]);
    // Marks the end and notes a signature that does not match.
    void endOfStream();
    // Rethrows what a callback caught during the last libFLAC call.
    void rethrowPendingException();

    std::unique_ptr<FLAC__StreamDecoder, StreamDecoderDeleter> m_flac;
    // The STREAMINFO signature, while the whole stream is read from its start.
    std::unique_ptr<StreamSignature> m_signature;
    uint64_t m_totalSamples = 0;
    std::exception_ptr m_pendingException;
};
