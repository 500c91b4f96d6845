#pragma once
// The length an MP3 file states about itself: the frame count of the Xing
// or "Info" header that LAME (and most encoders) put in the first frame, or
// of Fraunhofer's VBRI header, less the encoder delay and padding of LAME's
// tag. Files without such a header state no length; their length is only an
// estimate from the file's size.
//
// Reads the file once, on the calling thread; never fails loudly: anything
// unreadable or malformed gives -1.

#include <QByteArray>
#include <QString>
#include <cstdint>

class MP3InfoFrame
{
public:
    // The frames the file's header announces, or -1.
    static int64_t announcedFrames(const QString& path);
    // The same for the bytes of the first audio frame (and what follows it).
    static int64_t announcedFrames(const QByteArray& firstFrame);
};
