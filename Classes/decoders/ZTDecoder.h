#pragma once
// The abstract decoder: one object per opened source file, turning it into
// interleaved, packed, signed little-endian integer PCM on demand.
//
// Life of a decoder: the factory (decoderWithFilename) picks the class by the
// file's extension, or by its first packet for Ogg files, and calls
// initWithFilename(), which fills decodeFormat and, where known, the channel
// layout. The reader then calls readAudio() until it returns 0 frames with
// isEndOfFile() set. A read of 0 frames while isEndOfFile() is clear is not
// the end: a decoder may add nothing in one fillPCMBuffer() (a packet of
// another stream, a header page), so the reader reads again.
//
// Subclasses: override initWithFilename() (call the base first; log and
// return false on failure), fillPCMBuffer() (append bytes to pcmBuffer(), set
// m_isEndOfFile when the source is exhausted) and, when the length is known,
// totalFrames(). A bytes-per-frame of 0 must be refused in initWithFilename().
//
// Damage: a decoder that meets damage it can decode past (lost sync, a frame
// failing its checksum, a hole, a signature mismatch) notes it with
// noteDamage() and goes on; what it could decode is still delivered. The
// base itself notes a stream that ends more than one packet's worth
// (packetFrames) before announcedFrames(). damage() tells the reader once the
// last read has returned 0 frames with isEndOfFile() set.
//
// Threads: a decoder is used by one thread from creation to destruction,
// except cancel(), which may be called from any thread. The factory keeps no
// shared state and may run on several threads at once.
//
// Failures: initWithFilename() failures are logged to the error log and give
// a null decoder; decoding failures and broken preconditions raise
// NamedException.

#include "CoreAudioTypes.h"
#include "DecoderDamage.h"
#include "RingBuffer.h"

#include <QString>
#include <atomic>
#include <cstdint>
#include <memory>

class ZTDecoder;

// Told the progress of decoders that convert to an intermediate file
// (decodeToFile). Not owned by the decoder.
class DecoderDelegate
{
public:
    virtual ~DecoderDelegate() = default;
    // fraction: 0.0 to 1.0.
    virtual void decoderDidUpdateProgressPercent(ZTDecoder* decoder, double fraction) = 0;
};

class ZTDecoder
{
public:
    // The factory: a new, opened decoder for path, or null when none could
    // be opened (the reason is in the error log). Raises NamedException for
    // Ogg files that are not valid or hold an unknown codec.
    static std::unique_ptr<ZTDecoder> decoderWithFilename(const QString& path);

    ZTDecoder() = default;
    ZTDecoder(const ZTDecoder&) = delete;
    ZTDecoder& operator=(const ZTDecoder&) = delete;
    virtual ~ZTDecoder() = default;

    // Creates the 32768-byte ring buffer, keeps the path, clears
    // isEndOfFile, zeroes decodeFormat and drops any channel layout.
    virtual bool initWithFilename(const QString& path);

    // The class name, for reports ("FLACDecoder").
    virtual QString className() const { return QStringLiteral("ZTDecoder"); }

    const QString& inFilePath() const { return m_inFilePath; }
    RingBuffer* pcmBuffer() const { return m_pcmBuffer.get(); }
    AudioStreamBasicDescription decodeFormat() const { return m_decodeFormat; }
    // The decoder's own layout (it keeps ownership), or null when unknown.
    const AudioChannelLayout* channelLayout() const { return m_channelLayout.get(); }

    // Copies up to frameCount whole frames into bufferList->mBuffers[0] and
    // returns how many came. Calls fillPCMBuffer() once when the ring buffer
    // holds less than asked. Raises an assertion failure when bufferList is
    // null, has no buffers, frameCount is 0 or the first buffer is too small.
    uint32_t readAudio(AudioBufferList* bufferList, uint32_t frameCount);

    // Asks a long-running decoder to stop; only sets a flag. Any thread.
    void cancel() { m_cancelled = true; }
    bool isCancelled() const { return m_cancelled; }

    // Length in frames; -1 when unknown.
    virtual int64_t totalFrames() { return -1; }
    // The length the stream promises, against which an early end counts as
    // damage: totalFrames(), or -1 for decoders whose length is only an
    // estimate.
    virtual int64_t announcedFrames() { return totalFrames(); }
    // What the decoder found wrong with its source so far.
    const DecoderDamage& damage() const { return m_damage; }
    // Frames handed out by readAudio() so far.
    virtual uint64_t currentFrame() { return m_currentFrame; }
    // Before the first read: moves to frame, sample-exact, so that the next
    // read starts there. False when the decoder cannot seek exactly (the
    // caller then reads and drops what comes before) or the seek failed, in
    // which case the decoder must not be read any more.
    virtual bool seekToFrame(int64_t frame) { return false; }
    // Appends decoded bytes to the ring buffer; the base adds nothing.
    virtual void fillPCMBuffer() {}
    bool isEndOfFile() const { return m_isEndOfFile; }

    // False for decoders that must first convert the whole source to a file
    // with decodeToFile(); every decoder so far decodes in real time.
    virtual bool decodesInRealTime() { return true; }
    virtual bool decodeToFile(const QString& path) { return false; }

    DecoderDelegate* delegate() const { return m_delegate; }
    void setDelegate(DecoderDelegate* delegate) { m_delegate = delegate; }

protected:
    // Fills the stream description of interleaved signed packed integer PCM
    // ("lpcm", flags 12, one frame per packet).
    void setSignedPackedFormat(double sampleRate, uint32_t channels, uint32_t bitsPerChannel,
                               uint32_t bytesPerSample);
    void setChannelLayout(AudioChannelLayout layout);
    // Frames decoded so far: handed out plus waiting in the ring buffer.
    int64_t decodedFrames() const;
    // Notes count occurrences of kind at the current decoding position.
    void noteDamage(DecoderDamage::Kind kind, int64_t count = 1);
    // After a successful seek: the next frame handed out is frame.
    void didSeekTo(int64_t frame);

    QString m_inFilePath;
    AudioStreamBasicDescription m_decodeFormat;
    std::unique_ptr<AudioChannelLayout> m_channelLayout;
    std::unique_ptr<RingBuffer> m_pcmBuffer;
    uint64_t m_currentFrame = 0;
    bool m_isEndOfFile = false;
    std::atomic<bool> m_cancelled = false;
    DecoderDelegate* m_delegate = nullptr;
    DecoderDamage m_damage;
    // The most frames one packet may hold: an end this close to the
    // announced length is no damage.
    int64_t m_packetFrames = 8192;

private:
    // Compares the frames delivered with announcedFrames(), once, at the end.
    void checkLength();
    bool m_lengthChecked = false;
};
