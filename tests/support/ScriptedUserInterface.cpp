#include "ScriptedUserInterface.h"

#include "ApplicationController.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTimer>

QStringList ScriptedUserInterface::alertMessages() const
{
    QStringList messages;
    for (const Alert& alert : alerts)
        messages << alert.messageText;
    return messages;
}

ScriptedUserInterface::Answer ScriptedUserInterface::nextAnswer()
{
    return answers.isEmpty() ? Answer{} : answers.takeFirst();
}

void ScriptedUserInterface::beginAlertSheet(const Alert& alert,
                                            std::function<void(int button, bool suppressed)> completion)
{
    alerts << alert;
    if (holdSheets) {
        heldSheets << std::move(completion);
        return;
    }
    const Answer answer = nextAnswer();
    QTimer::singleShot(0, [completion, answer] { completion(answer.button, answer.applyToAll); });
}

int ScriptedUserInterface::runAlert(const Alert& alert)
{
    alerts << alert;
    return nextAnswer().button;
}

bool waitUntil(const std::function<bool()>& done, int timeoutSeconds)
{
    QElapsedTimer timer;
    timer.start();
    while (!done()) {
        if (timer.elapsed() > timeoutSeconds * 1000)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    }
    return true;
}

bool openFilesAndWait(ApplicationController& controller, const QStringList& paths)
{
    bool parsed = false;
    const QMetaObject::Connection connection =
        QObject::connect(&controller, &ApplicationController::parsingFinished, [&parsed] { parsed = true; });
    controller.applicationOpenFiles(paths);
    const bool finished = waitUntil([&] { return parsed; });
    QObject::disconnect(connection);
    return finished;
}
