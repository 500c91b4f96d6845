#include "ID3TagMapping.h"

#include "ErrorLog.h"
#include "TableRows.h"
#include "TagLibReading.h"
#include "TagValue.h"

#include <algorithm>
#include <array>
#include <taglib/attachedpictureframe.h>
#include <taglib/commentsframe.h>
#include <taglib/id3v1tag.h>
#include <taglib/id3v2framefactory.h>
#include <taglib/id3v2tag.h>
#include <taglib/textidentificationframe.h>
#include <taglib/unsynchronizedlyricsframe.h>
#include <vector>

namespace {

using Field = AudioMetadata::Field;

// An ID3v2 tag's size is 28 bits; a megabyte of it is left for the text
// frames and the padding.
constexpr qsizetype kMaxPictureBytes = (qsizetype(1) << 28) - 1 - (qsizetype(1) << 20);

// The frames that map one text frame to one field. TRCK and TPOS (two fields
// in one frame), COMM, USLT, APIC and the generic fields have code of their
// own below.
enum class TextFrame
{
    TCOM,
    TCOP,
    TENC,
    TBPM,
    TKEY,
    TSRC,
    TCMP,
    TPE2,
    TIT1,
    Count
};

enum class Written
{
    InTagEncoding,  // a text frame in the caller's encoding, when the field is present
    AsLatin1Number, // the field's decimal text in Latin-1, when present
    AsLatin1Flag,   // the number's decimal text in Latin-1, only when non-zero
    FromArgument,   // not from the field: the encodedBy argument, written last
};

struct TextFrameRow
{
    TextFrame frame;
    const char* id;
    Field field;
    bool integer; // read as the text's integer value
    Written written;
};

constexpr std::array<TextFrameRow, size_t(TextFrame::Count)> kTextFrames{{
    {TextFrame::TCOM, "TCOM", Field::trackComposer, false, Written::InTagEncoding},
    {TextFrame::TCOP, "TCOP", Field::trackCopyright, false, Written::InTagEncoding},
    {TextFrame::TENC, "TENC", Field::sourceEncodedWith, false, Written::FromArgument},
    {TextFrame::TBPM, "TBPM", Field::bpm, true, Written::AsLatin1Number},
    {TextFrame::TKEY, "TKEY", Field::key, false, Written::InTagEncoding},
    {TextFrame::TSRC, "TSRC", Field::ISRC, false, Written::InTagEncoding},
    {TextFrame::TCMP, "TCMP", Field::partOfACompilation, true, Written::AsLatin1Flag},
    {TextFrame::TPE2, "TPE2", Field::albumArtist, false, Written::InTagEncoding},
    {TextFrame::TIT1, "TIT1", Field::grouping, false, Written::InTagEncoding},
}};
static_assert(TableRows::followEnum(kTextFrames, &TextFrameRow::frame),
              "one row per text frame, in the order of the enum");

const TagLib::ID3v2::FrameList& framesOf(const TagLib::ID3v2::Tag* tag, const char* id)
{
    return tag->frameListMap()[TagLib::ByteVector(id)];
}

// The whole text of the first frame with that identifier, or nothing.
std::optional<QString> firstFrameText(const TagLib::ID3v2::Tag* tag, const char* id)
{
    const TagLib::ID3v2::FrameList& frames = framesOf(tag, id);
    if (frames.isEmpty()) {
        return std::nullopt;
    }
    return TagValue::toQString(frames.front()->toString());
}

// "3/12" into (3, 12); "3" into (3, left as it was). Applied whatever the
// record holds: these frames overrule numbers read from earlier tags.
void readNumberPair(const TagLib::ID3v2::Tag* tag, const char* id, AudioMetadata& metadata, Field number,
                    Field total)
{
    const std::optional<QString> text = firstFrameText(tag, id);
    if (!text) {
        return;
    }
    const TagValue::NumberAndTotal split = TagValue::splitNumberAndTotal(*text);
    metadata.setValue(number, split.number);
    if (split.total) {
        metadata.setValue(total, *split.total);
    }
}

void addTextFrame(TagLib::ID3v2::Tag* tag, const char* id, const TagLib::String& text,
                  TagLib::String::Type encoding)
{
    auto* frame = new TagLib::ID3v2::TextIdentificationFrame(TagLib::ByteVector(id), encoding);
    frame->setText(text);
    tag->addFrame(frame); // the tag owns it
}

std::optional<QString> decimalText(const QVariant& value)
{
    if (!value.isValid()) {
        return std::nullopt;
    }
    return QString::number(value.toInt());
}

// "n/t", "/t" (a total alone keeps its slash), "n", or nothing.
std::optional<QString> numberPairText(const AudioMetadata& metadata, Field number, Field total)
{
    const std::optional<QString> n = decimalText(metadata.value(number));
    const std::optional<QString> t = decimalText(metadata.value(total));
    const bool haveN = n && !n->isEmpty();
    const bool haveT = t && !t->isEmpty();
    if (haveN && haveT) {
        return QStringLiteral("%1/%2").arg(*n, *t);
    }
    if (haveT) {
        return QStringLiteral("/%1").arg(*t);
    }
    if (haveN) {
        return *n;
    }
    return std::nullopt;
}

void writeNumberPair(const AudioMetadata& metadata, TagLib::ID3v2::Tag* tag, const char* id, Field number,
                     Field total)
{
    tag->removeFrames(TagLib::ByteVector(id));
    if (const std::optional<QString> text = numberPairText(metadata, number, total)) {
        addTextFrame(tag, id, ID3TagMapping::textForTag(*text, TagLib::String::Latin1),
                     TagLib::String::Latin1);
    }
}

// Replaces the frames of one row by the field's value, written as the row
// says; an absent field leaves none.
void writeTextFrame(const AudioMetadata& metadata, TagLib::ID3v2::Tag* tag, const TextFrameRow& row,
                    TagLib::String::Type taglibTextEncoding)
{
    tag->removeFrames(TagLib::ByteVector(row.id));
    const QVariant value = metadata.value(row.field);
    if (!value.isValid()) {
        return;
    }
    switch (row.written) {
    case Written::InTagEncoding:
        addTextFrame(tag, row.id, ID3TagMapping::textForTag(value.toString(), taglibTextEncoding),
                     taglibTextEncoding);
        break;
    case Written::AsLatin1Flag:
    case Written::AsLatin1Number:
        if (row.written == Written::AsLatin1Flag && value.toInt() == 0) {
            break;
        }
        addTextFrame(tag, row.id,
                     ID3TagMapping::textForTag(QString::number(value.toInt()), TagLib::String::Latin1),
                     TagLib::String::Latin1);
        break;
    case Written::FromArgument:
        break;
    }
}

} // namespace

TagLib::String ID3TagMapping::textForTag(const QString& text, TagLib::String::Type taglibTextEncoding)
{
    QByteArray bytes;
    switch (taglibTextEncoding) {
    case TagLib::String::Latin1:
        bytes = text.toLatin1();
        break;
    case TagLib::String::UTF16: {
        // A byte-order mark in the host's order, then the host's UTF-16.
        const char16_t bom = 0xFEFF;
        bytes.append(reinterpret_cast<const char*>(&bom), sizeof bom);
        bytes.append(reinterpret_cast<const char*>(text.utf16()), text.size() * qsizetype(sizeof(char16_t)));
        break;
    }
    default:
        bytes = text.toUtf8();
        break;
    }
    return TagLib::String(TagLib::ByteVector(bytes.constData(), unsigned(bytes.size())), taglibTextEncoding);
}

void ID3TagMapping::addInfoFromID3v2Tag(const TagLib::ID3v2::Tag* tag, AudioMetadata& metadata)
{
    if (!tag) {
        return;
    }
    TagLibReading::addGenericFields(*tag, metadata);

    // Only our own kind of comment: one without a description. Other
    // programs keep their private notes in described comments.
    if (!metadata.hasValue(Field::trackComment)) {
        for (TagLib::ID3v2::Frame* frame : framesOf(tag, "COMM")) {
            const auto* comment = dynamic_cast<const TagLib::ID3v2::CommentsFrame*>(frame);
            if (comment && comment->description().isEmpty()) {
                metadata.setTrackComment(TagValue::toQString(comment->text()));
                break;
            }
        }
    }

    for (const TextFrameRow& row : kTextFrames) {
        if (row.frame == TextFrame::TIT1) {
            continue; // read after the numbers, below
        }
        if (metadata.hasValue(row.field)) {
            continue;
        }
        if (const std::optional<QString> text = firstFrameText(tag, row.id)) {
            metadata.setValue(row.field,
                              row.integer ? QVariant(TagValue::integerValue(*text)) : QVariant(*text));
        }
    }
    if (!metadata.hasValue(Field::lyrics)) {
        const TagLib::ID3v2::FrameList& frames = framesOf(tag, "USLT");
        if (!frames.isEmpty()) {
            const auto* lyrics =
                dynamic_cast<const TagLib::ID3v2::UnsynchronizedLyricsFrame*>(frames.front());
            metadata.setLyrics(TagValue::toQString(lyrics ? lyrics->text() : frames.front()->toString()));
        }
    }

    readNumberPair(tag, "TRCK", metadata, Field::trackNumber, Field::totalTracks);
    readNumberPair(tag, "TPOS", metadata, Field::discNumber, Field::discTotal);

    const TextFrameRow& grouping = kTextFrames[size_t(TextFrame::TIT1)];
    if (!metadata.hasValue(grouping.field)) {
        if (const std::optional<QString> text = firstFrameText(tag, grouping.id)) {
            metadata.setValue(grouping.field, *text);
        }
    }

    if (!metadata.albumArtwork()) {
        for (TagLib::ID3v2::Frame* frame : framesOf(tag, "APIC")) {
            const auto* picture = dynamic_cast<const TagLib::ID3v2::AttachedPictureFrame*>(frame);
            if (!picture) {
                continue;
            }
            metadata.setAlbumArtwork(TagLibReading::artworkFromPicture(
                picture->picture(), uint32_t(picture->type()), picture->description(), picture->mimeType()));
            break;
        }
    }
}

void ID3TagMapping::addInfoFromID3v1Tag(const TagLib::ID3v1::Tag* tag, AudioMetadata& metadata)
{
    if (!tag) {
        return;
    }
    TagLibReading::addGenericFields(*tag, metadata);
    TagLibReading::setTextIfAbsent(metadata, Field::trackComment, tag->comment());
}

void ID3TagMapping::fillOutID3v2Tag(const AudioMetadata& metadata, TagLib::ID3v2::Tag* tag, int majorVersion,
                                    TagLib::String::Type taglibTextEncoding,
                                    const std::optional<QString>& encodedBy,
                                    const std::optional<QString>& comment)
{
    // Start empty. Copy the pointers first: removing frames changes the
    // tag's list, and a copied TagLib list would share its ownership flag.
    const TagLib::ID3v2::FrameList& frames = tag->frameList();
    const std::vector<TagLib::ID3v2::Frame*> all(frames.begin(), frames.end());
    for (TagLib::ID3v2::Frame* frame : all) {
        tag->removeFrame(frame, true);
    }

    tag->header()->setMajorVersion(unsigned(majorVersion));
    // The generic setters below create their frames in the default encoding.
    TagLib::ID3v2::FrameFactory::instance()->setDefaultTextEncoding(taglibTextEncoding);

    auto text = [&](const std::optional<QString>& value) {
        return value ? textForTag(*value, taglibTextEncoding) : TagLib::String();
    };

    tag->setTitle(text(metadata.trackTitle()));
    tag->setArtist(text(metadata.trackArtist()));
    tag->setAlbum(text(metadata.albumTitle()));
    tag->setYear(unsigned(std::max(0, metadata.trackYear().value_or(0))));

    tag->setComment(text(comment));
    const TagLib::ID3v2::FrameList& comments = framesOf(tag, "COMM");
    if (!comments.isEmpty()) {
        if (auto* first = dynamic_cast<TagLib::ID3v2::CommentsFrame*>(comments.front())) {
            first->setLanguage("eng");
        }
    }

    writeNumberPair(metadata, tag, "TRCK", Field::trackNumber, Field::totalTracks);
    writeNumberPair(metadata, tag, "TPOS", Field::discNumber, Field::discTotal);

    tag->setGenre(text(metadata.trackGenre()));

    for (TextFrame frame : {TextFrame::TIT1, TextFrame::TCOM, TextFrame::TCOP}) {
        writeTextFrame(metadata, tag, kTextFrames[size_t(frame)], taglibTextEncoding);
    }

    tag->removeFrames("USLT");
    if (const std::optional<QString> lyrics = metadata.lyrics()) {
        auto* frame = new TagLib::ID3v2::UnsynchronizedLyricsFrame(taglibTextEncoding);
        frame->setLanguage("eng");
        frame->setDescription(TagLib::String());
        frame->setText(textForTag(*lyrics, taglibTextEncoding));
        tag->addFrame(frame);
    }

    for (TextFrame frame :
         {TextFrame::TBPM, TextFrame::TCMP, TextFrame::TKEY, TextFrame::TSRC, TextFrame::TPE2}) {
        writeTextFrame(metadata, tag, kTextFrames[size_t(frame)], taglibTextEncoding);
    }

    tag->removeFrames("APIC");
    // A cover is embedded whatever its size, a 50 MB scan as well: it is the
    // user's own picture, and ID3v2 holds 256 MB. Only a picture that the
    // tag's 28-bit size cannot hold is left out, with a line in the error
    // log: its frame would carry a wrong size and hide the audio behind it.
    const AlbumArtworkPtr artwork = metadata.albumArtwork();
    const qsizetype pictureBytes = artwork ? artwork->data().value_or(QByteArray()).size() : 0;
    if (pictureBytes > kMaxPictureBytes) {
        ErrorLog::logMessage(
            QStringLiteral("The Album Artwork (%1 Bytes) Is Too Large For An ID3v2 Tag And Was Not Written.")
                .arg(pictureBytes));
    } else if (artwork) {
        auto* frame = new TagLib::ID3v2::AttachedPictureFrame();
        frame->setMimeType(textForTag(artwork->mimeType().value_or(QString()), TagLib::String::Latin1));
        const QByteArray data = artwork->data().value_or(QByteArray());
        frame->setPicture(TagLib::ByteVector(data.constData(), unsigned(data.size())));
        frame->setType(TagLib::ID3v2::AttachedPictureFrame::Type(artwork->artworkType()));
        if (const std::optional<QString> description = artwork->comments()) {
            frame->setDescription(textForTag(*description, taglibTextEncoding));
        }
        tag->addFrame(frame);
    }

    if (!encodedBy) {
        return;
    }
    const TextFrameRow& tenc = kTextFrames[size_t(TextFrame::TENC)];
    tag->removeFrames(TagLib::ByteVector(tenc.id));
    addTextFrame(tag, tenc.id, textForTag(*encodedBy, taglibTextEncoding), taglibTextEncoding);
}

void ID3TagMapping::fillOutID3v1Tag(const AudioMetadata& metadata, TagLib::ID3v1::Tag* tag,
                                    const std::optional<QString>& comment)
{
    tag->setTitle(TagLib::String());
    tag->setArtist(TagLib::String());
    tag->setAlbum(TagLib::String());
    tag->setComment(TagLib::String());
    tag->setGenre(TagLib::String());
    tag->setYear(0);
    tag->setTrack(0);

    if (const auto title = metadata.trackTitle()) {
        tag->setTitle(TagValue::toTagLib(*title));
    }
    if (const auto artist = metadata.trackArtist()) {
        tag->setArtist(TagValue::toTagLib(*artist));
    }
    if (const auto album = metadata.albumTitle()) {
        tag->setAlbum(TagValue::toTagLib(*album));
    }
    if (comment) {
        tag->setComment(TagValue::toTagLib(*comment));
    }
    if (const auto genre = metadata.trackGenre()) {
        tag->setGenre(TagValue::toTagLib(*genre));
    }
    if (const auto year = metadata.trackYear()) {
        tag->setYear(unsigned(std::max(0, *year)));
    }
    if (const auto track = metadata.trackNumber()) {
        tag->setTrack(unsigned(std::max(0, *track)));
    }
}
