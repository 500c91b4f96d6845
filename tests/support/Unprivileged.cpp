#include "Unprivileged.h"

#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

bool Unprivileged::needed()
{
    return ::geteuid() == 0;
}

void Unprivileged::own(const QString& folder)
{
    if (!needed())
        return;
    // The folders above (a 0700 scratch folder among them) must let the user through.
    for (QString above = QFileInfo(folder).absolutePath(); above != u"/"_s; above = QFileInfo(above).path()) {
        struct stat info = {};
        if (::stat(QFile::encodeName(above).constData(), &info) == 0)
            ::chmod(QFile::encodeName(above).constData(), (info.st_mode & 07777) | 0111);
    }
    QStringList paths{folder};
    QDirIterator walk(folder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                      QDirIterator::Subdirectories);
    while (walk.hasNext())
        paths << walk.next();
    for (const QString& path : paths)
        EXPECT_EQ(::lchown(QFile::encodeName(path).constData(), kUserID, kUserID), 0) << path.toStdString();
}

QStringList Unprivileged::command(const QString& program, const QStringList& arguments)
{
    if (!needed())
        return QStringList{program} + arguments;
    return QStringList{u"setpriv"_s, u"--reuid=%1"_s.arg(kUserID), u"--regid=%1"_s.arg(kUserID),
                       u"--clear-groups"_s, program} +
           arguments;
}
