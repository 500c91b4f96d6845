#pragma once
// The naming function: turns a naming scheme such as
// "{albumArtist}/{albumTitle}/{trackNumber - }{trackTitle}" into a relative
// output path (path mode: output files, cover images), or into plain text
// (the playlist name, the comment text).
//
// A scheme is literal text with groups "{ ... }" holding a token name and
// optional literal text; groups nest. A group whose token has no value
// disappears with its text; a token whose value is empty keeps the group's
// text. Only the first token (in the order of tokenNames()) found in a group
// is substituted; a second one stays literal. Unknown names are literal
// text, unbalanced braces stay as written, and a deeper group without any
// token stops the evaluation where it is (kept as schemes always behaved).
//
// Values are opaque: braces or token names inside a title are never read as
// part of the scheme. In path mode each value is first made a safe file
// name (SafeFilename), so a "/" inside a value never creates a folder.
//
// The result has no extension; the caller appends "." and its own. It may
// start with "/" when the first group of the scheme came out empty
// ("{sourceFormat}/x" gives "/x"): it is always relative to a base folder
// and is joined to it with pathBelow(), never resolved on its own. In path
// mode it never holds a "." or ".." component, a component starting with
// "." (a hidden file or folder), a NUL, or an empty last component,
// whatever the tags or the scheme hold: each such dot, NUL or empty name
// becomes the replacement text ("_" by default), so a name can neither lead
// out of the output folder nor hide there.
//
// Preferences read at each call: "useTwoDigitNumbers",
// "createWindowsSafeFilenames", "createSMBSafeFilenames",
// "replaceInvalidCharactersWith".
//
// Threads: any thread; the metadata is read one field at a time through its
// atomic getters. Never fails and always returns.

#include <QString>
#include <QStringList>

class AudioMetadata;
class EncoderSettings;

class NamingScheme
{
public:
    // metadata and settings may be null: without metadata only the
    // fallbacks (title from the file name, "Unknown Artist", "Unknown
    // Album", "Unknown Composer") have values; without settings the output
    // tokens have none. A null or empty scheme means "{sourceFilename}".
    static QString evaluate(const QString& scheme, const AudioMetadata* metadata,
                            const EncoderSettings* settings, const QString& sourcePath, bool pathMode);

    // baseFolder + "/" + relativePath, cleaned. For a relativePath made by
    // evaluate() in path mode the result always lies inside baseFolder.
    static QString pathBelow(const QString& baseFolder, const QString& relativePath);

    // The token names, in the order in which a group's text is searched.
    static QStringList tokenNames();
};
