#pragma once
// File-system steps of putting a finished file in place, written so that an
// interruption never leaves a partial file under a final name and never
// loses an existing file.
//
// Stateless; any thread. Failures are reported through the return value and
// an error text; nothing is logged here.

#include <QString>

class OutputFiles
{
public:
    // Creates folder component by component. Components that exist keep their
    // names; each missing one is first made a safe file name (SafeFilename,
    // under the current preferences) and then created. Gives the folder
    // actually reached, or an empty string (and *error) when a component
    // could not be created.
    static QString createFolderWithSafeNames(const QString& folder, QString* error);

    // Copies source to destination through a hidden file in the destination's
    // folder (".<name>-XXXXXX"), flushed to disk and then renamed without
    // replacing anything. When destination has meanwhile been taken, the next
    // free unique name is used. Gives the path written, or an empty string
    // (and *error; the hidden file is removed).
    static QString copyWithoutReplacing(const QString& source, const QString& destination, QString* error);

    // Moves path to the freedesktop.org Trash. The path is first read as a URL
    // text, as the program has always done, so a path that reads as another
    // name as a URL (a "#", a "?", "%41") is not trashed but deleted. True
    // when the file is gone from path.
    static bool moveToTrashOrDelete(const QString& path);

    // Renames source to destination without replacing anything: when
    // destination is taken (before or during the call), the next free unique
    // name is used. Same file system only. Gives the path now holding the
    // file, or an empty string (and *error; source is left as it was).
    static QString moveWithoutReplacing(const QString& source, const QString& destination, QString* error);

    // Renames source to destination, replacing it (same file system, atomic).
    static bool replace(const QString& source, const QString& destination, QString* error);
};
