#pragma once
// How far a run has come and how long it still takes, measured in audio:
// each file weighs as much as its length, so one long file and ten short
// ones are told apart. The speed is the audio converted per second of wall
// time since the run began, and the time left is the audio still to do at
// that speed.
//
// Files are known by an opaque key (the queue's rows). A file's length is
// known once its tags are read, which the run does as it reaches the file;
// until then it weighs as much as the average known one. The window's status bar and the command line's total
// bar both show describe().
//
// A plain value; main thread in practice, no locking.

#include <QHash>
#include <QList>
#include <QString>
#include <optional>

class FileEncodeOperation;

class RunProgress
{
public:
    // A new run of these files, of lengths unknown yet.
    void start(const QList<const void*>& files);
    void start(const QList<FileEncodeOperation*>& rows);
    // A file's length in seconds, once known.
    void setLength(const void* key, double seconds);
    // How much of a file is converted, from 0 to 1.
    void setFraction(const void* key, double fraction);
    // A file ended (converted, failed or cancelled).
    void finish(const void* key);
    // Takes the lengths the rows have read and the fractions of the rows
    // being converted.
    void follow(const QList<FileEncodeOperation*>& rows);
    // Wall-clock seconds since the run began.
    void setElapsed(double seconds) { m_elapsed = seconds; }

    int filesTotal() const { return int(m_files.size()); }
    int filesDone() const { return m_filesDone; }
    // The share of the run's audio converted, from 0 to 1.
    double fraction() const;
    // Seconds of audio converted per second, once there is enough to tell.
    std::optional<double> speed() const;
    std::optional<double> secondsLeft() const;
    // "3 of 9 files done, 41 % (38× real time, about 1 min left)"; without
    // a speed yet, only the part before the parenthesis.
    QString describe() const;
    // "about 15 s left", "about 4 min left", "about 1 h 20 min left".
    static QString describeTimeLeft(double seconds);

private:
    struct Entry
    {
        double seconds = 0; // 0: unknown
        double fraction = 0;
        bool finished = false;
    };
    // What a file of unknown length counts as: the average known one.
    double unknownLength() const;
    double secondsDone() const;
    double secondsTotal() const;

    QHash<const void*, Entry> m_files;
    int m_filesDone = 0;
    double m_elapsed = 0;
};
