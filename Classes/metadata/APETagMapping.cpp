#include "APETagMapping.h"

#include "NaturalLanguageDate.h"
#include "TableRows.h"
#include "TagValue.h"

#include <QtEndian>
#include <array>
#include <initializer_list>
#include <taglib/apeitem.h>
#include <taglib/apetag.h>

namespace {

using Field = AudioMetadata::Field;

enum class Item
{
    Album,
    Artist,
    Genre,
    Year,
    Comment,
    Title,
    Track,
    TrackTotal,
    DiscNumber,
    DiscTotal,
    Bpm,
    Key,
    Isrc,
    Compilation,
    Grouping,
    Composer,
    AlbumArtist,
    Lyrics,
    EncodedBy,
    Copyright,
    Cover,
    Count
};

enum class Reading
{
    Text,
    Integer,
    YearThenDate, // first name: integer value; second: the year of a date
    BoolIntoBpm,  // kept slip: the compilation item lands in bpm
    Cover,
};

enum class Writing
{
    Text,      // the field as UTF-8 text, when present
    Integer,   // the field's decimal text, when present
    Flag,      // the number's decimal text, only when non-zero
    Comment,   // the comment argument, not the field
    EncodedBy, // the encoded-by argument, not the field
    Cover,     // code of its own
};

struct ItemRow
{
    Item item;
    std::array<const char*, 3> names; // read in this order; nullptr ends the list
    Field field;
    Reading reading;
    const char* writtenName; // also removed before writing, with every name above
    Writing writing;
};

// Rows in reading order: compilation comes after BPM so that it overwrites it.
constexpr std::array<ItemRow, size_t(Item::Count)> kItems{{
    {Item::Album, {"ALBUM"}, Field::albumTitle, Reading::Text, "ALBUM", Writing::Text},
    {Item::Artist, {"ARTIST"}, Field::trackArtist, Reading::Text, "ARTIST", Writing::Text},
    {Item::Genre, {"GENRE"}, Field::trackGenre, Reading::Text, "GENRE", Writing::Text},
    {Item::Year, {"YEAR", "DATE"}, Field::trackYear, Reading::YearThenDate, "YEAR", Writing::Integer},
    {Item::Comment, {"COMMENT"}, Field::trackComment, Reading::Text, "COMMENT", Writing::Comment},
    {Item::Title, {"TITLE"}, Field::trackTitle, Reading::Text, "TITLE", Writing::Text},
    {Item::Track, {"TRACK"}, Field::trackNumber, Reading::Integer, "TRACK", Writing::Integer},
    {Item::TrackTotal,
     {"TRACKTOTAL", "TOTALTRACKS"},
     Field::totalTracks,
     Reading::Integer,
     "TRACKTOTAL",
     Writing::Integer},
    {Item::DiscNumber,
     {"DISCNUMBER", "DISCNUM"},
     Field::discNumber,
     Reading::Integer,
     "DISCNUMBER",
     Writing::Integer},
    {Item::DiscTotal,
     {"DISCTOTAL", "TOTALDISCS"},
     Field::discTotal,
     Reading::Integer,
     "DISCTOTAL",
     Writing::Integer},
    {Item::Bpm, {"BPM"}, Field::bpm, Reading::Integer, "BPM", Writing::Integer},
    {Item::Key, {"KEY"}, Field::key, Reading::Text, "KEY", Writing::Text},
    {Item::Isrc, {"ISRC"}, Field::ISRC, Reading::Text, "ISRC", Writing::Text},
    {Item::Compilation,
     {"COMPILATION"},
     Field::partOfACompilation,
     Reading::BoolIntoBpm,
     "COMPILATION",
     Writing::Flag},
    {Item::Grouping, {"GROUPING"}, Field::grouping, Reading::Text, "GROUPING", Writing::Text},
    {Item::Composer, {"COMPOSER"}, Field::trackComposer, Reading::Text, "COMPOSER", Writing::Text},
    {Item::AlbumArtist, {"ALBUMARTIST"}, Field::albumArtist, Reading::Text, "ALBUMARTIST", Writing::Text},
    {Item::Lyrics, {"LYRICS", "UNSYNCEDLYRICS"}, Field::lyrics, Reading::Text, "LYRICS", Writing::Text},
    {Item::EncodedBy,
     {"ENCODEDBY", "ENCODED BY", "ENCODER"},
     Field::sourceEncodedWith,
     Reading::Text,
     "ENCODEDBY",
     Writing::EncodedBy},
    {Item::Copyright, {"COPYRIGHT"}, Field::trackCopyright, Reading::Text, "COPYRIGHT", Writing::Text},
    {Item::Cover,
     {"COVER ART (FRONT)", "APIC", "COVER ART (BACK)"},
     Field::albumArtwork,
     Reading::Cover,
     "Cover Art (front)",
     Writing::Cover},
}};
static_assert(TableRows::followEnum(kItems, &ItemRow::item), "one row per item, in the order of the enum");

constexpr const char* kBackCoverName = "Cover Art (back)";
constexpr uint32_t kBackCoverType = 4;
// Binary value (type 1 in bits 1-2) and read-only (bit 0).
constexpr uint32_t kBinaryReadOnlyFlags = 3;

const TagLib::APE::Item* itemNamed(const TagLib::APE::Tag* tag, const char* name)
{
    const TagLib::APE::ItemListMap& items = tag->itemListMap();
    const auto it = items.find(TagLib::String(name).upper());
    return it == items.end() ? nullptr : &it->second;
}

// The first non-empty item of the row's names, and which name it was.
const TagLib::APE::Item* firstItem(const TagLib::APE::Tag* tag, const ItemRow& row, size_t* nameIndex)
{
    for (size_t i = 0; i < row.names.size() && row.names[i]; ++i) {
        const TagLib::APE::Item* item = itemNamed(tag, row.names[i]);
        if (item && !item->isEmpty()) {
            *nameIndex = i;
            return item;
        }
    }
    return nullptr;
}

AlbumArtworkPtr artworkFromCoverItem(const TagLib::APE::Item& item)
{
    const TagLib::ByteVector value = item.binaryData();
    const QByteArray bytes(value.data(), qsizetype(value.size()));
    const qsizetype nul = bytes.indexOf('\0');
    if (nul < 0) {
        return nullptr;
    }
    auto artwork = std::make_shared<AlbumArtwork>();
    artwork->setOriginalFilename(QString::fromUtf8(bytes.left(nul)));
    artwork->setData(bytes.mid(nul + 1));
    artwork->setArtworkType(AlbumArtwork::kFrontCoverPicture);
    return artwork;
}

void removeNames(TagLib::APE::Tag* tag, const ItemRow& row)
{
    for (const char* name : row.names) {
        if (name) {
            tag->removeItem(name);
        }
    }
    tag->removeItem(row.writtenName);
}

void addText(TagLib::APE::Tag* tag, const char* name, const QString& text)
{
    tag->addValue(name, TagValue::toTagLib(text), true);
}

} // namespace

QByteArray APETagMapping::renderItem(const QString& key, uint32_t flags, const QByteArray& value)
{
    QByteArray bytes(8, '\0');
    qToLittleEndian<quint32>(quint32(value.size()), bytes.data());
    qToLittleEndian<quint32>(flags, bytes.data() + 4);
    bytes += key.toUtf8();
    bytes += '\0';
    bytes += value;
    return bytes;
}

void APETagMapping::addInfoFromAPETag(const TagLib::APE::Tag* tag, AudioMetadata& metadata)
{
    if (!tag) {
        return;
    }
    for (const ItemRow& row : kItems) {
        if (metadata.hasValue(row.field)) {
            continue;
        }
        size_t nameIndex = 0;
        const TagLib::APE::Item* item = firstItem(tag, row, &nameIndex);
        if (!item) {
            continue;
        }
        const QString text = TagValue::toQString(item->toString());
        switch (row.reading) {
        case Reading::Text:
            metadata.setValue(row.field, text);
            break;
        case Reading::Integer:
            metadata.setValue(row.field, TagValue::integerValue(text));
            break;
        case Reading::YearThenDate:
            if (nameIndex == 0) {
                metadata.setValue(row.field, TagValue::integerValue(text));
            } else if (const std::optional<int> year = NaturalLanguageDate::yearOf(text)) {
                metadata.setValue(row.field, *year);
            }
            break;
        case Reading::BoolIntoBpm:
            metadata.setBpm(TagValue::boolValue(text) ? 1 : 0);
            break;
        case Reading::Cover:
            if (AlbumArtworkPtr artwork = artworkFromCoverItem(*item)) {
                metadata.setAlbumArtwork(artwork);
            }
            break;
        }
    }
}

void APETagMapping::fillOutAPETag(const AudioMetadata& metadata, TagLib::APE::Tag* tag,
                                  const std::optional<QString>& encodedBy,
                                  const std::optional<QString>& comment)
{
    for (const ItemRow& row : kItems) {
        if (row.writing == Writing::Cover) {
            // A back cover already in the tag is left alone.
            tag->removeItem(kItems[size_t(Item::Cover)].writtenName);
            tag->removeItem("APIC");
            const AlbumArtworkPtr artwork = metadata.albumArtwork();
            if (!artwork) {
                continue;
            }
            QString filename = artwork->originalFilename().value_or(QString());
            if (filename.isEmpty()) {
                filename = QStringLiteral("cover.jpg");
            }
            const QString key = artwork->artworkType() == kBackCoverType
                                    ? QString::fromLatin1(kBackCoverName)
                                    : QString::fromLatin1(row.writtenName);
            const QByteArray value = filename.toUtf8() + '\0' + artwork->data().value_or(QByteArray());
            const QByteArray rendered = renderItem(key, kBinaryReadOnlyFlags, value);
            TagLib::APE::Item item;
            item.parse(TagLib::ByteVector(rendered.constData(), unsigned(rendered.size())));
            tag->setItem(TagValue::toTagLib(key), item);
            continue;
        }

        removeNames(tag, row);
        const QVariant value = metadata.value(row.field);
        switch (row.writing) {
        case Writing::Text:
            if (value.isValid()) {
                addText(tag, row.writtenName, value.toString());
            }
            break;
        case Writing::Integer:
            if (value.isValid() && !(row.item == Item::Year && value.toInt() == 0)) {
                addText(tag, row.writtenName, QString::number(value.toInt()));
            }
            break;
        case Writing::Flag:
            if (value.isValid() && value.toInt() != 0) {
                addText(tag, row.writtenName, QString::number(value.toInt()));
            }
            break;
        case Writing::Comment:
            if (comment) {
                addText(tag, row.writtenName, *comment);
            }
            break;
        case Writing::EncodedBy:
            if (encodedBy) {
                addText(tag, row.writtenName, *encodedBy);
            }
            break;
        case Writing::Cover:
            break;
        }
    }
}
