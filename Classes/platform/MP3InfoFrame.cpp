#include "MP3InfoFrame.h"

#include <QFile>
#include <array>

namespace {

uint32_t bigEndian32(const QByteArray& bytes, qsizetype at)
{
    return uint32_t(uint8_t(bytes[at])) << 24 | uint32_t(uint8_t(bytes[at + 1])) << 16 |
           uint32_t(uint8_t(bytes[at + 2])) << 8 | uint32_t(uint8_t(bytes[at + 3]));
}

// An ID3v2 tag before the audio: "ID3", version (2), flags (1), size as four
// 7-bit bytes, then the tag; a footer of 10 more bytes when flag 0x10 is set.
qint64 id3v2Length(const QByteArray& header)
{
    if (header.size() < 10 || !header.startsWith("ID3")) {
        return 0;
    }
    qint64 size = 0;
    for (int i = 6; i < 10; ++i) {
        if (uint8_t(header[i]) & 0x80) {
            return 0;
        }
        size = size << 7 | uint8_t(header[i]);
    }
    return 10 + size + ((uint8_t(header[5]) & 0x10) ? 10 : 0);
}

// The frame header's fields this needs: MPEG version bits 19-20 (3: MPEG-1,
// 2: MPEG-2, 0: MPEG-2.5), layer bits 17-18 (1: layer III), no-CRC bit 16,
// channel mode bits 6-7 (3: mono).
struct FrameHeader
{
    bool mpeg1 = false;
    bool mono = false;
    bool crc = false;
};

bool readHeader(uint32_t word, FrameHeader& header)
{
    const uint32_t version = (word >> 19) & 3;
    const uint32_t layer = (word >> 17) & 3;
    const uint32_t bitrate = (word >> 12) & 15;
    const uint32_t sampleRate = (word >> 10) & 3;
    if ((word & 0xFFE00000u) != 0xFFE00000u || version == 1 || layer != 1 || bitrate == 15 ||
        sampleRate == 3) {
        return false;
    }
    header.mpeg1 = version == 3;
    header.mono = ((word >> 6) & 3) == 3;
    header.crc = ((word >> 16) & 1) == 0;
    return true;
}

// Xing/Info: "Xing" or "Info", flags (4, big-endian: 1 frames, 2 bytes,
// 4 table of contents, 8 quality), then the fields the flags name in that
// order (4, 4, 100, 4 bytes). LAME's tag follows: encoder name (9), revision
// and method (1), low-pass (1), peak (4), two gains (2 + 2), flags (1),
// bit rate (1), then delay and padding as two 12-bit numbers (3).
int64_t fromXing(const QByteArray& frame, qsizetype at, int64_t samplesPerFrame)
{
    if (frame.size() < at + 8) {
        return -1;
    }
    const uint32_t flags = bigEndian32(frame, at + 4);
    if (!(flags & 1) || frame.size() < at + 12) {
        return -1;
    }
    const int64_t frames = bigEndian32(frame, at + 8);
    qsizetype lame = at + 12 + ((flags & 2) ? 4 : 0) + ((flags & 4) ? 100 : 0) + ((flags & 8) ? 4 : 0);
    int64_t trimmed = 0;
    if (frame.size() >= lame + 24 && frame.mid(lame, 4) == "LAME") {
        const uint32_t gap = uint32_t(uint8_t(frame[lame + 21])) << 16 |
                             uint32_t(uint8_t(frame[lame + 22])) << 8 | uint8_t(frame[lame + 23]);
        trimmed = int64_t(gap >> 12) + int64_t(gap & 0xFFF);
    }
    const int64_t total = frames * samplesPerFrame - trimmed;
    return frames > 0 && total > 0 ? total : -1;
}

// VBRI, 32 bytes after the frame header: "VBRI", version (2), delay (2),
// quality (2), bytes (4), frames (4).
int64_t fromVBRI(const QByteArray& frame, int64_t samplesPerFrame)
{
    constexpr qsizetype kAt = 4 + 32;
    if (frame.size() < kAt + 18 || frame.mid(kAt, 4) != "VBRI") {
        return -1;
    }
    const int64_t frames = bigEndian32(frame, kAt + 14);
    return frames > 0 ? frames * samplesPerFrame : -1;
}

} // namespace

int64_t MP3InfoFrame::announcedFrames(const QByteArray& frame)
{
    FrameHeader header;
    if (frame.size() < 4 || !readHeader(bigEndian32(frame, 0), header)) {
        return -1;
    }
    const int64_t samplesPerFrame = header.mpeg1 ? 1152 : 576;
    // The side information before the tag: 32 or 17 bytes for MPEG-1,
    // 17 or 9 for MPEG-2 and 2.5 (stereo or mono). A CRC word is not counted:
    // LAME writes the tag there in a protected frame too, and that is where
    // FFmpeg and LAME's own reader look.
    const qsizetype sideInformation = header.mpeg1 ? (header.mono ? 17 : 32) : (header.mono ? 9 : 17);
    const qsizetype at = 4 + sideInformation;
    const QByteArray name = frame.mid(at, 4);
    if (name == "Xing" || name == "Info") {
        return fromXing(frame, at, samplesPerFrame);
    }
    return fromVBRI(frame, samplesPerFrame);
}

int64_t MP3InfoFrame::announcedFrames(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return -1;
    }
    const qint64 start = id3v2Length(file.read(10));
    if (!file.seek(start)) {
        return -1;
    }
    // The header sits in the first frame, which is at most 2881 bytes long;
    // a few bytes of padding may come before it.
    constexpr qint64 kLookAhead = 4096;
    const QByteArray bytes = file.read(kLookAhead);
    for (qsizetype i = 0; i + 4 <= bytes.size() && i < 512; ++i) {
        FrameHeader header;
        if (uint8_t(bytes[i]) == 0xFF && readHeader(bigEndian32(bytes, i), header)) {
            return announcedFrames(bytes.mid(i));
        }
    }
    return -1;
}
