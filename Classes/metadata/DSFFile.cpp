#include "DSFFile.h"

#include "TagLibReading.h"

#include <QFile>
#include <QtEndian>
#include <algorithm>
#include <climits>
#include <taglib/id3v2tag.h>
#include <taglib/tfile.h>
#include <taglib/tfilestream.h>

namespace {

constexpr qint64 kHeaderSize = 28 + 52;

// A TagLib file over a stream, with no tag or properties of its own: what
// ID3v2::Tag needs to read its frames from the stream.
class StreamWindow : public TagLib::File
{
public:
    explicit StreamWindow(TagLib::IOStream* stream) : TagLib::File(stream) {}
    TagLib::Tag* tag() const override { return nullptr; }
    TagLib::AudioProperties* audioProperties() const override { return nullptr; }
    bool save() override { return false; }
};

uint32_t le32(const char* p)
{
    return qFromLittleEndian<quint32>(p);
}

uint64_t le64(const char* p)
{
    return qFromLittleEndian<quint64>(p);
}

} // namespace

DSFFile::DSFFile(const QString& path)
{
    readHeader(path);
    if (!m_valid || m_metadataOffset == 0) {
        return;
    }
    m_stream = std::make_unique<TagLib::FileStream>(TagLibReading::fileName(path).constData(), true);
    if (!m_stream->isOpen() || m_metadataOffset > uint64_t(m_stream->length())) {
        return;
    }
    m_stream->seek(long(m_metadataOffset));
    if (m_stream->readBlock(3) != TagLib::ByteVector("ID3", 3)) {
        return;
    }
    m_tagFile = std::make_unique<StreamWindow>(m_stream.get());
    m_tag = std::make_unique<TagLib::ID3v2::Tag>(m_tagFile.get(), long(m_metadataOffset));
}

DSFFile::~DSFFile()
{
    // The tag and the window refer to the stream: drop them first.
    m_tag.reset();
    m_tagFile.reset();
    m_stream.reset();
}

void DSFFile::readHeader(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return;
    }
    const QByteArray header = file.read(kHeaderSize);
    if (header.size() != kHeaderSize || !header.startsWith("DSD ") || header.mid(28, 4) != "fmt ") {
        return;
    }
    const char* p = header.constData();
    m_metadataOffset = le64(p + 20);
    m_channels = le32(p + 52);
    m_sampleRate = le32(p + 56);
    m_bitsPerSample = le32(p + 60);
    m_sampleCount = le64(p + 64);
    m_valid = m_sampleRate != 0 && m_channels != 0;
}

int DSFFile::lengthInSeconds() const
{
    // A damaged header can announce any counts: the results saturate
    // instead of wrapping.
    return m_sampleRate == 0 ? 0 : int(std::min<uint64_t>(m_sampleCount / m_sampleRate, INT_MAX));
}

int DSFFile::bitrate() const
{
    const unsigned __int128 bitsPerSecond =
        static_cast<unsigned __int128>(uint64_t(m_sampleRate) * m_channels) * m_bitsPerSample;
    return int(std::min<unsigned __int128>((bitsPerSecond + 500) / 1000, INT_MAX));
}
