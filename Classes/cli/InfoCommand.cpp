#include "InfoCommand.h"

#include "AlbumArtwork.h"
#include "AlbumImages.h"
#include "ApplicationController.h"
#include "AudioMetadata.h"
#include "EncoderSettings.h"
#include "ErrorLog.h"
#include "NamedException.h"
#include "NamingScheme.h"
#include "ZTDecoder.h"

#include <QFileInfo>
#include <QJsonDocument>
#include <QTextStream>

namespace {

QJsonObject artworkAsJson(const AlbumArtwork& artwork)
{
    QJsonObject object;
    object.insert(QStringLiteral("mimeType"), artwork.mimeType().value_or(QString()));
    object.insert(QStringLiteral("size"), qint64(artwork.dataSize()));
    object.insert(QStringLiteral("width"), qint64(artwork.width()));
    object.insert(QStringLiteral("height"), qint64(artwork.height()));
    object.insert(QStringLiteral("md5"), artwork.md5().value_or(QString()));
    return object;
}

QString artworkAsText(const AlbumArtwork& artwork)
{
    return QStringLiteral("%1, %2 bytes, %3x%4, MD5 %5")
        .arg(artwork.mimeType().value_or(QStringLiteral("unknown")))
        .arg(artwork.dataSize())
        .arg(artwork.width())
        .arg(artwork.height())
        .arg(artwork.md5().value_or(QString()));
}

} // namespace

QJsonObject InfoCommand::recordAsJson(const AudioMetadata& record)
{
    QJsonObject object;
    for (int i = 0; i < AudioMetadata::kFieldCount; ++i) {
        const auto field = AudioMetadata::Field(i);
        const QVariant value = record.value(field);
        if (!value.isValid()) {
            continue;
        }
        const QString key = AudioMetadata::fieldName(field);
        switch (AudioMetadata::kindOf(field)) {
        case AudioMetadata::Kind::Integer:
        case AudioMetadata::Kind::LargeInteger:
            object.insert(key, value.toLongLong());
            break;
        case AudioMetadata::Kind::Real:
            object.insert(key, value.toDouble());
            break;
        case AudioMetadata::Kind::Text:
            object.insert(key, value.toString());
            break;
        case AudioMetadata::Kind::Date:
            object.insert(key, value.toDateTime().toUTC().toString(Qt::ISODate));
            break;
        case AudioMetadata::Kind::Artwork:
            if (const AlbumArtworkPtr artwork = record.albumArtwork()) {
                object.insert(key, artworkAsJson(*artwork));
            }
            break;
        case AudioMetadata::Kind::Dictionary:
            object.insert(key, QJsonObject::fromVariantMap(value.toMap()));
            break;
        }
    }
    return object;
}

int InfoCommand::info(const QStringList& paths, bool json, QTextStream& out, QTextStream& err)
{
    int status = 0;
    // A cue sheet, or an image with one, tells of each track.
    AlbumImages images;
    QList<AlbumImages::Row> rows;
    for (const QString& path : paths) {
        if (!QFileInfo(path).isFile()) {
            err << "sonabrik-cli: " << path << ": no such file\n";
            status = 1;
            continue;
        }
        rows += images.rowsFor(QFileInfo(path).absoluteFilePath());
    }
    for (const AlbumImages::Row& row : std::as_const(rows)) {
        const AudioMetadataPtr record = AudioMetadata::metadataFromFile(row.path);
        QJsonObject object;
        QString heading = row.path;
        if (row.track) {
            row.track->applyTo(*record);
            object = recordAsJson(*record);
            object.insert(QStringLiteral("sheet"), row.track->sheetPath);
            object.insert(QStringLiteral("start"), row.track->start);
            object.insert(QStringLiteral("length"), row.track->length);
            heading = QStringLiteral("%1 (track %2)").arg(row.path).arg(row.track->number);
        } else {
            object = recordAsJson(*record);
        }
        if (json) {
            out << QJsonDocument(object).toJson(QJsonDocument::Compact) << '\n';
            continue;
        }
        out << heading << ":\n";
        for (int i = 0; i < AudioMetadata::kFieldCount; ++i) {
            const auto field = AudioMetadata::Field(i);
            const QString key = AudioMetadata::fieldName(field);
            if (!object.contains(key)) {
                continue;
            }
            if (field == AudioMetadata::Field::sourceLocation && row.track) {
                out << "  start: " << row.track->start << " samples\n"
                    << "  length: " << row.track->length << " samples\n";
            }
            const QJsonValue value = object.value(key);
            QString text;
            if (field == AudioMetadata::Field::albumArtwork) {
                text = artworkAsText(*record->albumArtwork());
            } else if (value.isObject()) {
                text = QString::fromUtf8(QJsonDocument(value.toObject()).toJson(QJsonDocument::Compact));
            } else if (value.isDouble()) {
                text = QString::number(value.toDouble(), 'g', 15);
            } else {
                // Texts of several lines (lyrics, comments) stay readable.
                text = value.toString().replace(u'\n', QStringLiteral("\n    "));
            }
            out << "  " << key << ": " << text << '\n';
        }
    }
    const QString log = ErrorLog::shared()->errorLogAsString();
    if (!log.isEmpty()) {
        err << log;
    }
    return status;
}

int InfoCommand::name(const QString& scheme, const QString& path, QTextStream& out, QTextStream& err)
{
    if (!QFileInfo(path).isFile()) {
        err << "sonabrik-cli: " << path << ": no such file\n";
        return 1;
    }
    const std::shared_ptr<EncoderSettings> settings =
        ApplicationController::firstEncoderSettingsFromPreferences();
    const AudioMetadataPtr record = AudioMetadata::metadataFromFile(path);
    out << NamingScheme::evaluate(scheme, record.get(), settings.get(), path, true) << ".mp3\n";
    return 0;
}

int InfoCommand::decoders(const QStringList& paths, QTextStream& out, QTextStream& err)
{
    int failures = 0;
    for (const QString& path : paths) {
        try {
            std::unique_ptr<ZTDecoder> decoder = ZTDecoder::decoderWithFilename(path);
            if (!decoder) {
                out << path << ": no decoder\n";
                ++failures;
                continue;
            }
            const AudioStreamBasicDescription format = decoder->decodeFormat();
            out << path << ": " << decoder->className() << ", " << format.mSampleRate << " Hz, "
                << format.mChannelsPerFrame << " channels, " << format.mBitsPerChannel << " bits, "
                << decoder->totalFrames() << " frames\n";
        } catch (const NamedException& e) {
            out << path << ": " << e.reason() << "\n";
            ++failures;
        }
    }
    const QString log = ErrorLog::shared()->errorLogAsString();
    if (!log.isEmpty()) {
        err << log;
    }
    return failures == 0 ? 0 : 1;
}
