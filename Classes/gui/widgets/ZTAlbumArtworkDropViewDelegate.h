#pragma once
// What ZTAlbumArtworkDropView hands on to the one that owns the covers of
// the selected rows. ("recieved" is the interface's own spelling.)
//
// Main thread.

#include <QByteArray>
#include <QString>
#include <QUrl>

class ZTAlbumArtworkDropView;

class ZTAlbumArtworkDropViewDelegate
{
public:
    virtual ~ZTAlbumArtworkDropViewDelegate() = default;

    // The first local file of a dropped file list.
    virtual void recievedFile(ZTAlbumArtworkDropView* view, const QString& path) = 0;
    // A dropped address (a non-local URL, or text that reads as one).
    virtual void recievedURL(ZTAlbumArtworkDropView* view, const QUrl& url) = 0;
    // Dropped picture bytes (TIFF, PNG, ... as the source offered them).
    virtual void recievedImageData(ZTAlbumArtworkDropView* view, const QByteArray& data) = 0;
};
