#include "MP3Frame.h"

namespace {

// kbit/s by bit rate index (1..14); 0 is free format, 15 is forbidden.
constexpr std::array<int, 15> kMpeg1Kbps = {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320};
constexpr std::array<int, 15> kMpeg2Kbps = {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160};
// Sample rate by sample rate index, MPEG-1; halved for MPEG-2, quartered for MPEG-2.5.
constexpr std::array<int, 3> kMpeg1Rates = {44100, 48000, 32000};

// Reads bits MSB first from a byte run.
class BitReader
{
public:
    explicit BitReader(const uint8_t* bytes) : m_bytes(bytes) {}
    int read(int bits)
    {
        int value = 0;
        for (int i = 0; i < bits; ++i, ++m_position) {
            value = value << 1 | ((m_bytes[m_position >> 3] >> (7 - (m_position & 7))) & 1);
        }
        return value;
    }
    void skip(int bits) { m_position += bits; }

private:
    const uint8_t* m_bytes;
    int m_position = 0;
};

// The CRC-16 of protected frames: polynomial 0x8005, initial value 0xFFFF, MSB first.
uint16_t crc16(uint16_t crc, const uint8_t* bytes, int count)
{
    for (int i = 0; i < count; ++i) {
        crc ^= uint16_t(bytes[i]) << 8;
        for (int b = 0; b < 8; ++b) {
            crc = (crc & 0x8000) ? uint16_t(crc << 1 ^ 0x8005) : uint16_t(crc << 1);
        }
    }
    return crc;
}

} // namespace

// The header, 32 bits, MSB first:
//   31-21 sync (all ones)      20-19 version (3 MPEG-1, 2 MPEG-2, 0 MPEG-2.5, 1 reserved)
//   18-17 layer (1 layer III)  16 protection (0: a CRC-16 word follows the header)
//   15-12 bit rate index       11-10 sample rate index     9 padding (one more slot byte)
//   8 private                  7-6 channel mode (3 mono)   5-4 mode extension
//   3 copyright  2 original    1-0 emphasis
//
// The side information after it (and after the CRC word):
//   MPEG-1: main_data_begin 9, private bits 5 (mono) / 3, scfsi 4 per channel, then for each of
//           2 granules and each channel 59 bits (17 bytes mono, 32 stereo).
//   MPEG-2/2.5: main_data_begin 8, private bits 1 (mono) / 2, then for the one granule and each
//           channel 63 bits (9 bytes mono, 17 stereo).
//   Per granule and channel: part2_3_length 12, big_values 9, global_gain 8, scalefac_compress
//   4 (MPEG-1) / 9 (MPEG-2), window_switching_flag 1, then 22 bits: with window switching
//   block_type 2, mixed_block_flag 1, table_select 2x5, subblock_gain 3x3; without it
//   table_select 3x5, region0_count 4, region1_count 3 (block type 0); then preflag 1
//   (MPEG-1 only), scalefac_scale 1, count1table_select 1.
std::optional<MP3Frame> MP3Frame::parse(QByteArrayView bytes)
{
    if (bytes.size() < 4) {
        return std::nullopt;
    }
    const auto* p = reinterpret_cast<const uint8_t*>(bytes.data());
    const uint32_t word = uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3];
    const uint32_t version = (word >> 19) & 3;
    const uint32_t layer = (word >> 17) & 3;
    const uint32_t bitrateIndex = (word >> 12) & 15;
    const uint32_t rateIndex = (word >> 10) & 3;
    if ((word & 0xFFE00000u) != 0xFFE00000u || version == 1 || layer != 1 || bitrateIndex == 0 ||
        bitrateIndex == 15 || rateIndex == 3) {
        return std::nullopt;
    }
    MP3Frame frame;
    frame.m_mpeg1 = version == 3;
    frame.m_protected = ((word >> 16) & 1) == 0;
    frame.m_sampleRate = kMpeg1Rates[rateIndex] / (version == 3 ? 1 : version == 2 ? 2 : 4);
    frame.m_bitrateIndex = int(bitrateIndex);
    frame.m_padding = int((word >> 9) & 1);
    frame.m_channels = ((word >> 6) & 3) == 3 ? 1 : 2;
    frame.m_frameBytes = frame.frameBytesAt(frame.m_bitrateIndex);
    frame.m_formatKey = (word >> 16 & 0x1F) << 3 | rateIndex << 1 | (frame.m_channels == 1 ? 1 : 0);
    if (bytes.size() < frame.m_frameBytes || frame.m_frameBytes < frame.headBytes()) {
        return std::nullopt;
    }

    BitReader side(p + 4 + (frame.m_protected ? 2 : 0));
    frame.m_mainDataBegin = side.read(frame.m_mpeg1 ? 9 : 8);
    side.skip(frame.m_mpeg1 ? (frame.m_channels == 1 ? 5 : 3) + 4 * frame.m_channels
                            : (frame.m_channels == 1 ? 1 : 2));
    for (int gr = 0; gr < frame.granules(); ++gr) {
        for (int ch = 0; ch < frame.m_channels; ++ch) {
            frame.m_mainDataBits += side.read(12);
            side.skip(9 + 8 + (frame.m_mpeg1 ? 4 : 9));
            const bool windowSwitching = side.read(1) != 0;
            const int blockType = windowSwitching ? side.read(2) : 0;
            side.skip(windowSwitching ? 20 : 22);
            side.skip(frame.m_mpeg1 ? 3 : 2);
            if (gr == 0) {
                frame.m_shortStart[size_t(ch)] = blockType >= 2;
            }
        }
    }
    return frame;
}

int MP3Frame::kbpsAt(int bitrateIndex) const
{
    return (m_mpeg1 ? kMpeg1Kbps : kMpeg2Kbps)[size_t(bitrateIndex)];
}

int MP3Frame::frameBytesAt(int bitrateIndex) const
{
    // 1152 samples per MPEG-1 frame, 576 per MPEG-2/2.5 frame, 8 bits per slot byte.
    return (m_mpeg1 ? 144000 : 72000) * kbpsAt(bitrateIndex) / m_sampleRate + m_padding;
}

int MP3Frame::sideInfoBytes() const
{
    return m_mpeg1 ? (m_channels == 1 ? 17 : 32) : (m_channels == 1 ? 9 : 17);
}

void MP3Frame::setBitrateIndex(char* head, int bitrateIndex)
{
    head[2] = char((uint8_t(head[2]) & 0x0F) | bitrateIndex << 4);
}

void MP3Frame::setMainDataBegin(char* head, int mainDataBegin) const
{
    auto* side = reinterpret_cast<uint8_t*>(head + 4 + (m_protected ? 2 : 0));
    if (m_mpeg1) {
        // 9 bits: all of byte 0 and the top bit of byte 1.
        side[0] = uint8_t(mainDataBegin >> 1);
        side[1] = uint8_t((side[1] & 0x7F) | (mainDataBegin & 1) << 7);
    } else {
        side[0] = uint8_t(mainDataBegin);
    }
}

void MP3Frame::updateCrc(char* head) const
{
    if (!m_protected) {
        return;
    }
    // Over the header's last two bytes and the side information.
    const auto* bytes = reinterpret_cast<const uint8_t*>(head);
    uint16_t crc = crc16(0xFFFF, bytes + 2, 2);
    crc = crc16(crc, bytes + 6, sideInfoBytes());
    head[4] = char(crc >> 8);
    head[5] = char(crc & 0xFF);
}
