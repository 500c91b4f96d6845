#include "XiphPictureFields.h"

#include <QFile>
#include <taglib/oggfile.h>

namespace {

constexpr int kVorbisCommentBlockType = 4;
// Ogg FLAC streams carry one metadata block per packet; real files have a
// handful, and a damaged one must not make us walk the whole stream.
constexpr unsigned kMaxOggFLACMetadataPackets = 64;
constexpr qint64 kMaxCommentBlockLength = 1 << 24;

quint32 littleEndian32(const char* p)
{
    const auto* u = reinterpret_cast<const unsigned char*>(p);
    return quint32(u[0]) | (quint32(u[1]) << 8) | (quint32(u[2]) << 16) | (quint32(u[3]) << 24);
}

quint32 bigEndian24(const char* p)
{
    const auto* u = reinterpret_cast<const unsigned char*>(p);
    return (quint32(u[0]) << 16) | (quint32(u[1]) << 8) | quint32(u[2]);
}

QByteArray fromTagLib(const TagLib::ByteVector& bytes, unsigned offset)
{
    if (bytes.size() <= offset) {
        return {};
    }
    return QByteArray(bytes.data() + offset, qsizetype(bytes.size() - offset));
}

} // namespace

QByteArrayList XiphPictureFields::fromCommentData(const QByteArray& comment)
{
    static const QByteArray kKey = QByteArrayLiteral("METADATA_BLOCK_PICTURE=");
    QByteArrayList values;
    const qint64 size = comment.size();
    qint64 pos = 0;
    auto readLength = [&](quint32& length) {
        if (size - pos < 4) {
            return false;
        }
        length = littleEndian32(comment.constData() + pos);
        pos += 4;
        return qint64(length) <= size - pos;
    };
    quint32 vendorLength = 0;
    if (!readLength(vendorLength)) {
        return values;
    }
    pos += vendorLength;
    if (size - pos < 4) {
        return values;
    }
    const quint32 count = littleEndian32(comment.constData() + pos);
    pos += 4;
    for (quint32 i = 0; i < count; ++i) {
        quint32 length = 0;
        if (!readLength(length)) {
            break;
        }
        const QByteArray field = comment.mid(pos, length);
        pos += length;
        // Field names are case-insensitive ASCII.
        if (field.size() >= kKey.size() && field.left(kKey.size()).toUpper() == kKey) {
            values << field.mid(kKey.size());
        }
    }
    return values;
}

QByteArrayList XiphPictureFields::fromOggCommentPacket(TagLib::Ogg::File& file, int prefixLength)
{
    return fromCommentData(fromTagLib(file.packet(1), unsigned(prefixLength)));
}

QByteArrayList XiphPictureFields::fromOggFLAC(TagLib::Ogg::File& file)
{
    // Packet 0 is the mapping header with STREAMINFO; every later metadata
    // packet is one block with its 4-byte header.
    for (unsigned i = 1; i < kMaxOggFLACMetadataPackets; ++i) {
        const TagLib::ByteVector packet = file.packet(i);
        if (packet.size() < 4) {
            break;
        }
        const unsigned char header = static_cast<unsigned char>(packet[0]);
        if ((header & 0x7F) == kVorbisCommentBlockType) {
            return fromCommentData(fromTagLib(packet, 4));
        }
        if (header & 0x80) {
            break; // the last metadata block
        }
    }
    return {};
}

QByteArrayList XiphPictureFields::fromFLACFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    QByteArray head = file.read(10);
    qint64 pos = 0;
    if (head.size() == 10 && head.startsWith("ID3")) {
        const auto* u = reinterpret_cast<const unsigned char*>(head.constData());
        const qint64 tagSize = (qint64(u[6] & 0x7F) << 21) | (qint64(u[7] & 0x7F) << 14) |
                               (qint64(u[8] & 0x7F) << 7) | qint64(u[9] & 0x7F);
        pos = 10 + tagSize + ((u[5] & 0x10) ? 10 : 0);
    }
    if (!file.seek(pos) || file.read(4) != "fLaC") {
        return {};
    }
    pos += 4;
    for (;;) {
        const QByteArray blockHeader = file.read(4);
        if (blockHeader.size() != 4) {
            return {};
        }
        const unsigned char flags = static_cast<unsigned char>(blockHeader[0]);
        const qint64 length = bigEndian24(blockHeader.constData() + 1);
        pos += 4;
        if ((flags & 0x7F) == kVorbisCommentBlockType) {
            if (length > kMaxCommentBlockLength) {
                return {};
            }
            return fromCommentData(file.read(length));
        }
        if (flags & 0x80) {
            return {};
        }
        pos += length;
        if (pos >= file.size() || !file.seek(pos)) {
            return {};
        }
    }
}
