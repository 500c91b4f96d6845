#include "FileIntake.h"

#include "AlbumImages.h"
#include "ApplicationController.h"
#include "MainThread.h"
#include "OperationsArrayController.h"
#include "UserInterface.h"

#include <QDirIterator>
#include <QFileInfo>
#include <QSet>
#include <algorithm>
#include <array>

namespace {

constexpr std::array<const char*, 70> kAcceptedExtensions{
    "mp3",  "flac", "ape", "mpc", "wv",  "ra",  "rm",      "rmf",  "rmj",  "mpg", "mpeg", "avi",
    "mov",  "wma",  "wmv", "asf", "ogg", "oga", "oggflac", "spx",  "opus", "aif", "aiff", "aifc",
    "wav",  "wave", "m4a", "m4b", "m4r", "mp4", "mp2",     "aac",  "aacp", "sd2", "3ga",  "3gp",
    "3gpp", "3gs",  "3g2", "caf", "snd", "au",  "amr",     "sdir", "tta",  "mod", "s3m",  "xm",
    "it",   "669",  "amf", "ams", "dbm", "dmf", "dsm",     "far",  "mdl",  "med", "mtm",  "okt",
    "ptm",  "stm",  "ult", "umx", "mt2", "psm", "abc",     "dff",  "dsf",  "cue"};

const QSet<QString>& acceptedSet()
{
    static const QSet<QString> set = [] {
        QSet<QString> result;
        for (const char* extension : kAcceptedExtensions) {
            result.insert(QString::fromLatin1(extension));
        }
        return result;
    }();
    return set;
}

} // namespace

QStringList FileIntake::acceptedExtensions()
{
    QStringList result;
    for (const char* extension : kAcceptedExtensions) {
        result.append(QString::fromLatin1(extension));
    }
    return result;
}

bool FileIntake::isAccepted(const QString& path)
{
    return acceptedSet().contains(QFileInfo(path).suffix().toLower());
}

void FileIntake::parse(const QStringList& paths)
{
    ApplicationController& controller = m_controller;
    bool busy = false;
    MainThread::runAndWait([&] {
        busy = controller.runningOperations() > 0 || controller.encoderRunning();
        if (busy) {
            controller.ui().beep();
        }
    });
    if (busy) {
        return;
    }

    controller.m_processingFiles = true;
    controller.startRefreshTimer();
    controller.setCancelled(false);
    QSet<QString> snapshot;
    MainThread::runAndWait([&] {
        controller.setEncoderRunning(true);
        controller.ui().setEncodeButtonToCancel(true);
        controller.ui().setEncodeButtonEnabled(true);
        const QStringList paths = controller.operationsController().paths();
        snapshot = QSet<QString>(paths.begin(), paths.end());
    });

    // A track's row is refused when its image is queued already, as a
    // whole or as tracks.
    AlbumImages images;
    const auto queue = [&](const QList<AlbumImages::Row>& rows, const QString& topLevel) {
        for (const AlbumImages::Row& row : rows) {
            if (!snapshot.contains(row.path)) {
                MainThread::runAndWait(
                    [&] { controller.addFileEncodeOperationToQueue(row.path, topLevel, row.track); });
            }
        }
    };
    for (const QString& path : paths) {
        const QFileInfo info(path);
        if (info.isDir()) {
            // Hidden files and folders are left out of the walk.
            QDirIterator walk(path, QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot,
                              QDirIterator::Subdirectories);
            QStringList found;
            bool stopped = false;
            while (walk.hasNext() && !stopped) {
                const QString item = walk.next();
                if (!walk.fileInfo().isDir()) {
                    found.append(item);
                }
                // A huge tree is not walked to its end after a cancel.
                stopped = controller.isCancelled();
            }
            // The walk's order is the file system's; a sorted one reads the
            // same on every machine. Cue sheets go first, so that the images
            // they cover are known before the walk reaches them.
            found.sort();
            std::stable_partition(found.begin(), found.end(), AlbumImages::isSheet);
            for (qsizetype i = 0; i < found.size() && !stopped; ++i) {
                const QString& item = found.at(i);
                if (isAccepted(item)) {
                    queue(images.rowsFor(item), path);
                }
                stopped = controller.isCancelled();
            }
            if (stopped) {
                break;
            }
        } else if (isAccepted(path)) {
            queue(images.rowsFor(path), path);
        }
        if (controller.isCancelled()) {
            break;
        }
    }

    MainThread::runAndWait([&] { controller.finishedParsingFiles(); });
}
