#pragma once
// Test files: generated(name) by tests/fixtures/generate.sh; taglib(name) from TagLib's test data,
// which may be absent, so tests using it start with SONABRIK_REQUIRE_TAGLIB_FIXTURES().

#include "QtPrinters.h"

#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace Fixtures {

QString generated(const QString& name);
QString generatedDir();

bool haveTaglibFixtures();
QString taglibDir();
QString taglib(const QString& name);
// Every file in the TagLib folder whose lower-cased extension is listed.
QStringList taglibFilesWithExtensions(const QStringList& extensions);

} // namespace Fixtures

#define SONABRIK_REQUIRE_TAGLIB_FIXTURES()                                                                 \
    do {                                                                                                   \
        if (!Fixtures::haveTaglibFixtures())                                                               \
            GTEST_SKIP() << "skipped: the TagLib test files are not present at "                           \
                         << Fixtures::taglibDir().toStdString();                                            \
    } while (0)

// A fresh folder removed at the end of the test.
class ScratchDir
{
public:
    ScratchDir();
    QString path() const { return m_dir.path(); }
    QString file(const QString& name) const { return m_dir.filePath(name); }
    QString copyOf(const QString& source, const QString& name) const; // writable copy; its path

private:
    QTemporaryDir m_dir;
};
