#pragma once
// Safe file names: one path component made fit to be a file or folder name
// on the user's chosen targets.
//
// With "createWindowsSafeFilenames" off only "/" is replaced, by ":" (a
// value never creates a folder). With it on, the Windows set
// < > : " / \ | ? * is replaced and, when "createSMBSafeFilenames" is on as
// well, also the SMB set + = [ ] , ; — each character by the text of
// "replaceInvalidCharactersWith", in which every character of both sets has
// first been replaced by "_" (an empty replacement deletes the characters).
// Control characters (U+0001 to U+001F and U+007F) are replaced so in every
// case, since they break the scripts and reports that list the files.
//
// Stateless; any thread. Never fails.

#include <QString>

class SafeFilename
{
public:
    // The three preferences, read once so that a whole name is made with one
    // consistent set.
    struct Options
    {
        bool windowsSafe = true;
        bool smbSafe = false;
        QString replacement = QStringLiteral("_");

        // The preferences as they are now.
        static Options fromPreferences();
        // The replacement text with every Windows and SMB character made "_".
        QString cleanedReplacement() const;
    };

    // component made safe under the current preferences.
    static QString make(const QString& component);
    static QString make(const QString& component, const Options& options);

    static bool isWindowsCharacter(QChar c);
    static bool isSMBCharacter(QChar c);
    static bool isControlCharacter(QChar c);
};
