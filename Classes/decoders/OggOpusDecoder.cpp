#include "OggOpusDecoder.h"

#include "ChannelLayouts.h"
#include "ErrorLog.h"
#include "NamedException.h"
#include "OggGranuleSpan.h"
#include "OpusHeader.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {

// libsoxr's 20-bit quality: more than the 16-bit output keeps.
constexpr unsigned long kResamplerQuality = SOXR_HQ;

bool isOpusHead(const ogg_packet& packet)
{
    return packet.b_o_s && packet.bytes >= 8 && std::memcmp(packet.packet, "OpusHead", 8) == 0;
}

} // namespace

bool OggOpusDecoder::initWithFilename(const QString& path)
{
    if (!ZTDecoder::initWithFilename(path)) {
        return false;
    }

    // The pre-skip is still 0 here; the length keeps it, as it always has.
    totalSamples = OggGranuleSpan::ofOpusFile(path);
    m_source = std::make_unique<OggPacketSource>(path);
    m_source->onPage = [this] {
        if (m_source->pagesMissing() > 0 && m_source->serialNumber() == opus_serialno) {
            noteDamage(DecoderDamage::Kind::MissingPages, m_source->pagesMissing());
        }
    };
    processHeader();

    setSignedPackedFormat(m_rate, uint32_t(m_channels), 16, 2);
    if (m_decodeFormat.mBytesPerFrame == 0) {
        ErrorLog::logMessage(QStringLiteral("Failed To Determine mBytesPerFrame."));
        return false;
    }
    setChannelLayout(ChannelLayouts::vorbisLayout(uint32_t(m_channels)));
    return true;
}

void OggOpusDecoder::processHeader()
{
    const QString failed = QStringLiteral("Opus Proces Header Failed.");
    ogg_packet packet;
    while (true) {
        const OggPacketSource::Result result = m_source->nextPacket(packet);
        ZT_ASSERT(result != OggPacketSource::Result::EndOfFile, failed);
        if (result == OggPacketSource::Result::Packet && isOpusHead(packet)) {
            break;
        }
    }
    opus_serialno = m_source->serialNumber();
    link_out = 0;
    packet_count = 0;

    const std::optional<OpusHeader> header = OpusHeader::parse(packet.packet, size_t(packet.bytes));
    if (!header) {
        std::fprintf(stderr, "Cannot parse header\n");
        ZT_FAIL(failed);
    }
    incrementPacketCount();

    m_channels = header->channels;
    m_rate = (header->inputSampleRate >= 8000 && header->inputSampleRate <= 48000)
                 ? int(header->inputSampleRate)
                 : kDecodeRate;
    preskip = gran_offset = header->preskip;

    int error = OPUS_OK;
    st.reset(opus_multistream_decoder_create(kDecodeRate, header->channels, header->nbStreams,
                                             header->nbCoupled, header->streamMap.data(), &error));
    if (!st) {
        std::fprintf(stderr, "Cannot create encoder: %s\n", opus_strerror(error));
        ZT_FAIL(failed);
    }
    if (error != OPUS_OK) {
        std::fprintf(stderr, "Decoder initialization failed: %s\n", opus_strerror(error));
        ZT_FAIL(failed);
    }
    if (header->gain != 0) {
        // Builds of libopus without the gain request play at unity gain.
        error = opus_multistream_decoder_ctl(st.get(), OPUS_SET_GAIN(header->gain));
        if (error != OPUS_OK && error != OPUS_UNIMPLEMENTED) {
            std::fprintf(stderr, "Error setting gain: %s\n", opus_strerror(error));
            ZT_FAIL(failed);
        }
    }

    shapemem = std::make_unique<NoiseShapedDither>(m_channels, m_rate);
    output.assign(size_t(m_channels) * kMaxFrameSize, 0.0f);
    pcmBuffer()->resize(uint32_t(m_channels) * kBytesPerChannel);

    if (m_rate != kDecodeRate) {
        // libsoxr removes its own filter delay: the output starts with the
        // first input frame, so nothing needs skipping.
        soxr_error_t resamplerError = nullptr;
        const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
        const soxr_quality_spec_t quality = soxr_quality_spec(kResamplerQuality, 0);
        resampler.reset(soxr_create(kDecodeRate, double(m_rate), unsigned(m_channels), &resamplerError, &io,
                                    &quality, nullptr));
        ZT_ASSERT(resampler && !resamplerError,
                  QStringLiteral("Opus speex resampler error: %1.")
                      .arg(QString::fromUtf8(resamplerError ? resamplerError : "unknown")));
    }
}

void OggOpusDecoder::fillPCMBuffer()
{
    RingBuffer* buffer = pcmBuffer();
    const uint32_t room = uint32_t(m_channels) * kBytesPerChannel;
    if (buffer->freeSpaceAvailable() < room) {
        buffer->resize(buffer->size() + room);
    }
    if (m_isEndOfFile) {
        return;
    }

    ogg_packet packet;
    while (true) {
        const OggPacketSource::Result result = m_source->nextPacket(packet);
        if (result == OggPacketSource::Result::EndOfFile) {
            // A file cut short: what was decoded stands, but the stream never
            // reached its end-of-stream page.
            m_isEndOfFile = true;
            flushResampler();
            noteDamage(DecoderDamage::Kind::NoEndOfStream);
            return;
        }
        if (m_source->serialNumber() != opus_serialno) {
            continue;
        }
        if (result == OggPacketSource::Result::Hole) {
            // A gap the page numbers showed is counted already.
            if (m_source->pagesMissing() == 0) {
                noteDamage(DecoderDamage::Kind::Hole);
            }
            continue;
        }
        if (isOpusHead(packet) || packet_count == 1) {
            // A repeated identification header, or the comment header.
            incrementPacketCount();
            continue;
        }
        break;
    }

    const int frames = opus_multistream_decode_float(st.get(), packet.packet, opus_int32(packet.bytes),
                                                     output.data(), kMaxFrameSize, 0);
    ZT_ASSERT(frames >= 0,
              QStringLiteral("Opus Decoding error: %1").arg(QString::fromUtf8(opus_strerror(frames))));
    link_out += writeFrames(output.data(), frames, maxout());
    incrementPacketCount();

    if (packet.e_o_s) {
        m_isEndOfFile = true;
        flushResampler();
    }
}

int64_t OggOpusDecoder::maxout() const
{
    const int64_t allowed = (m_source->pageGranule() - gran_offset) * m_rate / kDecodeRate - link_out;
    return std::max<int64_t>(allowed, 0);
}

int64_t OggOpusDecoder::writeFrames(const float* pcm, int frames, int64_t maxout)
{
    if (!resampler) {
        return emitFrames(pcm, frames, maxout);
    }
    const size_t channels = size_t(m_channels);
    // The output rate is never above 48 kHz, so the input length (plus what
    // the filter may release from before) bounds the output of one call.
    m_resampled.resize((size_t(frames) + 1024) * channels);
    size_t consumed = 0;
    size_t produced = 0;
    while (consumed < size_t(frames)) {
        if (produced == m_resampled.size() / channels) {
            m_resampled.resize(m_resampled.size() + 1024 * channels);
        }
        size_t used = 0;
        size_t made = 0;
        const soxr_error_t error = soxr_process(
            resampler.get(), pcm + consumed * channels, size_t(frames) - consumed, &used,
            m_resampled.data() + produced * channels, m_resampled.size() / channels - produced, &made);
        ZT_ASSERT(!error, QStringLiteral("Opus speex resampler error: %1.").arg(QString::fromUtf8(error)));
        consumed += used;
        produced += made;
    }
    return emitFrames(m_resampled.data(), int64_t(produced), maxout);
}

int64_t OggOpusDecoder::emitFrames(const float* data, int64_t count, int64_t maxout)
{
    const size_t channels = size_t(m_channels);
    if (preskip > 0) {
        const int64_t skipped = std::min<int64_t>(preskip, count);
        data += skipped * int64_t(channels);
        count -= skipped;
        preskip -= int32_t(skipped);
    }
    count = std::min(count, maxout);
    if (count <= 0) {
        return 0;
    }

    m_dithered.resize(size_t(count) * channels);
    shapemem->process(data, m_dithered.data(), int(count));
    const uint32_t bytes = uint32_t(m_dithered.size() * sizeof(int16_t));
    RingBuffer* buffer = pcmBuffer();
    if (buffer->freeSpaceAvailable() < bytes) {
        buffer->resize(buffer->size() + bytes);
    }
    std::memcpy(buffer->exposeBufferForWriting(), m_dithered.data(), bytes);
    buffer->wroteBytes(bytes);
    return count;
}

void OggOpusDecoder::flushResampler()
{
    if (!resampler || m_resamplerFlushed) {
        return;
    }
    m_resamplerFlushed = true;
    // No more input: libsoxr releases what its filter still holds.
    const size_t channels = size_t(m_channels);
    m_resampled.resize(4096 * channels);
    while (true) {
        size_t made = 0;
        const soxr_error_t error = soxr_process(resampler.get(), nullptr, 0, nullptr, m_resampled.data(),
                                                m_resampled.size() / channels, &made);
        ZT_ASSERT(!error, QStringLiteral("Opus speex resampler error: %1.").arg(QString::fromUtf8(error)));
        if (made == 0) {
            break;
        }
        link_out += emitFrames(m_resampled.data(), int64_t(made), maxout());
    }
}
