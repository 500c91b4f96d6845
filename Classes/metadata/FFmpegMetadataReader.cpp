#include "FFmpegMetadataReader.h"

#include "ErrorLog.h"
#include "FFmpegError.h"
#include "FFmpegInput.h"
#include "FFmpegPointers.h"
#include "NaturalLanguageDate.h"
#include "TableRows.h"
#include "TagValue.h"

#include <QFile>
#include <array>

namespace {

using Field = AudioMetadata::Field;

enum class Entry
{
    Album,
    Artist,
    Author,
    AlbumArtist,
    Title,
    Comment,
    Copyright,
    Composer,
    Lyrics,
    Bpm,
    Compilation,
    Genre,
    Date,
    Track,
    Disc,
    Count
};

enum class Kind
{
    Text,
    Integer,
    Year,
    NumberAndTotal,
};

struct EntryRow
{
    Entry entry;
    const char* key;
    Field field;
    Field totalField;
    Kind kind;
};

constexpr std::array<EntryRow, size_t(Entry::Count)> kEntries{{
    {Entry::Album, "album", Field::albumTitle, Field::albumTitle, Kind::Text},
    {Entry::Artist, "artist", Field::trackArtist, Field::trackArtist, Kind::Text},
    {Entry::Author, "author", Field::trackArtist, Field::trackArtist, Kind::Text},
    {Entry::AlbumArtist, "album_artist", Field::albumArtist, Field::albumArtist, Kind::Text},
    {Entry::Title, "title", Field::trackTitle, Field::trackTitle, Kind::Text},
    {Entry::Comment, "comment", Field::trackComment, Field::trackComment, Kind::Text},
    {Entry::Copyright, "copyright", Field::trackCopyright, Field::trackCopyright, Kind::Text},
    {Entry::Composer, "composer", Field::trackComposer, Field::trackComposer, Kind::Text},
    {Entry::Lyrics, "lyrics", Field::lyrics, Field::lyrics, Kind::Text},
    {Entry::Bpm, "bpm", Field::bpm, Field::bpm, Kind::Integer},
    {Entry::Compilation, "compilation", Field::partOfACompilation, Field::partOfACompilation, Kind::Integer},
    {Entry::Genre, "genre", Field::trackGenre, Field::trackGenre, Kind::Text},
    {Entry::Date, "date", Field::trackYear, Field::trackYear, Kind::Year},
    {Entry::Track, "track", Field::trackNumber, Field::totalTracks, Kind::NumberAndTotal},
    {Entry::Disc, "disc", Field::discNumber, Field::discTotal, Kind::NumberAndTotal},
}};

static_assert(TableRows::followEnum(kEntries, &EntryRow::entry), "the rows follow their enum");

} // namespace

void FFmpegMetadataReader::addMetadataEntry(const QString& key, const QString& value, AudioMetadata& record)
{
    for (const EntryRow& row : kEntries) {
        if (key.compare(QLatin1String(row.key), Qt::CaseInsensitive) != 0) {
            continue;
        }
        switch (row.kind) {
        case Kind::Text:
            record.setValue(row.field, value);
            break;
        case Kind::Integer:
            record.setValue(row.field, TagValue::integerValue(value));
            break;
        case Kind::Year:
            if (const std::optional<int> year = NaturalLanguageDate::yearOf(value)) {
                record.setValue(row.field, *year);
            }
            break;
        case Kind::NumberAndTotal: {
            const TagValue::NumberAndTotal split = TagValue::splitNumberAndTotal(value);
            record.setValue(row.field, split.number);
            if (split.total) {
                record.setValue(row.totalField, *split.total);
            }
            break;
        }
        }
        return;
    }
}

AudioMetadataPtr FFmpegMetadataReader::metadataFromFFMPEGFile(const QString& path)
{
    auto record = std::make_shared<AudioMetadata>();
    int error = 0;
    const AVFormatContextPtr context = FFmpegInput::openWithRetries(path, false, &error);
    if (!context) {
        ErrorLog::logMessage(
            QStringLiteral("FFMPEG Could Not Open Input For File For Metadata Reading: %1 ERROR: %2")
                .arg(path)
                .arg(error));
        ErrorLog::logMessage(QStringLiteral("%1: %2").arg(path, FFmpegError::text(error)));
        return record;
    }

    record->setSourceKind(QString::fromUtf8(context->iformat->name));
    if (context->iformat->long_name != nullptr) {
        record->setSourceFormat(QString::fromUtf8(context->iformat->long_name));
    }
    // Containers such as RealMedia state their duration and bit rate only
    // once the streams have been probed, so they are read after it.
    const bool probed = ff::avformat_find_stream_info(context.get(), nullptr) >= 0;
    if (context->duration != AV_NOPTS_VALUE) {
        record->setSourceLength(double(context->duration / AV_TIME_BASE));
    }
    if (context->bit_rate != 0) {
        record->setSourceBitrate(int(context->bit_rate));
    }
    if (probed && context->nb_streams > 0) {
        // The first audio stream, or the last stream when none is audio.
        const AVStream* chosen = context->streams[context->nb_streams - 1];
        for (unsigned i = 0; i < context->nb_streams; ++i) {
            if (context->streams[i]->codecpar->codec_type == AVMEDIA_TYPE_AUDIO) {
                chosen = context->streams[i];
                break;
            }
        }
        const AVCodecParameters* parameters = chosen->codecpar;
        if (record->sourceBitrate() && parameters->bit_rate != 0) {
            record->setSourceBitrate(int(parameters->bit_rate));
        }
        if (parameters->sample_rate != 0) {
            record->setSourceSampleRate(parameters->sample_rate);
        }
        if (parameters->ch_layout.nb_channels != 0) {
            record->setSourceChannels(parameters->ch_layout.nb_channels);
        }
    }

    const AVDictionaryEntry* entry = nullptr;
    while ((entry = ff::av_dict_get(context->metadata, "", entry, AV_DICT_IGNORE_SUFFIX)) != nullptr) {
        addMetadataEntry(QString::fromUtf8(entry->key), QString::fromUtf8(entry->value), *record);
    }
    return record;
}
