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

struct ImageProbe
{
    QString codec;
    int64_t width = -1;
    int64_t height = -1;
};

// What ffprobe sees in an image file.
ImageProbe probeImage(const QString& path)
{
    const QJsonObject stream =
        ffprobe(path, {"-show_entries", "stream=codec_name,width,height"})["streams"][0].toObject();
    return {stream["codec_name"].toString(), stream["width"].toInteger(-1), stream["height"].toInteger(-1)};
}

QString md5sumOf(const QString& path)
{
    return QString::fromLatin1(runTool(u"md5sum"_s, {path}).standardOutput.left(32));
}

struct FormatCase
{
    const char* file;
    const char* mimeType; // sniffed from the first byte
};

class ArtworkOfEachFormat : public testing::TestWithParam<FormatCase>
{
};

TEST_P(ArtworkOfEachFormat, LoadsWithSniffedTypeSizeAndChecksumOfTheFile)
{
    const QString path = Fixtures::generated(QString::fromLatin1(GetParam().file));
    const AlbumArtworkPtr artwork = AlbumArtwork::albumArtworkFromFile(path);
    ASSERT_TRUE(artwork);
    EXPECT_EQ(artwork->mimeType(), QString::fromLatin1(GetParam().mimeType));
    EXPECT_EQ(artwork->artworkType(), 3u);
    EXPECT_EQ(artwork->originalFilename(), QString::fromLatin1(GetParam().file));
    EXPECT_EQ(artwork->data(), fileBytes(path));
    EXPECT_EQ(artwork->dataSize(), QFileInfo(path).size());

    const ImageProbe probe = probeImage(path);
    EXPECT_EQ(artwork->width(), probe.width);
    EXPECT_EQ(artwork->height(), probe.height);
    EXPECT_EQ(artwork->dimensions(), u"%1 x %2"_s.arg(probe.width).arg(probe.height));
    EXPECT_EQ(artwork->md5(), md5sumOf(path));
}

INSTANTIATE_TEST_SUITE_P(Formats, ArtworkOfEachFormat,
                         testing::Values(FormatCase{"art.jpg", "image/jpeg"},
                                         FormatCase{"art.png", "image/png"},
                                         FormatCase{"art.gif", "image/gif"},
                                         FormatCase{"art.tiff", "image/tiff"},
                                         FormatCase{"art.bmp", "unknown"}, FormatCase{"art.webp", "unknown"}),
                         [](const auto& info) { return testNameOf(QString::fromLatin1(info.param.file)); });

TEST(AlbumArtwork, BytesThatAreNoImageGetTheirFirstBytesTypeAndNoSize)
{
    ScratchDir dir;
    const QString written = dir.file("written");
    const std::pair<QByteArray, QString> cases[] = {
        {QByteArray("MM\0* big-endian TIFF, cut", 26), u"image/tiff"_s},
        {QByteArray("plain text"), u"unknown"_s},
        {QByteArray(""), u"unknown"_s},
    };
    for (const auto& [bytes, mimeType] : cases) {
        AlbumArtwork artwork;
        artwork.setData(bytes);
        EXPECT_EQ(artwork.mimeType(), mimeType);
        EXPECT_EQ(artwork.dimensions(), u"0 x 0"_s);
        ASSERT_TRUE(artwork.writeToFile(written));
        EXPECT_EQ(fileBytes(written), bytes);
        EXPECT_EQ(artwork.md5(), md5sumOf(written));
        // Nothing to re-encode, so nothing is written.
        EXPECT_FALSE(artwork.saveAsType(AlbumArtwork::ImageFileType::PNG, dir.file("x.png")));
        EXPECT_FALSE(QFileInfo::exists(dir.file("x.png")));
    }

    // Absent data clears everything derived from the old data.
    AlbumArtwork artwork;
    artwork.setData(fileBytes(Fixtures::generated("art.png")));
    artwork.setData(std::nullopt);
    EXPECT_EQ(artwork.mimeType(), std::nullopt);
    EXPECT_EQ(artwork.md5(), std::nullopt);
    EXPECT_EQ(artwork.dimensions(), u"0 x 0"_s);
    EXPECT_FALSE(artwork.writeToFile(dir.file("nothing")));
    EXPECT_FALSE(QFileInfo::exists(dir.file("nothing")));
}

TEST(AlbumArtwork, SettingTheSameBytesAgainKeepsTheTagsMimeTypeButACopyIsSniffedAgain)
{
    const QByteArray png = fileBytes(Fixtures::generated("art.png"));
    AlbumArtwork artwork;
    artwork.setData(png);
    // Tag readers set the tag's MIME type after the data; it stays.
    artwork.setMimeType(u"image/jpeg"_s);
    EXPECT_EQ(artwork.mimeType(), u"image/jpeg"_s);

    const QByteArray sameBytes = png; // shares the bytes: the same object
    artwork.setData(sameBytes);
    EXPECT_EQ(artwork.mimeType(), u"image/jpeg"_s);

    const QByteArray equalCopy(png.constData(), png.size());
    artwork.setData(equalCopy);
    EXPECT_EQ(artwork.mimeType(), u"image/png"_s);
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
            EXPECT_EQ(empty->originalFilename(), std::nullopt);
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

TEST(AlbumArtwork, ArchiveRestoresTheFourKeysAndDerivesTheRestFromTheData)
{
    const QByteArray png = fileBytes(Fixtures::generated("art.png"));
    AlbumArtwork original;
    original.setData(png);
    original.setMimeType(u"image/jpeg"_s); // a tag's word, not kept by archiving
    original.setArtworkType(4);
    original.setComments(u"Back cover, ünïcode"_s);
    original.setOriginalFilename(u"back.png"_s);

    const AlbumArtworkPtr restored = AlbumArtwork::fromArchive(original.archive());
    ASSERT_TRUE(restored);
    EXPECT_EQ(restored->artworkType(), 4u);
    EXPECT_EQ(restored->data(), png);
    EXPECT_EQ(restored->comments(), u"Back cover, ünïcode"_s);
    EXPECT_EQ(restored->originalFilename(), u"back.png"_s);
    EXPECT_EQ(restored->mimeType(), u"image/png"_s);
    EXPECT_EQ(restored->dimensions(), original.dimensions());
    EXPECT_EQ(restored->md5(), original.md5());

    // Absent texts and data stay absent.
    const AlbumArtworkPtr bare = AlbumArtwork::fromArchive(AlbumArtwork().archive());
    ASSERT_TRUE(bare);
    EXPECT_EQ(bare->data(), std::nullopt);
    EXPECT_EQ(bare->comments(), std::nullopt);

    const QByteArray archive = original.archive();
    EXPECT_FALSE(AlbumArtwork::fromArchive(archive.left(archive.size() / 2)));
    EXPECT_FALSE(AlbumArtwork::fromArchive(QByteArray("not an archive")));
    EXPECT_FALSE(AlbumArtwork::fromArchive(QByteArray()));
}

TEST(AlbumArtwork, ClipboardCarriesTheArchiveAndATIFFOfTheImage)
{
    AlbumArtwork original;
    original.setData(fileBytes(Fixtures::generated("art.jpg")));
    original.setComments(u"front"_s);

    EXPECT_EQ(original.mimeData()->formats(),
              QStringList({u"application/x-org.sonabrik.albumartwork"_s, u"image/tiff"_s}));

    QClipboard* clipboard = QGuiApplication::clipboard();
    clipboard->setMimeData(original.mimeData().release());
    const QMimeData* pasted = clipboard->mimeData();
    ASSERT_TRUE(pasted);
    const AlbumArtworkPtr restored = AlbumArtwork::fromMimeData(*pasted);
    ASSERT_TRUE(restored);
    EXPECT_EQ(restored->data(), original.data());
    EXPECT_EQ(restored->comments(), u"front"_s);

    // The TIFF is a real TIFF of the same picture.
    ScratchDir dir;
    const QString tiffPath = dir.file("pasted.tiff");
    AlbumArtwork tiff;
    tiff.setData(pasted->data(u"image/tiff"_s));
    ASSERT_TRUE(tiff.writeToFile(tiffPath));
    const ImageProbe probe = probeImage(tiffPath);
    EXPECT_EQ(probe.codec, u"tiff"_s);
    EXPECT_EQ(probe.width, original.width());
    EXPECT_EQ(probe.height, original.height());

    // TIFF alone is not read as artwork; other types give nothing.
    QMimeData tiffOnly;
    tiffOnly.setData(u"image/tiff"_s, pasted->data(u"image/tiff"_s));
    EXPECT_FALSE(AlbumArtwork::fromMimeData(tiffOnly));
    EXPECT_TRUE(original.pasteboardData(u"text/plain"_s).isEmpty());
}

struct SaveCase
{
    AlbumArtwork::ImageFileType type;
    const char* file;
    const char* ffprobeCodec;
};

class SaveAsType : public testing::TestWithParam<SaveCase>
{
};

TEST_P(SaveAsType, WritesTheTypeOnceAndNeverOverwrites)
{
    AlbumArtwork artwork;
    artwork.setData(fileBytes(Fixtures::generated("art.gif")));
    ScratchDir dir;
    const QString path = dir.file(QString::fromLatin1(GetParam().file));

    ASSERT_TRUE(artwork.saveAsType(GetParam().type, path));
    const ImageProbe probe = probeImage(path);
    EXPECT_EQ(probe.codec, QString::fromLatin1(GetParam().ffprobeCodec));
    EXPECT_EQ(probe.width, 37);
    EXPECT_EQ(probe.height, 23);

    const QString before = md5sumOf(path);
    const auto otherType = GetParam().type == AlbumArtwork::ImageFileType::PNG
                               ? AlbumArtwork::ImageFileType::BMP
                               : AlbumArtwork::ImageFileType::PNG;
    EXPECT_FALSE(artwork.saveAsType(otherType, path));
    EXPECT_EQ(md5sumOf(path), before);
}

INSTANTIATE_TEST_SUITE_P(Types, SaveAsType,
                         testing::Values(SaveCase{AlbumArtwork::ImageFileType::TIFF, "cover.tiff", "tiff"},
                                         SaveCase{AlbumArtwork::ImageFileType::BMP, "cover.bmp", "bmp"},
                                         SaveCase{AlbumArtwork::ImageFileType::JPEG, "cover.jpg", "mjpeg"},
                                         SaveCase{AlbumArtwork::ImageFileType::PNG, "cover.png", "png"}),
                         [](const auto& info) { return testNameOf(QString::fromLatin1(info.param.file)); });

} // namespace
