#pragma once
// The desktop program as the widget tests drive it, on the offscreen
// platform. RunIntoScratch: the preferences of a run whose outputs go to a
// scratch folder's "out" (not a first launch); it must exist before the
// program is made. DesktopProgram: the real controller and main window with
// a user interface between them, shown, counting the runs that finished.

#include "ApplicationController.h"
#include "DesktopUserInterface.h"
#include "Encoding.h"
#include "Fixtures.h"
#include "MainWindow.h"

#include <QDir>

struct RunIntoScratch
{
    explicit RunIntoScratch(const QVariantMap& more = {}) : prefs(more)
    {
        QDir().mkpath(out());
        prefs.set(QStringLiteral("firstRun"), false);
        prefs.set(QStringLiteral("destinationDirectory"), out());
    }
    QString out() const { return scratch.file(QStringLiteral("out")); }

    ScratchDir scratch;
    PreferencesScope prefs;
};

template <class UserInterface = DesktopUserInterface> struct DesktopProgram
{
    DesktopProgram()
    {
        controller.awakeFromNib();
        ui.attach(&window, &controller);
        QObject::connect(&controller, &ApplicationController::runFinished, [this] { ++runsFinished; });
        window.show();
    }

    UserInterface ui;
    ApplicationController controller{&ui};
    MainWindow window{controller};
    int runsFinished = 0;
};
