#pragma once
// Pictures and the desktop, from QtGui, loaded on first use.
//
// QtGui brings some thirty libraries with it (X11, OpenGL, fonts, D-Bus),
// and loading them cost every start of the program about 9 ms, a third of
// the whole start. A conversion needs them only when a file has a picture,
// so the core does not link QtGui: these functions open the module
// libsonabrik-guiservices.so (guiservices/GuiServicesModule.cpp, loaded
// from the library folder of an installed program, else from where the build
// put it) the first time one is called, and call into it.
//
// Threads: any. The first call loads under a lock; the module then stays
// loaded until the process ends.
//
// Failure: when the module cannot be loaded, a warning naming the reason is
// printed once and every call answers as for data that is no picture (or a
// URL that cannot be opened).

#include <QByteArray>
#include <QSize>
#include <optional>

class QUrl;

namespace GuiServices {

// Pixel size of the first picture in data; nothing when QtGui cannot read
// data as a picture. Decodes only when the format's header does not say.
std::optional<QSize> imageSize(const QByteArray& data);

// data decoded and written again as format (QImageWriter's names: "jpeg",
// "png", "tiff", "bmp"); quality -1 leaves the writer's default. Nothing when
// data is no picture or the writer fails.
std::optional<QByteArray> convertImage(const QByteArray& data, const char* format, int quality = -1);

// Hands url to the desktop (the mail program for a mailto: URL). False when
// nothing took it.
bool openUrl(const QUrl& url);

} // namespace GuiServices
