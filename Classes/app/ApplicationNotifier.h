#pragma once
// The in-process notifications of the application, as signals of one
// application-wide object: "FilesDropped" (a list of paths) and
// "ZTOutputDirectoryDidChangeNotification" (the output folder changed).
// Post from any thread; receivers get the signal on their own thread.

#include <QObject>
#include <QStringList>

class ApplicationNotifier : public QObject
{
    Q_OBJECT
public:
    static ApplicationNotifier* shared();

    void postFilesDropped(const QStringList& paths) { Q_EMIT filesDropped(paths); }
    void postOutputDirectoryDidChange() { Q_EMIT outputDirectoryDidChange(); }

Q_SIGNALS:
    void filesDropped(const QStringList& paths);
    void outputDirectoryDidChange();

private:
    ApplicationNotifier() = default;
};
