#include "AudioMetadata.h"
#include "Fixtures.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

using Field = AudioMetadata::Field;

// A value of the field's own kind that differs from field to field.
QVariant sampleValue(Field field, const AlbumArtworkPtr& artwork)
{
    const int n = int(field);
    switch (AudioMetadata::kindOf(field)) {
    case AudioMetadata::Kind::Integer:
        return 100 + n;
    case AudioMetadata::Kind::LargeInteger:
        return qint64(5'000'000'000) + n;
    case AudioMetadata::Kind::Real:
        return 44100.5 + n;
    case AudioMetadata::Kind::Text:
        return AudioMetadata::fieldName(field) + u" text"_s;
    case AudioMetadata::Kind::Date:
        return QDateTime(QDate(2021, 3, 4), QTime(5, 6, 7), Qt::UTC);
    case AudioMetadata::Kind::Artwork:
        return QVariant::fromValue(artwork);
    case AudioMetadata::Kind::Dictionary:
        return QVariantMap{{u"kAudioFilePropertyInfoDictionary"_s, QByteArray("x")}};
    }
    return {};
}

AudioMetadataPtr fullRecord(const AlbumArtworkPtr& artwork)
{
    auto record = std::make_shared<AudioMetadata>();
    for (int i = 0; i < AudioMetadata::kFieldCount; ++i) {
        record->setValue(Field(i), sampleValue(Field(i), artwork));
    }
    return record;
}

TEST(AudioMetadata, ClearAllEmptiesDescriptiveFieldsAndKeepsTheSource)
{
    const auto artwork = std::make_shared<AlbumArtwork>();
    const AudioMetadataPtr record = fullRecord(artwork);
    int cleared = 0;
    QObject::connect(record.get(), &AudioMetadata::fieldDidChange, [&](Field field) {
        EXPECT_FALSE(record->value(field).isValid()); // already stored when observers hear of it
        ++cleared;
    });
    record->clearAll();
    EXPECT_EQ(cleared, int(Field::key) + 1);
    for (int i = 0; i < AudioMetadata::kFieldCount; ++i) {
        EXPECT_EQ(record->value(Field(i)), i <= int(Field::key) ? QVariant() : sampleValue(Field(i), artwork))
            << AudioMetadata::fieldName(Field(i)).toStdString();
    }
}

// The artwork travels as the same object; a title-only copy clears the other exchanged fields.
TEST(AudioMetadata, PastingReplacesEveryExchangedFieldAndSharesTheArtwork)
{
    const auto artwork = std::make_shared<AlbumArtwork>();
    const QVariantMap everything = fullRecord(artwork)->exchangeDictionary();
    AudioMetadata pasted;
    pasted.setFromExchangeDictionary(everything);
    EXPECT_EQ(pasted.exchangeDictionary(), everything);
    EXPECT_EQ(pasted.albumArtwork().get(), artwork.get());
    EXPECT_EQ(pasted.key(), std::nullopt);

    AudioMetadata titleOnly;
    titleOnly.setTrackTitle(u"Only a title"_s);
    const AudioMetadataPtr target = fullRecord(artwork);
    QList<Field> changed;
    QObject::connect(target.get(), &AudioMetadata::fieldDidChange, [&](Field field) { changed << field; });
    target->setFromExchangeDictionary(titleOnly.exchangeDictionary());
    EXPECT_EQ(target->exchangeDictionary(), QVariantMap({{u"trackTitle"_s, u"Only a title"_s}}));
    const auto& exchanged = AudioMetadata::exchangeFields();
    EXPECT_EQ(changed, QList<Field>(exchanged.begin(), exchanged.end()));
    for (int i = 0; i < AudioMetadata::kFieldCount; ++i) {
        if (std::find(exchanged.begin(), exchanged.end(), Field(i)) == exchanged.end()) {
            EXPECT_EQ(target->value(Field(i)), sampleValue(Field(i), artwork)) << i;
        }
    }
}

TEST(AudioMetadata, FilenameTitleFallbackFillsOnlyAnAbsentTitle)
{
    AudioMetadata record; // a hidden file's name is kept whole
    EXPECT_TRUE(record.applyFilenameTitleFallback(u"/music/a.b/.hidden"_s));
    EXPECT_EQ(record.trackTitle(), u".hidden"_s);
    AudioMetadata emptyTitle;
    emptyTitle.setTrackTitle(QString());
    EXPECT_FALSE(emptyTitle.applyFilenameTitleFallback(u"/music/01 Intro.flac"_s));
    EXPECT_EQ(emptyTitle.trackTitle(), QString());
}

} // namespace
