#include "MP3TagWriter.h"

#include "APETagMapping.h"
#include "AudioMetadata.h"
#include "EncoderSettings.h"
#include "FileRewrite.h"
#include "ID3TagMapping.h"
#include "NamingScheme.h"
#include "Preferences.h"

#include <QByteArrayView>
#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <array>
#include <fcntl.h>
#include <lame/lame.h>
#include <taglib/apefooter.h>
#include <taglib/apetag.h>
#include <taglib/id3v1tag.h>
#include <taglib/id3v2header.h>
#include <taglib/id3v2tag.h>
#include <taglib/mpegfile.h>
#include <taglib/tbytevectorstream.h>
#include <unistd.h>

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

namespace {

// What the tag preferences ask of one file.
struct TagPlan
{
    bool id3v2 = false;
    bool id3v1 = false;
    bool ape = false;
    MP3TagWriter::ID3v2Choice choice = kDefaultChoice;
    std::optional<QString> encodedBy;
    std::optional<QString> comment;
    ReplayGain replayGain;
};

bool skipped(const EncoderSettings* settings, const QString& sourcePath)
{
    return QFileInfo(sourcePath).suffix() == QLatin1String("mp3") && settings &&
           settings->encoderAction() == EncoderSettings::SkipAction;
}

TagPlan planFor(const AudioMetadata& metadata, const EncoderSettings* settings, const QString& sourcePath,
                const ReplayGain& replayGain)
{
    const Preferences& preferences = Preferences::shared();
    TagPlan plan;
    plan.replayGain = replayGain;
    plan.id3v2 = preferences.boolValue(QStringLiteral("writeMP3ID3v2Tag"));
    plan.id3v1 = preferences.boolValue(QStringLiteral("writeMP3ID3v1Tag"));
    plan.ape = preferences.boolValue(QStringLiteral("writeMP3ApeTag"));
    plan.choice =
        MP3TagWriter::id3v2Choice(preferences.integerValue(QStringLiteral("WriteMP3ID3v2TagVersion")));
    if (preferences.boolValue(QStringLiteral("writeEncodedByMetadataTag"))) {
        plan.encodedBy = MP3TagWriter::encodedByText();
    }
    if (preferences.boolValue(QStringLiteral("writeFormatStringToComments"))) {
        plan.comment = NamingScheme::evaluate(preferences.stringValue(QStringLiteral("commentsFormatString")),
                                              &metadata, settings, sourcePath, false);
    } else {
        plan.comment = metadata.trackComment();
    }
    return plan;
}

TagLib::ID3v2::Version versionOf(const TagPlan& plan)
{
    return plan.choice.majorVersion == 3 ? TagLib::ID3v2::v3 : TagLib::ID3v2::v4;
}

// Replaces every tag of file by the plan's, each saved on its own so that
// each save leaves the tags already written in place.
void writeTags(TagLib::MPEG::File& file, const AudioMetadata& metadata, const TagPlan& plan)
{
    file.strip(TagLib::MPEG::File::AllTags);
    if (plan.id3v2) {
        ID3TagMapping::fillOutID3v2Tag(metadata, file.ID3v2Tag(true), plan.choice.majorVersion,
                                       plan.choice.encoding, plan.encodedBy, plan.comment);
        plan.replayGain.writeTo(file.ID3v2Tag());
        file.save(TagLib::MPEG::File::ID3v2, TagLib::File::StripNone, versionOf(plan),
                  TagLib::File::DoNotDuplicate);
    }
    if (plan.id3v1) {
        ID3TagMapping::fillOutID3v1Tag(metadata, file.ID3v1Tag(true), plan.comment);
        file.save(TagLib::MPEG::File::ID3v1, TagLib::File::StripNone, TagLib::ID3v2::v4,
                  TagLib::File::DoNotDuplicate);
    }
    if (plan.ape) {
        APETagMapping::fillOutAPETag(metadata, file.APETag(true), plan.encodedBy, plan.comment);
        plan.replayGain.writeTo(file.APETag());
        file.save(TagLib::MPEG::File::APE, TagLib::File::StripNone, TagLib::ID3v2::v4,
                  TagLib::File::DoNotDuplicate);
    }
}

// Where the audio lies between the leading ID3v2 tag and the trailing APE
// and ID3v1 tags.
struct AudioRange
{
    qint64 offset = 0;
    qint64 length = -1;
};

AudioRange audioRange(TagLib::MPEG::File& file)
{
    if (!file.isValid()) {
        return {};
    }
    AudioRange range;
    if (file.hasID3v2Tag()) {
        range.offset = qint64(file.ID3v2Tag()->header()->completeTagSize());
    }
    qint64 trailing = file.hasID3v1Tag() ? 128 : 0;
    if (file.hasAPETag()) {
        trailing += qint64(file.APETag()->footer()->completeTagSize());
    }
    range.length = qint64(file.length()) - range.offset - trailing;
    return range;
}

AudioRange audioRange(const QByteArray& bytes)
{
    TagLib::ByteVectorStream stream(TagLib::ByteVector(bytes.constData(), unsigned(bytes.size())));
    TagLib::MPEG::File file(&stream, TagLib::ID3v2::FrameFactory::instance(), false);
    return audioRange(file);
}

// The tag with its padding cut or stretched to exactly room bytes, or an
// empty vector when its frames need more. Padding is all zeros and frames
// never end in a run of zeros that padding could not stand for, so cutting
// trailing zeros and adding zeros back keeps every frame whole.
TagLib::ByteVector fittedTag(TagLib::ByteVector tag, unsigned room)
{
    // Header: "ID3", version (2 bytes), flags, size (4 bytes of 7 bits) of
    // what follows the 10-byte header.
    constexpr unsigned kHeaderSize = 10;
    constexpr char kFooterFlag = 0x10;
    unsigned used = tag.size();
    while (used > kHeaderSize && tag[used - 1] == 0) {
        --used;
    }
    if (used > room || room < kHeaderSize || tag.size() < kHeaderSize) {
        return {};
    }
    tag.resize(room, 0);
    tag[5] = char(tag[5] & ~kFooterFlag);
    const unsigned size = room - kHeaderSize;
    for (int byte = 0; byte < 4; ++byte) {
        tag[6 + byte] = char((size >> (7 * (3 - byte))) & 0x7F);
    }
    return tag;
}

// Makes sure that appending size bytes to the file of that length cannot
// fail for want of room: a failed append would leave a torn tag after the
// audio. Without the reservation (a full disk, or a file system that cannot
// reserve), the caller rewrites the file instead.
bool reserveTail(const QString& path, qint64 length, qint64 size)
{
    const int fd = ::open(QFile::encodeName(path).constData(), O_WRONLY | O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    const bool reserved = ::fallocate(fd, FALLOC_FL_KEEP_SIZE, length, size) == 0;
    ::close(fd);
    return reserved;
}

} // namespace

qint64 MP3TagWriter::audioBytes(const QString& path)
{
    TagLib::MPEG::File file(QFile::encodeName(path).constData(), false);
    return audioRange(file).length;
}

QString MP3TagWriter::compareAudio(const QByteArray& original, const QByteArray& tagged)
{
    const AudioRange before = audioRange(original);
    const AudioRange after = audioRange(tagged);
    if (before.length < 0 || after.length != before.length ||
        QByteArrayView(original).sliced(before.offset, before.length) !=
            QByteArrayView(tagged).sliced(after.offset, after.length)) {
        return QStringLiteral("The tags would change the audio");
    }
    return {};
}

void MP3TagWriter::writeMetadata(const QString& path, const AudioMetadata& metadata,
                                 const EncoderSettings* settings, const QString& sourcePath,
                                 const ReplayGain& replayGain)
{
    if (skipped(settings, sourcePath) || !QFileInfo::exists(path)) {
        return;
    }
    TagLib::MPEG::File file(QFile::encodeName(path).constData(), false);
    if (file.isValid()) {
        writeTags(file, metadata, planFor(metadata, settings, sourcePath, replayGain));
    }
}

QString MP3TagWriter::writeMetadata(QByteArray& mp3, const AudioMetadata& metadata,
                                    const EncoderSettings* settings, const QString& sourcePath,
                                    const ReplayGain& replayGain)
{
    if (skipped(settings, sourcePath)) {
        return {};
    }
    TagLib::ByteVectorStream stream(TagLib::ByteVector(mp3.constData(), unsigned(mp3.size())));
    {
        TagLib::MPEG::File file(&stream, TagLib::ID3v2::FrameFactory::instance(), false);
        if (!file.isValid()) {
            return QStringLiteral("Not an MPEG audio file");
        }
        writeTags(file, metadata, planFor(metadata, settings, sourcePath, replayGain));
    }
    const TagLib::ByteVector* bytes = stream.data();
    mp3 = QByteArray(bytes->data(), qsizetype(bytes->size()));
    return {};
}

bool MP3TagWriter::writeMetadataInPlace(const QString& path, const AudioMetadata& metadata,
                                        const EncoderSettings* settings, const QString& sourcePath,
                                        const ReplayGain& replayGain)
{
    if (skipped(settings, sourcePath)) {
        return true;
    }
    // Only a leading ID3v2 tag with room to spare is written where it lies:
    // any other change of size moves the audio.
    const TagPlan plan = planFor(metadata, settings, sourcePath, replayGain);
    if (!plan.id3v2 || plan.ape) {
        return false;
    }
    QFile raw(path);
    if (!raw.open(QIODevice::ReadOnly) || raw.read(3) != "ID3") {
        return false;
    }
    raw.close();
    TagLib::ByteVector tag;
    {
        TagLib::MPEG::File file(QFile::encodeName(path).constData(), false);
        if (!file.isValid() || !file.hasID3v2Tag() || file.hasAPETag()) {
            return false;
        }
        TagLib::ID3v2::Tag* id3v2 = file.ID3v2Tag();
        const unsigned room = id3v2->header()->completeTagSize();
        for (TagLib::ID3v2::Frame* frame : TagLib::ID3v2::FrameList(id3v2->frameList())) {
            id3v2->removeFrame(frame, true);
        }
        ID3TagMapping::fillOutID3v2Tag(metadata, id3v2, plan.choice.majorVersion, plan.choice.encoding,
                                       plan.encodedBy, plan.comment);
        plan.replayGain.writeTo(id3v2);
        tag = fittedTag(id3v2->render(versionOf(plan)), room);
        // Reserving touches the file: only once it is sure to be written.
        if (tag.isEmpty() ||
            (plan.id3v1 && !file.hasID3v1Tag() && !reserveTail(path, qint64(file.length()), 128))) {
            return false;
        }
    }
    // The same number of bytes over the old tag: the file keeps its length
    // and its audio stays where it is, whatever happens to this write.
    if (!raw.open(QIODevice::ReadWrite) || raw.write(tag.data(), tag.size()) != qint64(tag.size()) ||
        !raw.flush()) {
        return false;
    }
    raw.close();

    // ID3v1 lives in the last 128 bytes, which are overwritten or cut off.
    TagLib::MPEG::File file(QFile::encodeName(path).constData(), false);
    if (plan.id3v1) {
        ID3TagMapping::fillOutID3v1Tag(metadata, file.ID3v1Tag(true), plan.comment);
        file.save(TagLib::MPEG::File::ID3v1, TagLib::File::StripNone, TagLib::ID3v2::v4,
                  TagLib::File::DoNotDuplicate);
    } else if (file.hasID3v1Tag()) {
        file.strip(TagLib::MPEG::File::ID3v1);
    }
    return true;
}

QString MP3TagWriter::writeAlbumGain(const QString& path, const ReplayGain& replayGain)
{
    return FileRewrite::replaceWithEditedCopy(
        path,
        [&](QByteArray& mp3) {
            TagLib::ByteVectorStream stream(TagLib::ByteVector(mp3.constData(), unsigned(mp3.size())));
            {
                TagLib::MPEG::File file(&stream, TagLib::ID3v2::FrameFactory::instance(), false);
                if (!file.isValid()) {
                    return QStringLiteral("Not an MPEG audio file");
                }
                // Only the tags the file was given: their kinds are the
                // user's choice.
                const bool ape = file.hasAPETag();
                if (file.hasID3v2Tag()) {
                    // Saved in the version it was read in: the other frames
                    // stay as they were written.
                    TagLib::ID3v2::Tag* id3v2 = file.ID3v2Tag();
                    const TagLib::ID3v2::Version version =
                        id3v2->header()->majorVersion() == 3 ? TagLib::ID3v2::v3 : TagLib::ID3v2::v4;
                    replayGain.writeAlbumTo(id3v2);
                    file.save(TagLib::MPEG::File::ID3v2, TagLib::File::StripNone, version,
                              TagLib::File::DoNotDuplicate);
                }
                if (ape) {
                    replayGain.writeAlbumTo(file.APETag());
                    file.save(TagLib::MPEG::File::APE, TagLib::File::StripNone, TagLib::ID3v2::v4,
                              TagLib::File::DoNotDuplicate);
                }
            }
            const TagLib::ByteVector* bytes = stream.data();
            mp3 = QByteArray(bytes->data(), qsizetype(bytes->size()));
            return QString();
        },
        &MP3TagWriter::compareAudio);
}
