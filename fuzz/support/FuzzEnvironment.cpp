#include "FuzzEnvironment.h"

#include "ErrorLog.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QHash>
#include <QTemporaryDir>
#include <cstdio>
#include <memory>

namespace {

std::unique_ptr<QTemporaryDir> scratchFolder;
// Never destroyed: its destructor needs Qt globals gone by static destruction.
QCoreApplication* application = nullptr;

} // namespace

void FuzzEnvironment::initialize(int* argc, char*** argv)
{
    if (application)
        return;
    // /dev/shm for speed; scripts/fuzz.sh names its own folder, as libFuzzer skips static destructors.
    QString base = qEnvironmentVariable("SONABRIK_FUZZ_SCRATCH");
    if (base.isEmpty())
        base = QDir(QStringLiteral("/dev/shm")).exists() ? QStringLiteral("/dev/shm") : QDir::tempPath();
    scratchFolder = std::make_unique<QTemporaryDir>(base + QStringLiteral("/sonabrik-fuzz-XXXXXX"));
    if (!scratchFolder->isValid()) {
        fprintf(stderr, "cannot create a scratch folder in %s\n", qPrintable(base));
        std::abort();
    }
    const QByteArray home = QFile::encodeName(scratchFolder->path());
    qputenv("HOME", home);
    qputenv("XDG_CONFIG_HOME", home + "/.config");
    qputenv("XDG_DATA_HOME", home + "/.local/share");
    qputenv("XDG_CACHE_HOME", home + "/.cache");
    qputenv("QT_QPA_PLATFORM", "offscreen");
    application = new QCoreApplication(*argc, *argv);
    QCoreApplication::setApplicationName(QStringLiteral("Sonabrik"));
}

QString FuzzEnvironment::writeScratchFile(const uint8_t* data, size_t size, const char* extension)
{
    const QString path = scratchFolder->filePath(QStringLiteral("input") + QLatin1String(extension));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
        file.write(reinterpret_cast<const char*>(data), qint64(size)) != qint64(size)) {
        fprintf(stderr, "cannot write %s\n", qPrintable(path));
        std::abort();
    }
    return path;
}

void FuzzEnvironment::clearErrorLog()
{
    ErrorLog::shared()->clear();
}

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    FuzzEnvironment::initialize(argc, argv);
    return 0;
}
