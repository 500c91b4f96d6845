#pragma once
// One MPEG-1/2/2.5 layer III frame as the stream joiner sees it: the fields
// of its 4-byte header and of its side information that say where the frame
// ends, where its main data lies and which windows its granules use, and the
// few edits the joiner makes (bit rate index, main_data_begin, CRC).
//
// parse() reads a frame at the start of some bytes and never throws: bytes
// that are not a whole layer III frame of a known bit rate give nothing.
// Value type; no threads of its own.

#include <QByteArrayView>
#include <array>
#include <cstdint>
#include <optional>

class MP3Frame
{
public:
    static std::optional<MP3Frame> parse(QByteArrayView bytes);

    // Frame bytes for this frame's version, sample rate and padding at another bit rate index.
    int frameBytesAt(int bitrateIndex) const;
    // The bit rate in kbit/s at an index, for this frame's version.
    int kbpsAt(int bitrateIndex) const;

    bool mpeg1() const { return m_mpeg1; }
    int bitrateIndex() const { return m_bitrateIndex; }
    int kbps() const { return kbpsAt(m_bitrateIndex); }
    int channels() const { return m_channels; }
    int granules() const { return m_mpeg1 ? 2 : 1; }
    int samplesPerFrame() const { return m_mpeg1 ? 1152 : 576; }
    // Bytes of the whole frame (header to the next header).
    int frameBytes() const { return m_frameBytes; }
    // Header, CRC word when protected, side information: what precedes the frame's main data slots.
    int headBytes() const { return 4 + (m_protected ? 2 : 0) + sideInfoBytes(); }
    int sideInfoBytes() const;
    // Bytes of main data slots this frame carries (its part of the bit reservoir).
    int payloadBytes() const { return m_frameBytes - headBytes(); }
    // How far before the end of the side information its main data begins, in slot bytes.
    int mainDataBegin() const { return m_mainDataBegin; }
    // Bytes of main data (scale factors and Huffman data of every granule and channel), rounded up.
    int mainDataBytes() const { return (m_mainDataBits + 7) / 8; }
    // The largest main_data_begin the side information can hold.
    int mainDataBeginLimit() const { return m_mpeg1 ? 511 : 255; }
    // True when the first half of the window of granule 0, channel ch, is short (block types 2
    // and 3); false for the long first half of block types 0 and 1.
    bool shortStart(int ch) const { return m_shortStart[size_t(ch)]; }
    // What must be the same in every frame of one stream: version, layer, sample rate, mono or
    // not, CRC protection.
    uint32_t formatKey() const { return m_formatKey; }

    // Edits of a frame's head bytes (at least headBytes() of them, starting at its header).
    static void setBitrateIndex(char* head, int bitrateIndex);
    void setMainDataBegin(char* head, int mainDataBegin) const;
    // Recomputes the CRC word of a protected frame after an edit; nothing for an unprotected one.
    void updateCrc(char* head) const;

private:
    bool m_mpeg1 = true;
    bool m_protected = false;
    int m_sampleRate = 0;
    int m_bitrateIndex = 0;
    int m_padding = 0;
    int m_channels = 2;
    int m_frameBytes = 0;
    int m_mainDataBegin = 0;
    int m_mainDataBits = 0;
    std::array<bool, 2> m_shortStart{};
    uint32_t m_formatKey = 0;
};
