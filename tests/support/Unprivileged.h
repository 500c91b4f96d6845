#pragma once
// Root ignores permissions: as root, permission tests give folders to "nobody" and run programs as it.

#include <QString>
#include <QStringList>

class Unprivileged
{
public:
    static constexpr uint kUserID = 65534; // nobody
    static bool needed();
    // Gives the tree to the user and opens the path down to it for traversal.
    static void own(const QString& folder);
    static QStringList command(const QString& program, const QStringList& arguments);
};
