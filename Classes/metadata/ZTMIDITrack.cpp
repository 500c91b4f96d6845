#include "ZTMIDITrack.h"

#include <array>

namespace {

constexpr std::array<const char*, 10> kFlatTonics{"F",  "Bb", "Eb", "Ab",  "Db",
                                                  "Gb", "Cb", "Fb", "Bbb", "Ebb"};
constexpr std::array<const char*, 10> kSharpTonics{"G", "D", "A", "E", "B", "F#", "C#", "G#", "D#", "A#"};

// Bounded reads of the chunk: every access past the end gives 0 and marks
// the reader exhausted, so a lying length can only end the scan early.
class ChunkReader
{
public:
    explicit ChunkReader(const QByteArray& data) : m_data(data) {}

    bool atEnd() const { return m_pos >= m_data.size(); }
    qsizetype position() const { return m_pos; }
    uint8_t peek() const { return atEnd() ? 0 : uint8_t(m_data[m_pos]); }
    uint8_t byteAt(qsizetype pos) const { return pos < m_data.size() ? uint8_t(m_data[pos]) : 0; }
    uint8_t next() { return atEnd() ? (m_pos++, 0) : uint8_t(m_data[m_pos++]); }
    void skip(qint64 count)
    {
        m_pos = qsizetype(std::min<qint64>(qint64(m_data.size()), qint64(m_pos) + count));
    }
    void seek(qsizetype pos) { m_pos = std::min(pos, m_data.size()); }

    // 7 bits per byte, most significant first, while the top bit is set; at
    // most four bytes, as the format allows.
    uint32_t variableLength()
    {
        uint32_t value = 0;
        for (int i = 0; i < 4; ++i) {
            const uint8_t b = next();
            value = (value << 7) | (b & 0x7F);
            if (!(b & 0x80) || atEnd()) {
                break;
            }
        }
        return value;
    }

private:
    const QByteArray& m_data;
    qsizetype m_pos = 0;
};

std::optional<QString> keyName(uint8_t sharpsOrFlats, uint8_t minor)
{
    const unsigned index = sharpsOrFlats & 0x7F;
    if (index > 10) {
        return std::nullopt;
    }
    const char* tonic = "C";
    if (index > 0) {
        tonic = (sharpsOrFlats & 0x80) ? kFlatTonics[index - 1] : kSharpTonics[index - 1];
    }
    return QString::fromLatin1(tonic) + (minor ? QStringLiteral(" Minor") : QStringLiteral(" Major"));
}

} // namespace

std::unique_ptr<ZTMIDITrack> ZTMIDITrack::initWithData(const QByteArray& data)
{
    if (!data.startsWith("MTrk")) {
        return nullptr;
    }
    std::unique_ptr<ZTMIDITrack> track(new ZTMIDITrack);
    track->scan(data);
    return track;
}

void ZTMIDITrack::scan(const QByteArray& data)
{
    ChunkReader reader(data);
    uint8_t status = 0;
    while (!reader.atEnd()) {
        // Delta time.
        while (!reader.atEnd() && (reader.next() & 0x80)) {
        }
        if (reader.atEnd()) {
            break;
        }
        if (reader.peek() & 0x80) {
            status = reader.next();
        }
        if (status == 0xF0) {
            reader.skip(reader.variableLength());
        } else if (status == 0xFF) {
            const uint8_t type = reader.next();
            const uint32_t length = reader.variableLength();
            const qsizetype start = reader.position();
            if (type == 0x51 && length >= 3) {
                const uint32_t microsecondsPerBeat = (uint32_t(reader.byteAt(start)) << 16) |
                                                     (uint32_t(reader.byteAt(start + 1)) << 8) |
                                                     reader.byteAt(start + 2);
                if (microsecondsPerBeat != 0) {
                    m_bpm = int32_t(60000000u / microsecondsPerBeat);
                }
            } else if (type == 0x59 && length >= 2) {
                if (std::optional<QString> key = keyName(reader.byteAt(start), reader.byteAt(start + 1))) {
                    m_key = std::move(key);
                }
            }
            reader.seek(start);
            reader.skip(length);
        } else {
            switch (status >> 4) {
            case 0x8:
            case 0x9:
            case 0xA:
            case 0xB:
            case 0xE:
                reader.skip(2);
                break;
            case 0xC:
            case 0xD:
                reader.skip(1);
                break;
            default:
                break; // F1 to FE and running status 0: no data bytes
            }
        }
    }
}
