#include "CueSheet.h"

#include <FLAC/metadata.h>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QStringDecoder>
#include <array>
#include <libcue.h>
#include <memory>
#include <mutex>

namespace {

struct CdDeleter
{
    void operator()(Cd* cd) const { cd_delete(cd); }
};
using CdPointer = std::unique_ptr<Cd, CdDeleter>;

struct BlockDeleter
{
    void operator()(FLAC__StreamMetadata* block) const { FLAC__metadata_object_delete(block); }
};
using BlockPointer = std::unique_ptr<FLAC__StreamMetadata, BlockDeleter>;

// libcue's scanner and parser keep their state in globals.
std::mutex& parserLock()
{
    static std::mutex lock;
    return lock;
}

// Windows-1252 is Latin-1 but for 0x80 to 0x9F; the five codes it leaves
// undefined read as Latin-1's control characters.
constexpr std::array<char16_t, 32> kWindows1252High{
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

QString fromWindows1252(const QByteArray& bytes)
{
    QString text(bytes.size(), Qt::Uninitialized);
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        const auto byte = uchar(bytes[i]);
        text[i] = QChar(byte >= 0x80 && byte < 0xA0 ? kWindows1252High[byte - 0x80] : char16_t(byte));
    }
    return text;
}

QString fromLibcue(const char* value)
{
    return value ? QString::fromUtf8(value) : QString();
}

// An album-level REM value: what follows the key, without quotes.
QString remValue(const QString& text, const char* key)
{
    const QRegularExpression line(QStringLiteral("^\\s*REM\\s+%1\\s+(.*?)\\s*$").arg(QLatin1String(key)),
                                  QRegularExpression::MultilineOption |
                                      QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch match = line.match(text);
    if (!match.hasMatch()) {
        return {};
    }
    QString value = match.captured(1);
    if (value.size() >= 2 && value.startsWith(u'"') && value.endsWith(u'"')) {
        value = value.mid(1, value.size() - 2);
    }
    return value;
}

std::optional<int> remNumber(const QString& text, const char* key)
{
    bool ok = false;
    const int number = remValue(text, key).toInt(&ok);
    return ok && number > 0 ? std::optional<int>(number) : std::nullopt;
}

// Whether every line starts with a word of the cue sheet language. libcue
// prints its syntax errors to standard error and leaks what it had built
// when it gives up, so text that is plainly something else never reaches it.
bool looksLikeACueSheet(const QString& text)
{
    static const QRegularExpression line(
        QStringLiteral("^\\s*(REM|CATALOG|CDTEXTFILE|FILE|FLAGS|INDEX|ISRC|PERFORMER|POSTGAP|PREGAP|"
                       "SONGWRITER|TITLE|TRACK|ARRANGER|COMPOSER|MESSAGE|DISC_ID|GENRE|TOC_INFO1|TOC_INFO2|"
                       "UPC_EAN|SIZE_INFO)(\\s|$)"),
        QRegularExpression::CaseInsensitiveOption);
    bool anyTrack = false;
    for (const QStringView row : QStringView(text).split(u'\n')) {
        const QStringView trimmed = row.trimmed();
        if (trimmed.isEmpty()) {
            continue;
        }
        if (!line.match(trimmed.toString()).hasMatch()) {
            return false;
        }
        anyTrack = anyTrack || trimmed.startsWith(QLatin1String("TRACK"), Qt::CaseInsensitive);
    }
    return anyTrack;
}

} // namespace

QString CueSheet::textOf(const QByteArray& bytes)
{
    if (bytes.startsWith("\xEF\xBB\xBF")) {
        return QString::fromUtf8(bytes.mid(3));
    }
    if (bytes.startsWith("\xFF\xFE") || bytes.startsWith("\xFE\xFF")) {
        QStringDecoder utf16(bytes.startsWith("\xFF\xFE") ? QStringDecoder::Utf16LE
                                                          : QStringDecoder::Utf16BE);
        return utf16.decode(bytes.mid(2));
    }
    QStringDecoder utf8(QStringDecoder::Utf8);
    const QString text = utf8.decode(bytes);
    return utf8.hasError() ? fromWindows1252(bytes) : text;
}

CueSheet CueSheet::parse(const QByteArray& bytes, QString* error)
{
    CueSheet sheet;
    // libcue reads up to a NUL; the parser's text ends at the first one.
    QString text = textOf(bytes);
    text.truncate(text.indexOf(QChar(0)) < 0 ? text.size() : text.indexOf(QChar(0)));
    const QByteArray utf8 = text.toUtf8();

    CdPointer cd;
    if (looksLikeACueSheet(text)) {
        std::lock_guard lock(parserLock());
        cd.reset(cue_parse_string(utf8.constData()));
    }
    const int count = cd ? cd_get_ntrack(cd.get()) : 0;
    if (count <= 0) {
        if (error) {
            *error = QStringLiteral("Not a cue sheet");
        }
        return sheet;
    }

    const Cdtext* album = cd_get_cdtext(cd.get());
    sheet.title = fromLibcue(cdtext_get(PTI_TITLE, album));
    sheet.performer = fromLibcue(cdtext_get(PTI_PERFORMER, album));
    // The album's REM lines come before the first track.
    const QRegularExpression firstTrack(QStringLiteral("^\\s*TRACK\\s"),
                                        QRegularExpression::MultilineOption |
                                            QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch trackLine = firstTrack.match(text);
    const QString head = trackLine.hasMatch() ? text.left(trackLine.capturedStart()) : text;
    sheet.date = remValue(head, "DATE");
    sheet.genre = remValue(head, "GENRE");
    sheet.comment = remValue(head, "COMMENT");
    sheet.discNumber = remNumber(head, "DISCNUMBER");
    sheet.totalDiscs = remNumber(head, "TOTALDISCS");

    for (int i = 1; i <= count; ++i) {
        const Track* track = cd_get_track(cd.get(), i);
        if (track == nullptr) {
            continue;
        }
        const Cdtext* fields = track_get_cdtext(track);
        CueTrack entry;
        entry.number = i;
        entry.file = fromLibcue(track_get_filename(track));
        entry.start = track_get_index(track, 1);
        entry.title = fromLibcue(cdtext_get(PTI_TITLE, fields));
        entry.performer = fromLibcue(cdtext_get(PTI_PERFORMER, fields));
        entry.songwriter = fromLibcue(cdtext_get(PTI_SONGWRITER, fields));
        entry.isrc = fromLibcue(track_get_isrc(track));
        sheet.tracks.append(entry);
    }
    return sheet;
}

std::optional<CueSheet::Span> CueSheet::span(int index, int sampleRate, qint64 fileSamples,
                                             QString* problem) const
{
    auto fail = [&](const QString& words) {
        if (problem) {
            *problem = words;
        }
        return std::nullopt;
    };
    if (index < 0 || index >= tracks.size() || sampleRate <= 0) {
        return fail(QStringLiteral("no such track"));
    }
    const CueTrack& track = tracks[index];
    // libcue answers -1 for a missing INDEX 01.
    if (track.start < 0) {
        return fail(QStringLiteral("track %1 has no INDEX 01").arg(track.number));
    }
    // The first track of a later file starts at that file's start: a gap
    // before its INDEX 01 cannot play at the end of a track in another file.
    const bool firstOfFile = index == 0 || tracks[index - 1].file != track.file;
    Span span;
    span.start = firstOfFile && index > 0 ? 0 : samplesOf(track.start, sampleRate);
    qint64 end = fileSamples;
    const bool last = index + 1 == tracks.size() || tracks[index + 1].file != track.file;
    if (!last) {
        end = samplesOf(tracks[index + 1].start, sampleRate);
        if (tracks[index + 1].start < track.start) {
            return fail(QStringLiteral("the index of track %1 runs backwards").arg(track.number + 1));
        }
    }
    if (span.start >= fileSamples || end > fileSamples) {
        return fail(QStringLiteral("track %1 runs past the end of %2").arg(track.number).arg(track.file));
    }
    if (end <= span.start) {
        return fail(QStringLiteral("track %1 has no length").arg(track.number));
    }
    span.length = end - span.start;
    if (index == 0) {
        span.leftOut = span.start;
    }
    return span;
}

std::optional<CueSheet> CueSheet::embeddedIn(const QString& flacPath)
{
    const QByteArray nativePath = QFile::encodeName(flacPath);
    CueSheet sheet;
    FLAC__StreamMetadata* found = nullptr;
    if (FLAC__metadata_get_cuesheet(nativePath.constData(), &found)) {
        const BlockPointer block(found);
        const FLAC__StreamMetadata_CueSheet& cue = block->data.cue_sheet;
        FLAC__StreamMetadata streamInfo{};
        if (!FLAC__metadata_get_streaminfo(nativePath.constData(), &streamInfo)) {
            return std::nullopt;
        }
        const qint64 rate = streamInfo.data.stream_info.sample_rate;
        // Offsets are in samples; the lead-out (the last track) only ends
        // the one before it.
        for (uint32_t i = 0; i + 1 < cue.num_tracks && rate > 0; ++i) {
            const FLAC__StreamMetadata_CueSheet_Track& track = cue.tracks[i];
            if (track.type != 0) {
                continue;
            }
            qint64 start = -1;
            for (uint32_t j = 0; j < track.num_indices; ++j) {
                if (track.indices[j].number == 1) {
                    start = qint64(track.offset + track.indices[j].offset);
                }
            }
            CueTrack entry;
            entry.number = int(sheet.tracks.size()) + 1;
            entry.file = QFileInfo(flacPath).fileName();
            entry.start = start < 0 ? -1 : start * kFramesPerSecond / rate;
            entry.isrc = QString::fromLatin1(track.isrc).trimmed();
            sheet.tracks.append(entry);
        }
        if (!sheet.tracks.isEmpty()) {
            return sheet;
        }
    }
    FLAC__StreamMetadata* tags = nullptr;
    if (!FLAC__metadata_get_tags(nativePath.constData(), &tags)) {
        return std::nullopt;
    }
    const BlockPointer comments(tags);
    const int at = FLAC__metadata_object_vorbiscomment_find_entry_from(comments.get(), 0, "CUESHEET");
    if (at < 0) {
        return std::nullopt;
    }
    const FLAC__StreamMetadata_VorbisComment_Entry& entry = comments->data.vorbis_comment.comments[at];
    // A sheet is a few kilobytes; a comment of megabytes is something else.
    if (entry.length > (1u << 20)) {
        return std::nullopt;
    }
    const QByteArray text(reinterpret_cast<const char*>(entry.entry), qsizetype(entry.length));
    sheet = parse(text.mid(text.indexOf('=') + 1));
    for (CueTrack& track : sheet.tracks) {
        track.file = QFileInfo(flacPath).fileName();
    }
    return sheet.tracks.isEmpty() ? std::nullopt : std::optional<CueSheet>(sheet);
}

QStringList CueSheet::files() const
{
    QStringList names;
    for (const CueTrack& track : tracks) {
        if (!names.contains(track.file)) {
            names.append(track.file);
        }
    }
    return names;
}
