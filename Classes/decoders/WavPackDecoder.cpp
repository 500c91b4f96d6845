#include "WavPackDecoder.h"

#include "ChannelLayouts.h"
#include "ErrorLog.h"
#include "NamedException.h"

#include <QFile>
#include <array>

namespace {

// Correction file when present, DSD as PCM.
constexpr int kOpenFlags = OPEN_WVC | OPEN_DSD_AS_PCM;
static_assert(kOpenFlags == 513);

// Samples (not frames) unpacked per fill.
constexpr uint32_t kSamplesPerFill = 1024;

} // namespace

bool WavPackDecoder::initWithFilename(const QString& path)
{
    if (!ZTDecoder::initWithFilename(path)) {
        return false;
    }
    std::array<char, 128> error{};
    m_wpc.reset(WavpackOpenFileInput(QFile::encodeName(path).constData(), error.data(), kOpenFlags, 0));
    if (!m_wpc) {
        ZT_FAIL(QStringLiteral("can't open file: %1.").arg(QString::fromLocal8Bit(error.data())));
    }
    const uint32_t channels = uint32_t(WavpackGetNumChannels(m_wpc.get()));
    const uint32_t bits = uint32_t(WavpackGetBitsPerSample(m_wpc.get()));
    setSignedPackedFormat(double(WavpackGetSampleRate(m_wpc.get())), channels, bits, bits / 8);
    if (m_decodeFormat.mBytesPerFrame == 0) {
        ErrorLog::logMessage(QStringLiteral("Failed To Determine mBytesPerFrame."));
        return false;
    }
    setChannelLayout(ChannelLayouts::monoStereoLayout(channels));

    std::array<unsigned char, 16> stored{};
    const int mode = WavpackGetMode(m_wpc.get());
    if ((mode & MODE_MD5) && (mode & MODE_LOSSLESS) && !(mode & MODE_FLOAT) &&
        !(WavpackGetQualifyMode(m_wpc.get()) & QMODE_DSD_AUDIO) && bits % 8 == 0 &&
        WavpackGetBytesPerSample(m_wpc.get()) == int(bits / 8) &&
        WavpackGetMD5Sum(m_wpc.get(), stored.data())) {
        m_storedMD5 = stored;
    }
    return true;
}

void WavPackDecoder::hashFrames(const uint8_t* out, uint32_t frames)
{
    const uint32_t bytes = frames * m_decodeFormat.mBytesPerFrame;
    if (m_decodeFormat.mBitsPerChannel != 8) {
        m_md5.addData(QByteArrayView(out, qsizetype(bytes)));
        return;
    }
    // The signature sums 8-bit audio as WAV holds it: unsigned.
    QByteArray unsignedBytes(qsizetype(bytes), Qt::Uninitialized);
    for (uint32_t i = 0; i < bytes; ++i) {
        unsignedBytes[qsizetype(i)] = char(uint8_t(out[i] + 128));
    }
    m_md5.addData(unsignedBytes);
}

void WavPackDecoder::checkSignature()
{
    // Hybrid blocks decoded without their correction file are known only
    // once decoded: their audio cannot match the signature of the original.
    if (!m_storedMD5 || !(WavpackGetMode(m_wpc.get()) & MODE_LOSSLESS)) {
        return;
    }
    const QByteArray computed = m_md5.result();
    if (computed != QByteArray(reinterpret_cast<const char*>(m_storedMD5->data()), 16)) {
        noteDamage(DecoderDamage::Kind::ChecksumMismatch);
    }
}

bool WavPackDecoder::seekToFrame(int64_t frame)
{
    if (!WavpackSeekSample64(m_wpc.get(), frame)) {
        m_isEndOfFile = true;
        return false;
    }
    // The signature covers the whole stream, which is no longer all read.
    m_storedMD5.reset();
    didSeekTo(frame);
    return true;
}

int64_t WavPackDecoder::totalFrames()
{
    return WavpackGetNumSamples64(m_wpc.get());
}

void WavPackDecoder::fillPCMBuffer()
{
    RingBuffer* buffer = pcmBuffer();
    const uint32_t bits = m_decodeFormat.mBitsPerChannel;
    if (buffer->freeSpaceAvailable() < bits / 8 * kSamplesPerFill) {
        return;
    }
    const uint32_t channels = m_decodeFormat.mChannelsPerFrame;
    std::array<int32_t, kSamplesPerFill> samples;
    const uint32_t frames = WavpackUnpackSamples(m_wpc.get(), samples.data(), kSamplesPerFill / channels);
    const int errors = WavpackGetNumErrors(m_wpc.get());
    if (errors > m_errorsSeen) {
        noteDamage(DecoderDamage::Kind::FailedCRC, errors - m_errorsSeen);
        m_errorsSeen = errors;
    }
    if (frames == 0) {
        m_isEndOfFile = true;
        checkSignature();
        return;
    }
    if (bits != 8 && bits != 16 && bits != 24 && bits != 32) {
        NamedException::raise(kIllegalInputException,
                              QStringLiteral("WavPack Does Not Support %1 Bit Files").arg(bits));
    }
    const uint32_t bytesPerSample = bits / 8;
    uint8_t* out = buffer->exposeBufferForWriting();
    const uint32_t count = frames * channels;
    if (bytesPerSample == 2) {
        // The common depth, in a loop the compiler can vectorise.
        for (uint32_t i = 0; i < count; ++i) {
            out[2 * i] = uint8_t(samples[i]);
            out[2 * i + 1] = uint8_t(uint32_t(samples[i]) >> 8);
        }
    } else {
        for (uint32_t i = 0; i < count; ++i) {
            const uint32_t sample = uint32_t(samples[i]);
            for (uint32_t b = 0; b < bytesPerSample; ++b) {
                *out++ = uint8_t(sample >> (8 * b));
            }
        }
    }
    if (m_storedMD5) {
        hashFrames(buffer->exposeBufferForWriting(), frames);
    }
    buffer->wroteBytes(m_decodeFormat.mBytesPerFrame * frames);
}
