#pragma once
// Edits a user's file without ever leaving it cut short. The file is read
// into memory and edited there; the result is checked, written to a hidden
// file in the same folder and synced, and only then takes the original's
// place by rename(), which is atomic on one file system. A full disk, an
// I/O error or a failed check leaves the original untouched and removes
// the copy.
//
// The new file keeps the original's permissions, owner and group (as far
// as the process may set them) and its access and modification times.
//
// Threads: any; nothing here holds state. Nothing throws. Memory: the file
// twice over, which suits tagged songs, not disk images.

#include <QByteArray>
#include <QString>
#include <functional>

namespace FileRewrite {

// Returns an empty string when the edit or check succeeds, else the reason.
using Edit = std::function<QString(QByteArray& bytes)>;
using Check = std::function<QString(const QByteArray& original, const QByteArray& edited)>;

// Reads path, runs edit on its bytes, asks check whether the result is
// sound, and puts it in place. Returns an empty string on success, else the
// reason, as the system words it ("No space left on device") or as edit
// and check word it.
QString replaceWithEditedCopy(const QString& path, const Edit& edit, const Check& check);

} // namespace FileRewrite
