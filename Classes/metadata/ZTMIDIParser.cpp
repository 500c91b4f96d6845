#include "ZTMIDIParser.h"

namespace {

// Big-endian value of count bytes at pos; bytes past the end read as 0.
uint32_t bigEndian(const QByteArray& data, qint64 pos, int count)
{
    uint32_t value = 0;
    for (int i = 0; i < count; ++i) {
        const qint64 at = pos + i;
        value = (value << 8) | (at < data.size() ? uint8_t(data[qsizetype(at)]) : 0u);
    }
    return value;
}

constexpr qint64 kFirstTrackOffset = 14;
constexpr qint64 kChunkHeaderSize = 8;

} // namespace

std::unique_ptr<ZTMIDIParser> ZTMIDIParser::initWithData(const QByteArray& data)
{
    if (data.size() <= 5 || !data.startsWith("MThd")) {
        return nullptr;
    }
    std::unique_ptr<ZTMIDIParser> parser(new ZTMIDIParser);
    parser->m_headerChunkSize = bigEndian(data, 4, 4);
    parser->m_format = uint16_t(bigEndian(data, 8, 2));
    parser->m_trackCount = uint16_t(bigEndian(data, 10, 2));
    const uint16_t division = uint16_t(bigEndian(data, 12, 2));
    if (division & 0x8000) {
        parser->m_timeFormat = true;
        parser->m_ticksPerFrame = uint8_t(division & 0xFF);
        parser->m_framesPerSecond = uint8_t((division >> 8) & 0x7F);
    } else {
        parser->m_ticksPerBeat = division;
    }

    qint64 chunkStart = kFirstTrackOffset;
    for (unsigned i = 0; i < parser->m_trackCount && chunkStart < data.size(); ++i) {
        const qint64 length = bigEndian(data, chunkStart + 4, 4);
        // A chunk that claims more than the buffer holds is cut at its end.
        const qint64 chunkSize = std::min(length + kChunkHeaderSize, qint64(data.size()) - chunkStart);
        if (std::unique_ptr<ZTMIDITrack> track =
                ZTMIDITrack::initWithData(data.mid(qsizetype(chunkStart), qsizetype(chunkSize)))) {
            parser->m_tracks.push_back(std::move(track));
        }
        chunkStart += length + kChunkHeaderSize;
    }
    return parser;
}
