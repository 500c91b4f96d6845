#pragma once
// Decodes Ogg Opus into interleaved signed 16-bit little-endian PCM.
//
// libopus always decodes at 48 kHz; the output rate is the encoder's input
// rate from the header when it lies within 8000 ... 48000 Hz (libsoxr
// converts to it at its high quality, far closer to an exact resampling than
// the Speex resampler the Opus tools use, and several times faster), else
// 48 kHz. Floats become 16-bit samples with
// noise-shaped dither (NoiseShapedDither). The header's pre-skip is dropped
// from the start, counted in output frames, and each page yields at most the
// frames its granule position allows, which trims the end of the stream.
// totalFrames() is last − first page granule (48 kHz units, the pre-skip not
// subtracted), or -1 when unknown.
//
// Ownership: the decoder owns the open file (through its OggPacketSource),
// the libopus decoder, the resampler and the dither state.
// Threads: one thread. The dither's random generator is process-wide.
// Damage: holes, pages missing by sequence number and a stream that stops
// without its end-of-stream page are noted; decoding goes on past them.
// Failures: initWithFilename() and fillPCMBuffer() raise assertion failures
// (NamedException) with the texts of the Ogg layer (OggPacketSource), "Opus
// Proces Header Failed." for a header that cannot be parsed or a decoder
// that cannot be made, "Opus speex resampler error: %s." and "Opus Decoding
// error: %s". Some details also go to the standard error stream, as the
// command-line Opus tools print them.

#include "NoiseShapedDither.h"
#include "OggPacketSource.h"
#include "ZTDecoder.h"

#include <memory>
#include <opus_multistream.h>
#include <soxr.h>
#include <vector>

class OggOpusDecoder : public ZTDecoder
{
public:
    static constexpr int kDecodeRate = 48000;
    static constexpr int kMaxFrameSize = 5760; // 120 ms at 48 kHz
    // Bytes per channel reserved in the ring buffer for one packet.
    static constexpr uint32_t kBytesPerChannel = 23040;

    bool initWithFilename(const QString& path) override;
    QString className() const override { return QStringLiteral("OggOpusDecoder"); }

    int64_t totalFrames() override { return totalSamples; }
    // None: the length above counts 48 kHz frames with the pre-skip, and a
    // cut Ogg file shows by its missing end-of-stream page instead.
    int64_t announcedFrames() override { return -1; }
    bool decodesInRealTime() override { return true; }
    // Decodes one packet of the Opus stream (skipping headers and other
    // streams' packets); flushes the resampler at the end.
    void fillPCMBuffer() override;

    void incrementPacketCount() { ++packet_count; }

private:
    struct DecoderDeleter
    {
        void operator()(OpusMSDecoder* decoder) const { opus_multistream_decoder_destroy(decoder); }
    };
    struct ResamplerDeleter
    {
        void operator()(soxr_t resampler) const { soxr_delete(resampler); }
    };

    // Reads up to the identification header and sets up decoding.
    void processHeader();
    // The most frames the current page may still yield.
    int64_t maxout() const;
    // Resamples, drops the pre-skip, dithers and writes at most maxout
    // frames; returns the frames written.
    int64_t writeFrames(const float* pcm, int frames, int64_t maxout);
    // Drops the pre-skip, dithers and writes at most maxout frames of
    // output-rate audio; returns the frames written.
    int64_t emitFrames(const float* data, int64_t count, int64_t maxout);
    void flushResampler();

    std::unique_ptr<OpusMSDecoder, DecoderDeleter> st;
    std::vector<float> output;
    std::unique_ptr<OggPacketSource> m_source; // the file and its Ogg sync and stream states
    int32_t gran_offset = 0;
    int64_t opus_serialno = -1;
    int64_t link_out = 0;
    int64_t packet_count = 0;
    int32_t preskip = 0;
    std::unique_ptr<NoiseShapedDither> shapemem;
    std::unique_ptr<struct soxr, ResamplerDeleter> resampler;
    int64_t totalSamples = -1;

    int m_channels = 0;
    int m_rate = 0;
    bool m_resamplerFlushed = false;
    std::vector<float> m_resampled;
    std::vector<int16_t> m_dithered;
};
