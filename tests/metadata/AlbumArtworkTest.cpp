#include "AlbumArtwork.h"
#include "Encoding.h"
#include "Fixtures.h"
#include "Tools.h"

#include <QClipboard>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QMimeData>
#include <QUrl>
#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

QJsonObject probeImage(const QString& path)
{
    return ffprobe(path, {"-show_entries", "stream=codec_name,width,height"})["streams"][0].toObject();
}

QString md5sumOf(const QString& path)
{
    return QString::fromLatin1(runTool(u"md5sum"_s, {path}).standardOutput.left(32));
}

using FormatCase = std::pair<const char*, const char*>;

class ArtworkOfEachFormat : public testing::TestWithParam<FormatCase>
{
};

TEST_P(ArtworkOfEachFormat, LoadsWithSniffedTypeSizeAndChecksumOfTheFile)
{
    const QString path = Fixtures::generated(QString::fromLatin1(GetParam().first));
    const AlbumArtworkPtr artwork = AlbumArtwork::albumArtworkFromFile(path);
    ASSERT_TRUE(artwork);
    EXPECT_EQ(artwork->mimeType(), QString::fromLatin1(GetParam().second));
    EXPECT_EQ(artwork->originalFilename(), QString::fromLatin1(GetParam().first));
    EXPECT_EQ(artwork->data(), fileBytes(path));
    const QJsonObject probe = probeImage(path);
    EXPECT_EQ(artwork->width(), probe["width"].toInteger(-1));
    EXPECT_EQ(artwork->height(), probe["height"].toInteger(-1));
    EXPECT_EQ(artwork->dimensions(), u"%1 x %2"_s.arg(probe["width"].toInt()).arg(probe["height"].toInt()));
    EXPECT_EQ(artwork->md5(), md5sumOf(path));
}

INSTANTIATE_TEST_SUITE_P(Formats, ArtworkOfEachFormat,
                         testing::Values(FormatCase{"art.jpg", "image/jpeg"},
                                         FormatCase{"art.png", "image/png"},
                                         FormatCase{"art.gif", "image/gif"},
                                         FormatCase{"art.tiff", "image/tiff"},
                                         FormatCase{"art.bmp", "unknown"}),
                         [](const auto& info) { return testNameOf(QString::fromLatin1(info.param.first)); });

TEST(AlbumArtwork, BytesThatAreNoImageGetTheirFirstBytesTypeAndNoSize)
{
    ScratchDir dir;
    const QString written = dir.file("written");
    for (const auto& [bytes, mimeType] :
         {std::pair{QByteArray("MM\0* big-endian TIFF, cut", 26), "image/tiff"},
          {QByteArray(""), "unknown"}}) {
        AlbumArtwork artwork;
        artwork.setData(bytes);
        EXPECT_EQ(artwork.mimeType(), QLatin1String(mimeType));
        EXPECT_EQ(artwork.dimensions(), u"0 x 0"_s);
        ASSERT_TRUE(artwork.writeToFile(written));
        EXPECT_EQ(fileBytes(written), bytes);
        EXPECT_EQ(artwork.md5(), md5sumOf(written));
        // Nothing to re-encode, so nothing is written.
        EXPECT_FALSE(artwork.saveAsType(AlbumArtwork::ImageFileType::PNG, dir.file("x.png")));
        EXPECT_FALSE(QFileInfo::exists(dir.file("x.png")));
    }

    AlbumArtwork artwork; // absent data clears everything derived from the old data
    artwork.setData(fileBytes(Fixtures::generated("art.png")));
    artwork.setData(std::nullopt);
    EXPECT_FALSE(artwork.mimeType() || artwork.md5());
    EXPECT_EQ(artwork.dimensions(), u"0 x 0"_s);
    EXPECT_FALSE(artwork.writeToFile(dir.file("nothing")));
    EXPECT_FALSE(QFileInfo::exists(dir.file("nothing")));
}

TEST(AlbumArtwork, LoadingGivesEmptyArtworkForUnreadableFilesAndNullForNonImages)
{
    ScratchDir dir;
    const QString missing = dir.file("missing.jpg");
    const QString garbage = Fixtures::generated("art-garbage.png");
    const QString spaced = dir.file("cover art #1.png");
    ASSERT_TRUE(QFile::copy(Fixtures::generated("art.png"), spaced));

    for (const bool byURL : {false, true}) {
        SCOPED_TRACE(byURL ? "by URL" : "by path");
        const auto load = [byURL](const QString& path) {
            return byURL ? AlbumArtwork::albumArtworkFromURL(QUrl::fromLocalFile(path))
                         : AlbumArtwork::albumArtworkFromFile(path);
        };
        for (const QString& unreadable : {missing, dir.path()}) {
            const AlbumArtworkPtr empty = load(unreadable);
            ASSERT_TRUE(empty);
            EXPECT_EQ(empty->data(), std::nullopt);
            EXPECT_EQ(empty->artworkType(), 3u);
        }
        EXPECT_FALSE(load(garbage));

        const AlbumArtworkPtr loaded = load(spaced);
        ASSERT_TRUE(loaded);
        EXPECT_EQ(loaded->originalFilename(), u"cover art #1.png"_s);
        EXPECT_EQ(loaded->data(), fileBytes(spaced));
    }

    // Only local files are read.
    const AlbumArtworkPtr remote = AlbumArtwork::albumArtworkFromURL(QUrl(u"http://127.0.0.1/a.png"_s));
    ASSERT_TRUE(remote);
    EXPECT_EQ(remote->data(), std::nullopt);
}

// The archive restores the four keys and derives the rest from the data.
TEST(AlbumArtwork, ClipboardCarriesTheArchiveAndATIFFOfTheImage)
{
    const QByteArray png = fileBytes(Fixtures::generated("art.png"));
    AlbumArtwork original;
    original.setData(png);
    original.setMimeType(u"image/jpeg"_s); // a tag's word, not kept by archiving
    original.setArtworkType(4);
    original.setComments(u"Back cover, ünïcode"_s);
    original.setOriginalFilename(u"back.png"_s);
    EXPECT_EQ(original.mimeData()->formats(),
              QStringList({u"application/x-org.sonabrik.albumartwork"_s, u"image/tiff"_s}));
    QGuiApplication::clipboard()->setMimeData(original.mimeData().release());
    const QMimeData* pasted = QGuiApplication::clipboard()->mimeData();
    ASSERT_TRUE(pasted);
    const AlbumArtworkPtr restored = AlbumArtwork::fromMimeData(*pasted);
    ASSERT_TRUE(restored);
    EXPECT_EQ(restored->artworkType(), 4u);
    EXPECT_EQ(restored->data(), png);
    EXPECT_EQ(restored->comments(), u"Back cover, ünïcode"_s);
    EXPECT_EQ(restored->originalFilename(), u"back.png"_s);
    EXPECT_EQ(restored->mimeType(), u"image/png"_s);
    const QByteArray archive = original.archive(); // a damaged archive gives nothing
    EXPECT_FALSE(AlbumArtwork::fromArchive(archive.left(archive.size() / 2)));
    AlbumArtwork tiff; // a TIFF of the same picture
    tiff.setData(pasted->data(u"image/tiff"_s));
    EXPECT_EQ((QStringList{*tiff.mimeType(), tiff.dimensions()}), (QStringList{"image/tiff", "37 x 23"}));
    // TIFF alone is not read as artwork; other types give nothing.
    QMimeData tiffOnly;
    tiffOnly.setData(u"image/tiff"_s, pasted->data(u"image/tiff"_s));
    EXPECT_FALSE(AlbumArtwork::fromMimeData(tiffOnly));
    EXPECT_TRUE(original.pasteboardData(u"text/plain"_s).isEmpty());
}

// Types of the table read back by ffprobe; a second save never overwrites.
TEST(AlbumArtwork, SaveAsTypeWritesTheTypeOnceAndNeverOverwrites)
{
    using T = AlbumArtwork::ImageFileType;
    AlbumArtwork artwork;
    artwork.setData(fileBytes(Fixtures::generated("art.gif")));
    ScratchDir dir;
    for (const auto& [type, file, codec] :
         {std::tuple{T::JPEG, "cover.jpg", "mjpeg"}, {T::TIFF, "cover.tiff", "tiff"}}) {
        const QString path = dir.file(QString::fromLatin1(file));
        ASSERT_TRUE(artwork.saveAsType(type, path)) << file;
        EXPECT_EQ(probeImage(path), QJsonObject({{"codec_name", codec}, {"width", 37}, {"height", 23}}));
        const QString before = md5sumOf(path);
        EXPECT_FALSE(artwork.saveAsType(type == T::PNG ? T::BMP : T::PNG, path));
        EXPECT_EQ(md5sumOf(path), before);
    }
}

} // namespace
