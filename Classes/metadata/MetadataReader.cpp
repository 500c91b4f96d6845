#include "MetadataReader.h"

#include "APEFileReader.h"
#include "DSDFileReader.h"
#include "ErrorLog.h"
#include "FFmpegMetadataReader.h"
#include "ID3FileReader.h"
#include "MP4FileReader.h"
#include "ModuleFileReader.h"
#include "NamedException.h"
#include "NamingScheme.h"
#include "PlatformMetadataReader.h"
#include "Preferences.h"
#include "UtilityFunctions.h"
#include "WindowsMediaFileReader.h"
#include "XiphFileReader.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <algorithm>
#include <array>
#include <initializer_list>

namespace {

using Reader = AudioMetadataPtr (*)(const QString& path);

AudioMetadataPtr metadataFromOggFile(const QString& path)
{
    switch (oggStreamType(path)) {
    case OggStreamTypeVorbis:
        return XiphFileReader::metadataFromOggVorbisFile(path);
    case OggStreamTypeFLAC:
        return XiphFileReader::metadataFromOggFLACFile(path);
    case OggStreamTypeSpeex:
        return XiphFileReader::metadataFromOggSpeexFile(path);
    case OggStreamTypeOpus:
        return XiphFileReader::metadataFromOpusFile(path);
    default:
        return std::make_shared<AudioMetadata>();
    }
}

// Files of the platform's own types, and every extension without a reader.
AudioMetadataPtr metadataFromPlatformFile(const QString& path)
{
    auto record = std::make_shared<AudioMetadata>();
    PlatformMetadataReader::getCoreAudioInfoFromFile(path, *record);
    PlatformMetadataReader::getCoreAudioMetadataFromFile(path, *record);
    return record;
}

struct ReaderRow
{
    std::initializer_list<const char*> extensions;
    Reader reader;
};

// The first row that lists the extension decides; an extension in no row
// goes to the platform's audio file services. The rows are built in place,
// never as ReaderRow temporaries copied into the table: a list's array lives
// as long as the row only when the row itself is initialised from the braces.
const ReaderRow kReaders[] = {
    {{"flac"}, XiphFileReader::metadataFromFLACFile},
    {{"wma"}, WindowsMediaFileReader::metadataFromWMAFile},
    {{"mp3"}, ID3FileReader::metadataFromMP3File},
    {{"mp4", "m4a", "aac"}, MP4FileReader::metadataFromMP4File},
    {{"ra", "rm", "rmf", "rmj"}, FFmpegMetadataReader::metadataFromFFMPEGFile},
    {{"aiff", "aif"}, ID3FileReader::metadataFromAIFFFile},
    {{"wave", "wav"}, ID3FileReader::metadataFromWAVEFile},
    {{"ape"}, APEFileReader::metadataFromMonkeysAudioFile},
    {{"tta"}, ID3FileReader::metadataFromTrueAudioFile},
    {{"wv"}, APEFileReader::metadataFromWavPackFile},
    {{"mpc"}, APEFileReader::metadataFromMusepackFile},
    {{"mod", "s3m", "xm",  "it",  "669", "amf", "ams", "dbm", "dmf", "dsm", "far",
      "mdl", "med", "mtm", "okt", "ptm", "stm", "ult", "umx", "mt2", "psm", "abc"},
     ModuleFileReader::metadataFromModFile},
    {{"dff", "dsf"}, DSDFileReader::metadataFromDSDFile},
    {{"ogg", "oga", "oggflac", "spx", "opus"}, metadataFromOggFile},
};

AudioMetadataPtr readByExtension(const QString& path)
{
    const QString extension = QFileInfo(path).suffix().toLower();
    for (const ReaderRow& row : kReaders) {
        for (const char* candidate : row.extensions) {
            if (extension == QLatin1String(candidate)) {
                return row.reader(path);
            }
        }
    }
    return metadataFromPlatformFile(path);
}

// Case- and accent-insensitive form of a file name: decomposed, without the
// combining marks, folded to lower case. Plain ASCII names, nearly all of
// them, only need the case folded.
QString folded(const QString& name)
{
    const bool ascii = std::all_of(name.begin(), name.end(), [](QChar c) { return c.unicode() < 0x80; });
    if (ascii) {
        return name.toLower();
    }
    const QString decomposed = name.normalized(QString::NormalizationForm_KD);
    QString result;
    result.reserve(decomposed.size());
    for (const QChar c : decomposed) {
        if (c.category() != QChar::Mark_NonSpacing && c.category() != QChar::Mark_SpacingCombining &&
            c.category() != QChar::Mark_Enclosing) {
            result += c;
        }
    }
    return result.toCaseFolded();
}

// Whether name matches pattern, where "*" stands for any run of characters
// and "?" for any one; everything else (brackets too, which occur in real
// file names) stands for itself. Greedy with one backtracking point, so it
// runs in linear time for the usual single-star patterns.
bool matchesWildcard(QStringView pattern, QStringView name)
{
    qsizetype p = 0;
    qsizetype n = 0;
    qsizetype starPattern = -1;
    qsizetype starName = 0;
    while (n < name.size()) {
        if (p < pattern.size() && (pattern[p] == u'?' || (pattern[p] != u'*' && pattern[p] == name[n]))) {
            ++p;
            ++n;
        } else if (p < pattern.size() && pattern[p] == u'*') {
            starPattern = p++;
            starName = n;
        } else if (starPattern >= 0) {
            p = starPattern + 1;
            n = ++starName;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && pattern[p] == u'*') {
        ++p;
    }
    return p == pattern.size();
}

} // namespace

AudioMetadataPtr MetadataReader::metadataFromFile(const QString& path)
{
    AudioMetadataPtr record;
    try {
        record = readByExtension(path);
        record->setSourceLocation(path);
        const QFileInfo info(path);
        if (info.exists()) {
            record->setSourceFileSize(info.size());
            record->setSourceDateModified(info.lastModified());
        }
        const Preferences& preferences = Preferences::shared();
        if (preferences.boolValue(QStringLiteral("readAlbumArtworkFromFile")) && !record->albumArtwork()) {
            const QString name =
                NamingScheme::evaluate(preferences.stringValue(QStringLiteral("readAlbumArtworkFileName")),
                                       record.get(), nullptr, path, true);
            readAlbumArtworkFromFilename(NamingScheme::pathBelow(info.absolutePath(), name), *record);
        }
        if (!record->trackTitle() &&
            preferences.boolValue(QStringLiteral("fallbackOnFilenameWhenTitleIsMissing"))) {
            record->applyFilenameTitleFallback(path);
        }
    } catch (const NamedException& exception) {
        ErrorLog::logMessage(QStringLiteral("Could Not Initialize Audio Metadata for: %1 Error: %2")
                                 .arg(path, exception.reason()));
    } catch (...) {
        // Anything else is not ours to report; the record stays what it was.
    }
    if (!record) {
        record = std::make_shared<AudioMetadata>();
    }
    return record;
}

void MetadataReader::readAlbumArtworkFromFilename(const QString& pathPattern, AudioMetadata& record)
{
    const QFileInfo patternInfo(pathPattern);
    const QDir folder = patternInfo.dir();
    if (!folder.exists()) {
        return;
    }
    const QString pattern = folded(patternInfo.fileName());
    // The folder holds the whole album (often hundreds of files) and is
    // listed for every track, so only the matches are collected and sorted:
    // the first in name order is the one a sorted listing would show first.
    QStringList matches;
    QDirIterator entries(folder.path(),
                         QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System);
    while (entries.hasNext()) {
        entries.next();
        const QString name = entries.fileName();
        if (matchesWildcard(pattern, folded(name))) {
            matches << name;
        }
    }
    if (matches.isEmpty()) {
        return;
    }
    std::sort(matches.begin(), matches.end());
    if (AlbumArtworkPtr artwork = AlbumArtwork::albumArtworkFromFile(folder.filePath(matches.front()))) {
        record.setAlbumArtwork(std::move(artwork));
    }
}

AudioMetadataPtr MetadataReader::metadataFromShortenFile(const QString&)
{
    auto record = std::make_shared<AudioMetadata>();
    record->setSourceKind(QStringLiteral("Shorten"));
    return record;
}
