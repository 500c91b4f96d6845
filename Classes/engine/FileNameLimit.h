#pragma once
// Names that fit the file system: Linux file systems take at most 255 bytes
// per path component, counted in the UTF-8 the names are written in. A tag
// of 200 accented or CJK characters is 400-600 bytes, so names made from
// tags are shortened here rather than failing when the file is created.
//
// Shortening cuts at a grapheme boundary (never inside a UTF-8 sequence, a
// surrogate pair or a letter with its combining marks) and keeps the tail
// given (an extension, a " 2" counter, a temporary-file pattern). Only a
// first grapheme too long to fit at all is cut between its code points, so
// that a name never becomes empty.
//
// Stateless; any thread. Never fails.

#include <QString>

class FileNameLimit
{
public:
    static constexpr qsizetype kMaxComponentBytes = 255;

    // stem + tail, with stem cut so that the whole is at most
    // kMaxComponentBytes bytes of UTF-8. When the tail alone is too long, the
    // tail is cut as well.
    static QString fit(const QString& stem, const QString& tail = {});

    // path with every component fitted; the last keeps its extension (the
    // text after its last dot). Components that already fit are unchanged.
    static QString fitPath(const QString& path);
};
