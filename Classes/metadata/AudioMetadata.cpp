#include "AudioMetadata.h"

#include "MetadataReader.h"
#include "NamedException.h"
#include "TableRows.h"

#include <QFileInfo>
#include <type_traits>

namespace {

using Field = AudioMetadata::Field;
using Kind = AudioMetadata::Kind;

struct FieldRow
{
    Field field;
    const char* name;
    Kind kind;
};

constexpr std::array<FieldRow, AudioMetadata::kFieldCount> kFields{{
    {Field::trackNumber, "trackNumber", Kind::Integer},
    {Field::totalTracks, "totalTracks", Kind::Integer},
    {Field::trackTitle, "trackTitle", Kind::Text},
    {Field::albumTitle, "albumTitle", Kind::Text},
    {Field::trackArtist, "trackArtist", Kind::Text},
    {Field::albumArtist, "albumArtist", Kind::Text},
    {Field::trackComposer, "trackComposer", Kind::Text},
    {Field::trackYear, "trackYear", Kind::Integer},
    {Field::trackGenre, "trackGenre", Kind::Text},
    {Field::trackComment, "trackComment", Kind::Text},
    {Field::albumArtwork, "albumArtwork", Kind::Artwork},
    {Field::grouping, "grouping", Kind::Text},
    {Field::discNumber, "discNumber", Kind::Integer},
    {Field::discTotal, "discTotal", Kind::Integer},
    {Field::lyrics, "lyrics", Kind::Text},
    {Field::bpm, "bpm", Kind::Integer},
    {Field::partOfACompilation, "partOfACompilation", Kind::Integer},
    {Field::trackCopyright, "trackCopyright", Kind::Text},
    {Field::ISRC, "ISRC", Kind::Text},
    {Field::key, "key", Kind::Text},
    {Field::sourceKind, "sourceKind", Kind::Text},
    {Field::sourceFormat, "sourceFormat", Kind::Text},
    {Field::sourceLength, "sourceLength", Kind::Real},
    {Field::sourceFileSize, "sourceFileSize", Kind::LargeInteger},
    {Field::sourceSampleSize, "sourceSampleSize", Kind::Integer},
    {Field::sourceSampleRate, "sourceSampleRate", Kind::Real},
    {Field::sourceBitrate, "sourceBitrate", Kind::Integer},
    {Field::sourceBitrateMode, "sourceBitrateMode", Kind::Text},
    {Field::sourceChannels, "sourceChannels", Kind::Integer},
    {Field::sourceChannelMode, "sourceChannelMode", Kind::Text},
    {Field::sourceTagFormat, "sourceTagFormat", Kind::Text},
    {Field::sourceEncodedWith, "sourceEncodedWith", Kind::Text},
    {Field::sourceDateModified, "sourceDateModified", Kind::Date},
    {Field::sourceLocation, "sourceLocation", Kind::Text},
    {Field::userData, "userData", Kind::Dictionary},
}};

static_assert(kFields.size() == size_t(Field::userData) + 1, "one row per field");
static_assert(TableRows::followEnum(kFields, &FieldRow::field),
              "rows in the order of the enum, so a field indexes its row");

constexpr std::array kClearAllOrder{
    Field::trackNumber,        Field::totalTracks,    Field::trackTitle,    Field::albumTitle,
    Field::trackArtist,        Field::albumArtist,    Field::trackComposer, Field::trackYear,
    Field::trackGenre,         Field::trackComment,   Field::albumArtwork,  Field::grouping,
    Field::discNumber,         Field::discTotal,      Field::lyrics,        Field::bpm,
    Field::partOfACompilation, Field::trackCopyright, Field::key,           Field::ISRC,
};
static_assert(kClearAllOrder.size() == size_t(Field::key) + 1, "clearAll clears every descriptive field");

constexpr std::array<Field, 17> kExchangeFields{
    Field::trackNumber,  Field::totalTracks,    Field::trackTitle, Field::albumTitle, Field::trackArtist,
    Field::albumArtist,  Field::trackComposer,  Field::trackYear,  Field::trackGenre, Field::trackComment,
    Field::albumArtwork, Field::grouping,       Field::discNumber, Field::discTotal,  Field::lyrics,
    Field::bpm,          Field::trackCopyright,
};

const FieldRow& rowOf(Field field)
{
    return kFields[size_t(field)];
}

// A value in the form the record keeps: an invalid QVariant for absent, the
// field's own type otherwise, text in characters of its own. Nothing when the
// value cannot be had in that type.
std::optional<QVariant> normalised(Kind kind, const QVariant& value)
{
    if (!value.isValid() || value.isNull()) {
        return QVariant();
    }
    bool ok = false;
    switch (kind) {
    case Kind::Integer: {
        const int number = value.toInt(&ok);
        return ok ? std::optional(QVariant(number)) : std::nullopt;
    }
    case Kind::LargeInteger: {
        const qint64 number = value.toLongLong(&ok);
        return ok ? std::optional(QVariant(number)) : std::nullopt;
    }
    case Kind::Real: {
        const double number = value.toDouble(&ok);
        return ok ? std::optional(QVariant(number)) : std::nullopt;
    }
    case Kind::Text: {
        if (!value.canConvert<QString>()) {
            return std::nullopt;
        }
        // A QString made with fromRawData points into its caller's buffer;
        // copying the characters keeps later changes there out of the record.
        const QString text = value.toString();
        return QVariant(QString(text.constData(), text.size()));
    }
    case Kind::Date: {
        if (!value.canConvert<QDateTime>()) {
            return std::nullopt;
        }
        return QVariant(value.toDateTime());
    }
    case Kind::Artwork: {
        if (value.metaType() != QMetaType::fromType<AlbumArtworkPtr>()) {
            return std::nullopt;
        }
        return value.value<AlbumArtworkPtr>() ? value : QVariant();
    }
    case Kind::Dictionary: {
        if (!value.canConvert<QVariantMap>()) {
            return std::nullopt;
        }
        return QVariant(value.toMap());
    }
    }
    return std::nullopt;
}

} // namespace

QString AudioMetadata::fieldName(Field field)
{
    return QString::fromLatin1(rowOf(field).name);
}

std::optional<AudioMetadata::Field> AudioMetadata::fieldNamed(QStringView name)
{
    for (const FieldRow& row : kFields) {
        if (name == QLatin1String(row.name)) {
            return row.field;
        }
    }
    return std::nullopt;
}

AudioMetadata::Kind AudioMetadata::kindOf(Field field)
{
    return rowOf(field).kind;
}

AudioMetadata::AudioMetadata() = default;
AudioMetadata::~AudioMetadata() = default;

QVariant AudioMetadata::value(Field field) const
{
    std::lock_guard lock(m_lock);
    return m_values[size_t(field)];
}

void AudioMetadata::setValue(Field field, const QVariant& value)
{
    const std::optional<QVariant> stored = normalised(kindOf(field), value);
    ZT_ASSERT(stored.has_value(), QStringLiteral("Cannot set %1 from a value of type %2")
                                      .arg(fieldName(field), QString::fromLatin1(value.typeName())));
    store(field, *stored);
}

void AudioMetadata::store(Field field, QVariant value)
{
    {
        std::lock_guard lock(m_lock);
        m_values[size_t(field)].swap(value);
    }
    // The old value (now in value) is released here, outside the lock, and
    // observers may read the record from their slot.
    Q_EMIT fieldDidChange(field);
}

template <typename T> std::optional<T> AudioMetadata::get(Field field) const
{
    const QVariant stored = value(field);
    return stored.isValid() ? std::optional<T>(stored.value<T>()) : std::nullopt;
}

template <typename T> void AudioMetadata::set(Field field, const std::optional<T>& value)
{
    if (!value) {
        store(field, QVariant());
    } else if constexpr (std::is_same_v<T, QString>) {
        store(field, QVariant(QString(value->constData(), value->size())));
    } else {
        store(field, QVariant::fromValue(*value));
    }
}

// clang-format off
std::optional<int> AudioMetadata::trackNumber() const { return get<int>(Field::trackNumber); }
void AudioMetadata::setTrackNumber(std::optional<int> value) { set(Field::trackNumber, value); }
std::optional<int> AudioMetadata::totalTracks() const { return get<int>(Field::totalTracks); }
void AudioMetadata::setTotalTracks(std::optional<int> value) { set(Field::totalTracks, value); }
std::optional<QString> AudioMetadata::trackTitle() const { return get<QString>(Field::trackTitle); }
void AudioMetadata::setTrackTitle(std::optional<QString> value) { set(Field::trackTitle, value); }
std::optional<QString> AudioMetadata::albumTitle() const { return get<QString>(Field::albumTitle); }
void AudioMetadata::setAlbumTitle(std::optional<QString> value) { set(Field::albumTitle, value); }
std::optional<QString> AudioMetadata::trackArtist() const { return get<QString>(Field::trackArtist); }
void AudioMetadata::setTrackArtist(std::optional<QString> value) { set(Field::trackArtist, value); }
std::optional<QString> AudioMetadata::albumArtist() const { return get<QString>(Field::albumArtist); }
void AudioMetadata::setAlbumArtist(std::optional<QString> value) { set(Field::albumArtist, value); }
std::optional<QString> AudioMetadata::trackComposer() const { return get<QString>(Field::trackComposer); }
void AudioMetadata::setTrackComposer(std::optional<QString> value) { set(Field::trackComposer, value); }
std::optional<int> AudioMetadata::trackYear() const { return get<int>(Field::trackYear); }
void AudioMetadata::setTrackYear(std::optional<int> value) { set(Field::trackYear, value); }
std::optional<QString> AudioMetadata::trackGenre() const { return get<QString>(Field::trackGenre); }
void AudioMetadata::setTrackGenre(std::optional<QString> value) { set(Field::trackGenre, value); }
std::optional<QString> AudioMetadata::trackComment() const { return get<QString>(Field::trackComment); }
void AudioMetadata::setTrackComment(std::optional<QString> value) { set(Field::trackComment, value); }
AlbumArtworkPtr AudioMetadata::albumArtwork() const { return get<AlbumArtworkPtr>(Field::albumArtwork).value_or(nullptr); }
void AudioMetadata::setAlbumArtwork(AlbumArtworkPtr value) { set(Field::albumArtwork, value ? std::optional(value) : std::nullopt); }
std::optional<QString> AudioMetadata::grouping() const { return get<QString>(Field::grouping); }
void AudioMetadata::setGrouping(std::optional<QString> value) { set(Field::grouping, value); }
std::optional<int> AudioMetadata::discNumber() const { return get<int>(Field::discNumber); }
void AudioMetadata::setDiscNumber(std::optional<int> value) { set(Field::discNumber, value); }
std::optional<int> AudioMetadata::discTotal() const { return get<int>(Field::discTotal); }
void AudioMetadata::setDiscTotal(std::optional<int> value) { set(Field::discTotal, value); }
std::optional<QString> AudioMetadata::lyrics() const { return get<QString>(Field::lyrics); }
void AudioMetadata::setLyrics(std::optional<QString> value) { set(Field::lyrics, value); }
std::optional<int> AudioMetadata::bpm() const { return get<int>(Field::bpm); }
void AudioMetadata::setBpm(std::optional<int> value) { set(Field::bpm, value); }
std::optional<int> AudioMetadata::partOfACompilation() const { return get<int>(Field::partOfACompilation); }
void AudioMetadata::setPartOfACompilation(std::optional<int> value) { set(Field::partOfACompilation, value); }
std::optional<QString> AudioMetadata::trackCopyright() const { return get<QString>(Field::trackCopyright); }
void AudioMetadata::setTrackCopyright(std::optional<QString> value) { set(Field::trackCopyright, value); }
std::optional<QString> AudioMetadata::ISRC() const { return get<QString>(Field::ISRC); }
void AudioMetadata::setISRC(std::optional<QString> value) { set(Field::ISRC, value); }
std::optional<QString> AudioMetadata::key() const { return get<QString>(Field::key); }
void AudioMetadata::setKey(std::optional<QString> value) { set(Field::key, value); }

std::optional<QString> AudioMetadata::sourceKind() const { return get<QString>(Field::sourceKind); }
void AudioMetadata::setSourceKind(std::optional<QString> value) { set(Field::sourceKind, value); }
std::optional<QString> AudioMetadata::sourceFormat() const { return get<QString>(Field::sourceFormat); }
void AudioMetadata::setSourceFormat(std::optional<QString> value) { set(Field::sourceFormat, value); }
std::optional<double> AudioMetadata::sourceLength() const { return get<double>(Field::sourceLength); }
void AudioMetadata::setSourceLength(std::optional<double> value) { set(Field::sourceLength, value); }
std::optional<qint64> AudioMetadata::sourceFileSize() const { return get<qint64>(Field::sourceFileSize); }
void AudioMetadata::setSourceFileSize(std::optional<qint64> value) { set(Field::sourceFileSize, value); }
std::optional<int> AudioMetadata::sourceSampleSize() const { return get<int>(Field::sourceSampleSize); }
void AudioMetadata::setSourceSampleSize(std::optional<int> value) { set(Field::sourceSampleSize, value); }
std::optional<double> AudioMetadata::sourceSampleRate() const { return get<double>(Field::sourceSampleRate); }
void AudioMetadata::setSourceSampleRate(std::optional<double> value) { set(Field::sourceSampleRate, value); }
std::optional<int> AudioMetadata::sourceBitrate() const { return get<int>(Field::sourceBitrate); }
void AudioMetadata::setSourceBitrate(std::optional<int> value) { set(Field::sourceBitrate, value); }
std::optional<QString> AudioMetadata::sourceBitrateMode() const { return get<QString>(Field::sourceBitrateMode); }
void AudioMetadata::setSourceBitrateMode(std::optional<QString> value) { set(Field::sourceBitrateMode, value); }
std::optional<int> AudioMetadata::sourceChannels() const { return get<int>(Field::sourceChannels); }
void AudioMetadata::setSourceChannels(std::optional<int> value) { set(Field::sourceChannels, value); }
std::optional<QString> AudioMetadata::sourceChannelMode() const { return get<QString>(Field::sourceChannelMode); }
void AudioMetadata::setSourceChannelMode(std::optional<QString> value) { set(Field::sourceChannelMode, value); }
std::optional<QString> AudioMetadata::sourceTagFormat() const { return get<QString>(Field::sourceTagFormat); }
void AudioMetadata::setSourceTagFormat(std::optional<QString> value) { set(Field::sourceTagFormat, value); }
std::optional<QString> AudioMetadata::sourceEncodedWith() const { return get<QString>(Field::sourceEncodedWith); }
void AudioMetadata::setSourceEncodedWith(std::optional<QString> value) { set(Field::sourceEncodedWith, value); }
std::optional<QDateTime> AudioMetadata::sourceDateModified() const { return get<QDateTime>(Field::sourceDateModified); }
void AudioMetadata::setSourceDateModified(std::optional<QDateTime> value) { set(Field::sourceDateModified, value); }
std::optional<QString> AudioMetadata::sourceLocation() const { return get<QString>(Field::sourceLocation); }
void AudioMetadata::setSourceLocation(std::optional<QString> value) { set(Field::sourceLocation, value); }
std::optional<QVariantMap> AudioMetadata::userData() const { return get<QVariantMap>(Field::userData); }
void AudioMetadata::setUserData(std::optional<QVariantMap> value) { set(Field::userData, value); }
// clang-format on

void AudioMetadata::clearAll()
{
    for (Field field : kClearAllOrder) {
        store(field, QVariant());
    }
}

const std::array<AudioMetadata::Field, 17>& AudioMetadata::exchangeFields()
{
    return kExchangeFields;
}

QVariantMap AudioMetadata::exchangeDictionary() const
{
    QVariantMap dictionary;
    for (Field field : kExchangeFields) {
        const QVariant stored = value(field);
        if (stored.isValid()) {
            dictionary.insert(fieldName(field), stored);
        }
    }
    return dictionary;
}

void AudioMetadata::setFromExchangeDictionary(const QVariantMap& dictionary)
{
    for (Field field : kExchangeFields) {
        setValue(field, dictionary.value(fieldName(field)));
    }
}

QString AudioMetadata::titleFromFilename(const QString& path)
{
    const QString name = QFileInfo(path).fileName();
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    return dot > 0 ? name.left(dot) : name;
}

bool AudioMetadata::applyFilenameTitleFallback(const QString& path)
{
    if (trackTitle()) {
        return false;
    }
    setTrackTitle(titleFromFilename(path));
    return true;
}

std::shared_ptr<AudioMetadata> AudioMetadata::metadataFromFile(const QString& path)
{
    return MetadataReader::metadataFromFile(path);
}
