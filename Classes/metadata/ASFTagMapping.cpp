#include "ASFTagMapping.h"

#include "TableRows.h"
#include "TagLibReading.h"
#include "TagValue.h"

#include <array>
#include <taglib/asftag.h>

namespace {

using Field = AudioMetadata::Field;

enum class Row
{
    TrackTotal,
    Bpm,
    Key,
    ISRC,
    Composer,
    Copyright,
    Lyrics,
    AlbumArtist,
    Grouping,
    Compilation,
    EncodedBy,
    PartOfSet,
    DiscTotal,
    Count
};

enum class Kind
{
    Text,
    Number,
    PartOfSet,
};

struct ASFRow
{
    Row row;
    std::array<const char*, 2> names; // read: the first that exists; written: the first, the second removed
    Field field;
    Kind kind;
};

constexpr std::array<ASFRow, size_t(Row::Count)> kRows{{
    {Row::TrackTotal, {"WM/TrackTotal"}, Field::totalTracks, Kind::Number},
    {Row::Bpm, {"WM/BeatsPerMinute", "WM/BPM"}, Field::bpm, Kind::Number},
    {Row::Key, {"WM/InitialKey"}, Field::key, Kind::Text},
    {Row::ISRC, {"WM/ISRC"}, Field::ISRC, Kind::Text},
    {Row::Composer, {"WM/Composer"}, Field::trackComposer, Kind::Text},
    {Row::Copyright, {"Copyright"}, Field::trackCopyright, Kind::Text},
    {Row::Lyrics, {"WM/Lyrics"}, Field::lyrics, Kind::Text},
    {Row::AlbumArtist, {"WM/AlbumArtist"}, Field::albumArtist, Kind::Text},
    {Row::Grouping, {"WM/ContentGroupDescription"}, Field::grouping, Kind::Text},
    {Row::Compilation, {"WM/IsCompilation"}, Field::partOfACompilation, Kind::Number},
    {Row::EncodedBy, {"WM/EncodedBy"}, Field::sourceEncodedWith, Kind::Text},
    {Row::PartOfSet, {"WM/PartOfSet"}, Field::discNumber, Kind::PartOfSet},
    {Row::DiscTotal, {"WM/DiscTotal"}, Field::discTotal, Kind::Number},
}};

static_assert(TableRows::followEnum(kRows, &ASFRow::row), "the rows follow their enum");

std::optional<TagLib::ASF::Attribute> firstAttribute(const TagLib::ASF::Tag& tag, const char* name)
{
    const TagLib::ASF::AttributeListMap& attributes = tag.attributeListMap();
    const auto it = attributes.find(name);
    if (it == attributes.end() || it->second.isEmpty()) {
        return std::nullopt;
    }
    return it->second.front();
}

int numericValue(const TagLib::ASF::Attribute& attribute)
{
    if (attribute.type() == TagLib::ASF::Attribute::UnicodeType) {
        return TagValue::integerValue(TagValue::toQString(attribute.toString()));
    }
    return int(attribute.toULongLong());
}

void readPartOfSet(const TagLib::ASF::Tag& tag, AudioMetadata& record)
{
    const std::optional<TagLib::ASF::Attribute> partOfSet = firstAttribute(tag, "WM/PartOfSet");
    if (!partOfSet) {
        return;
    }
    const TagValue::NumberAndTotal split =
        TagValue::splitNumberAndTotal(TagValue::toQString(partOfSet->toString()));
    if (!split.total) {
        record.setDiscNumber(split.number);
        if (const std::optional<TagLib::ASF::Attribute> total = firstAttribute(tag, "WM/DiscTotal");
            total && !record.discTotal()) {
            record.setDiscTotal(numericValue(*total));
        }
        return;
    }
    if (!record.discNumber()) {
        record.setDiscNumber(split.number);
    }
    if (!record.discTotal()) {
        record.setDiscTotal(*split.total);
    }
}

void readPicture(const TagLib::ASF::Tag& tag, AudioMetadata& record)
{
    const std::optional<TagLib::ASF::Attribute> attribute = firstAttribute(tag, "WM/Picture");
    if (record.albumArtwork() || !attribute) {
        return;
    }
    const TagLib::ASF::Picture picture = attribute->toPicture();
    if (!picture.isValid()) {
        return;
    }
    record.setAlbumArtwork(TagLibReading::artworkFromPicture(picture.picture(), uint32_t(picture.type()),
                                                             picture.description(), picture.mimeType()));
}

} // namespace

void ASFTagMapping::addInfoFromASFTag(const TagLib::ASF::Tag& tag, AudioMetadata& record)
{
    TagLibReading::addGenericFields(tag, record);
    TagLibReading::setTextIfAbsent(record, Field::trackComment, tag.comment());
    for (const ASFRow& row : kRows) {
        if (row.kind == Kind::PartOfSet) {
            continue; // read after every row, so that "WM/DiscTotal" comes first
        }
        if (record.hasValue(row.field)) {
            continue;
        }
        if (const std::optional<TagLib::ASF::Attribute> attribute = TableRows::firstFound(
                row.names, [&](const char* name) { return firstAttribute(tag, name); })) {
            record.setValue(row.field, row.kind == Kind::Number
                                           ? QVariant(numericValue(*attribute))
                                           : QVariant(TagValue::toQString(attribute->toString())));
        }
        // Programs that write the copyright into the content description
        // rather than as an attribute.
        if (row.row == Row::Copyright) {
            TagLibReading::setTextIfAbsent(record, Field::trackCopyright, tag.copyright());
        }
    }
    readPartOfSet(tag, record);
    readPicture(tag, record);
}

void ASFTagMapping::fillOutASFTag(const AudioMetadata& record, TagLib::ASF::Tag& tag,
                                  const std::optional<QString>& encodedBy,
                                  const std::optional<QString>& commentText)
{
    auto text = [](const std::optional<QString>& value) {
        return value ? TagValue::toTagLib(*value) : TagLib::String();
    };
    tag.setTitle(text(record.trackTitle()));
    tag.setArtist(text(record.trackArtist()));
    tag.setAlbum(text(record.albumTitle()));
    tag.setComment(text(commentText));
    tag.setGenre(text(record.trackGenre()));
    tag.setYear(unsigned(record.trackYear().value_or(0)));
    tag.setTrack(unsigned(record.trackNumber().value_or(0)));

    for (const ASFRow& row : kRows) {
        for (const char* name : row.names) {
            if (name != nullptr) {
                tag.removeItem(name);
            }
        }
        const TagLib::String name = row.names[0];
        switch (row.kind) {
        case Kind::Text: {
            const QVariant value = row.row == Row::EncodedBy ? (encodedBy ? QVariant(*encodedBy) : QVariant())
                                                             : record.value(row.field);
            if (value.isValid()) {
                tag.setAttribute(name, TagLib::ASF::Attribute(TagValue::toTagLib(value.toString())));
            }
            break;
        }
        case Kind::Number:
            if (const QVariant value = record.value(row.field); value.isValid()) {
                tag.setAttribute(name, TagLib::ASF::Attribute(unsigned(value.toInt())));
            }
            break;
        case Kind::PartOfSet: {
            const std::optional<int> number = record.discNumber();
            const std::optional<int> total = record.discTotal();
            if (number && total) {
                tag.setAttribute(name, TagLib::ASF::Attribute(TagValue::toTagLib(
                                           QStringLiteral("%1/%2").arg(*number).arg(*total))));
            } else if (number) {
                tag.setAttribute(name, TagLib::ASF::Attribute(TagValue::toTagLib(QString::number(*number))));
            }
            break;
        }
        }
    }
}
