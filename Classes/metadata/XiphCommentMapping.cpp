#include "XiphCommentMapping.h"

#include "NaturalLanguageDate.h"
#include "TableRows.h"
#include "TagLibReading.h"
#include "TagValue.h"

#include <array>
#include <taglib/flacpicture.h>
#include <taglib/xiphcomment.h>

namespace {

using Field = AudioMetadata::Field;

enum class Row
{
    Title,
    Artist,
    Album,
    Year,
    Comment,
    TrackNumber,
    TrackTotal,
    DiscNumber,
    DiscTotal,
    Genre,
    Grouping,
    Composer,
    AlbumArtist,
    Lyrics,
    Bpm,
    Key,
    ISRC,
    Compilation,
    EncodedBy,
    Copyright,
    Picture,
    Count
};

// How a row's value is read and written.
enum class Kind
{
    Text,        // the values joined by a blank
    Number,      // integer value of the text; written as decimal text
    Year,        // see readYear
    Compilation, // yes/no text read as 1 or 0; written only when non-zero
    Argument,    // read into the field, written from an argument of the writer
    Picture,     // Base64 FLAC picture block
};

struct XiphRow
{
    Row row;
    std::array<const char*, 3> names; // read in this order; unused ones are null
    const char* writtenName;
    Field field;
    Kind kind;
};

constexpr std::array<XiphRow, size_t(Row::Count)> kRows{{
    {Row::Title, {"TITLE"}, "TITLE", Field::trackTitle, Kind::Text},
    {Row::Artist, {"ARTIST", "AUTHOR"}, "ARTIST", Field::trackArtist, Kind::Text},
    {Row::Album, {"ALBUM"}, "ALBUM", Field::albumTitle, Kind::Text},
    {Row::Year, {"YEAR", "DATE"}, "DATE", Field::trackYear, Kind::Year},
    {Row::Comment, {"DESCRIPTION", "COMMENT"}, "DESCRIPTION", Field::trackComment, Kind::Argument},
    {Row::TrackNumber, {"TRACKNUMBER", "TRACKNUM"}, "TRACKNUMBER", Field::trackNumber, Kind::Number},
    {Row::TrackTotal, {"TRACKTOTAL", "TOTALTRACKS"}, "TRACKTOTAL", Field::totalTracks, Kind::Number},
    {Row::DiscNumber, {"DISCNUMBER", "DISCNUM"}, "DISCNUMBER", Field::discNumber, Kind::Number},
    {Row::DiscTotal, {"DISCTOTAL", "TOTALDISCS"}, "DISCTOTAL", Field::discTotal, Kind::Number},
    {Row::Genre, {"GENRE"}, "GENRE", Field::trackGenre, Kind::Text},
    {Row::Grouping, {"GROUPING"}, "GROUPING", Field::grouping, Kind::Text},
    {Row::Composer, {"COMPOSER"}, "COMPOSER", Field::trackComposer, Kind::Text},
    {Row::AlbumArtist, {"ALBUMARTIST"}, "ALBUMARTIST", Field::albumArtist, Kind::Text},
    {Row::Lyrics, {"LYRICS", "UNSYNCEDLYRICS"}, "LYRICS", Field::lyrics, Kind::Text},
    {Row::Bpm, {"BPM"}, "BPM", Field::bpm, Kind::Number},
    {Row::Key, {"KEY"}, "KEY", Field::key, Kind::Text},
    {Row::ISRC, {"ISRC"}, "ISRC", Field::ISRC, Kind::Text},
    {Row::Compilation, {"COMPILATION"}, "COMPILATION", Field::partOfACompilation, Kind::Compilation},
    {Row::EncodedBy,
     {"ENCODEDBY", "ENCODED BY", "ENCODER"},
     "ENCODEDBY",
     Field::sourceEncodedWith,
     Kind::Argument},
    {Row::Copyright, {"COPYRIGHT"}, "COPYRIGHT", Field::trackCopyright, Kind::Text},
    {Row::Picture,
     {"METADATA_BLOCK_PICTURE", "COVERART", "APIC"},
     "METADATA_BLOCK_PICTURE",
     Field::albumArtwork,
     Kind::Picture},
}};

static_assert(TableRows::followEnum(kRows, &XiphRow::row), "the rows follow their enum");

const char kPictureField[] = "METADATA_BLOCK_PICTURE";

// The values of the field, joined by a blank; nothing when the comment has
// no such field.
std::optional<QString> fieldText(const TagLib::Ogg::FieldListMap& fields, const char* name)
{
    const auto it = fields.find(name);
    if (it == fields.end()) {
        return std::nullopt;
    }
    return TagValue::toQString(it->second.toString(" "));
}

// The text of the first of the row's names that the comment holds.
std::optional<QString> joinedValue(const TagLib::Ogg::FieldListMap& fields, const XiphRow& row)
{
    return TableRows::firstFound(row.names, [&](const char* name) { return fieldText(fields, name); });
}

void readYear(const TagLib::Ogg::FieldListMap& fields, AudioMetadata& record)
{
    if (fields.contains("YEAR")) {
        // The ALBUM text, not the YEAR text, and 0 without an album: records
        // have always read this way.
        record.setTrackYear(TagValue::integerValue(fieldText(fields, "ALBUM").value_or(QString())));
        return;
    }
    if (const std::optional<QString> date = fieldText(fields, "DATE")) {
        if (const std::optional<int> year = NaturalLanguageDate::yearOf(*date)) {
            record.setTrackYear(*year);
        }
    }
}

void readPicture(const QByteArray& base64, AudioMetadata& record)
{
    const TagLib::ByteVector block =
        TagLib::ByteVector::fromBase64(TagLib::ByteVector(base64.constData(), unsigned(base64.size())));
    // A block that does not parse still gives an artwork, with whatever the
    // picture holds then (no data): that is how such files have always read.
    TagLib::FLAC::Picture picture;
    picture.parse(block);
    record.setAlbumArtwork(TagLibReading::artworkFromPicture(picture));
}

TagLib::String decimal(const QVariant& number)
{
    return TagLib::String::number(number.toInt());
}

} // namespace

void XiphCommentMapping::addInfoFromVorbisTag(const TagLib::Ogg::XiphComment& comment, AudioMetadata& record,
                                              const std::optional<QByteArrayList>& rawPictureValues)
{
    const TagLib::Ogg::FieldListMap& fields = comment.fieldListMap();
    for (const XiphRow& row : kRows) {
        switch (row.kind) {
        case Kind::Text:
        case Kind::Argument:
            if (const std::optional<QString> text = joinedValue(fields, row)) {
                record.setValue(row.field, *text);
            }
            break;
        case Kind::Number:
            if (const std::optional<QString> text = joinedValue(fields, row)) {
                record.setValue(row.field, TagValue::integerValue(*text));
            }
            break;
        case Kind::Compilation:
            if (const std::optional<QString> text = joinedValue(fields, row)) {
                record.setValue(row.field, TagValue::boolValue(*text) ? 1 : 0);
            }
            break;
        case Kind::Year:
            readYear(fields, record);
            break;
        case Kind::Picture:
            if (rawPictureValues) {
                if (!rawPictureValues->isEmpty()) {
                    readPicture(rawPictureValues->join(' '), record);
                }
            } else if (const std::optional<QString> text = fieldText(fields, kPictureField)) {
                readPicture(text->toUtf8(), record);
            }
            break;
        }
    }
}

void XiphCommentMapping::fillOutXiphComment(const AudioMetadata& record, TagLib::Ogg::XiphComment& comment,
                                            const std::optional<QString>& encodedBy,
                                            const std::optional<QString>& commentText, bool writeArtwork)
{
    for (const XiphRow& row : kRows) {
        for (const char* name : row.names) {
            if (name != nullptr) {
                comment.removeFields(name);
            }
        }
        switch (row.kind) {
        case Kind::Text:
            if (const QVariant value = record.value(row.field); value.isValid()) {
                comment.addField(row.writtenName, TagValue::toTagLib(value.toString()));
            }
            break;
        case Kind::Number:
        case Kind::Year:
            if (const QVariant value = record.value(row.field); value.isValid()) {
                comment.addField(row.writtenName, decimal(value));
            }
            break;
        case Kind::Compilation:
            if (const QVariant value = record.value(row.field); value.isValid() && value.toInt() != 0) {
                comment.addField(row.writtenName, decimal(value));
            }
            break;
        case Kind::Argument: {
            const std::optional<QString>& argument = row.row == Row::Comment ? commentText : encodedBy;
            if (argument) {
                comment.addField(row.writtenName, TagValue::toTagLib(*argument));
            }
            break;
        }
        case Kind::Picture: {
            // Pictures TagLib parsed from the stream live beside the fields.
            comment.removeAllPictures();
            const AlbumArtworkPtr artwork = record.albumArtwork();
            if (!writeArtwork || !artwork) {
                break;
            }
            TagLib::FLAC::Picture picture;
            picture.setType(TagLib::FLAC::Picture::Type(artwork->artworkType()));
            picture.setMimeType(TagValue::toTagLib(artwork->mimeType().value_or(QString())));
            const QByteArray data = artwork->data().value_or(QByteArray());
            picture.setData(TagLib::ByteVector(data.constData(), unsigned(data.size())));
            if (const std::optional<QString> description = artwork->comments()) {
                picture.setDescription(TagValue::toTagLib(*description));
            }
            const TagLib::ByteVector base64 = picture.render().toBase64();
            if (!base64.isEmpty()) {
                comment.addField(row.writtenName, TagLib::String(base64, TagLib::String::Latin1));
            }
            break;
        }
        }
    }
}
