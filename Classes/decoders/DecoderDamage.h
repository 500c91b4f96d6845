#pragma once
// What a decoder found wrong with its source while decoding it: lost sync,
// frames that failed their checksum, holes, missing pages, a stream that
// stops before the length it announced, a signature that does not match the
// decoded audio. Every decoder fills one (ZTDecoder::damage()); the encode
// operation reads it once the source is decoded and reports the file as
// converted from a damaged source.
//
// Each kind is counted on its own, with the position (in frames of the
// decoded output) where it was first met. describe() turns the record into
// the clause of the error-log line: "3 frames failed their CRC, first at
// 0:08.4; stream ends at 0:12.0 of 0:20.0".
//
// Threads: owned by one decoder and used on its thread; read once the
// decoding has ended.

#include <QString>
#include <array>
#include <cstdint>

class DecoderDamage
{
public:
    enum class Kind
    {
        LostSync,         // bytes skipped to find the next frame
        BadHeader,        // a frame header that could not be read
        FailedCRC,        // a frame whose checksum does not match
        Unparseable,      // data the decoder could not parse at all
        Hole,             // a gap in the packets
        MissingPages,     // Ogg pages missing by sequence number
        NoEndOfStream,    // an Ogg stream that stops without its end-of-stream page
        FailedPackets,    // packets (or frames) the codec refused
        ReadError,        // a read that failed midway
        ChecksumMismatch, // the stream's MD5 signature does not match the decoded audio
        EndsEarly,        // the stream ends before the length it announced
    };
    static constexpr size_t kKindCount = size_t(Kind::EndsEarly) + 1;

    // Counts count occurrences of kind at frame (the first position is kept).
    void note(Kind kind, int64_t frame, int64_t count = 1);
    // The stream ended at frame, announced as total frames long.
    void noteEndedEarly(int64_t frame, int64_t total);

    bool isDamaged() const;
    int64_t count(Kind kind) const { return m_entries[size_t(kind)].count; }
    // The first position of kind in frames; -1 when it was not met.
    int64_t firstFrame(Kind kind) const;

    // The findings in one clause, positions at sampleRate frames a second;
    // "" for an undamaged source. A signature mismatch is only named when it
    // is the only finding: any other damage breaks the signature as well.
    QString describe(double sampleRate) const;

    // "m:ss.d" for a position in frames.
    static QString timeText(int64_t frame, double sampleRate);

private:
    struct Entry
    {
        int64_t count = 0;
        int64_t firstFrame = -1;
    };
    std::array<Entry, kKindCount> m_entries{};
    int64_t m_announcedFrames = -1;
};
