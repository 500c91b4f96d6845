#pragma once
// Icons by their freedesktop.org names, from the desktop's icon theme, with
// a drawing of our own bundled for each name the program uses, for desktops
// whose theme lacks it (and for bare X servers with no theme at all).
//
// Main thread (QIcon is a GUI type).

#include <QIcon>

namespace Icons {

// Chooses an installed theme when the platform names none, so that bare
// sessions (a window manager without a desktop) get a full theme too.
void setUpTheme();

// The theme's icon of that name, else the bundled one (":/icons/NAME.svg").
QIcon themed(const QString& name);

} // namespace Icons
