#pragma once
// Everything the program knows about one source file: the descriptive tags
// carried into its outputs (titles, artists, numbers, artwork, lyrics, ...)
// and the facts about the source stream shown to the user and used by the
// naming scheme (kind, format, length, bit rate, which tags were found, ...).
//
// Absent is not empty: every getter returns a std::optional, and a fresh
// record has every field absent (std::nullopt). An empty text or a zero is a
// present value. Set a field with its setter, clear it with std::nullopt:
//
//     record->setTrackNumber(7);
//     record->setTrackTitle(QStringLiteral("Intro"));
//     record->setLyrics(std::nullopt);
//     if (const std::optional<int> track = record->trackNumber()) ...
//
// Every field can also be reached by name through Field, value() and
// setValue() (the naming scheme, the editor and the tag tables use these).
//
// Values: texts are copied when set (the record keeps its own characters);
// numbers and dates are values; the artwork is shared (AlbumArtworkPtr, never
// duplicated) and so is the userData dictionary's content.
//
// Ownership: a record belongs to its queue entry and is handed to readers,
// writers and the editor as AudioMetadataPtr (std::shared_ptr). There is no
// copy and no comparison; records exchange fields only through the exchange
// dictionary below.
//
// Threads: any thread may read and set fields. Each single get or set is
// atomic (one lock per record, held only for that access); there is no lock
// over several fields, so a reader that wants a consistent view of several
// fields reads them one after the other and accepts that an edit may land in
// between. fieldDidChange is emitted on the setter's thread after the value
// is stored and the lock released; observers living on another thread
// connect with Qt::QueuedConnection. The record receives no events, so it may
// be destroyed on whichever thread drops the last reference.
//
// Failures: setValue() with a value of the wrong kind raises an assertion
// failure (NamedException); nothing else throws.

#include "AlbumArtwork.h"

#include <QDateTime>
#include <QObject>
#include <QString>
#include <QVariant>
#include <QVariantMap>
#include <array>
#include <memory>
#include <mutex>
#include <optional>

class AudioMetadata : public QObject
{
    Q_OBJECT
public:
    // Every field, in declaration order: first the descriptive fields, then
    // the source fields. The enumerators are the fields' names.
    enum class Field
    {
        // Descriptive: carried into output tags.
        trackNumber,        // int
        totalTracks,        // int
        trackTitle,         // text
        albumTitle,         // text
        trackArtist,        // text
        albumArtist,        // text
        trackComposer,      // text
        trackYear,          // int: a year only, never a date
        trackGenre,         // text: never a numeric genre index
        trackComment,       // text
        albumArtwork,       // AlbumArtworkPtr
        grouping,           // text
        discNumber,         // int
        discTotal,          // int
        lyrics,             // text: unsynchronised lyrics
        bpm,                // int
        partOfACompilation, // int used as a flag: non-zero is a compilation
        trackCopyright,     // text
        ISRC,               // text
        key,                // text: musical key
             // Source: filled by the readers, never written to tags (except
             // sourceEncodedWith, which the ID3 reader fills from "encoded by").
        sourceKind,         // text: "FLAC", "OGG Vorbis", ...
        sourceFormat,       // text: "Free Lossless Audio Codec", ...
        sourceLength,       // double: seconds
        sourceFileSize,     // qint64: bytes
        sourceSampleSize,   // int: bits per sample
        sourceSampleRate,   // double: samples per second
        sourceBitrate,      // int: unit depends on the reader
        sourceBitrateMode,  // text: "CBR" or "VBR"
        sourceChannels,     // int
        sourceChannelMode,  // text: "Mono", "Stereo", "Joint Stereo", ...
        sourceTagFormat,    // text: tag formats found, joined by ", "
        sourceEncodedWith,  // text
        sourceDateModified, // QDateTime
        sourceLocation,     // text: the source file's full path
        userData,           // QVariantMap: extra facts from the audio file services
    };
    Q_ENUM(Field)
    static constexpr int kFieldCount = int(Field::userData) + 1;

    // The C++ type a field holds inside a QVariant.
    enum class Kind
    {
        Integer,      // int
        LargeInteger, // qint64
        Real,         // double
        Text,         // QString
        Date,         // QDateTime
        Artwork,      // AlbumArtworkPtr
        Dictionary,   // QVariantMap
    };

    // The field's name ("trackNumber", "ISRC", ...), also its key in the
    // exchange dictionary and the naming scheme's tables.
    static QString fieldName(Field field);
    // The field of that exact name, or nothing.
    static std::optional<Field> fieldNamed(QStringView name);
    static Kind kindOf(Field field);

    // The record of a source file: its tags, cover and stream facts, read by
    // the reader its extension calls for, with its location, size and date.
    // Never null and never throws: a file that cannot be read gives a record
    // with whatever could be found (MetadataReader.h tells the details).
    static std::shared_ptr<AudioMetadata> metadataFromFile(const QString& path);

    // A record with every field absent.
    AudioMetadata();
    ~AudioMetadata() override;

    // By name: an invalid QVariant when the field is absent, otherwise a
    // QVariant holding the type of kindOf(field).
    QVariant value(Field field) const;
    // True when the field holds a value.
    bool hasValue(Field field) const { return value(field).isValid(); }
    // An invalid or null QVariant (or a null artwork pointer) makes the field
    // absent. Other values are converted to the field's type; a value that
    // cannot be raises an assertion failure and leaves the field unchanged.
    void setValue(Field field, const QVariant& value);

    std::optional<int> trackNumber() const;
    void setTrackNumber(std::optional<int> value);
    std::optional<int> totalTracks() const;
    void setTotalTracks(std::optional<int> value);
    std::optional<QString> trackTitle() const;
    void setTrackTitle(std::optional<QString> value);
    std::optional<QString> albumTitle() const;
    void setAlbumTitle(std::optional<QString> value);
    std::optional<QString> trackArtist() const;
    void setTrackArtist(std::optional<QString> value);
    std::optional<QString> albumArtist() const;
    void setAlbumArtist(std::optional<QString> value);
    std::optional<QString> trackComposer() const;
    void setTrackComposer(std::optional<QString> value);
    std::optional<int> trackYear() const;
    void setTrackYear(std::optional<int> value);
    std::optional<QString> trackGenre() const;
    void setTrackGenre(std::optional<QString> value);
    std::optional<QString> trackComment() const;
    void setTrackComment(std::optional<QString> value);
    // Null when absent.
    AlbumArtworkPtr albumArtwork() const;
    void setAlbumArtwork(AlbumArtworkPtr value);
    std::optional<QString> grouping() const;
    void setGrouping(std::optional<QString> value);
    std::optional<int> discNumber() const;
    void setDiscNumber(std::optional<int> value);
    std::optional<int> discTotal() const;
    void setDiscTotal(std::optional<int> value);
    std::optional<QString> lyrics() const;
    void setLyrics(std::optional<QString> value);
    std::optional<int> bpm() const;
    void setBpm(std::optional<int> value);
    std::optional<int> partOfACompilation() const;
    void setPartOfACompilation(std::optional<int> value);
    std::optional<QString> trackCopyright() const;
    void setTrackCopyright(std::optional<QString> value);
    std::optional<QString> ISRC() const;
    void setISRC(std::optional<QString> value);
    std::optional<QString> key() const;
    void setKey(std::optional<QString> value);

    std::optional<QString> sourceKind() const;
    void setSourceKind(std::optional<QString> value);
    std::optional<QString> sourceFormat() const;
    void setSourceFormat(std::optional<QString> value);
    std::optional<double> sourceLength() const;
    void setSourceLength(std::optional<double> value);
    std::optional<qint64> sourceFileSize() const;
    void setSourceFileSize(std::optional<qint64> value);
    std::optional<int> sourceSampleSize() const;
    void setSourceSampleSize(std::optional<int> value);
    std::optional<double> sourceSampleRate() const;
    void setSourceSampleRate(std::optional<double> value);
    std::optional<int> sourceBitrate() const;
    void setSourceBitrate(std::optional<int> value);
    std::optional<QString> sourceBitrateMode() const;
    void setSourceBitrateMode(std::optional<QString> value);
    std::optional<int> sourceChannels() const;
    void setSourceChannels(std::optional<int> value);
    std::optional<QString> sourceChannelMode() const;
    void setSourceChannelMode(std::optional<QString> value);
    std::optional<QString> sourceTagFormat() const;
    void setSourceTagFormat(std::optional<QString> value);
    std::optional<QString> sourceEncodedWith() const;
    void setSourceEncodedWith(std::optional<QString> value);
    std::optional<QDateTime> sourceDateModified() const;
    void setSourceDateModified(std::optional<QDateTime> value);
    std::optional<QString> sourceLocation() const;
    void setSourceLocation(std::optional<QString> value);
    std::optional<QVariantMap> userData() const;
    void setUserData(std::optional<QVariantMap> value);

    // Makes every descriptive field absent, one setter call at a time, in
    // this order: trackNumber, totalTracks, trackTitle, albumTitle,
    // trackArtist, albumArtist, trackComposer, trackYear, trackGenre,
    // trackComment, albumArtwork, grouping, discNumber, discTotal, lyrics,
    // bpm, partOfACompilation, trackCopyright, key, ISRC. The source fields
    // stay, so a cleared record still describes its source stream.
    void clearAll();

    // The exchange dictionary of copy and paste: the seventeen fields below,
    // keyed by fieldName(), each value as value() gives it (the artwork
    // pointer itself). partOfACompilation, key, ISRC and the source fields
    // are never exchanged.
    static const std::array<Field, 17>& exchangeFields();
    // Copy: a key for each exchanged field that is present, no others.
    QVariantMap exchangeDictionary() const;
    // Paste: sets all seventeen fields from the dictionary, in the order of
    // exchangeFields(); a field whose key is missing becomes absent. A full
    // replacement, not a merge.
    void setFromExchangeDictionary(const QVariantMap& dictionary);

    // The title a file name gives: the path's last component without its
    // last extension ("/music/01 Intro.flac" gives "01 Intro"). A leading
    // dot does not start an extension.
    static QString titleFromFilename(const QString& path);
    // Sets trackTitle to titleFromFilename(path) when the title is absent (an
    // empty title is present and stays). True when it did. Whether to call it
    // at all is the caller's preference.
    bool applyFilenameTitleFallback(const QString& path);

Q_SIGNALS:
    // After a setter stored a value (also when it equals the old one).
    void fieldDidChange(AudioMetadata::Field field);

private:
    template <typename T> std::optional<T> get(Field field) const;
    template <typename T> void set(Field field, const std::optional<T>& value);
    void store(Field field, QVariant value);

    mutable std::mutex m_lock;
    std::array<QVariant, kFieldCount> m_values;
};

using AudioMetadataPtr = std::shared_ptr<AudioMetadata>;
