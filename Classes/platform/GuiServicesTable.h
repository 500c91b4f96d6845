#pragma once
// The interface between the core (GuiServices.cpp) and the QtGui module
// (guiservices/GuiServicesModule.cpp). The module exports one C function,
// "sonabrikGuiServices", returning a static table of these functions. Qt's
// value types cross the boundary: both sides use the same QtCore.

#include <QByteArray>
#include <QSize>
#include <QUrl>

struct GuiServicesTable
{
    // kGuiServicesVersion of the build that made the module; the core
    // refuses a table of another version.
    int version;
    bool (*imageSize)(const QByteArray& data, QSize* size);
    bool (*convertImage)(const QByteArray& data, const char* format, int quality, QByteArray* converted);
    bool (*openUrl)(const QUrl& url);
};

// Raised whenever a function of the table is added, removed or changed.
constexpr int kGuiServicesVersion = 1;

constexpr const char* kGuiServicesEntry = "sonabrikGuiServices";
using GuiServicesEntry = const GuiServicesTable* (*)();
