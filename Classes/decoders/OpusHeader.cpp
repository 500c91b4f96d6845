#include "OpusHeader.h"

#include <cstring>

namespace {

class Reader
{
public:
    Reader(const unsigned char* data, size_t length) : m_data(data), m_length(length) {}

    bool u8(int& value)
    {
        if (m_position + 1 > m_length) {
            return false;
        }
        value = m_data[m_position++];
        return true;
    }
    bool u16(int& value)
    {
        if (m_position + 2 > m_length) {
            return false;
        }
        value = m_data[m_position] | (m_data[m_position + 1] << 8);
        m_position += 2;
        return true;
    }
    bool u32(uint32_t& value)
    {
        if (m_position + 4 > m_length) {
            return false;
        }
        value = uint32_t(m_data[m_position]) | (uint32_t(m_data[m_position + 1]) << 8) |
                (uint32_t(m_data[m_position + 2]) << 16) | (uint32_t(m_data[m_position + 3]) << 24);
        m_position += 4;
        return true;
    }

private:
    const unsigned char* m_data;
    size_t m_length;
    size_t m_position = 8; // after the magic
};

} // namespace

std::optional<OpusHeader> OpusHeader::parse(const unsigned char* packet, size_t length)
{
    if (!packet || length < 8 || std::memcmp(packet, "OpusHead", 8) != 0) {
        return std::nullopt;
    }

    OpusHeader header;
    Reader reader(packet, length);
    int gain = 0;
    if (!reader.u8(header.version) || !reader.u8(header.channels) || !reader.u16(header.preskip) ||
        !reader.u32(header.inputSampleRate) || !reader.u16(gain) || !reader.u8(header.channelMapping)) {
        return std::nullopt;
    }
    header.gain = int16_t(uint16_t(gain));
    // Minor versions stay compatible; a new major version may not.
    if ((header.version & 0xF0) != 0 || header.channels == 0) {
        return std::nullopt;
    }

    if (header.channelMapping == 0) {
        if (header.channels > 2) {
            return std::nullopt;
        }
        header.nbStreams = 1;
        header.nbCoupled = header.channels - 1;
        header.streamMap[0] = 0;
        header.streamMap[1] = 1;
        return header;
    }

    if (!reader.u8(header.nbStreams) || !reader.u8(header.nbCoupled)) {
        return std::nullopt;
    }
    if (header.nbStreams < 1 || header.nbCoupled > header.nbStreams ||
        header.nbStreams + header.nbCoupled > 255) {
        return std::nullopt;
    }
    for (int channel = 0; channel < header.channels; ++channel) {
        int index = 0;
        if (!reader.u8(index)) {
            return std::nullopt;
        }
        // 255 is a silent channel; anything else must name a decoded one.
        if (index != 255 && index >= header.nbStreams + header.nbCoupled) {
            return std::nullopt;
        }
        header.streamMap[size_t(channel)] = (unsigned char)index;
    }
    return header;
}
