#include "UtilityFunctions.h"

#include "FileNameLimit.h"
#include "NamedException.h"

#include <ogg/ogg.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QString systemErrorText(int error)
{
    return QString::fromLocal8Bit(strerror(error));
}

// Closes the descriptor on the way out of an exception; the normal path
// closes it itself to check the result.
struct FileDescriptor
{
    int fd = -1;
    ~FileDescriptor()
    {
        if (fd >= 0) {
            ::close(fd);
        }
    }
    int release() { return std::exchange(fd, -1); }
};

struct SyncStateDeleter
{
    void operator()(ogg_sync_state* state) const { ogg_sync_clear(state); }
};

struct StreamStateDeleter
{
    void operator()(ogg_stream_state* state) const { ogg_stream_clear(state); }
};

bool hasPrefix(const ogg_packet& packet, long offset, const char* text, long length)
{
    return packet.bytes >= offset + length && std::memcmp(packet.packet + offset, text, size_t(length)) == 0;
}

} // namespace

OggStreamType oggStreamType(const QString& path)
{
    constexpr long kReadSize = 4096;

    FileDescriptor file{::open(QFile::encodeName(path).constData(), O_RDONLY)};
    ZT_ASSERT(file.fd >= 0, QStringLiteral("Opening Input File Failed: %1.").arg(systemErrorText(errno)));

    ogg_sync_state syncState;
    ogg_sync_init(&syncState);
    std::unique_ptr<ogg_sync_state, SyncStateDeleter> syncGuard(&syncState);

    char* data = ogg_sync_buffer(&syncState, kReadSize);
    const ssize_t bytesRead = ::read(file.fd, data, size_t(kReadSize));
    ZT_ASSERT(bytesRead >= 0, QStringLiteral("Reading Input File Failed: (%1).").arg(systemErrorText(errno)));
    ZT_ASSERT(ogg_sync_wrote(&syncState, long(bytesRead)) == 0, QStringLiteral("ogg_sync_wrote Failed."));

    ogg_page page;
    ZT_ASSERT(ogg_sync_pageout(&syncState, &page) == 1,
              QStringLiteral("Input does not appear to be an Ogg bitstream."));

    // Cleared on every way out, whatever the stream turns out to be: a run
    // sniffs every Ogg file it converts.
    ogg_stream_state streamState;
    ogg_stream_init(&streamState, ogg_page_serialno(&page));
    std::unique_ptr<ogg_stream_state, StreamStateDeleter> streamGuard(&streamState);
    ZT_ASSERT(ogg_stream_pagein(&streamState, &page) == 0,
              QStringLiteral("Error reading first page of Ogg bitstream data."));

    ogg_packet packet;
    ZT_ASSERT(ogg_stream_packetout(&streamState, &packet) == 1,
              QStringLiteral("Error reading initial header packet."));

    OggStreamType type;
    if (hasPrefix(packet, 1, "vorbis", 6)) {
        type = OggStreamTypeVorbis;
    } else if (hasPrefix(packet, 0, "Speex   ", 8)) {
        type = OggStreamTypeSpeex;
    } else if (packet.b_o_s != 0 && hasPrefix(packet, 0, "OpusHead", 8)) {
        type = OggStreamTypeOpus;
    } else if (packet.bytes >= 9 && hasPrefix(packet, 1, "FLAC", 4)) {
        type = OggStreamTypeFLAC;
    } else {
        type = OggStreamTypeUnknown;
    }

    const int fd = file.release();
    ZT_ASSERT(::close(fd) == 0, QStringLiteral("Closing Input File Failed: %1.").arg(systemErrorText(errno)));
    return type;
}

QString uniqueFilePath(const QString& path)
{
    if (!QFileInfo::exists(path)) {
        return path;
    }
    const QFileInfo info(path);
    const QString folder = info.path();
    const QString suffix = info.suffix();
    const QString base = suffix.isEmpty() ? info.fileName() : info.completeBaseName();
    for (unsigned long n = 2;; ++n) {
        // The counter and extension stay; a name already at the file
        // system's limit gives up the end of its base for them.
        QString tail = QStringLiteral(" %1").arg(n);
        if (!suffix.isEmpty()) {
            tail += u'.' + suffix;
        }
        const QString name = FileNameLimit::fit(base, tail);
        const QString candidate = folder + u'/' + name;
        if (!QFileInfo::exists(candidate)) {
            return candidate;
        }
    }
}

QString getTemporaryFilePath()
{
    const QString directory = QDir::tempPath();
    ZT_ASSERT(!directory.isEmpty(), parameterAssertionReason(QStringLiteral("nil != directory")));

    const pid_t session = getsid(0);
    if (session == pid_t(-1)) {
        // The error number as four characters, the way session errors read.
        const uint32_t code = uint32_t(errno);
        QString text;
        for (int shift = 24; shift >= 0; shift -= 8) {
            const char c = char((code >> shift) & 0xFF);
            text += QChar::fromLatin1(c >= 32 && c < 127 ? c : '?');
        }
        ZT_FAIL(QStringLiteral("SessionGetInfo failed: %1").arg(text));
    }

    // mkstemps fills the last six X; the two before them are filled here so
    // that all eight are random.
    static const char kCharacters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    QString pattern = QStringLiteral("%1/%2-%3-%4-")
                          .arg(directory, QStringLiteral("Wavecrate"))
                          .arg(uint32_t(session), 8, 16, QLatin1Char('0'))
                          .arg(qint64(::getpid()));
    for (int i = 0; i < 2; ++i) {
        pattern += QLatin1Char(kCharacters[QRandomGenerator::global()->bounded(int(sizeof kCharacters - 1))]);
    }
    pattern += QStringLiteral("XXXXXX");

    char path[1024];
    const QByteArray encoded = QFile::encodeName(pattern);
    qstrncpy(path, encoded.constData(), sizeof path);
    const int fd = mkstemps(path, 0);
    if (fd < 0) {
        ZT_FAIL(QStringLiteral("Unable to create a temporary file: %1").arg(systemErrorText(errno)));
    }
    if (::close(fd) != 0) {
        ZT_FAIL(QStringLiteral("Unable to close the temporary file: %1").arg(systemErrorText(errno)));
    }
    return QFile::decodeName(path);
}

int removeAbandonedTemporaryFiles()
{
    // The names getTemporaryFilePath() makes; the second number is the
    // process that made the file.
    static const QRegularExpression kName(QStringLiteral("^Wavecrate-[0-9a-f]{8}-([0-9]+)-[A-Za-z0-9]{8}$"));
    QDir directory(QDir::tempPath());
    int removed = 0;
    const QStringList names = directory.entryList(QDir::Files | QDir::Hidden | QDir::System);
    for (const QString& name : names) {
        const QRegularExpressionMatch match = kName.match(name);
        bool number = false;
        const qint64 pid = match.hasMatch() ? match.captured(1).toLongLong(&number) : 0;
        if (!number || pid <= 0 || pid > std::numeric_limits<pid_t>::max() || pid_t(pid) == ::getpid()) {
            continue;
        }
        // Only a process that is gone for certain: another user's process
        // answers EPERM, and its files are not ours to judge.
        if (::kill(pid_t(pid), 0) == 0 || errno != ESRCH) {
            continue;
        }
        struct stat status = {};
        const QByteArray path = QFile::encodeName(directory.filePath(name));
        if (::lstat(path.constData(), &status) == 0 && status.st_uid == ::getuid() &&
            S_ISREG(status.st_mode) && ::unlink(path.constData()) == 0) {
            ++removed;
        }
    }
    return removed;
}
