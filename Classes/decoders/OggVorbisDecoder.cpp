#include "OggVorbisDecoder.h"

#include "ChannelLayouts.h"
#include "ErrorLog.h"
#include "NamedException.h"
#include "OggPacketSource.h"

#include <QFile>
#include <QtGlobal>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

struct FileCloser
{
    void operator()(FILE* file) const { std::fclose(file); }
};

} // namespace

void OggVorbisDecoder::VorbisFileDeleter::operator()(OggVorbis_File* file) const
{
    // ov_clear also closes the file that ov_test took over.
    if (ov_clear(file) != 0) {
        qWarning("ov_clear failed");
    }
    delete file;
}

bool OggVorbisDecoder::initWithFilename(const QString& path)
{
    if (!ZTDecoder::initWithFilename(path)) {
        return false;
    }

    std::unique_ptr<FILE, FileCloser> file(std::fopen(QFile::encodeName(path).constData(), "rb"));
    ZT_ASSERT(
        file,
        QStringLiteral("Opening Input File Failed: %1.").arg(QString::fromLocal8Bit(std::strerror(errno))));

    auto vorbisFile = std::make_unique<OggVorbis_File>();
    // On failure ov_test leaves the file open and the state cleared, so the
    // file stays ours until it succeeds.
    ZT_ASSERT(ov_test(file.get(), vorbisFile.get(), nullptr, 0) == 0,
              QStringLiteral("Failed ov_test.  Not a vaild Ogg Vorbis file."));
    file.release();
    m_oggVorbisFile.reset(vorbisFile.release());

    ZT_ASSERT(ov_test_open(m_oggVorbisFile.get()) == 0,
              QStringLiteral("Failed ov_test_open.  Could not open input file."));
    const vorbis_info* info = ov_info(m_oggVorbisFile.get(), -1);
    ZT_ASSERT(info, QStringLiteral("Failed ov_info. Unable to get Ogg Vorbis Info."));

    setSignedPackedFormat(double(info->rate), uint32_t(info->channels), 16, 2);
    if (m_decodeFormat.mBytesPerFrame == 0) {
        ErrorLog::logMessage(QStringLiteral("Failed To Determine mBytesPerFrame."));
        return false;
    }
    setChannelLayout(ChannelLayouts::vorbisLayout(uint32_t(info->channels)));
    return true;
}

int64_t OggVorbisDecoder::totalFrames()
{
    return ov_pcm_total(m_oggVorbisFile.get(), -1);
}

void OggVorbisDecoder::fillPCMBuffer()
{
    RingBuffer* buffer = pcmBuffer();
    char* writeArea = reinterpret_cast<char*>(buffer->exposeBufferForWriting());
    const long freeSpace = long(buffer->freeSpaceAvailable());

    long got = 0;
    int section = 0;
    while (true) {
        const long n =
            ov_read(m_oggVorbisFile.get(), writeArea + got, int(freeSpace - got), 0, 2, 1, &section);
        if (n == OV_HOLE) {
            // Lost or damaged pages: libvorbisfile goes on after the gap.
            m_damage.note(DecoderDamage::Kind::Hole, decodedFrames() + got / m_decodeFormat.mBytesPerFrame);
            continue;
        }
        ZT_ASSERT(n >= 0, QStringLiteral("ov_read Failed."));
        if (n == 0) {
            m_isEndOfFile = true;
            if (!OggPacketSource::lastPageEndsStream(m_inFilePath)) {
                m_damage.note(DecoderDamage::Kind::NoEndOfStream,
                              decodedFrames() + got / m_decodeFormat.mBytesPerFrame);
            }
            break;
        }
        got += n;
        // Stop once the space left is smaller than the last read: another
        // packet would most likely not fit.
        if (got >= freeSpace - n) {
            break;
        }
    }
    buffer->wroteBytes(uint32_t(got));
}
