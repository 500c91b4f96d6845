#pragma once
// Free functions shared by the engine, the decoders and the metadata reader.

#include <QString>

// The codec of an Ogg file's first logical stream.
enum OggStreamType
{
    OggStreamTypeInvalid = 0, // never returned by oggStreamType(); for the factory's switch
    OggStreamTypeUnknown = 1,
    OggStreamTypeVorbis = 2,
    OggStreamTypeFLAC = 3,
    OggStreamTypeSpeex = 4,
    OggStreamTypeOpus = 5,
};

// Reads the first 4096 bytes of path and classifies the first packet of its
// first page. Raises an assertion failure (NamedException) when the file
// cannot be opened, read or closed, is not an Ogg stream, or its first page
// does not yield exactly one packet.
OggStreamType oggStreamType(const QString& path);

// The unique form of a path: path itself when nothing exists there, else the
// first free "name N.ext" (N = 2, 3, ...) in the same folder; a name without
// an extension gets none ("notes" gives "notes 2"). The numbered name stays
// within FileNameLimit: a name at the limit loses the end of its base to
// " N", never its extension.
QString uniqueFilePath(const QString& path);

// A new, empty, closed file in the temporary folder, named
// "<tmp>/Wavecrate-<session id as %.8x>-<process id>-<eight random
// characters>", and its path. Raises an assertion failure (NamedException) with "nil != directory",
// "SessionGetInfo failed: <code>", "Unable to create a temporary file: <error>"
// or "Unable to close the temporary file: <error>". Any thread.
QString getTemporaryFilePath();

// Removes the files getTemporaryFilePath() made in the temporary folder for
// processes that no longer run (a killed run leaves its files behind).
// Files of running processes, of other users and of other programs stay.
// Returns how many went. Any thread; call it once at start.
int removeAbandonedTemporaryFiles();
