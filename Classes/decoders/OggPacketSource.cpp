#include "OggPacketSource.h"

#include "NamedException.h"

#include <QFile>
#include <cerrno>
#include <cstring>

namespace {

constexpr long kReadSize = 200;
// Twice the largest Ogg page: the last whole page lies within it.
constexpr long kTailSize = 128 * 1024;

QString systemError()
{
    return QString::fromLocal8Bit(std::strerror(errno));
}

} // namespace

OggPacketSource::OggPacketSource(const QString& path)
{
    ogg_sync_init(&m_syncState);
    std::memset(&m_streamState, 0, sizeof m_streamState);
    std::memset(&m_page, 0, sizeof m_page);
    m_file.reset(std::fopen(QFile::encodeName(path).constData(), "rb"));
    if (!m_file) {
        const QString error = systemError();
        ogg_sync_clear(&m_syncState);
        ZT_FAIL(QStringLiteral("Unable to open the input file (%1).").arg(error));
    }
}

OggPacketSource::~OggPacketSource()
{
    if (m_streamInitialised) {
        ogg_stream_clear(&m_streamState);
    }
    ogg_sync_clear(&m_syncState);
}

bool OggPacketSource::readChunk()
{
    char* data = ogg_sync_buffer(&m_syncState, kReadSize);
    ZT_ASSERT(data, QStringLiteral("Ogg decoding error (ogg_sync_wrote)."));
    const size_t got = std::fread(data, 1, size_t(kReadSize), m_file.get());
    ZT_ASSERT(!std::ferror(m_file.get()),
              QStringLiteral("Unable to read from the input file (%1).").arg(systemError()));
    ZT_ASSERT(ogg_sync_wrote(&m_syncState, long(got)) == 0,
              QStringLiteral("Ogg decoding error (ogg_sync_wrote)."));
    return got > 0;
}

bool OggPacketSource::readPage()
{
    while (true) {
        const int status = ogg_sync_pageout(&m_syncState, &m_page);
        if (status == 1) {
            break;
        }
        // 0: more data needed; -1: bytes skipped to find the next page.
        if (status == 0 && !readChunk()) {
            return false;
        }
    }

    const int serial = ogg_page_serialno(&m_page);
    if (!m_streamInitialised) {
        ogg_stream_init(&m_streamState, serial);
        m_streamInitialised = true;
    } else if (serial != m_streamState.serialno) {
        ogg_stream_reset_serialno(&m_streamState, serial);
    }
    ZT_ASSERT(ogg_stream_pagein(&m_streamState, &m_page) == 0, QStringLiteral("Error reading Ogg page."));

    m_havePage = true;
    m_pageGranule = ogg_page_granulepos(&m_page);
    m_pagePackets = ogg_page_packets(&m_page);
    m_pageIsEndOfStream = ogg_page_eos(&m_page) != 0;
    const long pageNumber = ogg_page_pageno(&m_page);
    const auto last = m_lastPageNumber.find(serial);
    m_pagesMissing =
        last != m_lastPageNumber.end() && pageNumber > last->second + 1 ? pageNumber - last->second - 1 : 0;
    m_lastPageNumber[serial] = pageNumber;
    if (onPage) {
        onPage();
    }
    return true;
}

OggPacketSource::Result OggPacketSource::nextPacket(ogg_packet& packet)
{
    while (true) {
        if (m_streamInitialised) {
            const int status = ogg_stream_packetout(&m_streamState, &packet);
            if (status == 1) {
                return Result::Packet;
            }
            if (status == -1) {
                return Result::Hole;
            }
        }
        if (!readPage()) {
            return Result::EndOfFile;
        }
    }
}

bool OggPacketSource::lastPageEndsStream(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return false;
    }
    if (file.size() > kTailSize) {
        file.seek(file.size() - kTailSize);
    }
    const QByteArray tail = file.read(kTailSize);
    ogg_sync_state sync;
    ogg_sync_init(&sync);
    bool endsStream = false;
    if (char* data = ogg_sync_buffer(&sync, long(tail.size()))) {
        std::memcpy(data, tail.constData(), size_t(tail.size()));
        ogg_sync_wrote(&sync, long(tail.size()));
        ogg_page page;
        int status;
        // Pages are checked by their CRC; bytes before the first whole one
        // and a partial page at the end are skipped.
        while ((status = ogg_sync_pageout(&sync, &page)) != 0) {
            if (status == 1) {
                endsStream = ogg_page_eos(&page) != 0;
            }
        }
    }
    ogg_sync_clear(&sync);
    return endsStream;
}
