#pragma once
// Root ignores file permissions, so a test of an unreadable file or a
// read-only folder runs the program as an ordinary user. When the tests run
// as root, an Unprivileged makes a folder tree that user's and runs programs
// as that user (setpriv from util-linux); otherwise everything stays the
// test's own and programs run as they are.

#include <QString>
#include <QStringList>

class Unprivileged
{
public:
    static constexpr uint kUserID = 65534; // nobody
    static bool needed();
    // Gives the folder and everything below it to the user, and opens the
    // path down to it for traversal.
    static void own(const QString& folder);
    // The program and arguments that run program as the user.
    static QStringList command(const QString& program, const QStringList& arguments);
};
