#include "MP4TagMapping.h"

#include "TableRows.h"
#include "TagLibReading.h"
#include "TagValue.h"

#include <array>
#include <taglib/mp4tag.h>

namespace {

using Field = AudioMetadata::Field;

enum class Row
{
    Album,
    Artist,
    Genre,
    Year,
    Comment,
    Title,
    Track,
    TrackPair,
    DiscPair,
    Composer,
    Copyright,
    AlbumArtist,
    Grouping,
    Lyrics,
    Tempo,
    Key,
    ISRC,
    Compilation,
    EncodedBy,
    Cover,
    Count
};

enum class Kind
{
    GenericText,   // the tag's generic accessor; item written under the row's first name
    GenericNumber, // generic year or track, when non-zero
    Text,          // text item: its strings joined by a blank
    Pair,          // number pair into field and secondField
    Integer,       // integer item, when non-zero
    Compilation,   // boolean item; written as 1 when the flag is set
    Cover,         // "covr"
};

struct MP4Row
{
    Row row;
    std::array<const char*, 2> names; // read in this order; written under every name
    Field field;
    Field secondField; // the total of a pair
    Kind kind;
};

constexpr std::array<MP4Row, size_t(Row::Count)> kRows{{
    {Row::Album, {"\251alb"}, Field::albumTitle, Field::albumTitle, Kind::GenericText},
    {Row::Artist, {"\251ART", "\251art"}, Field::trackArtist, Field::trackArtist, Kind::GenericText},
    {Row::Genre, {"\251gen"}, Field::trackGenre, Field::trackGenre, Kind::GenericText},
    {Row::Year, {"\251day"}, Field::trackYear, Field::trackYear, Kind::GenericNumber},
    {Row::Comment, {"\251cmt"}, Field::trackComment, Field::trackComment, Kind::GenericText},
    {Row::Title, {"\251nam"}, Field::trackTitle, Field::trackTitle, Kind::GenericText},
    {Row::Track, {}, Field::trackNumber, Field::trackNumber, Kind::GenericNumber},
    {Row::TrackPair, {"trkn"}, Field::trackNumber, Field::totalTracks, Kind::Pair},
    {Row::DiscPair, {"disk"}, Field::discNumber, Field::discTotal, Kind::Pair},
    {Row::Composer, {"\251wrt"}, Field::trackComposer, Field::trackComposer, Kind::Text},
    {Row::Copyright, {"cprt"}, Field::trackCopyright, Field::trackCopyright, Kind::Text},
    {Row::AlbumArtist, {"aART"}, Field::albumArtist, Field::albumArtist, Kind::Text},
    {Row::Grouping, {"\251grp"}, Field::grouping, Field::grouping, Kind::Text},
    {Row::Lyrics, {"\251lyr"}, Field::lyrics, Field::lyrics, Kind::Text},
    {Row::Tempo, {"tmpo"}, Field::bpm, Field::bpm, Kind::Integer},
    {Row::Key,
     {"----:com.apple.iTunes:KEY", "----:com.apple.iTunes:initialkey"},
     Field::key,
     Field::key,
     Kind::Text},
    {Row::ISRC, {"ISRC", "----:com.apple.iTunes:ISRC"}, Field::ISRC, Field::ISRC, Kind::Text},
    {Row::Compilation, {"cpil"}, Field::partOfACompilation, Field::partOfACompilation, Kind::Compilation},
    {Row::EncodedBy, {"\251too"}, Field::sourceEncodedWith, Field::sourceEncodedWith, Kind::Text},
    {Row::Cover, {"covr"}, Field::albumArtwork, Field::albumArtwork, Kind::Cover},
}};

static_assert(TableRows::followEnum(kRows, &MP4Row::row), "the rows follow their enum");

// TagLib's MP4 names are Latin-1 (the copyright sign is byte A9).
TagLib::String itemName(const char* name)
{
    return TagLib::String(name, TagLib::String::Latin1);
}

// The valid item of that name, or null.
std::optional<TagLib::MP4::Item> validItem(const TagLib::MP4::Tag& tag, const char* name)
{
    const TagLib::MP4::ItemMap& items = tag.itemMap();
    const auto it = items.find(itemName(name));
    if (it == items.end() || !it->second.isValid()) {
        return std::nullopt;
    }
    return it->second;
}

std::optional<QString> genericText(const TagLib::MP4::Tag& tag, Row row)
{
    TagLib::String text;
    switch (row) {
    case Row::Album:
        text = tag.album();
        break;
    case Row::Artist:
        text = tag.artist();
        break;
    case Row::Genre:
        text = tag.genre();
        break;
    case Row::Comment:
        text = tag.comment();
        break;
    case Row::Title:
        text = tag.title();
        break;
    default:
        break;
    }
    if (text.isEmpty()) {
        return std::nullopt;
    }
    return TagValue::toQString(text);
}

void readCover(const TagLib::MP4::Item& item, AudioMetadata& record)
{
    const TagLib::MP4::CoverArtList covers = item.toCoverArtList();
    if (covers.isEmpty()) {
        return;
    }
    const TagLib::MP4::CoverArt& cover = covers.front();
    const TagLib::ByteVector data = cover.data();
    auto artwork = std::make_shared<AlbumArtwork>();
    artwork->setData(QByteArray(data.data(), qsizetype(data.size())));
    artwork->setArtworkType(AlbumArtwork::kFrontCoverPicture);
    artwork->setMimeType(cover.format() == TagLib::MP4::CoverArt::JPEG ? QStringLiteral("image/jpeg")
                                                                       : QStringLiteral("image/png"));
    record.setAlbumArtwork(artwork);
}

void readRow(const TagLib::MP4::Tag& tag, const MP4Row& row, AudioMetadata& record)
{
    switch (row.kind) {
    case Kind::GenericText:
        if (record.hasValue(row.field)) {
            return;
        }
        if (const std::optional<QString> text = genericText(tag, row.row)) {
            record.setValue(row.field, *text);
        } else if (row.names[1] != nullptr) {
            // Some programs write the artist under a lower-case atom.
            if (const std::optional<TagLib::MP4::Item> item = validItem(tag, row.names[1])) {
                record.setValue(row.field, TagValue::toQString(item->toStringList().toString(" ")));
            }
        }
        return;
    case Kind::GenericNumber:
        TagLibReading::setNumberIfAbsent(record, row.field, row.row == Row::Year ? tag.year() : tag.track());
        return;
    case Kind::Pair:
        if (const std::optional<TagLib::MP4::Item> item = validItem(tag, row.names[0])) {
            const TagLib::MP4::Item::IntPair pair = item->toIntPair();
            if (pair.first != 0 && !record.hasValue(row.field)) {
                record.setValue(row.field, pair.first);
            }
            if (pair.second != 0 && !record.hasValue(row.secondField)) {
                record.setValue(row.secondField, pair.second);
            }
        }
        return;
    case Kind::Text:
        if (record.hasValue(row.field)) {
            return;
        }
        if (const std::optional<TagLib::MP4::Item> item =
                TableRows::firstFound(row.names, [&](const char* name) { return validItem(tag, name); })) {
            record.setValue(row.field, TagValue::toQString(item->toStringList().toString(" ")));
        }
        return;
    case Kind::Integer:
        if (const std::optional<TagLib::MP4::Item> item = validItem(tag, row.names[0]);
            item && !record.hasValue(row.field) && item->toInt() != 0) {
            record.setValue(row.field, item->toInt());
        }
        return;
    case Kind::Compilation:
        if (const std::optional<TagLib::MP4::Item> item = validItem(tag, row.names[0]);
            item && !record.hasValue(row.field) && item->toBool()) {
            record.setValue(row.field, 1);
        }
        return;
    case Kind::Cover:
        if (const std::optional<TagLib::MP4::Item> item = validItem(tag, row.names[0]);
            item && !record.hasValue(row.field)) {
            readCover(*item, record);
        }
        return;
    }
}

TagLib::MP4::CoverArt::Format coverFormat(const std::optional<QString>& mimeType)
{
    if (mimeType == QLatin1String("image/png")) {
        return TagLib::MP4::CoverArt::PNG;
    }
    if (mimeType == QLatin1String("image/gif")) {
        return TagLib::MP4::CoverArt::GIF;
    }
    return TagLib::MP4::CoverArt::JPEG;
}

} // namespace

void MP4TagMapping::addInfoFromMP4Tag(const TagLib::MP4::Tag& tag, AudioMetadata& record)
{
    for (const MP4Row& row : kRows) {
        readRow(tag, row, record);
    }
}

void MP4TagMapping::fillOutMP4Tag(const AudioMetadata& record, TagLib::MP4::Tag& tag,
                                  const std::optional<QString>& encodedBy,
                                  const std::optional<QString>& commentText)
{
    for (const MP4Row& row : kRows) {
        if (row.row == Row::Track) {
            continue; // written with the pair
        }
        // The artist's lower-case spelling is only read; everything else is
        // written under every name of its row.
        const size_t written = row.row == Row::Artist ? 1 : row.names.size();
        for (size_t i = 0; i < written && row.names[i] != nullptr; ++i) {
            const TagLib::String name = itemName(row.names[i]);
            tag.removeItem(name);
            if (row.row == Row::Cover) {
                tag.removeItem("APIC");
            }
            QVariant value = record.value(row.field);
            if (row.row == Row::Comment) {
                value = commentText ? QVariant(*commentText) : QVariant();
            } else if (row.row == Row::EncodedBy) {
                value = encodedBy ? QVariant(*encodedBy) : QVariant();
            }
            switch (row.kind) {
            case Kind::GenericText:
            case Kind::Text:
                if (value.isValid()) {
                    tag.setItem(name, TagLib::StringList(TagValue::toTagLib(value.toString())));
                }
                break;
            case Kind::GenericNumber: // the year, as text
                if (value.isValid()) {
                    tag.setItem(name, TagLib::StringList(TagLib::String::number(value.toInt())));
                }
                break;
            case Kind::Pair: {
                const QVariant total = record.value(row.secondField);
                if (value.isValid() || total.isValid()) {
                    tag.setItem(name, TagLib::MP4::Item(value.toInt(), total.toInt()));
                }
                break;
            }
            case Kind::Integer:
                if (value.isValid()) {
                    tag.setItem(name, TagLib::MP4::Item(value.toInt()));
                }
                break;
            case Kind::Compilation:
                if (value.isValid() && value.toInt() != 0) {
                    tag.setItem(name, TagLib::MP4::Item(true));
                }
                break;
            case Kind::Cover:
                if (const AlbumArtworkPtr artwork = record.albumArtwork()) {
                    const QByteArray data = artwork->data().value_or(QByteArray());
                    TagLib::MP4::CoverArtList covers;
                    covers.append(
                        TagLib::MP4::CoverArt(coverFormat(artwork->mimeType()),
                                              TagLib::ByteVector(data.constData(), unsigned(data.size()))));
                    tag.setItem(name, TagLib::MP4::Item(covers));
                }
                break;
            }
        }
    }
}
