// The tags of a FLAC, an Ogg Vorbis, an M4A and a WMA source, written by
// mutagen in each format's own keys, arrive in the ID3v2 tag of the MP3
// that an encode operation makes of it (read back with mutagen). Each field
// kind once: a text, a number pair and the cover; what each format's keys
// read as is checked where the sources' tags are read.

#include "Encoding.h"
#include "Fixtures.h"
#include "MP3EncodeOperation.h"
#include "Mutagen.h"
#include "TagDump.h"
#include "Tools.h"

#include <QJsonArray>
#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

using Mutagen::entry;

QString cover()
{
    return Fixtures::generated("art.png");
}

QJsonObject picture(const char* kind)
{
    return {{kind, cover()}, {"type", 3}, {"mime", "image/png"}};
}

QJsonArray xiphTags()
{
    return {entry("TITLE", "Ünïcode Title"), entry("TRACKNUMBER", "3"), entry("TRACKTOTAL", "12"),
            entry("METADATA_BLOCK_PICTURE", picture("flacpicture"))};
}

QJsonArray mp4Tags()
{
    return {entry("\u00a9nam", "Ünïcode Title"), entry("trkn", QJsonObject{{"pair", QJsonArray{3, 12}}}),
            entry("covr", QJsonObject{{"cover", cover()}, {"format", "png"}})};
}

QJsonArray asfTags()
{
    return {entry("Title", "Ünïcode Title"), entry("WM/TrackNumber", QJsonObject{{"dword", 3}}),
            entry("WM/TrackTotal", QJsonObject{{"dword", 12}}), entry("WM/Picture", picture("asfpicture"))};
}

struct SourceCase
{
    const char* name;
    const char* fixture;
    const char* extension;
    const char* tagger;
    QJsonArray (*tags)();
};

class ConvertedTags : public testing::TestWithParam<SourceCase>
{
};

TEST_P(ConvertedTags, ArriveInTheMP3sID3v2Tag)
{
    const SourceCase& c = GetParam();
    ScratchDir sources;
    ScratchDir out;
    const QString source =
        sources.copyOf(Fixtures::generated(QString::fromLatin1(c.fixture)), u"source."_s + c.extension);
    Mutagen::tag(source, QString::fromLatin1(c.tagger), c.tags());

    PreferencesScope preferences({{"destinationDirectory", out.path()}});
    BasicEncodeDelegate delegate;
    MP3EncodeOperation operation(source, source);
    operation.setDelegate(&delegate);
    operation.setSettings(mp3Format(0, 64));
    ErrorLogCapture log;
    runOperation(operation);
    ASSERT_TRUE(operation.success()) << log.messages().join(QLatin1Char('\n')).toStdString();

    const QJsonObject mp3 = mutagenTags(operation.outFilePath());
    EXPECT_EQ(id3v2Text(mp3, u"TIT2"_s), u"Ünïcode Title"_s);
    EXPECT_EQ(id3v2Text(mp3, u"TRCK"_s), u"3/12"_s);
    const QJsonObject apic = mp3["id3v2"]["frames"]["APIC"][0].toObject();
    EXPECT_EQ(apic["mime"].toString(), u"image/png"_s);
    EXPECT_EQ(apic["type"].toInt(), 3);
    EXPECT_EQ(QByteArray::fromHex(apic["data"].toString().toLatin1()), fileBytes(cover()));
}

INSTANTIATE_TEST_SUITE_P(Sources, ConvertedTags,
                         testing::Values(SourceCase{"FLAC", "core.flac", "flac", "flac", xiphTags},
                                         SourceCase{"Vorbis", "core.ogg", "ogg", "ogg", xiphTags},
                                         SourceCase{"M4A", "reading.m4a", "m4a", "mp4", mp4Tags},
                                         SourceCase{"WMA", "reading.wma", "wma", "asf", asfTags}),
                         [](const testing::TestParamInfo<SourceCase>& info) {
                             return std::string(info.param.name);
                         });

} // namespace
