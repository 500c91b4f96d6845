#pragma once
// The metadata editor's view of several queue rows at once: what one field
// shows for all of them, and an edit of that field applied to every one.
//
// A field shows its value when every row holds the same one (absent counts
// as a value of its own), and "several values" otherwise; an edit replaces
// the field in every row, so differing values stay as they are until the
// user types into that field.
//
// Edits come as the text the user typed: an empty text makes the field
// absent; the integer fields take the text's digits as a number (the editor
// lets only digits in), and a text that is no number makes them absent.
//
// Threads: main thread. The rows are not owned and must stay alive for the
// call; their records guard themselves.

#include "AudioMetadata.h"

#include <QList>
#include <QString>

class FileEncodeOperation;

class MetadataSelection
{
public:
    struct Shown
    {
        QString text;          // the common value as text ("" when absent)
        bool multiple = false; // the rows disagree
    };

    // The text of a value as the editor shows it ("" when absent).
    static QString textOf(AudioMetadata::Field field, const QVariant& value);

    static Shown shown(const QList<FileEncodeOperation*>& rows, AudioMetadata::Field field);
    // Sets field of every row from text. Only descriptive fields can be set.
    static void setText(const QList<FileEncodeOperation*>& rows, AudioMetadata::Field field,
                        const QString& text);
    // The value an edit gives (an invalid QVariant for absent).
    static QVariant valueOf(AudioMetadata::Field field, const QString& text);
};
