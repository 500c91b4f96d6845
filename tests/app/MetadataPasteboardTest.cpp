// The clipboard's tag set keeps every exchanged field and its cover; other bytes are refused whole.

#include "MetadataPasteboard.h"
#include "AlbumArtwork.h"
#include "AudioMetadata.h"
#include "Fixtures.h"
#include "QtPrinters.h"

#include <QDataStream>
#include <QIODevice>
#include <QMimeData>
#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

TEST(MetadataPasteboardTest, ArchiveKeepsTheExchangedFieldsAndRefusesDamagedBytes)
{
    const AudioMetadataPtr source =
        AudioMetadata::metadataFromFile(Fixtures::generated(u"ctl-tagged.flac"_s));
    source->setAlbumArtwork(AlbumArtwork::albumArtworkFromFile(Fixtures::generated(u"art.png"_s)));
    source->setBpm(120);
    source->setKey(u"Am"_s); // never exchanged
    const QVariantMap copied = source->exchangeDictionary();
    ASSERT_TRUE(copied.contains(u"lyrics"_s));

    const std::unique_ptr<QMimeData> clipboard = MetadataPasteboard::mimeData(copied);
    EXPECT_TRUE(clipboard->hasFormat(AlbumArtwork::kPasteboardType));
    EXPECT_EQ(clipboard->data(u"image/png"_s), source->albumArtwork()->data());
    const std::optional<QVariantMap> pasted = MetadataPasteboard::fromMimeData(*clipboard);
    ASSERT_TRUE(pasted.has_value());
    EXPECT_EQ(pasted->keys(), copied.keys());

    AudioMetadata target;
    target.setKey(u"C"_s);
    target.setFromExchangeDictionary(*pasted);
    EXPECT_EQ(target.bpm(), 120);
    EXPECT_EQ(target.key(), u"C"_s);
    ASSERT_NE(target.albumArtwork(), nullptr);
    EXPECT_EQ(target.albumArtwork()->md5(), source->albumArtwork()->md5());

    const QByteArray archive = MetadataPasteboard::archive(copied);
    for (qsizetype length = 0; length < archive.size(); ++length) {
        ASSERT_FALSE(MetadataPasteboard::fromArchive(archive.left(length)).has_value())
            << "cut at " << length;
    }
    // A known name with a value of the wrong kind, or no exchanged field's name.
    for (const auto& [name, value] : {std::pair<QString, QVariant>{u"trackNumber"_s, u"7"_s},
                                      {u"sourceLocation"_s, u"/etc/passwd"_s},
                                      {u"noSuchField"_s, 1}}) {
        QByteArray forged;
        QDataStream out(&forged, QIODevice::WriteOnly);
        out.setVersion(QDataStream::Qt_6_4);
        out << quint32(0x534d4401) << quint32(1) << name << value;
        EXPECT_FALSE(MetadataPasteboard::fromArchive(forged).has_value()) << name.toStdString();
    }
    EXPECT_FALSE(MetadataPasteboard::fromArchive(QByteArray("plain text")).has_value());
}

} // namespace
