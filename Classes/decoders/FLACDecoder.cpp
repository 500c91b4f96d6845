#include "FLACDecoder.h"

#include "ChannelLayouts.h"
#include "ErrorLog.h"
#include "NamedException.h"
#include "StreamSignature.h"

#include <QFile>
#include <array>
#include <utility>

namespace {

// What each complaint of libFLAC's error callback counts as.
struct ErrorKind
{
    FLAC__StreamDecoderErrorStatus status;
    DecoderDamage::Kind kind;
};
constexpr std::array<ErrorKind, 4> kErrorKinds{{
    {FLAC__STREAM_DECODER_ERROR_STATUS_LOST_SYNC, DecoderDamage::Kind::LostSync},
    {FLAC__STREAM_DECODER_ERROR_STATUS_BAD_HEADER, DecoderDamage::Kind::BadHeader},
    {FLAC__STREAM_DECODER_ERROR_STATUS_FRAME_CRC_MISMATCH, DecoderDamage::Kind::FailedCRC},
    {FLAC__STREAM_DECODER_ERROR_STATUS_UNPARSEABLE_STREAM, DecoderDamage::Kind::Unparseable},
}};

// Interleaves one block, keeping the low `Bytes` bytes of each 32-bit sample,
// little-endian.
template <unsigned Bytes>
void interleave(uint8_t* out, const FLAC__int32* const buffer[], unsigned channels, unsigned blocksize)
{
    for (unsigned frame = 0; frame < blocksize; ++frame) {
        for (unsigned channel = 0; channel < channels; ++channel) {
            const uint32_t sample = uint32_t(buffer[channel][frame]);
            for (unsigned byte = 0; byte < Bytes; ++byte) {
                *out++ = uint8_t(sample >> (8 * byte));
            }
        }
    }
}

} // namespace

void FLACDecoder::StreamDecoderDeleter::operator()(FLAC__StreamDecoder* decoder) const
{
    FLAC__stream_decoder_finish(decoder);
    FLAC__stream_decoder_delete(decoder);
}

bool FLACDecoder::initWithFilename(const QString& path)
{
    if (!ZTDecoder::initWithFilename(path)) {
        return false;
    }

    m_flac.reset(FLAC__stream_decoder_new());
    if (!m_flac) {
        ErrorLog::logMessage(QStringLiteral("Could Not Create FLAC Decoder For File: %1").arg(path));
        return false;
    }

    // The decoded audio is summed here, against the STREAMINFO signature
    // (m_signature), rather than by libFLAC, whose sum costs half again.
    FLAC__stream_decoder_set_md5_checking(m_flac.get(), false);
    const FLAC__StreamDecoderInitStatus status =
        initStream(m_flac.get(), QFile::encodeName(path).constData());
    if (status != FLAC__STREAM_DECODER_INIT_STATUS_OK) {
        ErrorLog::logMessage(QStringLiteral("Initialization of FLAC Decoder Failed For File: %1 Error: %2")
                                 .arg(path)
                                 .arg(int(status)));
        return false;
    }

    const bool processed = FLAC__stream_decoder_process_until_end_of_metadata(m_flac.get());
    rethrowPendingException();
    if (!processed) {
        ErrorLog::logMessage(
            QStringLiteral("FLAC Stream Decoder Failed To Process Metadata For File: %1").arg(path));
        return false;
    }

    const uint32_t bytesPerSample = m_decodeFormat.mBitsPerChannel / 8;
    setSignedPackedFormat(m_decodeFormat.mSampleRate, m_decodeFormat.mChannelsPerFrame,
                          m_decodeFormat.mBitsPerChannel, bytesPerSample);
    if (m_decodeFormat.mBytesPerFrame == 0) {
        ErrorLog::logMessage(QStringLiteral("Failed To Determine mBytesPerFrame."));
        return false;
    }
    return true;
}

FLAC__StreamDecoderInitStatus FLACDecoder::initStream(FLAC__StreamDecoder* decoder, const char* nativePath)
{
    return FLAC__stream_decoder_init_file(decoder, nativePath, writeCallback, metadataCallback, errorCallback,
                                          this);
}

void FLACDecoder::fillPCMBuffer()
{
    if (m_isEndOfFile) {
        return;
    }
    if (FLAC__stream_decoder_get_state(m_flac.get()) == FLAC__STREAM_DECODER_END_OF_STREAM) {
        endOfStream();
        return;
    }

    RingBuffer* buffer = pcmBuffer();
    do {
        // The shape of the last decoded block stands in for the next one.
        const uint32_t need = (FLAC__stream_decoder_get_bits_per_sample(m_flac.get()) / 8) *
                              FLAC__stream_decoder_get_blocksize(m_flac.get()) *
                              FLAC__stream_decoder_get_channels(m_flac.get());
        if (buffer->size() < need) {
            buffer->resize(need);
        }
        if (buffer->freeSpaceAvailable() < need) {
            return;
        }

        const bool processed = FLAC__stream_decoder_process_single(m_flac.get());
        rethrowPendingException();
        ZT_ASSERT(processed,
                  QStringLiteral("FLAC__stream_decoder_process_single failed: %1")
                      .arg(QString::fromUtf8(FLAC__stream_decoder_get_resolved_state_string(m_flac.get()))));
    } while (FLAC__stream_decoder_get_state(m_flac.get()) != FLAC__STREAM_DECODER_END_OF_STREAM);

    endOfStream();
}

bool FLACDecoder::seekToFrame(int64_t frame)
{
    if (m_isEndOfFile || frame < 0 || (m_totalSamples > 0 && uint64_t(frame) >= m_totalSamples)) {
        return false;
    }
    // The signature covers the whole stream, which is no longer all read.
    m_signature.reset();
    const bool sought = FLAC__stream_decoder_seek_absolute(m_flac.get(), FLAC__uint64(frame));
    rethrowPendingException();
    if (!sought) {
        m_isEndOfFile = true;
        return false;
    }
    didSeekTo(frame);
    return true;
}

void FLACDecoder::endOfStream()
{
    m_isEndOfFile = true;
    if (m_signature && !std::exchange(m_signature, nullptr)->matches()) {
        noteDamage(DecoderDamage::Kind::ChecksumMismatch);
    }
}

void FLACDecoder::writeBlock(const FLAC__Frame* frame, const FLAC__int32* const buffer[])
{
    const unsigned bitsPerSample = frame->header.bits_per_sample;
    const unsigned channels = frame->header.channels;
    const unsigned blocksize = frame->header.blocksize;
    const uint32_t bytes = (bitsPerSample / 8) * blocksize * channels;

    RingBuffer* ring = pcmBuffer();
    if (ring->freeSpaceAvailable() < bytes) {
        ring->resize(ring->size() + bytes);
    }

    uint8_t* out = ring->exposeBufferForWriting();
    switch (bitsPerSample) {
    case 8:
        interleave<1>(out, buffer, channels, blocksize);
        break;
    case 16:
        interleave<2>(out, buffer, channels, blocksize);
        break;
    case 24:
        interleave<3>(out, buffer, channels, blocksize);
        break;
    case 32:
        interleave<4>(out, buffer, channels, blocksize);
        break;
    default:
        NamedException::raise(kIllegalInputException,
                              QStringLiteral("FLAC Does Not Support %1 Bit Files").arg(bitsPerSample));
    }
    // These depths are packed in (bits + 7) / 8 bytes: the signature's form.
    if (m_signature) {
        m_signature->add(out, bytes);
    }
    ring->wroteBytes(bytes);
}

void FLACDecoder::rethrowPendingException()
{
    if (m_pendingException) {
        std::rethrow_exception(std::exchange(m_pendingException, nullptr));
    }
}

FLAC__StreamDecoderWriteStatus FLACDecoder::writeCallback(const FLAC__StreamDecoder* decoder,
                                                          const FLAC__Frame* frame,
                                                          const FLAC__int32* const buffer[], void* clientData)
{
    auto* self = static_cast<FLACDecoder*>(clientData);
    try {
        self->writeBlock(frame, buffer);
    } catch (...) {
        // Unwinding through libFLAC's C frames is not allowed: keep the
        // exception and let fillPCMBuffer() rethrow it once libFLAC returned.
        self->m_pendingException = std::current_exception();
        return FLAC__STREAM_DECODER_WRITE_STATUS_ABORT;
    }
    return FLAC__STREAM_DECODER_WRITE_STATUS_CONTINUE;
}

void FLACDecoder::metadataCallback(const FLAC__StreamDecoder* decoder, const FLAC__StreamMetadata* metadata,
                                   void* clientData)
{
    if (metadata->type != FLAC__METADATA_TYPE_STREAMINFO) {
        return;
    }
    auto* self = static_cast<FLACDecoder*>(clientData);
    const FLAC__StreamMetadata_StreamInfo& info = metadata->data.stream_info;
    try {
        self->setTotalSamples(info.total_samples);
        self->m_packetFrames = std::max<int64_t>(self->m_packetFrames, info.max_blocksize);
        self->setSampleRate(info.sample_rate);
        self->setBitsPerChannel(info.bits_per_sample);
        self->setChannelsPerFrame(info.channels);
        self->setAudioChannelLayout(ChannelLayouts::flacLayout(info.channels));
        if (StreamSignature::isSet(info.md5sum)) {
            std::array<uint8_t, 16> expected;
            std::copy(std::begin(info.md5sum), std::end(info.md5sum), expected.begin());
            self->m_signature = std::make_unique<StreamSignature>(expected);
        }
    } catch (...) {
        // Only an allocation of the layout can throw here.
        self->m_pendingException = std::current_exception();
    }
}

void FLACDecoder::errorCallback(const FLAC__StreamDecoder* decoder, FLAC__StreamDecoderErrorStatus status,
                                void* clientData)
{
    // Lost sync and bad frames are reported here; libFLAC skips them and
    // goes on with the next frame, which is what a converter wants, but the
    // output then lacks what they held.
    auto* self = static_cast<FLACDecoder*>(clientData);
    for (const ErrorKind& row : kErrorKinds) {
        if (row.status == status) {
            self->noteDamage(row.kind);
            return;
        }
    }
    self->noteDamage(DecoderDamage::Kind::Unparseable);
}
