#include "AlbumImages.h"

#include "CueSheet.h"
#include "DecoderDamage.h"
#include "ErrorLog.h"
#include "FileIntake.h"
#include "NamedException.h"
#include "ZTDecoder.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

// Real sheets are a few kilobytes; anything this large is something else.
constexpr qint64 kLargestSheet = 1 << 20;

QString tr(const char* text)
{
    return QCoreApplication::translate("AlbumImages", text);
}

void logProblem(const QString& sheetPath, const QString& problem)
{
    ErrorLog::logMessage(tr("Cue Sheet: %1.  Error: %2").arg(sheetPath, problem));
}

// The image a FILE line names: beside the sheet, else a file of the same
// base name there in a format the queue takes.
QString imageNamed(const QString& sheetFolder, const QString& name)
{
    const QString path = QDir(sheetFolder).filePath(QString(name).replace(u'\\', u'/'));
    if (QFileInfo(path).isFile()) {
        return QDir::cleanPath(path);
    }
    const QFileInfo named(path);
    const QStringList candidates =
        named.dir().entryList({named.completeBaseName() + QStringLiteral(".*")}, QDir::Files, QDir::Name);
    for (const QString& candidate : candidates) {
        const QString found = named.dir().filePath(candidate);
        if (!AlbumImages::isSheet(found) && FileIntake::isAccepted(found)) {
            return QDir::cleanPath(found);
        }
    }
    return {};
}

struct ImageStream
{
    int sampleRate = 0;
    qint64 frames = 0;
};

// The image's rate and length, from its decoder; nothing when it cannot be
// opened (the decoder logged why).
std::optional<ImageStream> streamOf(const QString& imagePath)
{
    try {
        const std::unique_ptr<ZTDecoder> decoder = ZTDecoder::decoderWithFilename(imagePath);
        if (!decoder) {
            return std::nullopt;
        }
        const qint64 frames = decoder->totalFrames();
        // Without a stated length the last track runs to wherever it ends.
        return ImageStream{int(decoder->decodeFormat().mSampleRate),
                           frames > 0 ? frames : std::numeric_limits<qint64>::max() / 2};
    } catch (const NamedException&) {
        return std::nullopt;
    }
}

// The rows of the sheet's tracks that lie in imagePath (named name in it).
QList<AlbumImages::Row> tracksIn(const CueSheet& sheet, const QString& sheetPath, const QString& name,
                                 const QString& imagePath)
{
    QList<AlbumImages::Row> rows;
    const std::optional<ImageStream> stream = streamOf(imagePath);
    if (!stream || stream->sampleRate <= 0) {
        logProblem(sheetPath, tr("its file %1 could not be opened").arg(imagePath));
        return rows;
    }
    for (int i = 0; i < sheet.tracks.size(); ++i) {
        if (sheet.tracks[i].file != name) {
            continue;
        }
        QString problem;
        const std::optional<CueSheet::Span> span =
            sheet.span(i, stream->sampleRate, stream->frames, &problem);
        if (!span) {
            logProblem(sheetPath, problem);
            continue;
        }
        if (span->leftOut > 0) {
            logProblem(sheetPath, tr("the %1 before track 1 (a hidden track) are left out")
                                      .arg(DecoderDamage::timeText(span->leftOut, stream->sampleRate)));
        }
        rows.append({imagePath, ImageTrack::fromSheet(sheet, i, sheetPath, span->start, span->length)});
    }
    return rows;
}

} // namespace

bool AlbumImages::isSheet(const QString& path)
{
    return QFileInfo(path).suffix().compare(QLatin1String("cue"), Qt::CaseInsensitive) == 0;
}

QList<AlbumImages::Row> AlbumImages::rowsFor(const QString& path)
{
    if (isSheet(path)) {
        return tracksOfSheet(path);
    }
    if (m_imagesCovered.contains(path)) {
        return {};
    }
    QList<Row> rows = tracksOfImage(path);
    if (!m_imagesCovered.contains(path)) {
        rows.append({path, std::nullopt});
    }
    return rows;
}

QList<AlbumImages::Row> AlbumImages::tracksOfSheet(const QString& sheetPath)
{
    m_sheetsRead.insert(sheetPath);
    QFile file(sheetPath);
    QString error = tr("Not a cue sheet");
    CueSheet sheet;
    if (file.open(QIODevice::ReadOnly) && file.size() <= kLargestSheet) {
        sheet = CueSheet::parse(file.read(kLargestSheet), &error);
    } else if (file.error() != QFileDevice::NoError) {
        error = file.errorString();
    }
    if (sheet.tracks.isEmpty()) {
        logProblem(sheetPath, error);
        return {};
    }
    QList<Row> rows;
    const QString folder = QFileInfo(sheetPath).path();
    for (const QString& name : sheet.files()) {
        const QString image = imageNamed(folder, name);
        if (image.isEmpty()) {
            logProblem(sheetPath, tr("the file it names is missing: %1").arg(QDir(folder).filePath(name)));
            continue;
        }
        m_imagesCovered.insert(image);
        rows += tracksIn(sheet, sheetPath, name, image);
    }
    return rows;
}

QStringList AlbumImages::sheetsBeside(const QString& imagePath)
{
    const QFileInfo image(imagePath);
    auto listed = m_sheetsInFolder.find(image.path());
    if (listed == m_sheetsInFolder.end()) {
        QStringList sheets;
        for (const QString& name : image.dir().entryList(QDir::Files, QDir::Name)) {
            if (isSheet(name)) {
                sheets.append(image.dir().filePath(name));
            }
        }
        listed = m_sheetsInFolder.insert(image.path(), sheets);
    }
    QStringList unread;
    for (const QString& path : std::as_const(*listed)) {
        if (!m_sheetsRead.contains(path)) {
            unread.append(path);
        }
    }
    return unread;
}

QList<AlbumImages::Row> AlbumImages::tracksOfImage(const QString& imagePath)
{
    // A sheet beside the image that names it (or would name it, by its base
    // name) takes it over.
    const QFileInfo image(imagePath);
    QList<Row> rows;
    for (const QString& sheetPath : sheetsBeside(imagePath)) {
        const QString base = QFileInfo(sheetPath).completeBaseName();
        bool namesImage = base == image.completeBaseName() || base == image.fileName();
        QFile file(sheetPath);
        if (!namesImage && file.size() <= kLargestSheet && file.open(QIODevice::ReadOnly)) {
            const CueSheet sheet = CueSheet::parse(file.readAll());
            for (const QString& name : sheet.files()) {
                namesImage = namesImage || imageNamed(image.path(), name) == QDir::cleanPath(imagePath);
            }
        }
        if (namesImage) {
            rows += tracksOfSheet(sheetPath);
        }
    }
    if (m_imagesCovered.contains(imagePath) ||
        image.suffix().compare(QLatin1String("flac"), Qt::CaseInsensitive) != 0) {
        return rows;
    }
    if (const std::optional<CueSheet> inside = CueSheet::embeddedIn(imagePath)) {
        m_imagesCovered.insert(imagePath);
        rows += tracksIn(*inside, imagePath, image.fileName(), imagePath);
    }
    return rows;
}
