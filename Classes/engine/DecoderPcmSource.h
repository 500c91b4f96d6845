#pragma once
// The PCM of one source, or of one stretch of it, as LAME is given it: a
// decoder's interleaved integer PCM, down-mixed to stereo (ZTChannelMixer)
// when asked for and the source has more than two channels, then split into
// one buffer per channel in a width LAME takes: 8-bit bytes doubled into 16
// bits, 16-bit as it is, 24-bit left-justified in 32 bits, 32-bit as it is.
// The one PCM path of the MP3 encoder: the single LAME instance reads the
// whole source through one, and each chunk of a split encode its own
// stretch through another (see openSpan()).
//
// Blocks come from reads of 32 KiB (8- and 24-bit decoded samples), 64 KiB
// (16-bit) or 128 KiB (32-bit); a read of nothing before the decoder's end is
// read again, not taken for the end.
//
// With a meter (setMeter()), every block is measured as it is handed out:
// what the listener hears is LAME's rendering of exactly these samples.
//
// Ownership: owns its decoder and mixer; the meter is shared with its owner.
// Threads: made on one thread, then read by one other thread at a time (as
// PcmBlockSource); cancel() from any thread.
// Failures: the constructor raises NamedException for a sample width LAME is
// not given, a format of no bytes per frame, or a down-mix the mixer cannot
// make; next() and skip() raise what the decoder raises and for a failed
// down-mix or allocation.

#include "CoreAudioTypes.h"
#include "PcmBlockSource.h"

#include <QString>
#include <cstdint>
#include <memory>
#include <vector>

class LoudnessMeter;
class ZTChannelMixer;
class ZTDecoder;

class DecoderPcmSource : public PcmBlockSource
{
public:
    // decoder: opened and not yet read (a TrackSpanDecoder for a stretch).
    // downmixToStereo: the preference "downmixToStereo"; without it a source
    // of more than two channels is handed out as it is and LAME refuses it.
    DecoderPcmSource(std::unique_ptr<ZTDecoder> decoder, bool downmixToStereo);
    ~DecoderPcmSource() override;

    // A decoder for frames [start, start + length) of path, composed with a
    // cue-sheet track's span when trackStart/trackLength describe one (the
    // stretch is then counted from the track's start and cut at its end).
    // Meant for the parts of a split encode: checks over the whole stream (a
    // FLAC signature) are left to the encode's own pass. Null when no decoder
    // opens path (the reason is in the error log).
    static std::unique_ptr<ZTDecoder> openSpan(const QString& path, int64_t start, int64_t length,
                                               int64_t trackStart = -1, int64_t trackLength = -1);

    // Bytes of one read for a decoded sample width; 0 for a width LAME is not given.
    static uint32_t readBufferSize(uint32_t bitsPerChannel);

    Block next() override;
    // Reads the next block and drops it unconverted and unmeasured: a pass
    // over the source for its decoder's damage report alone. Frames read, 0
    // at the end.
    size_t skip();

    // Measured from the next block on; null stops measuring.
    void setMeter(std::shared_ptr<LoudnessMeter> meter) { m_meter = std::move(meter); }
    // What LAME is given: the rate, channels and width after the down-mix.
    const AudioStreamBasicDescription& format() const { return m_format; }
    // The decoder's own format, before any down-mix.
    const AudioStreamBasicDescription& decodedFormat() const { return m_decodedFormat; }
    // A source of more channels than LAME takes, left so because down-mixing
    // was off: its channel count; 0 otherwise.
    uint32_t channelsWithoutDownmix() const { return m_channelsWithoutDownmix; }
    // The decoder's length in frames; -1 when unknown.
    int64_t totalFrames() const;
    // The decoder, for its damage report once next() or skip() gave 0.
    const ZTDecoder& decoder() const { return *m_decoder; }
    // Any thread: the next read ends the stretch early.
    void cancel();

private:
    // One read from the decoder into m_decoded; frames read, 0 at the end.
    uint32_t read();

    std::unique_ptr<ZTDecoder> m_decoder;
    std::unique_ptr<ZTChannelMixer> m_mixer;
    std::shared_ptr<LoudnessMeter> m_meter;
    AudioStreamBasicDescription m_decodedFormat;
    AudioStreamBasicDescription m_format;
    uint32_t m_channelsWithoutDownmix = 0;
    uint32_t m_bufferSize = 0;
    std::vector<uint8_t> m_decoded;
    // The down-mix of m_decoded; empty without a mixer.
    std::vector<uint8_t> m_mixed;
    std::vector<std::vector<int16_t>> m_narrow;
    std::vector<std::vector<int32_t>> m_wide;
};
