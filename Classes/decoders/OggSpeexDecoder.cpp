#include "OggSpeexDecoder.h"

#include "ChannelLayouts.h"
#include "ErrorLog.h"
#include "NamedException.h"
#include "OggGranuleSpan.h"

#include <cstring>
#include <speex/speex_callbacks.h>
#include <speex/speex_header.h>

namespace {

// Far more than any encoder writes (ten 640-sample stereo frames take
// 25600 bytes); a header that asks for more is broken.
constexpr int64_t kLargestPacketBytes = 16 * 1024 * 1024;

struct HeaderDeleter
{
    void operator()(SpeexHeader* header) const { speex_header_free(header); }
};

bool isSpeexHeader(const ogg_packet& packet)
{
    return packet.bytes >= 5 && std::memcmp(packet.packet, "Speex", 5) == 0;
}

} // namespace

void OggSpeexDecoder::BitsDeleter::operator()(SpeexBits* bits) const
{
    speex_bits_destroy(bits);
    delete bits;
}

bool OggSpeexDecoder::initWithFilename(const QString& path)
{
    if (!ZTDecoder::initWithFilename(path)) {
        return false;
    }

    totalSamples = OggGranuleSpan::ofSpeexFile(path);
    m_source = std::make_unique<OggPacketSource>(path);
    m_source->onPage = [this] { pageRead(); };

    ZT_ASSERT(m_source->readPage(), QStringLiteral("The file does not appear to be an Ogg bitstream."));
    ogg_packet packet;
    ZT_ASSERT(m_source->nextPacket(packet) == OggPacketSource::Result::Packet,
              QStringLiteral("Error reading initial Ogg packet header."));
    speex_serialno = m_source->serialNumber();
    readHeader(packet);
    incrementPacketCount();

    setSignedPackedFormat(m_decodeFormat.mSampleRate, uint32_t(m_channels), 16, 2);
    if (m_decodeFormat.mBytesPerFrame == 0) {
        ErrorLog::logMessage(QStringLiteral("Failed To Determine mBytesPerFrame."));
        return false;
    }
    setChannelLayout(ChannelLayouts::speexLayout(uint32_t(m_channels)));
    return true;
}

void OggSpeexDecoder::readHeader(const ogg_packet& packet)
{
    std::unique_ptr<SpeexHeader, HeaderDeleter> header(
        speex_packet_to_header(reinterpret_cast<char*>(packet.packet), int(packet.bytes)));
    // Beyond what libspeex checks: the decoder below handles one or two
    // channels, and needs whole frames in every packet.
    ZT_ASSERT(header && header->nb_channels >= 1 && header->nb_channels <= 2 &&
                  header->frames_per_packet >= 1 && header->rate > 0,
              QStringLiteral("Cannot read Speex header."));

    ZT_ASSERT(
        header->mode >= 0 && header->mode < SPEEX_NB_MODES,
        QStringLiteral("Mode number %1 does not (yet/any longer) exist in this version.").arg(header->mode));
    const SpeexMode* mode = speex_lib_get_mode(header->mode);
    ZT_ASSERT(header->speex_version_id <= 1,
              QStringLiteral(
                  "This file was encoded with Speex bit-stream version %1, which I don't know how to decode")
                  .arg(header->speex_version_id));
    ZT_ASSERT(mode && mode->bitstream_version == header->mode_bitstream_version,
              QStringLiteral("The file was encoded with a different version of Speex."));

    st.reset(speex_decoder_init(mode));
    ZT_ASSERT(st, QStringLiteral("Speex decoder initialization failed."));
    int enhance = 1;
    speex_decoder_ctl(st.get(), SPEEX_SET_ENH, &enhance);
    speex_decoder_ctl(st.get(), SPEEX_GET_FRAME_SIZE, &frame_size);
    granule_frame_size = frame_size;
    int rate = header->rate;
    speex_decoder_ctl(st.get(), SPEEX_SET_SAMPLING_RATE, &rate);
    speex_decoder_ctl(st.get(), SPEEX_GET_LOOKAHEAD, &m_lookahead);
    ZT_ASSERT(frame_size > 0, QStringLiteral("Speex decoder initialization failed."));

    m_nframes = header->frames_per_packet;
    m_extra_headers = header->extra_headers;
    m_channels = header->nb_channels;
    m_decodeFormat.mSampleRate = header->rate;

    bits.reset(new SpeexBits);
    speex_bits_init(bits.get());
    if (m_channels == 2) {
        // Intensity stereo travels in-band; the standard handler hands it
        // to the stereo state that expands each mono frame.
        stereo.reset(speex_stereo_state_init());
        SpeexCallback callback{SPEEX_INBAND_STEREO, speex_std_stereo_request_handler, stereo.get(), nullptr,
                               0};
        speex_decoder_ctl(st.get(), SPEEX_SET_HANDLER, &callback);
    }
    m_frame.assign(size_t(frame_size) * 2, 0);

    // fillPCMBuffer() decodes only whole packets that fit, so the ring buffer
    // must hold at least one, however many frames the header announces.
    const int64_t packetBytes = int64_t(m_nframes) * frame_size * m_channels * 2;
    ZT_ASSERT(packetBytes <= kLargestPacketBytes, QStringLiteral("Cannot read Speex header."));
    pcmBuffer()->resize(uint32_t(packetBytes));
}

void OggSpeexDecoder::pageRead()
{
    if (m_source->pagesMissing() > 0 && m_source->serialNumber() == speex_serialno) {
        noteDamage(DecoderDamage::Kind::MissingPages, m_source->pagesMissing());
    }
    page_granule = m_source->pageGranule();
    page_nb_packets = m_source->pagePackets();
    if (page_granule > 0 && granule_frame_size > 0) {
        skip_samples =
            (last_granule - page_granule + int64_t(page_nb_packets) * granule_frame_size * m_nframes) *
            frame_size / granule_frame_size;
        if (m_source->pageIsEndOfStream()) {
            skip_samples = -skip_samples;
        }
    } else {
        skip_samples = 0;
    }
    last_granule = page_granule;
}

void OggSpeexDecoder::fillPCMBuffer()
{
    const int64_t packetBytes = int64_t(m_nframes) * frame_size * m_channels * 2;
    int64_t budget = int64_t(pcmBuffer()->freeSpaceAvailable()) / packetBytes;
    if (budget == 0) {
        return;
    }

    ogg_packet packet;
    while (!m_isEndOfFile) {
        const OggPacketSource::Result result = m_source->nextPacket(packet);
        if (result == OggPacketSource::Result::Hole) {
            // Lost packets: decoding goes on with the next one. A gap the
            // page numbers showed is counted already.
            if (m_source->serialNumber() == speex_serialno && m_source->pagesMissing() == 0) {
                noteDamage(DecoderDamage::Kind::Hole);
            }
            continue;
        }
        if (result == OggPacketSource::Result::EndOfFile) {
            // No end-of-stream flag before the file ended: a file cut short.
            m_isEndOfFile = true;
            noteDamage(DecoderDamage::Kind::NoEndOfStream);
            return;
        }

        const bool header = isSpeexHeader(packet);
        if (header) {
            speex_serialno = m_source->serialNumber();
        }
        // The comment header is packet 1, the extra headers follow it.
        const bool isHeaderPacket = header || (m_packetCount >= 1 && m_packetCount <= m_extra_headers + 1);
        if (speex_serialno != -1 && m_source->serialNumber() == speex_serialno && !isHeaderPacket) {
            decodePacket(packet, packet.e_o_s != 0, budget);
        }
        incrementPacketCount();
        if (budget <= 0) {
            return;
        }
    }
}

void OggSpeexDecoder::decodePacket(const ogg_packet& packet, bool endOfStream, int64_t& budget)
{
    if (endOfStream) {
        m_isEndOfFile = true;
    }
    speex_bits_read_from(bits.get(), reinterpret_cast<char*>(packet.packet), int(packet.bytes));

    RingBuffer* buffer = pcmBuffer();
    const uint32_t frameBytes = uint32_t(frame_size) * uint32_t(m_channels) * 2;
    for (int frame = 0; frame < m_nframes; ++frame) {
        const int result = speex_decode_int(st.get(), bits.get(), m_frame.data());
        if (result == -1) {
            break;
        }
        if (result == -2 || speex_bits_remaining(bits.get()) < 0) {
            // A corrupted packet: the rest of it is lost, the stream goes on.
            noteDamage(DecoderDamage::Kind::FailedPackets);
            break;
        }
        if (m_channels == 2) {
            speex_decode_stereo_int(m_frame.data(), frame_size, stereo.get());
        }
        std::memcpy(buffer->exposeBufferForWriting(), m_frame.data(), frameBytes);
        buffer->wroteBytes(frameBytes);
        --budget;
    }
}
