#include "OutputFiles.h"

#include "FileNameLimit.h"
#include "SafeFilename.h"
#include "UtilityFunctions.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QTemporaryFile>
#include <QUrl>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {

QString errorText(int error)
{
    return QString::fromLocal8Bit(strerror(error));
}

// rename() that fails with EEXIST instead of replacing; falls back to a
// plain rename where the file system does not support the flag.
int renameWithoutReplacing(const QByteArray& from, const QByteArray& to)
{
    const int result = renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), RENAME_NOREPLACE);
    if (result == 0 || (errno != EINVAL && errno != ENOSYS && errno != ENOTSUP)) {
        return result;
    }
    if (QFileInfo::exists(QFile::decodeName(to))) {
        errno = EEXIST;
        return -1;
    }
    return ::rename(from.constData(), to.constData());
}

// Why a write or flush stopped. A write the system cut short (a full disk
// after part of the block) is not an error to QFile, which then only says
// "Unknown error"; errno, taken at once, still holds the system's reason.
QString writeErrorText(const QFileDevice& file, int systemError)
{
    if (file.error() == QFileDevice::NoError && systemError != 0) {
        return errorText(systemError);
    }
    return file.errorString();
}

} // namespace

QString OutputFiles::createFolderWithSafeNames(const QString& folder, QString* error)
{
    const QString cleaned = QDir::cleanPath(folder);
    const QStringList components = cleaned.split(u'/', Qt::SkipEmptyParts);
    QString current = cleaned.startsWith(u'/') ? QString() : QStringLiteral(".");
    if (components.isEmpty()) {
        return cleaned.startsWith(u'/') ? QStringLiteral("/") : current;
    }
    for (const QString& component : components) {
        const QString existing = current + u'/' + component;
        if (QFileInfo(existing).isDir()) {
            current = existing;
            continue;
        }
        const QString made = current + u'/' + SafeFilename::make(component);
        // Files converted side by side make the same folders at the same
        // moment: a folder that exists once mkdir failed was made by another
        // file's operation, and is as good as made here.
        if (!QFileInfo(made).isDir() && !QDir().mkdir(made) && !QFileInfo(made).isDir()) {
            if (error) {
                *error = QStringLiteral("The folder “%1” could not be created.").arg(made);
            }
            return QString();
        }
        current = made;
    }
    return current;
}

QString OutputFiles::copyWithoutReplacing(const QString& source, const QString& destination, QString* error)
{
    QFile input(source);
    if (!input.open(QIODevice::ReadOnly)) {
        *error = input.errorString();
        return QString();
    }
    const QFileInfo target(destination);
    QTemporaryFile hidden(target.path() + u'/' +
                          FileNameLimit::fit(u'.' + target.fileName(), QStringLiteral("-XXXXXX")));
    if (!hidden.open()) {
        *error = hidden.errorString();
        return QString();
    }
    // Large blocks: the file may be hundreds of megabytes, memory stays flat.
    constexpr qint64 kBlockSize = 1 << 20;
    QByteArray block;
    while (!input.atEnd()) {
        block = input.read(kBlockSize);
        if (block.isEmpty() && input.error() != QFileDevice::NoError) {
            *error = input.errorString();
            return QString();
        }
        errno = 0;
        if (hidden.write(block) != block.size()) {
            *error = writeErrorText(hidden, errno);
            return QString();
        }
    }
    errno = 0;
    if (!hidden.flush()) {
        *error = writeErrorText(hidden, errno);
        return QString();
    }
    if (::fsync(hidden.handle()) != 0) {
        *error = errorText(errno);
        return QString();
    }
    hidden.setPermissions(input.permissions());

    QString finalPath = destination;
    for (int attempt = 0; attempt < 1000; ++attempt) {
        if (renameWithoutReplacing(QFile::encodeName(hidden.fileName()), QFile::encodeName(finalPath)) == 0) {
            hidden.setAutoRemove(false);
            return finalPath;
        }
        if (errno != EEXIST) {
            *error = errorText(errno);
            return QString();
        }
        // Another operation took the name since it was chosen.
        finalPath = uniqueFilePath(finalPath);
    }
    *error = errorText(EEXIST);
    return QString();
}

QString OutputFiles::moveWithoutReplacing(const QString& source, const QString& destination, QString* error)
{
    QString finalPath = uniqueFilePath(destination);
    for (int attempt = 0; attempt < 1000; ++attempt) {
        if (renameWithoutReplacing(QFile::encodeName(source), QFile::encodeName(finalPath)) == 0) {
            return finalPath;
        }
        if (errno != EEXIST) {
            *error = errorText(errno);
            return QString();
        }
        // Another operation took the name since it was chosen.
        finalPath = uniqueFilePath(finalPath);
    }
    *error = errorText(EEXIST);
    return QString();
}

bool OutputFiles::moveToTrashOrDelete(const QString& path)
{
    // The path is taken as a URL string, not as a file path. Blanks and stray
    // percent signs read as themselves, but a "#" or "?" starts a fragment or
    // a query, and "%20" decodes to another name: such a path is not the file
    // the URL names, so it is deleted rather than some other file trashed.
    // The Trash lives in the data folder, which a fresh account may lack; the
    // Trash will not make it, and a failed trash means deleting.
    QDir().mkpath(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation));
    const QUrl url(path);
    if (url.isValid() && url.path(QUrl::FullyDecoded) == path && QFile::moveToTrash(path)) {
        return true;
    }
    return QFile::remove(path);
}

bool OutputFiles::replace(const QString& source, const QString& destination, QString* error)
{
    if (::rename(QFile::encodeName(source).constData(), QFile::encodeName(destination).constData()) != 0) {
        *error = errorText(errno);
        return false;
    }
    return true;
}
