#include "FileRewrite.h"

#include <QFile>
#include <QFileInfo>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace {

struct FdCloser
{
    void operator()(const int* fd) const
    {
        ::close(*fd);
        delete fd;
    }
};
using UniqueFd = std::unique_ptr<int, FdCloser>;

UniqueFd adopt(int fd)
{
    return fd < 0 ? nullptr : UniqueFd(new int(fd));
}

QString systemError(int code = errno)
{
    return QString::fromLocal8Bit(std::strerror(code));
}

QString readAll(int fd, qint64 size, QByteArray& bytes)
{
    bytes.resize(size);
    qint64 done = 0;
    while (done < size) {
        const ssize_t got = ::read(fd, bytes.data() + done, size_t(size - done));
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            return systemError();
        }
        if (got == 0) {
            return QStringLiteral("The file shrank while it was read");
        }
        done += got;
    }
    return {};
}

QString writeAll(int fd, const QByteArray& bytes)
{
    qint64 done = 0;
    while (done < bytes.size()) {
        const ssize_t put = ::write(fd, bytes.constData() + done, size_t(bytes.size() - done));
        if (put < 0 && errno == EINTR) {
            continue;
        }
        if (put < 0) {
            return systemError();
        }
        done += put;
    }
    return {};
}

// The new file gets the original's metadata, and its bytes reach the disk
// before the rename makes it the user's file.
QString settle(int fd, const struct stat& original)
{
    // Owner and group change only for a privileged process: a user may
    // rewrite someone else's file in a folder of theirs, and the result is
    // theirs, as with any editor that saves by rename.
    if (::fchown(fd, original.st_uid, original.st_gid) != 0 && errno != EPERM) {
        return systemError();
    }
    if (::fchmod(fd, original.st_mode & 07777) != 0) {
        return systemError();
    }
    const struct timespec times[2] = {original.st_atim, original.st_mtim};
    if (::futimens(fd, times) != 0 || ::fsync(fd) != 0) {
        return systemError();
    }
    return {};
}

} // namespace

QString FileRewrite::replaceWithEditedCopy(const QString& path, const Edit& edit, const Check& check)
{
    const QByteArray nativePath = QFile::encodeName(path);
    const UniqueFd original = adopt(::open(nativePath.constData(), O_RDONLY | O_CLOEXEC));
    struct stat status = {};
    if (!original || ::fstat(*original, &status) != 0) {
        return systemError();
    }
    QByteArray before;
    QString error = readAll(*original, status.st_size, before);
    QByteArray after = before;
    if (error.isEmpty()) {
        error = edit(after);
    }
    if (error.isEmpty()) {
        error = check(before, after);
    }
    if (!error.isEmpty()) {
        return error;
    }

    const QFileInfo info(path);
    QByteArray copyPath =
        QFile::encodeName(info.path() + QStringLiteral("/.") + info.fileName() + QStringLiteral(".XXXXXX"));
    const UniqueFd copy = adopt(::mkostemp(copyPath.data(), O_CLOEXEC));
    if (!copy) {
        return systemError();
    }
    error = writeAll(*copy, after);
    if (error.isEmpty()) {
        error = settle(*copy, status);
    }
    if (error.isEmpty() && ::rename(copyPath.constData(), nativePath.constData()) != 0) {
        error = systemError();
    }
    if (!error.isEmpty()) {
        ::unlink(copyPath.constData());
    }
    return error;
}
