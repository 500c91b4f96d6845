// Every icon asked for by name has a bundled drawing that renders (for themes that lack it).

#include "Icons.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QIcon>
#include <QImage>
#include <QPixmap>
#include <QRegularExpression>
#include <QSet>
#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// Names given as literals to Icons::themed() and the main window's commands.
QSet<QString> iconNamesInSources()
{
    static const QRegularExpression call(
        QStringLiteral(R"re((?:themed|addCommand)\([^;]*?QStringLiteral\("([a-z]+(?:-[a-z]+)+)"\))re"),
        QRegularExpression::DotMatchesEverythingOption);
    QSet<QString> names;
    QDirIterator files(QStringLiteral(SONABRIK_SOURCE_DIR "/Classes/gui"), {u"*.cpp"_s}, QDir::Files,
                       QDirIterator::Subdirectories);
    while (files.hasNext()) {
        QFile file(files.next());
        file.open(QIODevice::ReadOnly);
        for (const QRegularExpressionMatch& match : call.globalMatch(QString::fromUtf8(file.readAll()))) {
            names.insert(match.captured(1));
        }
    }
    return names;
}

TEST(IconsTest, EveryNameUsedHasABundledDrawingThatRenders)
{
    const QSet<QString> names = iconNamesInSources();
    ASSERT_GE(names.size(), 15) << "the source scan found too few icon names to be trusted";
    for (const QString& name : names) {
        EXPECT_TRUE(QFile::exists(u":/icons/"_s + name + u".svg"_s))
            << "no bundled drawing for " << name.toStdString();
    }

    const QString theme = QIcon::themeName();
    QIcon::setThemeName(u"sonabrik-test-no-such-theme"_s); // nothing there: the bundled drawings show
    for (const QString& file : QDir(u":/icons"_s).entryList({u"*.svg"_s})) {
        const QString name = file.chopped(4);
        const QImage image = Icons::themed(name).pixmap(32, 32).toImage();
        ASSERT_FALSE(image.isNull()) << name.toStdString();
        int painted = 0;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                painted += qAlpha(image.pixel(x, y)) > 0 ? 1 : 0;
            }
        }
        EXPECT_GT(painted, 20) << name.toStdString() << " draws nothing";
    }
    QIcon::setThemeName(theme);
}

} // namespace
