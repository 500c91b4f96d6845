#include "MP3TagWriter.h"

#include "APETagMapping.h"
#include "AudioMetadata.h"
#include "EncoderSettings.h"
#include "ID3TagMapping.h"
#include "NamingScheme.h"
#include "Preferences.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <array>
#include <lame/lame.h>
#include <taglib/apefooter.h>
#include <taglib/apetag.h>
#include <taglib/id3v1tag.h>
#include <taglib/id3v2header.h>
#include <taglib/id3v2tag.h>
#include <taglib/mpegfile.h>

namespace {

struct VersionRow
{
    qint64 preferenceValue;
    MP3TagWriter::ID3v2Choice choice;
};

constexpr std::array<VersionRow, 5> kVersions{{
    {1, {4, TagLib::String::UTF8}},
    {2, {3, TagLib::String::UTF16}},
    {3, {3, TagLib::String::Latin1}},
    {4, {4, TagLib::String::UTF16}},
    {5, {4, TagLib::String::Latin1}},
}};
constexpr MP3TagWriter::ID3v2Choice kDefaultChoice{4, TagLib::String::UTF8};

} // namespace

MP3TagWriter::ID3v2Choice MP3TagWriter::id3v2Choice(qint64 preferenceValue)
{
    for (const VersionRow& row : kVersions) {
        if (row.preferenceValue == preferenceValue) {
            return row.choice;
        }
    }
    return kDefaultChoice;
}

QString MP3TagWriter::encodedByText()
{
    QString version = QCoreApplication::applicationVersion();
    if (version.isEmpty()) {
        version = QStringLiteral(SONABRIK_VERSION);
    }
    return QStringLiteral("LAME %1 via Sonabrik %2")
        .arg(QString::fromLatin1(get_lame_short_version()), version);
}

qint64 MP3TagWriter::audioBytes(const QString& path)
{
    TagLib::MPEG::File file(QFile::encodeName(path).constData(), false);
    if (!file.isValid()) {
        return -1;
    }
    qint64 tags = 0;
    if (file.hasID3v2Tag()) {
        tags += qint64(file.ID3v2Tag()->header()->completeTagSize());
    }
    if (file.hasAPETag()) {
        tags += qint64(file.APETag()->footer()->completeTagSize());
    }
    if (file.hasID3v1Tag()) {
        tags += 128;
    }
    return qint64(file.length()) - tags;
}

void MP3TagWriter::writeMetadata(const QString& path, const AudioMetadata& metadata,
                                 const EncoderSettings* settings, const QString& sourcePath)
{
    if (QFileInfo(sourcePath).suffix() == QLatin1String("mp3") && settings &&
        settings->encoderAction() == EncoderSettings::SkipAction) {
        return;
    }
    if (!QFileInfo::exists(path)) {
        return;
    }
    TagLib::MPEG::File file(QFile::encodeName(path).constData(), false);
    if (!file.isValid()) {
        return;
    }
    file.strip(TagLib::MPEG::File::AllTags);

    const Preferences& preferences = Preferences::shared();
    std::optional<QString> encodedBy;
    if (preferences.boolValue(QStringLiteral("writeEncodedByMetadataTag"))) {
        encodedBy = encodedByText();
    }
    std::optional<QString> comment;
    if (preferences.boolValue(QStringLiteral("writeFormatStringToComments"))) {
        comment = NamingScheme::evaluate(preferences.stringValue(QStringLiteral("commentsFormatString")),
                                         &metadata, settings, sourcePath, false);
    } else {
        comment = metadata.trackComment();
    }

    if (preferences.boolValue(QStringLiteral("writeMP3ID3v2Tag"))) {
        const ID3v2Choice choice =
            id3v2Choice(preferences.integerValue(QStringLiteral("WriteMP3ID3v2TagVersion")));
        ID3TagMapping::fillOutID3v2Tag(metadata, file.ID3v2Tag(true), choice.majorVersion, choice.encoding,
                                       encodedBy, comment);
        file.save(TagLib::MPEG::File::ID3v2, TagLib::File::StripNone,
                  choice.majorVersion == 3 ? TagLib::ID3v2::v3 : TagLib::ID3v2::v4,
                  TagLib::File::DoNotDuplicate);
    }
    if (preferences.boolValue(QStringLiteral("writeMP3ID3v1Tag"))) {
        ID3TagMapping::fillOutID3v1Tag(metadata, file.ID3v1Tag(true), comment);
        file.save(TagLib::MPEG::File::ID3v1, TagLib::File::StripNone, TagLib::ID3v2::v4,
                  TagLib::File::DoNotDuplicate);
    }
    if (preferences.boolValue(QStringLiteral("writeMP3ApeTag"))) {
        APETagMapping::fillOutAPETag(metadata, file.APETag(true), encodedBy, comment);
        file.save(TagLib::MPEG::File::APE, TagLib::File::StripNone, TagLib::ID3v2::v4,
                  TagLib::File::DoNotDuplicate);
    }
}
