#include "Fixtures.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace Fixtures {

QString generatedDir()
{
    return QStringLiteral(SONABRIK_FIXTURE_DIR);
}

QString generated(const QString& name)
{
    return generatedDir() + QLatin1Char('/') + name;
}

QString taglibDir()
{
    const QByteArray overridden = qgetenv("SONABRIK_TAGLIB_FIXTURES");
    return QDir::cleanPath(overridden.isEmpty() ? QStringLiteral(SONABRIK_TAGLIB_FIXTURE_DIR)
                                                : QString::fromLocal8Bit(overridden));
}

bool haveTaglibFixtures()
{
    return QFileInfo(taglibDir()).isDir();
}

QString taglib(const QString& name)
{
    return taglibDir() + QLatin1Char('/') + name;
}

QStringList taglibFilesWithExtensions(const QStringList& extensions)
{
    QStringList files;
    const QFileInfoList entries = QDir(taglibDir()).entryInfoList(QDir::Files, QDir::Name);
    for (const QFileInfo& entry : entries) {
        if (extensions.contains(entry.suffix().toLower()))
            files << entry.absoluteFilePath();
    }
    return files;
}

} // namespace Fixtures

ScratchDir::ScratchDir() : m_dir(QDir::tempPath() + u"/sonabrik-test-XXXXXX"_s)
{
    EXPECT_TRUE(m_dir.isValid());
}

QString ScratchDir::copyOf(const QString& source, const QString& name) const
{
    const QString copy = file(name);
    QDir().mkpath(QFileInfo(copy).path());
    EXPECT_TRUE(QFile::copy(source, copy)) << source.toStdString();
    QFile::setPermissions(copy, QFile::ReadOwner | QFile::WriteOwner);
    return copy;
}
