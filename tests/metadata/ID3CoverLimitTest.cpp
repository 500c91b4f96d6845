// A cover larger than an ID3v2 tag can hold is left out, with a line in the
// error log, rather than written into a frame whose size field overflows.

#include "AlbumArtwork.h"
#include "AudioMetadata.h"
#include "ID3TagMapping.h"
#include "Tools.h"

#include <gtest/gtest.h>
#include <taglib/id3v2tag.h>

TEST(ID3CoverLimit, APictureBeyondTheTagsSizeFieldIsLeftOutAndLogged)
{
    // One byte past 256 MB: the largest size the tag's 28 bits can say.
    constexpr qsizetype kTooLarge = qsizetype(1) << 28;
    ErrorLogCapture log;
    AudioMetadata metadata;
    metadata.setTrackTitle(QStringLiteral("Title"));
    {
        auto artwork = std::make_shared<AlbumArtwork>();
        QByteArray data(kTooLarge, '\0');
        data[0] = char(0xFF); // a JPEG's first byte, so it is typed as one
        artwork->setData(std::move(data));
        metadata.setAlbumArtwork(artwork);
    }
    TagLib::ID3v2::Tag tag;
    ID3TagMapping::fillOutID3v2Tag(metadata, &tag, 4, TagLib::String::UTF8, std::nullopt, std::nullopt);
    EXPECT_TRUE(tag.frameListMap()["APIC"].isEmpty());
    EXPECT_EQ(tag.title(), TagLib::String("Title"));
    EXPECT_TRUE(log.contains(
        QStringLiteral("The Album Artwork (268435456 Bytes) Is Too Large For An ID3v2 Tag And Was Not "
                       "Written.")))
        << log.messages().join(u'\n').toStdString();
}
