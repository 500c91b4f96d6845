#include "AlbumLoudness.h"

#include "EncodeOperation.h"
#include "ErrorLog.h"
#include "FileEncodeOperation.h"
#include "LoudnessMeter.h"
#include "MP3TagWriter.h"
#include "Preferences.h"
#include "ReplayGain.h"
#include "TaggingThread.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <algorithm>

namespace {

QString tr(const char* text)
{
    return QCoreApplication::translate("AlbumLoudness", text);
}

} // namespace

QString AlbumLoudness::albumOf(const AudioMetadata* metadata, const std::optional<ImageTrack>& track)
{
    if (!metadata) {
        return {};
    }
    const QString title = metadata->albumTitle().value_or(QString());
    if (title.trimmed().isEmpty()) {
        // Named after the sheet's file, keyed by its path.
        return track ? QFileInfo(track->sheetPath).fileName() + QChar(0x1F) + QChar(0x1F) + track->sheetPath
                     : QString();
    }
    QString artist = metadata->albumArtist().value_or(QString());
    if (artist.trimmed().isEmpty()) {
        artist = metadata->trackArtist().value_or(QString());
    }
    // A separator no tag text holds: "A" by "B C" never meets "A B" by "C".
    return title + QChar(0x1F) + artist;
}

void AlbumLoudness::rowFinished(const FileEncodeOperation& row)
{
    if (ReplayGain::mode() != ReplayGain::Album) {
        return;
    }
    // Outputs written without tags get no album figures either.
    const QList<EncodeOperation*> children = row.children();
    const bool metadataOnly =
        !children.isEmpty() && children.first()->settings() &&
        children.first()->settings()->encoderAction() == EncoderSettings::UpdateMetadataOnlyAction;
    if (!metadataOnly && !Preferences::shared().boolValue(QStringLiteral("writeMetadata"))) {
        return;
    }
    const AudioMetadataPtr metadata = row.metadataIfRead();
    const QString key = albumOf(metadata.get(), row.track());
    if (key.isEmpty()) {
        return;
    }
    Album& album = m_albums[key];
    if (album.name.isEmpty()) {
        const QString artist = key.section(QChar(0x1F), 1, 1);
        album.name = artist.isEmpty() ? key.section(QChar(0x1F), 0, 0)
                                      : tr("%1 by %2").arg(key.section(QChar(0x1F), 0, 0), artist);
    }
    for (const EncodeOperation* child : children) {
        std::shared_ptr<const LoudnessMeter> meter = child->loudnessMeter();
        const bool whole = child->success() && !child->skipped() && !child->isCancelled() &&
                           !row.isCancelled() && meter && child->settings();
        if (whole) {
            album.outputs[child->settings().get()].append({child->outFilePath(), std::move(meter)});
            continue;
        }
        // A track of an image is named as the queue names it.
        const QString name =
            child->track() ? child->track()->displayName(child->inFilePath()) : child->inFilePath();
        if (!album.leftOut.contains(name)) {
            album.leftOut.insert(name);
            ErrorLog::logMessage(tr("The Album Gain Of \"%1\" Leaves Out %2: It Was Not Converted And "
                                    "Measured In Full.")
                                     .arg(album.name, name));
        }
    }
}

void AlbumLoudness::finishAlbums(const std::optional<QSet<QString>>& pending, TaggingThread* taggingThread)
{
    if (!pending) {
        return;
    }
    for (auto album = m_albums.begin(); album != m_albums.end();) {
        if (pending->contains(album.key())) {
            ++album;
            continue;
        }
        write(album.value(), taggingThread);
        album = m_albums.erase(album);
    }
}

void AlbumLoudness::write(const Album& album, TaggingThread* taggingThread) const
{
    for (const QList<Output>& outputs : album.outputs) {
        QList<const LoudnessMeter*> meters;
        double peak = 0;
        for (const Output& output : outputs) {
            meters.append(output.meter.get());
            peak = std::max(peak, output.meter->samplePeak());
        }
        const std::optional<double> loudness = LoudnessMeter::loudness(meters);
        if (!loudness) {
            continue; // silence: there is nothing to level
        }
        ReplayGain gain;
        gain.album = ReplayGain::Figures{LoudnessMeter::gainFor(*loudness), peak};
        const auto writeAll = [&] {
            for (const Output& output : outputs) {
                const QString error = MP3TagWriter::writeAlbumGain(output.path, gain);
                if (!error.isEmpty()) {
                    ErrorLog::logMessage(
                        tr("Could Not Write The Album Gain To: %1.  Error:%2").arg(output.path, error));
                }
            }
        };
        if (taggingThread) {
            taggingThread->runAndWait(writeAll);
        } else {
            writeAll();
        }
    }
}
