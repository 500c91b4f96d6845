#include "MusepackDecoder.h"

#include "ChannelLayouts.h"
#include "ErrorLog.h"
#include "NamedException.h"

#include <QFile>
#include <algorithm>
#include <cmath>
#include <vector>

namespace {

// Frames per library frame: room for one is needed before decoding.
constexpr uint32_t kFrameLength = 1152;
constexpr uint32_t kOutputBits = 16;

} // namespace

MusepackDecoder::~MusepackDecoder()
{
    // The demuxer reads through the reader: it goes first.
    m_demux.reset();
    if (m_readerOpen) {
        mpc_reader_exit_stdio(&m_reader);
    }
}

bool MusepackDecoder::initWithFilename(const QString& path)
{
    if (!ZTDecoder::initWithFilename(path)) {
        return false;
    }
    if (mpc_reader_init_stdio(&m_reader, QFile::encodeName(path).constData()) != MPC_STATUS_OK) {
        ZT_FAIL(QStringLiteral("Could Not Initialize MCP Reader."));
    }
    m_readerOpen = true;
    m_demux.reset(mpc_demux_init(&m_reader));
    if (!m_demux) {
        ZT_FAIL(QStringLiteral("Could Not Create MPC Demuxer."));
    }
    mpc_demux_get_info(m_demux.get(), &m_si);

    setSignedPackedFormat(double(m_si.sample_freq), m_si.channels, kOutputBits, kOutputBits / 8);
    if (m_decodeFormat.mBytesPerFrame == 0) {
        ErrorLog::logMessage(QStringLiteral("Failed To Determine mBytesPerFrame."));
        return false;
    }
    setChannelLayout(ChannelLayouts::monoStereoLayout(m_si.channels));
    return true;
}

int32_t MusepackDecoder::quantize(float sample, uint32_t bits)
{
    const double scale = double(int64_t(1) << (bits - 1));
    const double value = std::trunc(double(sample) * scale);
    return int32_t(std::clamp(value, -scale, scale - 1.0));
}

void MusepackDecoder::fillPCMBuffer()
{
    RingBuffer* buffer = pcmBuffer();
    if (buffer->freeSpaceAvailable() < m_decodeFormat.mBytesPerFrame * kFrameLength) {
        return;
    }
    m_samples.resize(MPC_DECODER_BUFFER_LENGTH);
    mpc_frame_info frame{};
    frame.buffer = m_samples.data();
    // A frame the library cannot decode is the end as well: going on would
    // give nothing, read after read. It is damage, unlike the regular end.
    const mpc_status status = mpc_demux_decode(m_demux.get(), &frame);
    if (status != MPC_STATUS_OK || frame.bits == -1) {
        if (status != MPC_STATUS_OK) {
            noteDamage(DecoderDamage::Kind::FailedPackets);
        }
        m_isEndOfFile = true;
        return;
    }
    const uint32_t bits = m_decodeFormat.mBitsPerChannel;
    if (bits != 8 && bits != 16 && bits != 24 && bits != 32) {
        NamedException::raise(kIllegalInputException,
                              QStringLiteral("Musepack Does Not Support %1 Bit Files").arg(bits));
    }
    const uint32_t bytesPerSample = bits / 8;
    const uint32_t frames = std::min(frame.samples, kFrameLength);
    uint8_t* out = buffer->exposeBufferForWriting();
    const uint32_t count = frames * m_decodeFormat.mChannelsPerFrame;
    if (bits == 16) {
        // The one depth this decoder delivers, in a loop the compiler can
        // vectorise: a float product truncates as the wider one would.
        for (uint32_t i = 0; i < count; ++i) {
            const float scaled = std::clamp(m_samples[i] * 32768.0f, -32768.0f, 32767.0f);
            const auto value = uint16_t(int16_t(scaled));
            out[2 * i] = uint8_t(value);
            out[2 * i + 1] = uint8_t(value >> 8);
        }
    } else {
        for (uint32_t i = 0; i < count; ++i) {
            const uint32_t value = uint32_t(quantize(m_samples[i], bits));
            for (uint32_t b = 0; b < bytesPerSample; ++b) {
                *out++ = uint8_t(value >> (8 * b));
            }
        }
    }
    buffer->wroteBytes(frames * m_decodeFormat.mBytesPerFrame);
}
