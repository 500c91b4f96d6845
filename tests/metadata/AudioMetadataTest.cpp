#include "AudioMetadata.h"
#include "Fixtures.h"

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

using Field = AudioMetadata::Field;

const QDateTime kModified = QDateTime(QDate(2021, 3, 4), QTime(5, 6, 7), Qt::UTC);

AlbumArtworkPtr someArtwork()
{
    auto artwork = std::make_shared<AlbumArtwork>();
    artwork->setData(QByteArray("\x89PNG not really"));
    return artwork;
}

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
        return kModified;
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

bool isDescriptive(Field field)
{
    return int(field) <= int(Field::key);
}

TEST(AudioMetadata, ClearAllEmptiesDescriptiveFieldsInOrderAndKeepsTheSource)
{
    const AlbumArtworkPtr artwork = someArtwork();
    const AudioMetadataPtr record = fullRecord(artwork);
    QStringList cleared;
    QObject::connect(record.get(), &AudioMetadata::fieldDidChange, [&](Field field) {
        EXPECT_FALSE(record->value(field).isValid()); // already stored when observers hear of it
        cleared << AudioMetadata::fieldName(field);
    });
    record->clearAll();

    EXPECT_EQ(cleared, QStringList({"trackNumber",        "totalTracks",    "trackTitle",    "albumTitle",
                                    "trackArtist",        "albumArtist",    "trackComposer", "trackYear",
                                    "trackGenre",         "trackComment",   "albumArtwork",  "grouping",
                                    "discNumber",         "discTotal",      "lyrics",        "bpm",
                                    "partOfACompilation", "trackCopyright", "key",           "ISRC"}));
    for (int i = 0; i < AudioMetadata::kFieldCount; ++i) {
        const Field field = Field(i);
        SCOPED_TRACE(AudioMetadata::fieldName(field).toStdString());
        if (isDescriptive(field)) {
            EXPECT_FALSE(record->value(field).isValid());
        } else {
            EXPECT_EQ(record->value(field), sampleValue(field, artwork));
        }
    }
}

// Copy and paste between rows: the seventeen exchanged fields travel, the
// artwork as the same object; a copy holding only a title clears the other
// exchanged fields of the row it is pasted on and leaves the rest.
TEST(AudioMetadata, PastingReplacesEveryExchangedFieldAndSharesTheArtwork)
{
    const AlbumArtworkPtr artwork = someArtwork();
    const QVariantMap everything = fullRecord(artwork)->exchangeDictionary();
    EXPECT_EQ(everything.size(), 17);
    AudioMetadata pasted;
    pasted.setFromExchangeDictionary(everything);
    EXPECT_EQ(pasted.exchangeDictionary(), everything);
    EXPECT_EQ(pasted.albumArtwork().get(), artwork.get());
    EXPECT_EQ(pasted.key(), std::nullopt);

    AudioMetadata titleOnly;
    titleOnly.setTrackTitle(u"Only a title"_s);
    const QVariantMap copied = titleOnly.exchangeDictionary();
    EXPECT_EQ(copied.keys(), QStringList{u"trackTitle"_s});
    const AudioMetadataPtr target = fullRecord(artwork);
    QList<Field> changed;
    QObject::connect(target.get(), &AudioMetadata::fieldDidChange, [&](Field field) { changed << field; });
    target->setFromExchangeDictionary(copied);
    EXPECT_EQ(target->exchangeDictionary(), copied);
    const auto& exchanged = AudioMetadata::exchangeFields();
    for (int i = 0; i < AudioMetadata::kFieldCount; ++i) {
        if (std::find(exchanged.begin(), exchanged.end(), Field(i)) == exchanged.end()) {
            EXPECT_EQ(target->value(Field(i)), sampleValue(Field(i), artwork))
                << AudioMetadata::fieldName(Field(i)).toStdString();
        }
    }
    EXPECT_EQ(changed, QList<Field>(exchanged.begin(), exchanged.end()));
}

TEST(AudioMetadata, TextIsCopiedWhenSet)
{
    // A string over a caller's buffer: changing the buffer must not reach the record.
    QChar buffer[] = {u'A', u'b', u'b', u'a'};
    const QString raw = QString::fromRawData(buffer, 4);
    AudioMetadata record;
    record.setTrackArtist(raw);
    record.setValue(Field::albumArtist, raw);
    QString editable = u"Waterloo"_s;
    record.setTrackTitle(editable);
    buffer[0] = u'X';
    editable[0] = u'X';
    EXPECT_EQ(record.trackArtist(), u"Abba"_s);
    EXPECT_EQ(record.albumArtist(), u"Abba"_s);
    EXPECT_EQ(record.trackTitle(), u"Waterloo"_s);
}

TEST(AudioMetadata, ConcurrentSetsAndGetsNeverTear)
{
    const QString a(300, u'a'), b(500, u'b');
    const AlbumArtworkPtr first = someArtwork(), second = someArtwork();
    const auto record = std::make_shared<AudioMetadata>();
    record->setTrackTitle(a);
    record->setAlbumArtwork(first);
    std::atomic<bool> stop{false};
    std::atomic<int> torn{0};

    std::vector<std::thread> threads;
    for (int w = 0; w < 2; ++w) {
        threads.emplace_back([&, w] {
            for (int i = 0; i < 20000; ++i) {
                record->setTrackTitle((i + w) % 2 ? a : b);
                record->setAlbumArtwork((i + w) % 2 ? first : second);
            }
        });
    }
    for (int r = 0; r < 2; ++r) {
        threads.emplace_back([&] {
            while (!stop) {
                const std::optional<QString> title = record->trackTitle();
                const AlbumArtworkPtr artwork = record->albumArtwork();
                if (!title || (*title != a && *title != b) || (artwork != first && artwork != second)) {
                    ++torn;
                }
            }
        });
    }
    threads[0].join();
    threads[1].join();
    stop = true;
    threads[2].join();
    threads[3].join();
    EXPECT_EQ(torn, 0);
}

TEST(AudioMetadata, FilenameTitleFallbackFillsOnlyAnAbsentTitle)
{
    const std::pair<QString, QString> cases[] = {
        {u"/music/a.b/Live.at.Wembley.ogg"_s, u"Live.at.Wembley"_s},
        {u"relative/No extension"_s, u"No extension"_s},
        {u"/music/.hidden"_s, u".hidden"_s},
    };
    for (const auto& [path, title] : cases) {
        AudioMetadata record;
        EXPECT_TRUE(record.applyFilenameTitleFallback(path));
        EXPECT_EQ(record.trackTitle(), title) << path.toStdString();
    }

    AudioMetadata emptyTitle;
    emptyTitle.setTrackTitle(QString());
    EXPECT_FALSE(emptyTitle.applyFilenameTitleFallback(u"/music/01 Intro.flac"_s));
    EXPECT_EQ(emptyTitle.trackTitle(), QString());
}

} // namespace
