#include "DecoderDamage.h"

#include <QStringList>
#include <algorithm>
#include <cmath>

namespace {

// How each kind reads in the report, for one occurrence and for several
// ("%n" the count). Positions follow as ", first at m:ss.d" (or " at" for
// one occurrence); the end of the stream and the signature, which happen
// once, are written out below.
struct Phrase
{
    DecoderDamage::Kind kind;
    const char* one;
    const char* many;
};
constexpr std::array<Phrase, 8> kPhrases{{
    {DecoderDamage::Kind::LostSync, "lost sync", "lost sync %n times"},
    {DecoderDamage::Kind::BadHeader, "1 frame header is damaged", "%n frame headers are damaged"},
    {DecoderDamage::Kind::FailedCRC, "1 frame failed its CRC", "%n frames failed their CRC"},
    {DecoderDamage::Kind::Unparseable, "the stream could not be parsed",
     "the stream could not be parsed %n times"},
    {DecoderDamage::Kind::Hole, "a hole in the stream", "%n holes in the stream"},
    {DecoderDamage::Kind::MissingPages, "1 page is missing", "%n pages are missing"},
    {DecoderDamage::Kind::FailedPackets, "1 packet failed to decode", "%n packets failed to decode"},
    {DecoderDamage::Kind::ReadError, "a read failed", "%n reads failed"},
}};

} // namespace

void DecoderDamage::note(Kind kind, int64_t frame, int64_t count)
{
    Entry& entry = m_entries[size_t(kind)];
    if (entry.count == 0) {
        entry.firstFrame = std::max<int64_t>(frame, 0);
    }
    entry.count += count;
}

void DecoderDamage::noteEndedEarly(int64_t frame, int64_t total)
{
    note(Kind::EndsEarly, frame);
    m_announcedFrames = total;
}

bool DecoderDamage::isDamaged() const
{
    for (const Entry& entry : m_entries) {
        if (entry.count > 0) {
            return true;
        }
    }
    return false;
}

int64_t DecoderDamage::firstFrame(Kind kind) const
{
    return m_entries[size_t(kind)].firstFrame;
}

QString DecoderDamage::timeText(int64_t frame, double sampleRate)
{
    const double seconds = sampleRate > 0 ? double(std::max<int64_t>(frame, 0)) / sampleRate : 0.0;
    // Tenths, rounded down, so that a position never reads later than it is.
    const int64_t tenths = int64_t(std::floor(seconds * 10.0));
    return QStringLiteral("%1:%2.%3")
        .arg(tenths / 600)
        .arg((tenths / 10) % 60, 2, 10, QLatin1Char('0'))
        .arg(tenths % 10);
}

QString DecoderDamage::describe(double sampleRate) const
{
    QStringList parts;
    for (const Phrase& phrase : kPhrases) {
        const Entry& entry = m_entries[size_t(phrase.kind)];
        if (entry.count == 0) {
            continue;
        }
        const QString at = timeText(entry.firstFrame, sampleRate);
        if (entry.count == 1) {
            parts << QStringLiteral("%1 at %2").arg(QString::fromLatin1(phrase.one), at);
        } else {
            parts << QStringLiteral("%1, first at %2")
                         .arg(QString::fromLatin1(phrase.many)
                                  .replace(QStringLiteral("%n"), QString::number(entry.count)),
                              at);
        }
    }
    const Entry& noEnd = m_entries[size_t(Kind::NoEndOfStream)];
    const Entry& early = m_entries[size_t(Kind::EndsEarly)];
    if (early.count > 0) {
        parts << QStringLiteral("stream ends at %1 of %2")
                     .arg(timeText(early.firstFrame, sampleRate), timeText(m_announcedFrames, sampleRate));
    } else if (noEnd.count > 0) {
        parts << QStringLiteral("stream ends at %1 without its end-of-stream page")
                     .arg(timeText(noEnd.firstFrame, sampleRate));
    }
    if (parts.isEmpty() && m_entries[size_t(Kind::ChecksumMismatch)].count > 0) {
        parts << QStringLiteral("MD5 signature does not match the decoded audio");
    }
    return parts.join(QStringLiteral("; "));
}
