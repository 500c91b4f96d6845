#pragma once
// Decodes Ogg Speex (narrow, wide and ultra-wide band, mono or intensity
// stereo) with perceptual enhancement into interleaved signed 16-bit
// little-endian PCM at the header's rate.
//
// Every decoded frame is written whole: the encoder's look-ahead and the
// granule positions are computed (lookahead(), skipSamples()) but no samples
// are trimmed, which keeps the output identical to what this decoder has
// always produced. totalFrames() is last − first page granule, or -1.
//
// Ownership: the decoder owns the open file (through its OggPacketSource),
// the libspeex decoder, bit unpacker and stereo state.
// Threads: one thread.
// Damage: holes, pages missing by sequence number, corrupted packets and a
// stream that stops without its end-of-stream page are noted; decoding goes
// on past them.
// Failures: initWithFilename() and fillPCMBuffer() raise assertion failures
// (NamedException): the Ogg layer's texts (OggPacketSource), "The file does
// not appear to be an Ogg bitstream.", "Error reading initial Ogg packet
// header.", "Cannot read Speex header.", the mode and version refusals and
// "Speex decoder initialization failed.".

#include "OggPacketSource.h"
#include "ZTDecoder.h"

#include <memory>
#include <speex/speex.h>
#include <speex/speex_stereo.h>
#include <vector>

class OggSpeexDecoder : public ZTDecoder
{
public:
    bool initWithFilename(const QString& path) override;
    QString className() const override { return QStringLiteral("OggSpeexDecoder"); }

    int64_t totalFrames() override { return totalSamples; }
    bool decodesInRealTime() override { return true; }
    // Decodes whole packets while they fit into the ring buffer.
    void fillPCMBuffer() override;

    int nframes() const { return m_nframes; }
    int extraHeaders() const { return m_extra_headers; }
    int64_t packetCount() const { return m_packetCount; }
    void incrementPacketCount() { ++m_packetCount; }
    int lookahead() const { return m_lookahead; }
    int64_t skipSamples() const { return skip_samples; }

private:
    struct DecoderDeleter
    {
        void operator()(void* state) const { speex_decoder_destroy(state); }
    };
    struct BitsDeleter
    {
        void operator()(SpeexBits* bits) const;
    };
    struct StereoDeleter
    {
        void operator()(SpeexStereoState* stereo) const { speex_stereo_state_destroy(stereo); }
    };

    void readHeader(const ogg_packet& packet);
    // Notes a new page's granule position and what it says about trimming.
    void pageRead();
    // Decodes one packet into the ring buffer; lowers budget by its frames.
    void decodePacket(const ogg_packet& packet, bool endOfStream, int64_t& budget);

    int m_nframes = 0;
    int m_extra_headers = 0;
    int64_t m_packetCount = 0;
    std::unique_ptr<OggPacketSource> m_source; // the file and its Ogg sync and stream states
    std::unique_ptr<SpeexStereoState, StereoDeleter> stereo;
    std::unique_ptr<SpeexBits, BitsDeleter> bits;
    std::unique_ptr<void, DecoderDeleter> st;
    int m_lookahead = 0;
    int frame_size = 0;
    int64_t page_granule = 0;
    int64_t last_granule = 0;
    int page_nb_packets = 0;
    int64_t skip_samples = 0;
    int granule_frame_size = 0;
    int64_t speex_serialno = -1;
    int64_t totalSamples = -1;

    int m_channels = 0;
    std::vector<spx_int16_t> m_frame;
};
