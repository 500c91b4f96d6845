#pragma once
// The desktop program as the widget tests drive it. RunIntoScratch: outputs
// go to the scratch folder's "out" (made before the program); DesktopProgram:
// the real controller and shown main window, counting finished runs.

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
